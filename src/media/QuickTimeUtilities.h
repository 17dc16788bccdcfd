#pragma once

#include "media/MovieBoxReader.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ferrydeck {

// Movie questions the card types ask, answered by our own box reader. A file
// that is not a movie answers none or 0, never an error.
class QuickTimeUtilities {
public:
    QuickTimeUtilities() = delete;

    static std::optional<MovieInfo> openMovie(const std::string &path);
    static int32_t videoTrackCount(const std::string &path);
    // In the movie's own time scale.
    static uint64_t durationOfMovie(const std::string &path);
    static uint32_t timeScaleOfMovie(const std::string &path);
    // Rounded down to whole milliseconds.
    static uint64_t durationOfMovieInMiliSeconds(const std::string &path);

    // Movies are only read, never rewritten: inserting a timecode track
    // answers false, logging "Insertion of the time code failed".
    static bool insertTimeCodeTrackIntoMovie(const std::string &path, int32_t rate, const std::string &startTime,
                                             bool includeTimeCode, int32_t fontSize);
    // Timecode tracks are not read yet: no start timecode, and the
    // unrecognised rate definition.
    static std::optional<std::string> startTimecodeOfMovie(const std::string &path);
    static int32_t rateDefinitionOfMovie(const std::string &path);
};

} // namespace ferrydeck
