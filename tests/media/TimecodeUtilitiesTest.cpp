#include "media/TimecodeUtilities.h"

#include <gtest/gtest.h>

#include <ctime>

using ferrydeck::TimecodeUtilities;
namespace MovieRate = ferrydeck::MovieRate;

struct FramesCase {
    const char *timecode;
    int32_t rate;
    bool drop;
    int32_t frames;
};

// Readable test names instead of the case's bytes.
void PrintTo(const FramesCase &c, std::ostream *out)
{
    *out << c.timecode << " at " << c.rate << (c.drop ? " drop" : "");
}

class TimecodeFrames : public ::testing::TestWithParam<FramesCase> {};

TEST_P(TimecodeFrames, CountsFramesOfALabel)
{
    const FramesCase &c = GetParam();
    EXPECT_EQ(TimecodeUtilities::totalFramesInTimeCode(c.timecode, c.rate, c.drop), c.frames);
}

INSTANTIATE_TEST_SUITE_P(Labels, TimecodeFrames,
                         ::testing::Values(FramesCase{"00:01:00;02", 30, true, 1800},
                                           FramesCase{"00:10:00;00", 30, true, 17982},
                                           FramesCase{"00:01:00:02", 30, false, 1802},
                                           FramesCase{"00:10:00:00", 30, false, 18000},
                                           FramesCase{"01:00:00:00", 25, false, 90000},
                                           // Ten-minute blocks keep two frames each: 60 minutes drop 108.
                                           FramesCase{"01:00:00;00", 30, true, 108000 - 108},
                                           // Fields read leniently; too short to hold four fields gives 0.
                                           FramesCase{"00:00:01:0x", 30, false, 30},
                                           FramesCase{"00:00:01", 30, false, 0}, FramesCase{"", 30, true, 0}));

TEST(TimecodeFrames, WithoutFlagIsTheNonDropCount)
{
    EXPECT_EQ(TimecodeUtilities::totalFramesInTimeCode("00:10:00;00", 30), 18000);
}

struct LabelCase {
    int32_t frames;
    int32_t rate;
    bool drop;
    const char *timecode;
};

void PrintTo(const LabelCase &c, std::ostream *out)
{
    *out << c.frames << " at " << c.rate << (c.drop ? " drop" : "");
}

class TimecodeLabels : public ::testing::TestWithParam<LabelCase> {};

TEST_P(TimecodeLabels, LabelsAFrameCount)
{
    const LabelCase &c = GetParam();
    EXPECT_EQ(TimecodeUtilities::createTimecodeFromFrames(c.frames, c.rate, c.drop), c.timecode);
}

INSTANTIATE_TEST_SUITE_P(
    Counts, TimecodeLabels,
    ::testing::Values(LabelCase{1800, 30, true, "00:01:00;02"}, LabelCase{18000, 30, true, "00:10:00;00"},
                      LabelCase{0, 30, true, "00:00:00;00"}, LabelCase{0, 30, false, "00:00:00:00"},
                      LabelCase{1800, 30, false, "00:01:00:00"}, LabelCase{1801, 30, true, "00:01:00;01"},
                      LabelCase{3600 * 25 * 25 + 24, 25, false, "25:00:00:24"},
                      LabelCase{360000 * 30, 30, false, "100:00:00:00"}, LabelCase{5, 0, false, "00:00:00:00"}));

TEST(TimecodeLabels, DropFrameRoundTripIsDeliberatelyNotExact)
{
    const std::string label = TimecodeUtilities::createTimecodeFromFrames(1800, 30, true);
    EXPECT_EQ(TimecodeUtilities::totalFramesInTimeCode(label, 30, true), 1800);
    const std::string eleven = TimecodeUtilities::createTimecodeFromFrames(11 * 1800, 30, true);
    EXPECT_EQ(eleven, "00:11:00;02");
    EXPECT_NE(TimecodeUtilities::totalFramesInTimeCode(eleven, 30, true), 11 * 1800);
}

TEST(TimecodeStep, IncrementCarriesAcrossSecondsMinutesAndHours)
{
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:59:29", 1, 30), "00:01:00:00");
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:59:59:24", 1, 25), "01:00:00:00");
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("01:00:00:00", -1, 25), "00:59:59:24");
    // The separator is kept, and with it the drop-frame relabelling; a step
    // past the range of a frame count leaves the timecode as it was.
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:59;29", 1, 30), "00:01:00;02");
    EXPECT_EQ(TimecodeUtilities::incrementTimecode("00:00:01:00", INT32_MAX, 30), "00:00:01:00");
}

TEST(TimecodeAdjust, RescalesOnlyTheFrameField)
{
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:00:00:24", MovieRate::k25, MovieRate::k2997NonDrop), "01:00:00:28");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:02:03;29", MovieRate::k2997DropFrame, MovieRate::k25),
              "01:02:03;24");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:00:00:10", MovieRate::k24, MovieRate::k5994), "01:00:00:25");
    // Same numeric rate, or an invalid timecode: unchanged.
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("01:00:00:24", MovieRate::k2997NonDrop, MovieRate::k30), "01:00:00:24");
    EXPECT_EQ(TimecodeUtilities::adjustTimecode("1:00:00:24", MovieRate::k25, MovieRate::k30), "1:00:00:24");
}

struct RateTextCase {
    const char *text;
    bool drop;
    int32_t rate;
};

void PrintTo(const RateTextCase &c, std::ostream *out)
{
    *out << '"' << c.text << '"' << (c.drop ? " drop" : "");
}

class TimecodeRateText : public ::testing::TestWithParam<RateTextCase> {};

TEST_P(TimecodeRateText, ParsesInTheFixedOrder)
{
    const RateTextCase &c = GetParam();
    EXPECT_EQ(TimecodeUtilities::movieRateFromString(c.text, c.drop), c.rate) << c.text;
}

INSTANTIATE_TEST_SUITE_P(Texts, TimecodeRateText,
                         ::testing::Values(RateTextCase{"29.97", true, 100}, RateTextCase{"29.97", false, 101},
                                           RateTextCase{"2997", false, 101}, RateTextCase{"23.98", false, 103},
                                           RateTextCase{"24", true, 103}, RateTextCase{"25", false, 102},
                                           RateTextCase{"30", true, 110}, RateTextCase{"50", false, 105},
                                           RateTextCase{"59.94", false, 104}, RateTextCase{"5994", false, 104},
                                           RateTextCase{"60", false, 107}, RateTextCase{"", false, 107},
                                           // Order decides: "24" before "50", "25" before "50", "2997" before "5994".
                                           RateTextCase{"50/24", false, 103}, RateTextCase{"25 50", false, 102},
                                           RateTextCase{"5994 2997", false, 101},
                                           RateTextCase{"59.94i 30", false, 110}));

TEST(TimecodeRates, FromNumberUsesTheFirstTwoCharacters)
{
    const std::pair<double, int32_t> cases[] = {{30, 107}, {29.97, 101}, {23.976, 103}, {24, 103},
                                                {25, 102}, {50, 105},    {59.94, 104},  {60, 107},
                                                {5, 107},  {2997, 101},  {-29.97, 107}};
    for (const auto &[number, rate] : cases)
        EXPECT_EQ(TimecodeUtilities::movieRateFromNumber(number), rate) << number;
}

TEST(TimecodeRates, TablesOfNumericRatesAndTexts)
{
    const struct {
        int32_t id, numeric;
        const char *text;
    } rows[] = {{100, 30, "2997"}, {101, 30, "2997"}, {102, 25, "25"},   {103, 24, "24"}, {104, 60, "5994"},
                {105, 50, "50"},   {107, 30, "30"},   {108, 60, "5994"}, {109, 50, "25"}, {110, 30, "30"},
                {112, 24, "30"},   {113, 60, "30"},   {106, 30, "30"},   {-1, 30, "30"}};
    for (const auto &row : rows) {
        EXPECT_EQ(TimecodeUtilities::numericMovieRateFromRateDefinitions(row.id), row.numeric) << row.id;
        EXPECT_EQ(TimecodeUtilities::movieRateFromRateDefinition(row.id), row.text) << row.id;
    }
    EXPECT_EQ(TimecodeUtilities::allDefinedMovieRates(), (std::vector<int32_t>{101, 100, 110, 102, 103, 104, 105}));
}

TEST(TimecodeText, Validation)
{
    for (const char *good : {"01:00:00:00", "23:59:59;29", "99:99:99:99"})
        EXPECT_TRUE(TimecodeUtilities::isValidTimeCode(good)) << good;
    for (const char *bad : {"1:00:00:00", "01-00-00-00", "01:00:00:000", "01;00:00:00", "01:00;00:00", "0a:00:00:00",
                            "01:00:00.00", "", "01:00:00: 0"})
        EXPECT_FALSE(TimecodeUtilities::isValidTimeCode(bad)) << bad;
}

TEST(TimecodeText, DropFrameSeparator)
{
    EXPECT_TRUE(TimecodeUtilities::timecodeIsDropFrame("00:00:00;00"));
    EXPECT_FALSE(TimecodeUtilities::timecodeIsDropFrame("00:00:00:00"));
    EXPECT_FALSE(TimecodeUtilities::timecodeIsDropFrame("00:00:00"));
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("01:02:03:04", true), "01:02:03;04");
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("01:02:03;04", false), "01:02:03:04");
    EXPECT_EQ(TimecodeUtilities::augmentTimecodeDropFrame("1:02:03:04", true), "1:02:03:04");
}

TEST(TimecodeText, ReversalKeepsPairsAndPlacesTheDropSeparatorFirst)
{
    EXPECT_EQ(TimecodeUtilities::reverseTimecodeString("01:02:03;04"), "04;03:02:01");
    EXPECT_EQ(TimecodeUtilities::reverseTimecodeString("01:02:03:04"), "04:03:02:01");
    EXPECT_EQ(TimecodeUtilities::reverseTimecodeString("12345678"), "78:56:34:12");
    EXPECT_EQ(TimecodeUtilities::reverseTimecodeString("01;02;03;04"), "04;03:02:01");
    EXPECT_EQ(TimecodeUtilities::reverseTimecodeString("01:02:03"), std::nullopt);
    EXPECT_EQ(TimecodeUtilities::reverseTimecodeString("01:02:03:045"), std::nullopt);
}

TEST(TimecodeText, FieldTexts)
{
    EXPECT_EQ(TimecodeUtilities::formatTimeCodeSegmentFromInteger(7), "07");
    EXPECT_EQ(TimecodeUtilities::formatTimeCodeSegmentFromInteger(0), "00");
    EXPECT_EQ(TimecodeUtilities::formatTimeCodeSegmentFromInteger(10), "10");
    EXPECT_EQ(TimecodeUtilities::formatTimeCodeSegmentFromInteger(100), "100");
    EXPECT_EQ(TimecodeUtilities::formatTimeCodeSegmentFromInteger(-3), "0-3");
}

TEST(TimecodeText, UnitsAndRemainder)
{
    int32_t units = -1;
    EXPECT_EQ(TimecodeUtilities::findTimeRepresentedByFrames(95, 30, units), 5);
    EXPECT_EQ(units, 3);
    EXPECT_EQ(TimecodeUtilities::findTimeRepresentedByFrames(0, 30, units), 0);
    EXPECT_EQ(units, 0);
    EXPECT_EQ(TimecodeUtilities::findTimeRepresentedByFrames(-95, 30, units), -5);
    EXPECT_EQ(units, -3);
    EXPECT_EQ(TimecodeUtilities::findTimeRepresentedByFrames(95, 0, units), 0);
    EXPECT_EQ(units, 0);
}

TEST(TimecodeText, TimeOfDayWithZeroFrames)
{
    std::tm local{};
    local.tm_year = 124;
    local.tm_mon = 5;
    local.tm_mday = 1;
    local.tm_hour = 13;
    local.tm_min = 4;
    local.tm_sec = 5;
    local.tm_isdst = -1;
    const auto date = std::chrono::system_clock::from_time_t(std::mktime(&local)) + std::chrono::milliseconds(900);
    EXPECT_EQ(TimecodeUtilities::timecodeFromDate(date), "13:04:05:00");
}
