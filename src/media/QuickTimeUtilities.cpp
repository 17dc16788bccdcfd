#include "media/QuickTimeUtilities.h"

#include "fsutil/SystemLog.h"
#include "media/TimecodeUtilities.h"

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
    systemLog("Insertion of the time code failed: %s", path.c_str());
    return false;
}

std::optional<std::string> QuickTimeUtilities::startTimecodeOfMovie(const std::string &)
{
    return std::nullopt;
}

int32_t QuickTimeUtilities::rateDefinitionOfMovie(const std::string &)
{
    return MovieRate::kUnrecognised;
}

} // namespace ferrydeck
