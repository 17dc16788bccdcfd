#include "media/MovieBoxReader.h"
#include "media/QuickTimeUtilities.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using ferrydeck::MovieBoxReader;
using ferrydeck::MovieInfo;
using ferrydeck::QuickTimeUtilities;
using namespace ferrydeck::test;

namespace {

std::string be32(uint32_t value)
{
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string be64(uint64_t value)
{
    return be32(static_cast<uint32_t>(value >> 32)) + be32(static_cast<uint32_t>(value));
}

std::string box(const std::string &type, const std::string &payload)
{
    return be32(static_cast<uint32_t>(8 + payload.size())) + type + payload;
}

std::string mvhd(int version, uint32_t timeScale, uint64_t duration)
{
    const std::string tail(80, '\0'); // rate, volume, matrix, next track id
    if (version == 1)
        return box("mvhd", be32(0x01000000) + be64(1) + be64(2) + be32(timeScale) + be64(duration) + tail);
    return box("mvhd", be32(0) + be32(1) + be32(2) + be32(timeScale) + be32(static_cast<uint32_t>(duration)) + tail);
}

// QuickTime writes "mhlr" as the component type, MP4 writes zeros.
std::string trak(const std::string &handler, bool quickTime)
{
    const std::string hdlr = box("hdlr", be32(0) + (quickTime ? "mhlr" : std::string(4, '\0')) + handler +
                                             std::string(12, '\0') + "Handler" + '\0');
    return box("trak", box("tkhd", std::string(84, '\0')) + box("mdia", box("mdhd", std::string(24, '\0')) + hdlr));
}

const std::string kFtyp = box("ftyp", "isom" + be32(0x200) + "isomiso2avc1mp41");

std::string mp4WithVideoAndSound()
{
    return kFtyp + box("moov", mvhd(0, 1000, 12345) + trak("vide", false) + trak("soun", false)) +
           box("mdat", std::string(64, 'x'));
}

// Cameras write the movie box last, after the media data.
std::string movWithMoovLast(int version)
{
    return box("wide", "") + box("mdat", std::string(100, 'x')) +
           box("moov", mvhd(version, 2997, 5994) + trak("vide", true) + trak("vide", true) + trak("soun", true) +
                           trak("tmcd", true));
}

std::optional<MovieInfo> readBytes(const std::string &bytes)
{
    return MovieBoxReader::readMemory(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

} // namespace

TEST(MovieBoxReader, ReadsAnMp4WithVideoAndSound)
{
    TempDir dir;
    writeFile(dir / "GOPR0001.MP4", mp4WithVideoAndSound());
    const auto movie = MovieBoxReader::readFile(dir / "GOPR0001.MP4");
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->timeScale, 1000u);
    EXPECT_EQ(movie->duration, 12345u);
    EXPECT_EQ(movie->trackCount, 2);
    EXPECT_EQ(movie->videoTrackCount, 1);
    EXPECT_EQ(QuickTimeUtilities::durationOfMovieInMiliSeconds(dir / "GOPR0001.MP4"), 12345u);
}

TEST(MovieBoxReader, ReadsQuickTimeMoviesWithVersion0And1Headers)
{
    for (int version : {0, 1}) {
        SCOPED_TRACE(version);
        const auto movie = readBytes(movWithMoovLast(version));
        ASSERT_TRUE(movie);
        EXPECT_EQ(movie->timeScale, 2997u);
        EXPECT_EQ(movie->duration, 5994u);
        EXPECT_EQ(movie->trackCount, 4);
        EXPECT_EQ(movie->videoTrackCount, 2);
    }
    // A duration beyond 32 bits needs the version 1 header.
    const auto longMovie = readBytes(box("moov", mvhd(1, 90000, 0x123456789ull)));
    ASSERT_TRUE(longMovie);
    EXPECT_EQ(longMovie->duration, 0x123456789ull);
}

TEST(MovieBoxReader, AudioOnlyMovieHasNoVideoTrack)
{
    TempDir dir;
    writeFile(dir / "sound.mov", box("moov", mvhd(0, 48000, 96000) + trak("soun", true)));
    EXPECT_EQ(QuickTimeUtilities::videoTrackCount(dir / "sound.mov"), 0);
    EXPECT_EQ(QuickTimeUtilities::durationOfMovie(dir / "sound.mov"), 96000u);
    EXPECT_EQ(QuickTimeUtilities::timeScaleOfMovie(dir / "sound.mov"), 48000u);
    EXPECT_EQ(QuickTimeUtilities::durationOfMovieInMiliSeconds(dir / "sound.mov"), 2000u);
}

TEST(MovieBoxReader, LargeSizeAndToTheEndBoxesAreFollowed)
{
    const std::string largeMdat = be32(1) + "mdat" + be64(16 + 40) + std::string(40, 'x');
    const auto movie = readBytes(kFtyp + largeMdat + box("moov", mvhd(0, 600, 1200) + trak("vide", false)));
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->videoTrackCount, 1);

    // Size 0: the movie box runs to the end of the file.
    const std::string moov = box("moov", mvhd(0, 600, 1200) + trak("vide", false));
    const auto open = readBytes(kFtyp + be32(0) + moov.substr(4));
    ASSERT_TRUE(open);
    EXPECT_EQ(open->duration, 1200u);
}

TEST(MovieBoxReader, ReadsTheMovieOfATruncatedRecording)
{
    // The media data after the movie box was cut short.
    std::string bytes =
        kFtyp + box("moov", mvhd(0, 25, 250) + trak("vide", false)) + box("mdat", std::string(1000, 'x'));
    bytes.resize(bytes.size() - 500);
    const auto movie = readBytes(bytes);
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->duration, 250u);
}

struct BrokenCase {
    const char *what;
    std::string bytes;
};

void PrintTo(const BrokenCase &c, std::ostream *out)
{
    *out << c.what;
}

class MovieBoxReaderBroken : public ::testing::TestWithParam<BrokenCase> {};

TEST_P(MovieBoxReaderBroken, IsNotAMovie)
{
    TempDir dir;
    writeFile(dir / "broken.mov", GetParam().bytes);
    EXPECT_EQ(MovieBoxReader::readFile(dir / "broken.mov"), std::nullopt);
    EXPECT_EQ(QuickTimeUtilities::videoTrackCount(dir / "broken.mov"), 0);
    EXPECT_EQ(QuickTimeUtilities::durationOfMovieInMiliSeconds(dir / "broken.mov"), 0u);
}

namespace {

std::string truncated(std::string bytes, size_t cut)
{
    bytes.resize(bytes.size() - cut);
    return bytes;
}

std::string withSizeAt(std::string bytes, size_t offset, uint32_t size)
{
    bytes.replace(offset, 4, be32(size));
    return bytes;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Files, MovieBoxReaderBroken,
    ::testing::Values(
        BrokenCase{"empty", ""}, BrokenCase{"three bytes", "moo"}, BrokenCase{"text", std::string(200, 'a')},
        BrokenCase{"no movie box", kFtyp + box("mdat", "xxxx")},
        BrokenCase{"movie box cut short", truncated(mp4WithVideoAndSound(), 72 + 60)},
        BrokenCase{"movie header cut short", box("moov", box("mvhd", be32(0) + be32(1) + be32(2)))},
        BrokenCase{"movie size past the end", withSizeAt(mp4WithVideoAndSound(), kFtyp.size(), 0x7fffffff)},
        BrokenCase{"size below its header", withSizeAt(mp4WithVideoAndSound(), 0, 4)},
        BrokenCase{"large size past the end", be32(1) + "moov" + be64(~0ull) + mvhd(0, 600, 1)},
        BrokenCase{"large size of zero", be32(1) + "moov" + be64(0) + mvhd(0, 600, 1)},
        BrokenCase{"zero time scale", box("moov", mvhd(0, 0, 100) + trak("vide", false))},
        BrokenCase{"unknown header version", box("moov", box("mvhd", be32(0x02000000) + std::string(120, '\0')))},
        BrokenCase{"tracks but no header", box("moov", trak("vide", false))},
        BrokenCase{"mdat size past the end hides the movie",
                   kFtyp + be32(0xfffffff0) + "mdat" + box("moov", mvhd(0, 600, 1))}));

TEST(MovieBoxReader, TrackWithBrokenMediaBoxIsNotVideo)
{
    const std::string goodTrak = trak("vide", false);
    // The handler box claims more than its media box holds.
    std::string badTrak = goodTrak;
    const size_t hdlrAt = badTrak.find("hdlr") - 4;
    badTrak.replace(hdlrAt, 4, be32(0x1000));
    const auto movie = readBytes(box("moov", mvhd(0, 600, 600) + badTrak + goodTrak));
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->trackCount, 2);
    EXPECT_EQ(movie->videoTrackCount, 1);
}

TEST(MovieBoxReader, MissingFoldersAndFifosAreNotMovies)
{
    TempDir dir;
    makeDirectory(dir / "folder.mov");
    ASSERT_EQ(::mkfifo((dir / "pipe.mov").c_str(), 0600), 0);
    for (const char *name : {"missing.mov", "folder.mov", "pipe.mov"}) {
        EXPECT_EQ(QuickTimeUtilities::openMovie(dir / name), std::nullopt) << name;
    }
    EXPECT_EQ(MovieBoxReader::readMemory(nullptr, 10), std::nullopt);
}

TEST(QuickTimeUtilities, MillisecondsOfLongDurationsDoNotOverflow)
{
    TempDir dir;
    // Multiplying either duration by 1000 first would overflow 64 bits.
    writeFile(dir / "a.mov", box("moov", mvhd(1, 1000, 1ull << 62)));
    writeFile(dir / "b.mov", box("moov", mvhd(1, 90000, (90000ull << 40) + 45000)));
    EXPECT_EQ(QuickTimeUtilities::durationOfMovieInMiliSeconds(dir / "a.mov"), 1ull << 62);
    EXPECT_EQ(QuickTimeUtilities::durationOfMovieInMiliSeconds(dir / "b.mov"), (1000ull << 40) + 500);
}

TEST(QuickTimeUtilities, TimecodeTracksAnswerTheDefaults)
{
    TempDir dir;
    writeFile(dir / "a.mov", movWithMoovLast(0));
    EXPECT_FALSE(QuickTimeUtilities::insertTimeCodeTrackIntoMovie(dir / "a.mov", 102, "01:00:00:00", true, 12));
    EXPECT_EQ(readFile(dir / "a.mov"), movWithMoovLast(0));
    EXPECT_EQ(QuickTimeUtilities::startTimecodeOfMovie(dir / "a.mov"), std::nullopt);
    EXPECT_EQ(QuickTimeUtilities::rateDefinitionOfMovie(dir / "a.mov"), 107);
}
