#include "media/TimecodeUtilities.h"

#include "fsutil/SystemLog.h"

#include <cinttypes>
#include <climits>
#include <cstdlib>
#include <ctime>

namespace ferrydeck {

namespace {

struct RateEntry {
    int32_t id;
    int32_t numeric;
    const char *text;
};

// Ids no parser yields still have their answers, as the card files use them.
constexpr RateEntry kRates[] = {
    {100, 30, "2997"}, {101, 30, "2997"}, {102, 25, "25"}, {103, 24, "24"}, {104, 60, "5994"}, {105, 50, "50"},
    {107, 30, "30"},   {108, 60, "5994"}, {109, 50, "25"}, {110, 30, "30"}, {112, 24, "30"},   {113, 60, "30"},
};

const RateEntry *findRate(int32_t id)
{
    for (const RateEntry &entry : kRates) {
        if (entry.id == id) return &entry;
    }
    return nullptr;
}

bool contains(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

// A field read the lenient way: leading blanks, an optional sign, then digits
// up to the first non-digit; no digits read as 0.
int64_t fieldValue(const std::string &timecode, size_t position)
{
    const std::string field = timecode.substr(position, 2);
    return std::strtoll(field.c_str(), nullptr, 10);
}

} // namespace

int32_t TimecodeUtilities::findTimeRepresentedByFrames(int32_t frames, int32_t framesPerMeasurment, int32_t &time)
{
    time = 0;
    if (frames == 0 || framesPerMeasurment == 0) return 0;
    if (frames == INT32_MIN && framesPerMeasurment == -1) return 0;
    time = frames / framesPerMeasurment;
    return frames % framesPerMeasurment;
}

int32_t TimecodeUtilities::numericMovieRateFromRateDefinitions(int32_t rate)
{
    const RateEntry *entry = findRate(rate);
    return entry ? entry->numeric : 30;
}

std::string TimecodeUtilities::movieRateFromRateDefinition(int32_t rate)
{
    const RateEntry *entry = findRate(rate);
    return entry ? entry->text : "30";
}

int32_t TimecodeUtilities::movieRateFromString(const std::string &rate, bool dropFrame)
{
    if (contains(rate, "29.97") || contains(rate, "2997"))
        return dropFrame ? MovieRate::k2997DropFrame : MovieRate::k2997NonDrop;
    if (contains(rate, "24") || contains(rate, "23")) return MovieRate::k24;
    if (contains(rate, "25")) return MovieRate::k25;
    if (contains(rate, "30")) return MovieRate::k30;
    if (contains(rate, "50")) return MovieRate::k50;
    if (contains(rate, "5994") || contains(rate, "59.94")) return MovieRate::k5994;
    return MovieRate::kUnrecognised;
}

int32_t TimecodeUtilities::movieRateFromNumber(double number)
{
    const std::string text = stringWithFormat("%.15g", number);
    if (text.size() < 2) return MovieRate::kUnrecognised;
    const std::string head = text.substr(0, 2);
    if (head == "29") return MovieRate::k2997NonDrop;
    if (head == "23" || head == "24") return MovieRate::k24;
    if (head == "25") return MovieRate::k25;
    if (head == "50") return MovieRate::k50;
    if (head == "59") return MovieRate::k5994;
    return MovieRate::kUnrecognised;
}

std::vector<int32_t> TimecodeUtilities::allDefinedMovieRates()
{
    return {MovieRate::k2997NonDrop, MovieRate::k2997DropFrame, MovieRate::k30, MovieRate::k25,
            MovieRate::k24,          MovieRate::k5994,          MovieRate::k50};
}

std::optional<std::string> TimecodeUtilities::reverseTimecodeString(const std::string &timecode)
{
    std::string digits;
    for (char c : timecode) {
        if (c != ';' && c != ':') digits += c;
    }
    if (digits.size() != 8) return std::nullopt;
    const bool drop = contains(timecode, ";");
    std::string result = digits.substr(0, 2);
    for (size_t pair = 1; pair < 4; ++pair) {
        const char *separator = (pair == 3 && drop) ? ";" : ":";
        result = digits.substr(pair * 2, 2) + separator + result;
    }
    return result;
}

std::string TimecodeUtilities::augmentTimecodeDropFrame(const std::string &timecode, bool dropFrameStatus)
{
    if (!isValidTimeCode(timecode)) return timecode;
    std::string result = timecode;
    result[8] = dropFrameStatus ? ';' : ':';
    return result;
}

std::string TimecodeUtilities::formatTimeCodeSegmentFromInteger(int32_t value)
{
    return value > 9 ? stringWithFormat("%d", value) : stringWithFormat("0%d", value);
}

int32_t TimecodeUtilities::totalFramesInTimeCode(const std::string &timecode, int32_t frameRate)
{
    return totalFramesInTimeCode(timecode, frameRate, false);
}

int32_t TimecodeUtilities::totalFramesInTimeCode(const std::string &timecode, int32_t frameRate, bool andIsDropFrame)
{
    if (timecode.size() < 11) return 0;
    const int64_t hours = fieldValue(timecode, 0);
    const int64_t minutes = fieldValue(timecode, 3);
    const int64_t seconds = fieldValue(timecode, 6);
    const int64_t frames = fieldValue(timecode, 9);
    int64_t total = (hours * 3600 + minutes * 60 + seconds) * frameRate + frames;
    if (andIsDropFrame) {
        const int64_t totalMinutes = hours * 60 + minutes;
        total = total - 2 * totalMinutes + 2 * (totalMinutes / 10);
    }
    if (total > INT32_MAX || total < INT32_MIN) return 0;
    return static_cast<int32_t>(total);
}

std::string TimecodeUtilities::createTimecodeFromFrames(int32_t frames, int32_t framesRate, bool dropFrame)
{
    const char *separator = dropFrame ? ";" : ":";
    if (frames == 0 || framesRate <= 0) return stringWithFormat("00:00:00%s00", separator);
    const int64_t perHour = int64_t{framesRate} * 3600;
    const int64_t perMinute = int64_t{framesRate} * 60;
    const int64_t hours = frames / perHour;
    int64_t rest = frames % perHour;
    const int64_t minutes = rest / perMinute;
    rest %= perMinute;
    const int64_t seconds = rest / framesRate;
    int64_t frame = rest % framesRate;
    // The only drop-frame compensation, intended: the first label of a minute
    // that drops frames becomes 02; the count itself is not corrected.
    if (dropFrame && frame == 0 && seconds == 0 && minutes > 0 && minutes % 10 != 0) frame = 2;
    return formatTimeCodeSegmentFromInteger(static_cast<int32_t>(hours)) + ":" +
           formatTimeCodeSegmentFromInteger(static_cast<int32_t>(minutes)) + ":" +
           formatTimeCodeSegmentFromInteger(static_cast<int32_t>(seconds)) + separator +
           formatTimeCodeSegmentFromInteger(static_cast<int32_t>(frame));
}

bool TimecodeUtilities::isValidTimeCode(const std::string &timecode)
{
    if (timecode.size() != 11) return false;
    if (timecode[2] != ':' || timecode[5] != ':') return false;
    if (timecode[8] != ':' && timecode[8] != ';') return false;
    for (size_t i : {0, 1, 3, 4, 6, 7, 9, 10}) {
        if (timecode[i] < '0' || timecode[i] > '9') return false;
    }
    return true;
}

bool TimecodeUtilities::timecodeIsDropFrame(const std::string &timecode)
{
    return timecode.size() > 8 && timecode[8] == ';';
}

std::string TimecodeUtilities::incrementTimecode(const std::string &timecode, int32_t framesToStep, int32_t frameRate)
{
    const bool drop = timecodeIsDropFrame(timecode);
    const int64_t total = int64_t{totalFramesInTimeCode(timecode, frameRate)} + framesToStep;
    if (total > INT32_MAX || total < INT32_MIN) return timecode;
    return createTimecodeFromFrames(static_cast<int32_t>(total), frameRate, drop);
}

std::string TimecodeUtilities::adjustTimecode(const std::string &timecode, int32_t fromRecordedRate,
                                              int32_t toTimecodeRate)
{
    const int32_t recorded = numericMovieRateFromRateDefinitions(fromRecordedRate);
    const int32_t target = numericMovieRateFromRateDefinitions(toTimecodeRate);
    if (!isValidTimeCode(timecode) || recorded == target) return timecode;
    const int64_t frames = fieldValue(timecode, 9);
    const double scaled = static_cast<double>(target) / static_cast<double>(recorded) * static_cast<double>(frames);
    return timecode.substr(0, 9) + formatTimeCodeSegmentFromInteger(static_cast<int32_t>(scaled));
}

std::string TimecodeUtilities::timecodeFromDate(std::chrono::system_clock::time_point date)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm local{};
    if (!::localtime_r(&seconds, &local)) return "00:00:00:00";
    char text[16];
    if (std::strftime(text, sizeof text, "%H:%M:%S:00", &local) == 0) return "00:00:00:00";
    return text;
}

} // namespace ferrydeck
