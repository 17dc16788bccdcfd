#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ferrydeck {
class VolumeService;
}

namespace ferrydeck::test {

// The card layouts the application knows, as a camera would leave them.
enum class CardKind {
    P2,
    XdcamEx,
    XdcamHd,
    JvcMp4,
    JvcQuickTime,
    CanonEos,
    Red,
    PanasonicAvchd,
    CanonAvchd,
    SonyAvchd,
    GoPro,
    QuickTime,
};

const char *cardKindName(CardKind kind);

struct BuiltCard {
    std::string root;
    std::vector<std::string> clips; // the video files, absolute, in recording order
};

// Makes `rootDir` (and missing parents) a minimal valid card of the kind: its
// folder skeleton, index files and two small clips (one for RED and the
// AVCHD kinds). Movies are real enough for the movie reader.
BuiltCard buildCard(CardKind kind, const std::string &rootDir);

// Builds the card in `staging` and moves it to `mountPoint` in one rename,
// as a card is mounted whole; the result names it at `mountPoint`.
BuiltCard insertCard(CardKind kind, const std::string &staging, const std::string &mountPoint);

// Big-endian fields, a movie box of `type` around `payload`, a movie header
// (version 0 or 1) and a track whose handler is `handler` ("vide", "soun"):
// QuickTime writes "mhlr" as its component type, MP4 zeros.
std::string be32(uint32_t value);
std::string be64(uint64_t value);
std::string box(const std::string &type, const std::string &payload);
std::string mvhd(int version, uint32_t timeScale, uint64_t duration);
std::string trak(const std::string &handler, bool quickTime);

// A movie file with one video track (when `withVideo`) and the duration in
// units of `timeScale`.
std::string movieBytes(uint32_t timeScale, uint64_t duration, bool withVideo = true);

// A QuickTime movie whose only track is a timecode track: one "tmcd" sample
// description and one sample, `firstFrame`, in the media data before the
// movie box, found through "stco" (or "co64").
struct TimecodeMovie {
    uint32_t timeScale = 30000;
    uint32_t frameDuration = 1001;
    uint8_t framesPerSecond = 30;
    uint32_t flags = 0;
    int32_t firstFrame = 0;
    bool sixtyFourBitOffsets = false;
};
std::string timecodeMovieBytes(const TimecodeMovie &movie);

// One P2 clip index file. Links are written only when given: `top` as the
// series' first clip, `previous`/`next` as clip names.
struct P2Clip {
    explicit P2Clip(std::string clipName = "0001AB")
        : name(std::move(clipName))
    {
    }
    std::string name;
    std::string globalClipId = "060A2B340101010501010D4313000000C6A2A4E0";
    std::string startTimecode = "10:00:00:00";
    std::string editUnit = "1001/30000";
    std::string frameRate = "29.97i";
    bool dropFrame = true;
    std::optional<std::string> userClipName;
    std::optional<std::string> shotId;
    std::optional<std::string> top;
    std::optional<std::string> previous;
    std::optional<std::string> next;
};
std::string p2ClipXml(const P2Clip &clip);

// Everything below `root`, relative and sorted, folders marked with a
// trailing "/" and files followed by their contents' size: "A/", "A/b.txt 3".
std::vector<std::string> listTree(const std::string &root);

// Makes every sub-folder of `mediaRoot` a mounted removable volume for the
// whole process while it lives (the simulated card reader).
class ScopedMediaRoot {
public:
    explicit ScopedMediaRoot(const std::string &mediaRoot);
    ~ScopedMediaRoot();
    ScopedMediaRoot(const ScopedMediaRoot &) = delete;
    ScopedMediaRoot &operator=(const ScopedMediaRoot &) = delete;
};

} // namespace ferrydeck::test
