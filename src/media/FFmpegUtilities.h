#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// One transcoder command: the argument vector that is run (no shell ever
// sees it) and the command line as written, quotes included, for logs.
struct FFmpegCommand {
    std::vector<std::string> arguments;
    std::string commandLine;
};

// Drives the external ffmpeg program and reads movie facts out of the text
// it prints about its input ("Stream #" lines, "Duration:"). The program is
// "/usr/local/bin/ffmpeg" unless FERRYDECK_FFMPEG names another. Each
// command line is split at its blanks before the paths are put in, so a path
// is always one argument whatever it holds. Nothing throws.
class FFmpegUtilities {
public:
    FFmpegUtilities() = delete;

    struct Dimensions {
        int32_t width = 0;
        int32_t height = 0;
    };

    static std::string ffmpegPath();
    static std::string findFFmpegCodecForCodec(int32_t codec);
    static std::optional<std::vector<std::string>> findFileExtensionsForCodec(int32_t codec);

    static FFmpegCommand createMovieCommand(const std::string &movie, const std::string &fromMovie, int32_t usingCodec);
    // True when ffmpeg exits with status 0.
    static bool createMovie(const std::string &movie, const std::string &fromMovie, int32_t usingCodec);

    // The conversion to an intra-frame MPEG-4 QuickTime movie picks its
    // command form so:
    // - no size (0 x 0): a 320x180 preview, with the source's audio coded as
    //   "adpcm_ima_qt" when the description shows an audio stream;
    // - a size and no audio stream: that size ("-s WxH");
    // - a size and an audio stream: the audio keeps the source's codec, and
    //   the picture is scaled ("-s WxH") unless the description already shows
    //   that very size, in which case no scaling is asked for.
    // A failed conversion logs "Failure to complete conversion sequence".
    static FFmpegCommand convertMovieCommand(const std::string &source, const std::string &tempMovie,
                                             Dimensions dimensions, const std::string &ffmpegFileDescription);
    static bool convertMovieUsingFFmpeg(const std::string &source, const std::string &tempMovie, Dimensions dimensions,
                                        const std::string &ffmpegFileDescription);
    static bool convertMovieUsingFFmpeg(const std::string &source, const std::string &tempMovie,
                                        const std::string &ffmpegFileDescription);

    // Fields of the first "Video:" or "Audio:" stream, taken the simple way:
    // every ":" made a ",", then split at ",". The picture size keeps the
    // blank before its "[" (intended) and is none without a "[".
    static std::optional<std::string> findFFmpegVideoCodec(const std::string &description);
    static std::optional<std::string> findFFmpegAudioCodec(const std::string &description);
    static std::optional<std::string> findFFmpegVideoDimensions(const std::string &description);
    static std::optional<std::string> findFFmpegAudioRate(const std::string &description);

    // "ffmpeg -i MOVIE", whose report (standard output and error) is the
    // description the finders above read.
    static FFmpegCommand describeMovieCommand(const std::string &movie);
    static std::optional<std::string> ffmpegFileDescription(const std::string &movie);
    // The "Duration:" field, HH:MM:SS.ff up to its ",", in whole milliseconds
    // (the fraction read to the millisecond, further digits dropped); 0 when
    // ffmpeg cannot be run or reports no duration ("N/A").
    static int64_t durationForVideoFileInMiliSeconds(const std::string &movie);

    // There is no script interpreter here: the answer is the error text.
    static std::string runAppleScriptTerminalCommand(const std::string &script);
};

} // namespace ferrydeck
