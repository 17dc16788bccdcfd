#include "media/FFmpegUtilities.h"
#include "support/EnvironmentGuard.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

using ferrydeck::FFmpegUtilities;
using namespace ferrydeck::test;

namespace {

const char *kDescription = "Input #0, mov,mp4,m4a,3gp,3g2,mj2, from 'clip.mov':\n"
                           "  Duration: 00:01:02.50, start: 0.000000, bitrate: 35000 kb/s\n"
                           "    Stream #0.0(eng): Video: h264, yuv420p, 1920x1080 [PAR 1:1 DAR 16:9], 29.97 fps\n"
                           "    Stream #0.1(eng): Audio: pcm_s16le, 48000 Hz, 2 channels, s16, 1536 kb/s\n";

const char *kAudioOnly = "  Duration: 00:00:10.00, start: 0.000000\n"
                         "    Stream #0.0(und): Audio: aac, 44100 Hz, stereo, s16\n";

// A stand-in for ffmpeg: records its arguments one per NUL-terminated
// record, prints the canned report on standard error, exits with the
// canned status.
class FakeFFmpeg : public ::testing::Test {
protected:
    void SetUp() override
    {
        writeFile(
            m_program,
            "#!/bin/sh\nd=\"$(dirname \"$0\")/..\"\nfor a in \"$@\"; do printf '%s\\0' \"$a\"; done > \"$d/args\"\n"
            "cat \"$d/report\" >&2\nexit $(cat \"$d/status\")\n");
        ASSERT_EQ(::chmod(m_program.c_str(), 0755), 0);
        writeFile(m_dir / "report", "");
        writeFile(m_dir / "status", "0");
    }

    std::vector<std::string> arguments() const
    {
        std::vector<std::string> result;
        const std::string text = readFile(m_dir / "args");
        size_t start = 0;
        for (size_t end; (end = text.find('\0', start)) != std::string::npos; start = end + 1)
            result.push_back(text.substr(start, end - start));
        return result;
    }

    TempDir m_dir;
    const std::string m_program = m_dir / "bin/ffmpeg";
    EnvironmentGuard m_ffmpeg{"FERRYDECK_FFMPEG", m_program.c_str()};
};

using Args = std::vector<std::string>;

} // namespace

TEST(FFmpegDescription, StreamFactsOrNoneWhereMissing)
{
    using Text = std::optional<std::string>;
    const struct {
        const char *description;
        Text video, audio, dimensions, rate;
    } cases[] = {
        {kDescription, "h264", "pcm_s16le", "1920x1080 ", "48000"},
        {kAudioOnly, std::nullopt, "aac", std::nullopt, "44100"},
        {"Stream #0.1: Audio: mp3, 32000 HZ, mono\r\n", std::nullopt, "mp3", std::nullopt, "32000"},
        {"Stream #0.0: Video: mjpeg, yuvj422p, 640x480, 25 fps", "mjpeg", std::nullopt, std::nullopt, std::nullopt},
        {"Stream #0.1: Audio: pcm, 2 channels", std::nullopt, "pcm", std::nullopt, std::nullopt},
        {"Stream #0.0: Video:", "", std::nullopt, std::nullopt, std::nullopt},
        {"", std::nullopt, std::nullopt, std::nullopt, std::nullopt},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.description);
        EXPECT_EQ(FFmpegUtilities::findFFmpegVideoCodec(c.description), c.video);
        EXPECT_EQ(FFmpegUtilities::findFFmpegAudioCodec(c.description), c.audio);
        EXPECT_EQ(FFmpegUtilities::findFFmpegVideoDimensions(c.description), c.dimensions);
        EXPECT_EQ(FFmpegUtilities::findFFmpegAudioRate(c.description), c.rate);
    }
}

TEST_F(FakeFFmpeg, HostileNamesReachTheProgramWholeAndRunNothing)
{
    ASSERT_EQ(::chdir(m_dir.path().c_str()), 0);
    const std::string hostile = m_dir / "a\" ; touch PWNED1 ; \"$(touch PWNED2)`touch PWNED3` 'x'\n.mov";
    EXPECT_TRUE(FFmpegUtilities::createMovie(hostile + ".out", hostile, 3));
    EXPECT_EQ(arguments(), (Args{"-i", hostile, "-vcodec", "mpeg4", "-sameq", "-copyts", "-y", hostile + ".out"}));
    EXPECT_EQ(FFmpegUtilities::durationForVideoFileInMiliSeconds(hostile), 0);
    EXPECT_EQ(arguments(), (Args{"-i", hostile}));
    EXPECT_TRUE(FFmpegUtilities::convertMovieUsingFFmpeg(hostile, "-y", kDescription));
    EXPECT_EQ(arguments().at(1), hostile);
    EXPECT_EQ(arguments().back(), "-y");
    for (const char *marker : {"PWNED1", "PWNED2", "PWNED3"})
        EXPECT_FALSE(exists(m_dir / marker)) << marker;
}

TEST_F(FakeFFmpeg, ConversionChoosesTheCommandFormAndAFailureAnswersFalse)
{
    const struct {
        const char *what;
        FFmpegUtilities::Dimensions size;
        const char *description;
        const char *audio, *scale; // the parts of the line that differ
    } cases[] = {
        {"preview with sound", {0, 0}, kDescription, "-acodec adpcm_ima_qt ", "-s 320x180 "},
        {"silent preview", {0, 0}, "Stream #0.0: Video: h264, yuv420p, 640x480 [PAR 1:1]", "", "-s 320x180 "},
        {"silent sized", {960, 540}, "Stream #0.0: Video: h264, yuv420p, 640x480 [PAR 1:1]", "", "-s 960x540 "},
        {"sized with sound", {960, 540}, kDescription, "-acodec pcm_s16le ", "-s 960x540 "},
        {"source size with sound", {1920, 1080}, kDescription, "-acodec pcm_s16le ", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(FFmpegUtilities::convertMovieCommand("/in/a b.mov", "/tmp/t.mov", c.size, c.description).commandLine,
                  m_program + " -i \"/in/a b.mov\" -f mov " + c.audio +
                      "-pix_fmt rgb24 -vcodec mpeg4 -deinterlace -qscale 1 -qmin 1 -trellis 1 -intra " + c.scale +
                      "-copyts -y \"/tmp/t.mov\"");
        EXPECT_TRUE(FFmpegUtilities::convertMovieUsingFFmpeg("/in/a b.mov", "/tmp/t.mov", c.size, c.description));
        const Args args = arguments();
        ASSERT_GE(args.size(), 4u);
        EXPECT_EQ(args[1], "/in/a b.mov");
        EXPECT_EQ(args.back(), "/tmp/t.mov");
    }
    writeFile(m_dir / "status", "1");
    EXPECT_FALSE(FFmpegUtilities::convertMovieUsingFFmpeg("/in/a.mov", "/tmp/t.mov", kDescription));
}

TEST_F(FakeFFmpeg, DurationIsReadFromTheReport)
{
    const std::pair<const char *, int64_t> cases[] = {
        {"  Duration: 00:01:02.50, start: 0.000000", 62500},
        {"  Duration: 01:00:00.04, start: 0", 3600040},
        {"  Duration: 00:00:01.2345, start: 0", 1234},
        {"  Duration: 00:00:07, start: 0", 7000},
        {"  Duration: N/A, start: 0", 0},
        {"  Duration: 00:0x:01.00,", 0},
        {"no duration here", 0},
    };
    writeFile(m_dir / "status", "1"); // ffmpeg -i without an output fails, and still reports
    for (const auto &[report, milliseconds] : cases) {
        writeFile(m_dir / "report", std::string("Input #0, mov, from 'x':\n") + report + "\n");
        EXPECT_EQ(FFmpegUtilities::durationForVideoFileInMiliSeconds("/in/clip.mov"), milliseconds) << report;
    }
    EXPECT_EQ(arguments(), (Args{"-i", "/in/clip.mov"}));
    EXPECT_EQ(FFmpegUtilities::describeMovieCommand("/in/clip.mov").commandLine, m_program + " -i /in/clip.mov");

    ::setenv("FERRYDECK_FFMPEG", (m_dir / "missing/ffmpeg").c_str(), 1);
    EXPECT_EQ(FFmpegUtilities::durationForVideoFileInMiliSeconds("/in/clip.mov"), 0);
}
