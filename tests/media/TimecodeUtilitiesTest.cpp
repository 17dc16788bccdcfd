#include "media/TimecodeUtilities.h"

#include <gtest/gtest.h>

#include <ctime>
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

TEST(TimecodeStep, IncrementCarriesAcrossFieldsAndARateChangeRescalesOnlyFrames)
{
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:59:59:24", 1, 25), "01:00:00:00");
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("01:00:00:00", -1, 25), "00:59:59:24");
    // The separator is kept, and with it the drop-frame relabelling; a step
    // past the range of a frame count leaves the timecode as it was.
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:59;29", 1, 30), "00:01:00;02");
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:01:00", INT32_MAX, 30), "00:00:01:00");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:02:03;29", MovieRate::k2997DropFrame, MovieRate::k25),
              "01:02:03;24");
    // Same numeric rate, or an invalid timecode: unchanged.
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:00:00:24", MovieRate::k2997NonDrop, MovieRate::k30), "01:00:00:24");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("1:00:00:24", MovieRate::k25, MovieRate::k30), "1:00:00:24");
}

TEST(TimecodeRates, TextsParseInTheFixedOrderAndNumbersByTheirFirstTwoCharacters)
{
    const struct {
        const char *text;
        bool drop;
        int32_t rate;
    } cases[] = {{"29.97", true, 100},
                 {"2997", false, 101},
                 {"23.98", false, 103},
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
    const std::pair<double, int32_t> numbers[] = {{30, 107}, {29.97, 101}, {23.976, 103}, {59.94, 104},
                                                  {5, 107},  {2997, 101},  {-29.97, 107}};
    for (const auto &[number, rate] : numbers)
        EXPECT_EQ(TimecodeUtilities::movieRateFromNumber(number), rate) << number;

    const struct {
        int32_t id, numeric;
        const char *text;
    } rows[] = {{100, 30, "2997"}, {104, 60, "5994"}, {109, 50, "25"},
                {112, 24, "30"},   {106, 30, "30"},   {-1, 30, "30"}};
    for (const auto &row : rows) {
        EXPECT_EQ(TimecodeUtilities::numericMovieRateFromRateDefinitions(row.id), row.numeric) << row.id;
        EXPECT_EQ(TimecodeUtilities::movieRateFromRateDefinition(row.id), row.text) << row.id;
    }
}

TEST(TimecodeText, ValidationDropFrameSeparatorAndReversalKeepingPairs)
{
    for (const char *good : {"01:00:00:00", "23:59:59;29", "99:99:99:99"})
        EXPECT_TRUE(TimecodeUtilities::isValidTimeCode(good)) << good;
    for (const char *bad : {"1:00:00:00", "01-00-00-00", "01:00:00:000", "01;00:00:00", "01:00;00:00", "0a:00:00:00",
                            "01:00:00.00", "", "01:00:00: 0"})
        EXPECT_FALSE(TimecodeUtilities::isValidTimeCode(bad)) << bad;

    EXPECT_TRUE(TimecodeUtilities::timecodeIsDropFrame("00:00:00;00"));
    EXPECT_FALSE(TimecodeUtilities::timecodeIsDropFrame("00:00:00:00"));
    EXPECT_FALSE(TimecodeUtilities::timecodeIsDropFrame("00:00:00"));
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("01:02:03:04", true), "01:02:03;04");
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("01:02:03;04", false), "01:02:03:04");
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("1:02:03:04", true), "1:02:03:04");
    // The drop separator goes first in the reversed text.
    const std::pair<const char *, std::optional<std::string>> reversals[] = {
        {"01:02:03;04", "04;03:02:01"}, {"01:02:03:04", "04:03:02:01"}, {"12345678", "78:56:34:12"},
        {"01;02;03;04", "04;03:02:01"}, {"01:02:03", std::nullopt},     {"01:02:03:045", std::nullopt}};
    for (const auto &[timecode, reversed] : reversals)
        EXPECT_EQ(TimecodeUtilities::reverseTimecodeString(timecode), reversed) << timecode;
}

TEST(TimecodeText, UnitsWithTheirRemainderAndTimeOfDay)
{
    const struct {
        int32_t frames, rate, remainder, units;
    } cases[] = {{95, 30, 5, 3}, {-95, 30, -5, -3}, {95, 0, 0, 0}, {INT32_MIN, -1, 0, 0}};
    for (const auto &c : cases) {
        int32_t units = -1;
        EXPECT_EQ(TimecodeUtilities::findTimeRepresentedByFrames(c.frames, c.rate, units), c.remainder) << c.frames;
        EXPECT_EQ(units, c.units) << c.frames;
    }
    // The time of day, with zero frames.
    std::tm local{};
    ASSERT_TRUE(::strptime("2024-06-01 13:04:05", "%Y-%m-%d %H:%M:%S", &local));
    local.tm_isdst = -1;
    const auto date = std::chrono::system_clock::from_time_t(std::mktime(&local)) + std::chrono::milliseconds(900);
    EXPECT_EQ(TimecodeUtilities::timecodeFromDate(date), "13:04:05:00");
}
