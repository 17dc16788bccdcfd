#include "controller/OffloadNamingScheme.h"

#include <array>
#include <utility>

namespace ferrydeck {

namespace {
constexpr std::array<std::pair<int32_t, const char *>, 7> kTitles{{
    {OffloadNamingScheme::kCustomVolumeName, "Custom Volume Name"},
    {OffloadNamingScheme::kConsecutiveNumbering, "Consecutive Numbering"},
    {OffloadNamingScheme::kCardName, "Card Name"},
    {OffloadNamingScheme::kDateVolumeCreated, "Date Volume Created"},
    {OffloadNamingScheme::kDateVolumeModified, "Date Volume Modified"},
    {OffloadNamingScheme::kNone, "None"},
    {OffloadNamingScheme::kTodaysDate, "Today's Date"},
}};
} // namespace

int32_t OffloadNamingScheme::schemeForTitle(const std::string &title)
{
    for (const auto &[id, text] : kTitles) {
        if (title == text) return id;
    }
    return -1;
}

std::string OffloadNamingScheme::titleForScheme(int32_t scheme)
{
    for (const auto &[id, text] : kTitles) {
        if (id == scheme) return text;
    }
    return "N/A";
}

} // namespace ferrydeck
