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
    // answers false, logging "Problem occured while trying to create a new
    // track for the movie" and "Insertion of the time code failed".
    static bool insertTimeCodeTrackIntoMovie(const std::string &path, int32_t rate, const std::string &startTime,
                                             bool includeTimeCode, int32_t fontSize);
    // From the first timecode track: its first sample as "HH:MM:SS:FF" (";"
    // before the frames for drop frame), none without a readable one or for
    // a counter track.
    static std::optional<std::string> startTimecodeOfMovie(const std::string &path);
    // The rate id of the first timecode track's rate, 107 without one.
    static int32_t rateDefinitionOfMovie(const std::string &path);
    // The rate text of the first timecode track, such as "2997"; none without one.
    static std::optional<std::string> timecodeRateTextOfMovie(const std::string &path);

    // Rate texts ("2997", "2398", "2400", "2500", "3000", "5000", "5994",
    // "6000"), definition names ("NTSC drop", "PAL", "24P", ...) and rate
    // ids. Several texts and names share an id; from an id the first of its
    // table row wins. Unknown texts and names give 107.
    static int32_t rateDefinitionFromRateText(const std::string &text, bool dropFrame);
    static std::optional<std::string> rateTextForRateDefinition(int32_t rate);
    static int32_t rateDefinitionFromName(const std::string &name);
    static std::optional<std::string> nameOfRateDefinition(int32_t rate);
    // A rate of timeScale / frameDuration frames per second as its rate text,
    // in hundredths, rounded: 30000 / 1001 gives "2997".
    static std::optional<std::string> rateTextForTimeScale(uint32_t timeScale, uint32_t frameDuration);
};

} // namespace ferrydeck
