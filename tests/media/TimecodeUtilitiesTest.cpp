#include "media/TimecodeUtilities.h"

#include <gtest/gtest.h>

#include <optional>

using ferrydeck::TimecodeUtilities;
namespace MovieRate = ferrydeck::MovieRate;

TEST(Timecode, FrameCountsAndLabels)
{
    const struct {
        const char *timecode;
        int32_t rate;
        bool drop;
        int32_t frames;
    } both[] = {{"00:01:00;02", 30, true, 1800},
                {"00:10:00;00", 30, true, 17982},
                {"00:01:00:02", 30, false, 1802},
                // Ten-minute blocks keep two frames each: 60 minutes drop 108.
                {"01:00:00;00", 30, true, 108000 - 108},
                // What 11 minutes of frames are labelled reads back as fewer: the round trip is not exact.
                {"00:11:00;02", 30, true, 11 * 1800 - 18},
                // Fields read leniently; too short to hold four fields gives 0.
                {"00:00:01:0x", 30, false, 30},
                {"00:00:01", 30, false, 0}};
    for (const auto &c : both)
        EXPECT_EQ(TimecodeUtilities::totalFramesInTimeCode(c.timecode, c.rate, c.drop), c.frames) << c.timecode;
    EXPECT_EQ(TimecodeUtilities::totalFramesInTimeCode("00:10:00;00", 30), 18000); // no flag: non-drop

    const struct {
        int32_t frames;
        int32_t rate;
        bool drop;
        const char *timecode;
    } labels[] = {{1800, 30, true, "00:01:00;02"},
                  {18000, 30, true, "00:10:00;00"},
                  {0, 30, true, "00:00:00;00"},
                  {1800, 30, false, "00:01:00:00"},
                  {1801, 30, true, "00:01:00;01"},
                  {11 * 1800, 30, true, "00:11:00;02"},
                  {360000 * 30, 30, false, "100:00:00:00"},
                  {5, 0, false, "00:00:00:00"}}; // no rate: the zero label, not a division by zero
    for (const auto &c : labels)
        EXPECT_EQ(TimecodeUtilities::createTimecodeFromFrames(c.frames, c.rate, c.drop), c.timecode) << c.frames;
}

// Nothing in the program calls the steps, rate lookups or text helpers below
// (the movie reader has its own table): they keep their guards against bad
// input and one case of each rule.
TEST(TimecodeHelpers, GuardsAgainstOverflowDivisionByZeroAndBadTexts)
{
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:59;29", 1, 30), "00:01:00;02");
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:01:00", INT32_MAX, 30), "00:00:01:00");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:02:03;29", MovieRate::k2997DropFrame, MovieRate::k25),
              "01:02:03;24");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("1:00:00:24", MovieRate::k25, MovieRate::k30), "1:00:00:24");
    for (const auto &[frames, rate] : {std::pair{95, 0}, {INT32_MIN, -1}}) {
        int32_t units = -1;
        EXPECT_EQ(TimecodeUtilities::findTimeRepresentedByFrames(frames, rate, units), 0) << frames;
        EXPECT_EQ(units, 0) << frames;
    }
    for (const char *bad : {"1:00:00:00", "01-00-00-00", "01:00:00:000", "01;00:00:00", "01:00;00:00", "0a:00:00:00",
                            "01:00:00.00", "", "01:00:00: 0"})
        EXPECT_FALSE(TimecodeUtilities::isValidTimeCode(bad)) << bad;
    EXPECT_TRUE(TimecodeUtilities::isValidTimeCode("23:59:59;29"));
    EXPECT_FALSE(TimecodeUtilities::timecodeIsDropFrame("00:00:00"));
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("1:02:03:04", true), "1:02:03:04");
    // The drop separator goes first in the reversed text.
    const std::pair<const char *, std::optional<std::string>> reversals[] = {{"01:02:03;04", "04;03:02:01"},
                                                                             {"12345678", "78:56:34:12"},
                                                                             {"01:02:03", std::nullopt},
                                                                             {"01:02:03:045", std::nullopt}};
    for (const auto &[timecode, reversed] : reversals)
        EXPECT_EQ(TimecodeUtilities::reverseTimecodeString(timecode), reversed) << timecode;
}

TEST(TimecodeHelpers, RateTextsParseInTheFixedOrderAndUnknownsAreTheDefault)
{
    const struct {
        const char *text;
        bool drop;
        int32_t rate;
    } cases[] = {{"29.97", true, 100},
                 {"30", true, 110},
                 {"", false, 107},
                 // Order decides: "24" before "50", "25" before "50", "2997" before "5994".
                 {"50/24", false, 103},
                 {"25 50", false, 102},
                 {"5994 2997", false, 101},
                 {"59.94i 30", false, 110}};
    for (const auto &c : cases)
        EXPECT_EQ(TimecodeUtilities::movieRateFromString(c.text, c.drop), c.rate) << c.text;
    // From a number only its first two characters count.
    for (const auto &[number, rate] : {std::pair{29.97, 101}, {2997.0, 101}, {5.0, 107}, {-29.97, 107}})
        EXPECT_EQ(TimecodeUtilities::movieRateFromNumber(number), rate) << number;
    EXPECT_EQ(TimecodeUtilities::numericMovieRateFromRateDefinitions(104), 60);
    EXPECT_EQ(TimecodeUtilities::numericMovieRateFromRateDefinitions(-1), 30);
    EXPECT_EQ(TimecodeUtilities::movieRateFromRateDefinition(-1), "30");
}
