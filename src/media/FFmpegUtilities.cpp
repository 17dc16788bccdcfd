#include "media/FFmpegUtilities.h"

#include "fsutil/Process.h"
#include "fsutil/SystemLog.h"

#include <cctype>
#include <cstdlib>

namespace ferrydeck {

namespace {

constexpr const char *kWhiteSpace = " \t\r\n\v\f";
constexpr const char *kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

std::string trim(const std::string &text, const char *set)
{
    const size_t first = text.find_first_not_of(set);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(set) - first + 1);
}

std::vector<std::string> split(const std::string &text, const std::string &separator)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + separator.size())
        pieces.push_back(text.substr(start, at - start));
    pieces.push_back(text.substr(start));
    return pieces;
}

// Each "%@" of `format` takes the next value. The line is the format filled
// in; the arguments are the format's blank-separated words filled in one by
// one, a word's enclosing \"...\" dropped, so a value never splits or quotes.
FFmpegCommand expand(const std::string &format, const std::vector<std::string> &values)
{
    FFmpegCommand command;
    size_t next = 0;
    auto fill = [&](const std::string &text) {
        std::string out;
        size_t start = 0;
        for (size_t at; (at = text.find("%@", start)) != std::string::npos; start = at + 2) {
            out += text.substr(start, at - start);
            if (next < values.size()) out += values[next++];
        }
        return out + text.substr(start);
    };
    for (const std::string &word : split(format, " ")) {
        if (word.empty()) continue;
        const bool quoted = word.size() >= 2 && word.front() == '"' && word.back() == '"';
        command.arguments.push_back(fill(quoted ? word.substr(1, word.size() - 2) : word));
    }
    next = 0;
    command.commandLine = fill(format);
    return command;
}

// The stream piece of the description holding `kind` ("Video:", "Audio:"),
// as its fields.
std::optional<std::vector<std::string>> streamFields(const std::string &description, const char *kind)
{
    for (const std::string &piece : split(description, "Stream #")) {
        if (piece.find(kind) == std::string::npos) continue;
        std::string commas = piece;
        for (char &c : commas) {
            if (c == ':') c = ',';
        }
        return split(commas, ",");
    }
    return std::nullopt;
}

std::optional<std::string> codecField(const std::string &description, const char *kind)
{
    const auto fields = streamFields(description, kind);
    if (!fields || fields->size() < 3) return std::nullopt;
    return trim((*fields)[2], kWhiteSpace);
}

bool runTranscoder(const FFmpegCommand &command)
{
    const Process::Result result = Process::run(command.arguments, Process::Output::ToStandardError);
    if (!result.succeeded()) systemLog("ffmpeg failed (status %d): %s", result.status, command.commandLine.c_str());
    return result.succeeded();
}

} // namespace

std::string FFmpegUtilities::ffmpegPath()
{
    const char *configured = std::getenv("FERRYDECK_FFMPEG");
    if (configured && *configured) return configured;
    return "/usr/local/bin/ffmpeg";
}

std::string FFmpegUtilities::findFFmpegCodecForCodec(int32_t codec)
{
    switch (codec) {
    case 2:
        return "libx264";
    case 4:
    case 5:
        return "mpeg1video";
    case 6:
        return "ffvhuff";
    case 7:
        return "flv";
    case 8:
        return "dvvideo";
    case 9:
        return "mjpeg";
    case 10:
        return "wmv2";
    default:
        return "mpeg4";
    }
}

std::optional<std::vector<std::string>> FFmpegUtilities::findFileExtensionsForCodec(int32_t codec)
{
    using List = std::vector<std::string>;
    switch (codec) {
    case 1:
        return List{"mov"};
    case 2:
        return List{"mp4", "m4v", "mov"};
    case 3:
        return List{"mp4", "mov"};
    case 4:
    case 5:
        return List{"mpg"};
    case 6:
        return List{"avi"};
    case 7:
        return List{"flv", "f4v"};
    case 8:
        return List{"mov"};
    case 9:
        return List{"mov", "avi"};
    case 10:
        return List{"wmv"};
    default:
        return std::nullopt;
    }
}

FFmpegCommand FFmpegUtilities::createMovieCommand(const std::string &movie, const std::string &fromMovie,
                                                  int32_t usingCodec)
{
    const std::vector<std::string> values{ffmpegPath(), fromMovie, findFFmpegCodecForCodec(usingCodec), movie};
    if (usingCodec == 2)
        return expand("%@ -i \"%@\" -ab 96k -vcodec %@ -vpre hq -crf 22 -threads 0 -copyts -y \"%@\"", values);
    return expand("%@ -i \"%@\" -vcodec %@  -sameq -copyts -y \"%@\"", values);
}

bool FFmpegUtilities::createMovie(const std::string &movie, const std::string &fromMovie, int32_t usingCodec)
{
    return runTranscoder(createMovieCommand(movie, fromMovie, usingCodec));
}

FFmpegCommand FFmpegUtilities::convertMovieCommand(const std::string &source, const std::string &tempMovie,
                                                   Dimensions dimensions, const std::string &ffmpegFileDescription)
{
    const std::string ffmpeg = ffmpegPath();
    const std::optional<std::string> audio = findFFmpegAudioCodec(ffmpegFileDescription);
    if (dimensions.width <= 0 || dimensions.height <= 0) {
        if (audio)
            return expand("%@ -i \"%@\" -f mov -acodec adpcm_ima_qt -pix_fmt rgb24 -vcodec mpeg4 -deinterlace "
                          "-qscale 1 -qmin 1 -trellis 1 -intra -s 320x180 -copyts -y \"%@\"",
                          {ffmpeg, source, tempMovie});
        return expand("%@ -i \"%@\" -f mov -pix_fmt rgb24 -vcodec mpeg4 -deinterlace -qscale 1 -qmin 1 -trellis 1 "
                      "-intra -s 320x180 -copyts -y \"%@\"",
                      {ffmpeg, source, tempMovie});
    }
    const std::string width = std::to_string(dimensions.width), height = std::to_string(dimensions.height);
    if (!audio)
        return expand("%@ -i \"%@\" -f mov -pix_fmt rgb24 -vcodec mpeg4 -deinterlace -qscale 1 -qmin 1 -trellis 1 "
                      "-intra -s %@x%@ -copyts -y \"%@\"",
                      {ffmpeg, source, width, height, tempMovie});
    const std::string size = width + "x" + height;
    const std::optional<std::string> sourceSize = findFFmpegVideoDimensions(ffmpegFileDescription);
    if (sourceSize && trim(*sourceSize, kWhiteSpace) == size)
        return expand("%@ -i \"%@\" -f mov -acodec %@ -pix_fmt rgb24 -vcodec mpeg4 -deinterlace -qscale 1 -qmin 1 "
                      "-trellis 1 -intra -copyts -y \"%@\"",
                      {ffmpeg, source, *audio, tempMovie});
    return expand("%@ -i \"%@\" -f mov -acodec %@ -pix_fmt rgb24 -vcodec mpeg4 -deinterlace -qscale 1 -qmin 1 "
                  "-trellis 1 -intra -s %@ -copyts -y \"%@\"",
                  {ffmpeg, source, *audio, size, tempMovie});
}

bool FFmpegUtilities::convertMovieUsingFFmpeg(const std::string &source, const std::string &tempMovie,
                                              Dimensions dimensions, const std::string &ffmpegFileDescription)
{
    if (runTranscoder(convertMovieCommand(source, tempMovie, dimensions, ffmpegFileDescription))) return true;
    systemLog("Failure to complete conversion sequence");
    return false;
}

bool FFmpegUtilities::convertMovieUsingFFmpeg(const std::string &source, const std::string &tempMovie,
                                              const std::string &ffmpegFileDescription)
{
    return convertMovieUsingFFmpeg(source, tempMovie, Dimensions{}, ffmpegFileDescription);
}

std::optional<std::string> FFmpegUtilities::findFFmpegVideoCodec(const std::string &description)
{
    return codecField(description, "Video:");
}

std::optional<std::string> FFmpegUtilities::findFFmpegAudioCodec(const std::string &description)
{
    return codecField(description, "Audio:");
}

std::optional<std::string> FFmpegUtilities::findFFmpegVideoDimensions(const std::string &description)
{
    const auto fields = streamFields(description, "Video:");
    if (!fields || fields->size() < 5) return std::nullopt;
    const std::vector<std::string> parts = split(trim((*fields)[4], kWhiteSpace), "[");
    if (parts.size() < 2) return std::nullopt;
    return parts.front();
}

std::optional<std::string> FFmpegUtilities::findFFmpegAudioRate(const std::string &description)
{
    const auto fields = streamFields(description, "Audio:");
    if (!fields) return std::nullopt;
    for (const std::string &field : *fields) {
        std::string lower = field;
        for (char &c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (lower.find("hz") == std::string::npos) continue;
        return trim(trim(field, kLetters), kWhiteSpace);
    }
    return std::nullopt;
}

FFmpegCommand FFmpegUtilities::describeMovieCommand(const std::string &movie)
{
    return expand("%@ -i %@", {ffmpegPath(), movie});
}

std::optional<std::string> FFmpegUtilities::ffmpegFileDescription(const std::string &movie)
{
    // ffmpeg exits with 1 when given no output file; its report is still whole.
    Process::Result result = Process::run(describeMovieCommand(movie).arguments, Process::Output::CaptureAll);
    if (!result.started) return std::nullopt;
    return std::move(result.output);
}

int64_t FFmpegUtilities::durationForVideoFileInMiliSeconds(const std::string &movie)
{
    const std::optional<std::string> report = ffmpegFileDescription(movie);
    if (!report) return 0;
    const size_t at = report->find("Duration:");
    if (at == std::string::npos) return 0;
    const size_t start = at + 9;
    const size_t comma = report->find(',', start);
    const std::string field =
        trim(report->substr(start, comma == std::string::npos ? std::string::npos : comma - start), kWhiteSpace);
    // HH:MM:SS or HH:MM:SS.fraction; anything else ("N/A") is no duration.
    const std::vector<std::string> parts = split(field, ":");
    if (parts.size() != 3) return 0;
    const std::vector<std::string> secondsAndFraction = split(parts[2], ".");
    if (secondsAndFraction.size() > 2) return 0;
    std::string fraction = secondsAndFraction.size() == 2 ? secondsAndFraction[1] : "";
    fraction = (fraction + "000").substr(0, 3);
    int64_t fields[4] = {};
    const std::string texts[4] = {parts[0], parts[1], secondsAndFraction[0], fraction};
    for (int i = 0; i < 4; ++i) {
        if (texts[i].empty() || texts[i].size() > 9 || texts[i].find_first_not_of("0123456789") != std::string::npos)
            return 0;
        fields[i] = std::strtoll(texts[i].c_str(), nullptr, 10);
    }
    return ((fields[0] * 60 + fields[1]) * 60 + fields[2]) * 1000 + fields[3];
}

std::string FFmpegUtilities::runAppleScriptTerminalCommand(const std::string &)
{
    return "No script interpreter is available on this system.";
}

} // namespace ferrydeck
