#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Movie-rate ids, as stored and exchanged with the card types.
namespace MovieRate {
constexpr int32_t k2997DropFrame = 100;
constexpr int32_t k2997NonDrop = 101;
constexpr int32_t k25 = 102;
constexpr int32_t k24 = 103;
constexpr int32_t k5994 = 104;
constexpr int32_t k50 = 105;
constexpr int32_t kUnrecognised = 107;
constexpr int32_t k30 = 110;
} // namespace MovieRate

// SMPTE-style timecodes "HH:MM:SS:FF" (";" before the frames for drop frame)
// and movie-rate ids. The arithmetic is deliberately simple: drop frame only
// relabels the first frame of a minute (see createTimecodeFromFrames), so a
// drop-frame count does not always survive a round trip. Nothing throws.
class TimecodeUtilities {
public:
    TimecodeUtilities() = delete;

    // Whole units of `framesPerMeasurment` in `frames` (into `time`) and the
    // remainder; a unit of 0 frames gives 0 and 0.
    static int32_t findTimeRepresentedByFrames(int32_t frames, int32_t framesPerMeasurment, int32_t &time);
    static int32_t numericMovieRateFromRateDefinitions(int32_t rate);
    static std::string movieRateFromRateDefinition(int32_t rate);
    // Substring tests in a fixed order, kept: "24" is tried before "50", so a
    // text holding both is 24.
    static int32_t movieRateFromString(const std::string &rate, bool dropFrame);
    // By the first two characters of the number's decimal text; "30" and "60"
    // are deliberately not recognised.
    static int32_t movieRateFromNumber(double number);
    static std::vector<int32_t> allDefinedMovieRates();

    // The four fields in reverse order; the third separator put in is ";"
    // when the input held one, so 01:02:03;04 gives 04;03:02:01 (intended).
    static std::optional<std::string> reverseTimecodeString(const std::string &timecode);
    static std::string augmentTimecodeDropFrame(const std::string &timecode, bool dropFrameStatus);
    // Two digits below 10; 100 and more give three, a negative value gets its
    // "0" before the sign (kept).
    static std::string formatTimeCodeSegmentFromInteger(int32_t value);

    static int32_t totalFramesInTimeCode(const std::string &timecode, int32_t frameRate);
    // Two frames dropped per minute except every tenth; 0 when the fields
    // cannot be read.
    static int32_t totalFramesInTimeCode(const std::string &timecode, int32_t frameRate, bool andIsDropFrame);
    static std::string createTimecodeFromFrames(int32_t frames, int32_t framesRate, bool dropFrame);
    static bool isValidTimeCode(const std::string &timecode);
    static bool timecodeIsDropFrame(const std::string &timecode);
    // Counts frames without drop and relabels with the input's separator.
    static std::string incrementTimecode(const std::string &timecode, int32_t framesToStep, int32_t frameRate);
    // Scales only the frame field by the ratio of the two numeric rates.
    static std::string adjustTimecode(const std::string &timecode, int32_t fromRecordedRate, int32_t toTimecodeRate);
    // The local time of day with a frame field of "00".
    static std::string timecodeFromDate(std::chrono::system_clock::time_point date);
};

} // namespace ferrydeck
