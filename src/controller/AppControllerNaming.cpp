#include "controller/AppController.h"
#include "controller/OffloadNamingScheme.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
#include <optional>

namespace ferrydeck {

namespace {

std::string todaysDate()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%m-%d-%Y", &local);
    return buffer;
}

// The folder's birth time, or its modification time where the file system keeps none.
std::optional<OffloadInstance::Clock::time_point> folderDate(const std::string &folder, bool created)
{
    struct statx info {};
    if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_BTIME | STATX_MTIME, &info) != 0) return std::nullopt;
    const struct statx_timestamp &stamp = (created && (info.stx_mask & STATX_BTIME)) ? info.stx_btime : info.stx_mtime;
    return OffloadInstance::Clock::from_time_t(static_cast<std::time_t>(stamp.tv_sec));
}

// A name is one folder: a slash would nest folders or climb out of the destination.
std::string asFolderName(std::string name)
{
    for (char &c : name) {
        if (c == '/') c = '-';
    }
    return name;
}

} // namespace

void AppController::populateNamingSchemeOptions()
{
    // "Today's Date" stands fourth although its id is 7: intended.
    std::vector<std::string> titles;
    for (const int32_t id : {1, 2, 3, 7, 4, 5, 6})
        titles.push_back(OffloadNamingScheme::titleForScheme(id));
    m_listNamingSchemeOptions.set(std::move(titles));
}

std::string AppController::addNamingConventionToOffloadPath(const std::string &destination, const std::string &source)
{
    const NamingControls controls = m_view->namingControls();
    const int32_t scheme = OffloadNamingScheme::schemeForTitle(controls.schemeTitle);
    std::string name;
    if (m_settings.addPrefix()) name += controls.prefix;
    bool usable = true;
    switch (scheme) {
    case OffloadNamingScheme::kCustomVolumeName:
        name += controls.customName;
        break;
    case OffloadNamingScheme::kConsecutiveNumbering:
        name += textStepperCount();
        break;
    case OffloadNamingScheme::kCardName:
        name += path::lastComponent(source);
        break;
    case OffloadNamingScheme::kDateVolumeCreated:
    case OffloadNamingScheme::kDateVolumeModified: {
        const auto date = folderDate(source, scheme == OffloadNamingScheme::kDateVolumeCreated);
        if (date) name += OffloadInstance::dateText(*date);
        break;
    }
    case OffloadNamingScheme::kTodaysDate:
        name += todaysDate();
        break;
    default:
        usable = false;
        break;
    }
    if (m_settings.addSuffix()) name += controls.suffix;
    // Prefix and suffix apply only together with a scheme part, by design.
    name = asFolderName(name);
    if (name.empty() || !usable || name == "." || name == "..") return destination;
    return destination + "/" + name;
}

void AppController::configureFullNamingSchemeTextBox()
{
    const NamingControls controls = m_view->namingControls();
    std::string preview;
    if (m_settings.addPrefix()) preview += controls.prefix;
    switch (OffloadNamingScheme::schemeForTitle(controls.schemeTitle)) {
    case OffloadNamingScheme::kCustomVolumeName:
        preview += controls.customName;
        break;
    case OffloadNamingScheme::kConsecutiveNumbering:
        preview += textStepperCount();
        break;
    case OffloadNamingScheme::kCardName:
        preview += "\"Card Name\"";
        break;
    case OffloadNamingScheme::kDateVolumeCreated:
        preview += "\"Date Created\"";
        break;
    case OffloadNamingScheme::kDateVolumeModified:
        preview += "\"Date Modified\"";
        break;
    case OffloadNamingScheme::kTodaysDate:
        preview += todaysDate();
        break;
    default:
        m_view->showNamingPreview("");
        return;
    }
    if (m_settings.addSuffix()) preview += controls.suffix;
    m_view->showNamingPreview(preview);
}

void AppController::selectSchemeAtIndex(int index)
{
    const std::vector<std::string> titles = listNamingSchemeOptions();
    const std::string title =
        index >= 0 && static_cast<size_t>(index) < titles.size() ? titles[static_cast<size_t>(index)] : "";
    const int32_t scheme = OffloadNamingScheme::schemeForTitle(title);
    m_view->setNamingFieldsVisible(scheme == OffloadNamingScheme::kCustomVolumeName,
                                   scheme == OffloadNamingScheme::kConsecutiveNumbering);
    configureFullNamingSchemeTextBox();
}

void AppController::configureStepper(int32_t value)
{
    if (value > kStepperMaximum) value = kStepperMaximum;
    if (value < kStepperMinimum) value = kStepperMinimum;
    m_settings.setValueConsecutiveNumbering(value);
    const std::string text = value <= 9 ? stringWithFormat("0%i", value) : stringWithFormat("%d", value);
    m_textStepperCount.set(text);
    m_view->showConsecutiveNumber(text);
    configureFullNamingSchemeTextBox();
}

} // namespace ferrydeck
