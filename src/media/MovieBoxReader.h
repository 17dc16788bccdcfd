#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace ferrydeck {

// The sample description of the first timecode ("tmcd") track and the
// frame number its first sample holds.
struct TimecodeTrack {
    static constexpr uint32_t kDropFrame = 0x1;
    static constexpr uint32_t kCounter = 0x8;
    uint32_t flags = 0;
    uint32_t timeScale = 0;            // units per second of `frameDuration`
    uint32_t frameDuration = 0;        // so the rate is timeScale / frameDuration
    uint32_t framesPerSecond = 0;      // the whole number the frame field counts to
    std::optional<int32_t> firstFrame; // none when the sample cannot be read
};

// What the card types need to know about a movie file.
struct MovieInfo {
    uint32_t timeScale = 0; // units per second of `duration`
    uint64_t duration = 0;  // in `timeScale` units
    int32_t trackCount = 0;
    int32_t videoTrackCount = 0; // tracks whose media handler is "vide"
    std::optional<TimecodeTrack> timecode;
};

// Reads the box structure of ISO base media (MP4) and QuickTime files: the
// first "moov" box, its "mvhd" and each "trak"'s "mdia"/"hdlr", and for the
// first timecode track its "stsd" entry and the first chunk of "stco"/"co64". Files come
// from cards that may be cut short or damaged, so every size is checked
// against its container before it is believed, reads never go past the end,
// and the number of boxes looked at is bounded. Anything that does not hold
// a complete "moov" with a usable "mvhd" is not a movie.
class MovieBoxReader {
public:
    MovieBoxReader() = delete;

    static std::optional<MovieInfo> readFile(const std::string &path);
    static std::optional<MovieInfo> readMemory(const uint8_t *data, size_t size);
};

} // namespace ferrydeck
