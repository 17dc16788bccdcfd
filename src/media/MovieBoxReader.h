#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace ferrydeck {

// What the card types need to know about a movie file.
struct MovieInfo {
    uint32_t timeScale = 0; // units per second of `duration`
    uint64_t duration = 0;  // in `timeScale` units
    int32_t trackCount = 0;
    int32_t videoTrackCount = 0; // tracks whose media handler is "vide"
};

// Reads the box structure of ISO base media (MP4) and QuickTime files: the
// first "moov" box, its "mvhd" and each "trak"'s "mdia"/"hdlr". Files come
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
