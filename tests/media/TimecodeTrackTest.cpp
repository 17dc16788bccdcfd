#include "media/QuickTimeUtilities.h"
#include "support/CardFixtures.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

using ferrydeck::QuickTimeUtilities;
using namespace ferrydeck::test;

namespace {
constexpr uint32_t kDrop = 0x1;
constexpr uint32_t kCounter = 0x8;
} // namespace

TEST(TimecodeTrack, StartTimecodeAndRateComeFromTheTrack)
{
    struct Row {
        TimecodeMovie movie;
        std::optional<std::string> start;
        std::string rateText;
        int32_t rate;
    };
    const Row rows[] = {
        {{30000, 1001, 30, kDrop, 107892}, "01:00:00;00", "2997", 100},
        {{30000, 1001, 30, 0, 107892}, "00:59:56:12", "2997", 101},
        // The first frame of a minute other than every tenth is labelled 02.
        {{30000, 1001, 30, kDrop, 1800}, "00:01:00;02", "2997", 100},
        {{60000, 1001, 60, kDrop, 3600}, "00:01:00;04", "5994", 104},
        {{25, 1, 25, 0, 900024}, "10:00:00:24", "2500", 102},
        {{24000, 1001, 24, 0, 0, true}, "00:00:00:00", "2398", 103},
        {{50, 1, 50, kCounter, 10}, std::nullopt, "5000", 105},
        {{60, 1, 60, 0, -1}, std::nullopt, "6000", 107}, // no id holds 60 whole frames
    };
    TempDir dir;
    for (const Row &row : rows) {
        const std::string movie = dir / "tc.mov";
        writeFile(movie, timecodeMovieBytes(row.movie));
        EXPECT_EQ(QuickTimeUtilities::startTimecodeOfMovie(movie), row.start) << row.rateText;
        EXPECT_EQ(QuickTimeUtilities::timecodeRateTextOfMovie(movie), row.rateText);
        EXPECT_EQ(QuickTimeUtilities::rateDefinitionOfMovie(movie), row.rate) << row.rateText;
    }
}

TEST(TimecodeTrack, DamagedTracksGiveNoTimecode)
{
    TempDir dir;
    std::string bytes = timecodeMovieBytes({30000, 1001, 30, kDrop, 107892});
    // A sample offset past the end of the file.
    std::string cut = bytes;
    cut.replace(cut.find("stco") + 12, 4, std::string("\x7f\0\0\0", 4));
    writeFile(dir / "cut.mov", cut);
    EXPECT_EQ(QuickTimeUtilities::startTimecodeOfMovie(dir / "cut.mov"), std::nullopt);
    EXPECT_EQ(QuickTimeUtilities::rateDefinitionOfMovie(dir / "cut.mov"), 100);

    std::string other = bytes;
    other.replace(other.find("tmcd", other.find("stsd")), 4, "avc1");
    writeFile(dir / "other.mov", other);
    EXPECT_EQ(QuickTimeUtilities::startTimecodeOfMovie(dir / "other.mov"), std::nullopt);
    EXPECT_EQ(QuickTimeUtilities::rateDefinitionOfMovie(dir / "other.mov"), 107);
    EXPECT_EQ(QuickTimeUtilities::timecodeRateTextOfMovie(dir / "missing.mov"), std::nullopt);
}

// Several texts and names share an id; from an id the first row answers.
TEST(TimecodeTrack, RateTextsAndNamesShareIds)
{
    // Interlaced names have ids of their own; their texts read as the progressive rate.
    const std::tuple<const char *, const char *, int32_t, int32_t> rows[] = {{"2398", "FILM", 103, 103},
                                                                             {"2400", "24P", 103, 103},
                                                                             {"2500", "50i", 109, 102},
                                                                             {"5994", "5994i", 108, 104},
                                                                             {"x", "pal", 107, 107}};
    for (const auto &[text, name, byName, byText] : rows) {
        EXPECT_EQ(QuickTimeUtilities::rateDefinitionFromName(name), byName) << name;
        EXPECT_EQ(QuickTimeUtilities::rateDefinitionFromRateText(text, true), byText) << text;
    }
    EXPECT_EQ(QuickTimeUtilities::rateTextForRateDefinition(103), "2400");
    EXPECT_EQ(QuickTimeUtilities::nameOfRateDefinition(100), "NTSC drop");
    EXPECT_EQ(QuickTimeUtilities::rateTextForRateDefinition(107), std::nullopt);
}
