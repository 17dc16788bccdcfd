#include "media/QuickTimeUtilities.h"

#include "fsutil/SystemLog.h"
#include "media/TimecodeUtilities.h"

#include <cstdio>

namespace ferrydeck {

std::optional<MovieInfo> QuickTimeUtilities::openMovie(const std::string &path)
{
    return MovieBoxReader::readFile(path);
}

int32_t QuickTimeUtilities::videoTrackCount(const std::string &path)
{
    const auto movie = openMovie(path);
    return movie ? movie->videoTrackCount : 0;
}

uint64_t QuickTimeUtilities::durationOfMovie(const std::string &path)
{
    const auto movie = openMovie(path);
    return movie ? movie->duration : 0;
}

uint32_t QuickTimeUtilities::timeScaleOfMovie(const std::string &path)
{
    const auto movie = openMovie(path);
    return movie ? movie->timeScale : 0;
}

uint64_t QuickTimeUtilities::durationOfMovieInMiliSeconds(const std::string &path)
{
    const auto movie = openMovie(path);
    if (!movie || movie->timeScale == 0) return 0;
    // Split so that a 64-bit duration cannot overflow the multiplication.
    const uint64_t scale = movie->timeScale;
    return movie->duration / scale * 1000 + movie->duration % scale * 1000 / scale;
}

bool QuickTimeUtilities::insertTimeCodeTrackIntoMovie(const std::string &path, int32_t, const std::string &, bool,
                                                      int32_t)
{
    systemLog("Problem occured while trying to create a new track for the movie: %s", path.c_str());
    systemLog("Insertion of the time code failed: %s", path.c_str());
    return false;
}

namespace {

struct RateRow {
    const char *text;
    const char *name; // none for the rates without a definition name
    int32_t rate;
    bool dropFrame;
};

// Order matters: a text or an id answers its first row.
constexpr RateRow kRates[] = {
    {"2997", "NTSC nondrop", MovieRate::k2997NonDrop, false},
    {"2997", "NTSC drop", MovieRate::k2997DropFrame, true},
    {"2500", "PAL", MovieRate::k25, false},
    {"2400", "24P", MovieRate::k24, false},
    {"2398", "FILM", MovieRate::k24, false},
    {"5000", "50p", MovieRate::k50, false},
    {"2500", "50i", 109, false},
    {"5994", "5994P", MovieRate::k5994, false},
    {"5994", "5994i", 108, false},
    {"3000", nullptr, MovieRate::k30, false},
    // No rate id holds 60 whole frames.
    {"6000", nullptr, MovieRate::kUnrecognised, false},
};

// A frame number as a label. Drop frame skips the labels 00 and 01 (00 to 03
// at 60) of every minute but each tenth, so the number is first turned into
// the count the labels would have without the skips.
std::optional<std::string> labelForFrame(int64_t frame, uint32_t framesPerSecond, bool dropFrame)
{
    if (frame < 0 || framesPerSecond == 0) return std::nullopt;
    const int64_t fps = framesPerSecond;
    if (dropFrame && fps >= 30) {
        const int64_t dropped = fps / 15; // 2 at 30, 4 at 60
        const int64_t perMinute = fps * 60 - dropped;
        const int64_t perTenMinutes = perMinute * 10 + dropped;
        const int64_t tens = frame / perTenMinutes, rest = frame % perTenMinutes;
        frame += dropped * 9 * tens + (rest > dropped ? dropped * ((rest - dropped) / perMinute) : 0);
    }
    const int64_t frames = frame % fps, seconds = frame / fps;
    const int64_t hours = seconds / 3600 % 24, minutes = seconds / 60 % 60;
    char text[32];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld%c%02lld", static_cast<long long>(hours),
                  static_cast<long long>(minutes), static_cast<long long>(seconds % 60), dropFrame ? ';' : ':',
                  static_cast<long long>(frames));
    return std::string(text);
}

} // namespace

std::optional<std::string> QuickTimeUtilities::startTimecodeOfMovie(const std::string &path)
{
    const auto movie = openMovie(path);
    if (!movie || !movie->timecode || !movie->timecode->firstFrame) return std::nullopt;
    const TimecodeTrack &track = *movie->timecode;
    if (track.flags & TimecodeTrack::kCounter) return std::nullopt;
    return labelForFrame(*track.firstFrame, track.framesPerSecond, track.flags & TimecodeTrack::kDropFrame);
}

std::optional<std::string> QuickTimeUtilities::timecodeRateTextOfMovie(const std::string &path)
{
    const auto movie = openMovie(path);
    if (!movie || !movie->timecode) return std::nullopt;
    return rateTextForTimeScale(movie->timecode->timeScale, movie->timecode->frameDuration);
}

int32_t QuickTimeUtilities::rateDefinitionOfMovie(const std::string &path)
{
    const auto movie = openMovie(path);
    if (!movie || !movie->timecode) return MovieRate::kUnrecognised;
    const auto text = rateTextForTimeScale(movie->timecode->timeScale, movie->timecode->frameDuration);
    if (!text) return MovieRate::kUnrecognised;
    return rateDefinitionFromRateText(*text, movie->timecode->flags & TimecodeTrack::kDropFrame);
}

std::optional<std::string> QuickTimeUtilities::rateTextForTimeScale(uint32_t timeScale, uint32_t frameDuration)
{
    if (timeScale == 0 || frameDuration == 0) return std::nullopt;
    const uint64_t hundredths = (uint64_t{timeScale} * 100 + frameDuration / 2) / frameDuration;
    return std::to_string(hundredths);
}

int32_t QuickTimeUtilities::rateDefinitionFromRateText(const std::string &text, bool dropFrame)
{
    for (const RateRow &row : kRates) {
        if (text == row.text && (row.dropFrame == dropFrame || text != "2997")) return row.rate;
    }
    return MovieRate::kUnrecognised;
}

std::optional<std::string> QuickTimeUtilities::rateTextForRateDefinition(int32_t rate)
{
    for (const RateRow &row : kRates) {
        if (row.rate == rate && rate != MovieRate::kUnrecognised) return std::string(row.text);
    }
    return std::nullopt;
}

int32_t QuickTimeUtilities::rateDefinitionFromName(const std::string &name)
{
    for (const RateRow &row : kRates) {
        if (row.name && name == row.name) return row.rate;
    }
    return MovieRate::kUnrecognised;
}

std::optional<std::string> QuickTimeUtilities::nameOfRateDefinition(int32_t rate)
{
    for (const RateRow &row : kRates) {
        if (row.rate == rate && row.name) return std::string(row.name);
    }
    return std::nullopt;
}

} // namespace ferrydeck
