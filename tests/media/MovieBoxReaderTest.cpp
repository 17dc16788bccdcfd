#include "media/MovieBoxReader.h"
#include "media/QuickTimeUtilities.h"
#include "support/CardFixtures.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <tuple>

using ferrydeck::MovieBoxReader;
using ferrydeck::QuickTimeUtilities;
using namespace ferrydeck::test;

namespace {

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

// The handler box claims more than its media box holds.
std::string brokenMediaTrak()
{
    std::string bytes = trak("vide", false);
    bytes.replace(bytes.find("hdlr") - 4, 4, be32(0x1000));
    return bytes;
}

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

TEST(MovieBoxReader, ReadsTheMovieHeaderAndCountsVideoTracks)
{
    const struct {
        const char *what;
        std::string bytes;
        uint32_t timeScale;
        uint64_t duration;
        int tracks, videoTracks;
        uint64_t milliseconds;
    } cases[] = {
        {"mp4 with video and sound", mp4WithVideoAndSound(), 1000, 12345, 2, 1, 12345},
        {"quicktime version 0", movWithMoovLast(0), 2997, 5994, 4, 2, 2000},
        {"quicktime version 1", movWithMoovLast(1), 2997, 5994, 4, 2, 2000},
        // A duration beyond 32 bits needs the version 1 header.
        {"long duration", box("moov", mvhd(1, 90000, 0x123456789ull)), 90000, 0x123456789ull, 0, 0, 54296870},
        // Multiplying either duration by 1000 first would overflow 64 bits.
        {"huge duration", box("moov", mvhd(1, 1000, 1ull << 62)), 1000, 1ull << 62, 0, 0, 1ull << 62},
        {"huge duration and scale", box("moov", mvhd(1, 90000, (90000ull << 40) + 45000)), 90000,
         (90000ull << 40) + 45000, 0, 0, (1000ull << 40) + 500},
        {"audio only", box("moov", mvhd(0, 48000, 96000) + trak("soun", true)), 48000, 96000, 1, 0, 2000},
        {"large size box followed",
         kFtyp + be32(1) + "mdat" + be64(16 + 40) + std::string(40, 'x') +
             box("moov", mvhd(0, 600, 1200) + trak("vide", false)),
         600, 1200, 1, 1, 2000},
        {"movie box to the end of the file",
         kFtyp + be32(0) + box("moov", mvhd(0, 600, 1200) + trak("vide", false)).substr(4), 600, 1200, 1, 1, 2000},
        // The media data after the movie box was cut short.
        {"truncated recording",
         truncated(kFtyp + box("moov", mvhd(0, 25, 250) + trak("vide", false)) + box("mdat", std::string(1000, 'x')),
                   500),
         25, 250, 1, 1, 10000},
        {"track with a broken media box is not video",
         box("moov", mvhd(0, 600, 600) + brokenMediaTrak() + trak("vide", false)), 600, 600, 2, 1, 1000},
    };
    TempDir dir;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const std::string file = dir / (std::string(c.what) + ".mov"); // a file each: nothing read before is reused
        writeFile(file, c.bytes);
        const auto movie = MovieBoxReader::readFile(file);
        ASSERT_TRUE(movie);
        EXPECT_EQ(std::tuple(movie->timeScale, movie->duration, movie->trackCount, movie->videoTrackCount),
                  std::tuple(c.timeScale, c.duration, c.tracks, c.videoTracks));
        EXPECT_EQ(std::tuple(QuickTimeUtilities::timeScaleOfMovie(file), QuickTimeUtilities::durationOfMovie(file),
                             QuickTimeUtilities::videoTrackCount(file),
                             QuickTimeUtilities::durationOfMovieInMiliSeconds(file)),
                  std::tuple(c.timeScale, c.duration, c.videoTracks, c.milliseconds));
    }
}

TEST(MovieBoxReader, BrokenFilesAreNotMovies)
{
    const std::pair<const char *, std::string> cases[] = {
        {"empty", ""},
        {"three bytes", "moo"},
        {"text", std::string(200, 'a')},
        {"no movie box", kFtyp + box("mdat", "xxxx")},
        {"movie box cut short", truncated(mp4WithVideoAndSound(), 72 + 60)},
        {"movie header cut short", box("moov", box("mvhd", be32(0) + be32(1) + be32(2)))},
        {"movie size past the end", withSizeAt(mp4WithVideoAndSound(), kFtyp.size(), 0x7fffffff)},
        {"size below its header", withSizeAt(mp4WithVideoAndSound(), 0, 4)},
        {"large size past the end", be32(1) + "moov" + be64(~0ull) + mvhd(0, 600, 1)},
        {"large size of zero", be32(1) + "moov" + be64(0) + mvhd(0, 600, 1)},
        {"zero time scale", box("moov", mvhd(0, 0, 100) + trak("vide", false))},
        {"unknown header version", box("moov", box("mvhd", be32(0x02000000) + std::string(120, '\0')))},
        {"tracks but no header", box("moov", trak("vide", false))},
        {"mdat size past the end hides the movie", kFtyp + be32(0xfffffff0) + "mdat" + box("moov", mvhd(0, 600, 1))},
    };
    TempDir dir;
    for (const auto &[what, bytes] : cases) {
        SCOPED_TRACE(what);
        const std::string file = dir / (std::string(what) + ".mov");
        writeFile(file, bytes);
        EXPECT_EQ(MovieBoxReader::readFile(file), std::nullopt);
        EXPECT_EQ(QuickTimeUtilities::videoTrackCount(file), 0);
        EXPECT_EQ(QuickTimeUtilities::durationOfMovieInMiliSeconds(file), 0u);
    }
    // Nor are missing files, folders and FIFOs.
    makeDirectory(dir / "folder.mov");
    ASSERT_EQ(::mkfifo((dir / "pipe.mov").c_str(), 0600), 0);
    for (const char *name : {"missing.mov", "folder.mov", "pipe.mov"}) {
        EXPECT_EQ(QuickTimeUtilities::openMovie(dir / name), std::nullopt) << name;
    }
    EXPECT_EQ(MovieBoxReader::readMemory(nullptr, 10), std::nullopt);
}

namespace {
constexpr uint32_t kDrop = 0x1;
constexpr uint32_t kCounter = 0x8;
} // namespace

TEST(TimecodeTrack, StartTimecodeAndRateComeFromTheTrack)
{
    struct Row {
        TimecodeMovie movie;
        std::optional<std::string> start;
        std::string rateText;
        int32_t rate;
    };
    const Row rows[] = {
        {{30000, 1001, 30, kDrop, 107892}, "01:00:00;00", "2997", 100},
        {{30000, 1001, 30, 0, 107892}, "00:59:56:12", "2997", 101},
        // The first frame of a minute other than every tenth is labelled 02.
        {{30000, 1001, 30, kDrop, 1800}, "00:01:00;02", "2997", 100},
        {{60000, 1001, 60, kDrop, 3600}, "00:01:00;04", "5994", 104},
        {{25, 1, 25, 0, 900024}, "10:00:00:24", "2500", 102},
        {{24000, 1001, 24, 0, 0, true}, "00:00:00:00", "2398", 103},
        {{50, 1, 50, kCounter, 10}, std::nullopt, "5000", 105},
        {{60, 1, 60, 0, -1}, std::nullopt, "6000", 107}, // no id holds 60 whole frames
    };
    TempDir dir;
    for (const Row &row : rows) {
        const std::string movie = dir / "tc.mov";
        writeFile(movie, timecodeMovieBytes(row.movie));
        EXPECT_EQ(QuickTimeUtilities::startTimecodeOfMovie(movie), row.start) << row.rateText;
        EXPECT_EQ(QuickTimeUtilities::timecodeRateTextOfMovie(movie), row.rateText);
        EXPECT_EQ(QuickTimeUtilities::rateDefinitionOfMovie(movie), row.rate) << row.rateText;
    }
}

TEST(TimecodeTrack, DamagedOrMissingTracksGiveNoTimecodeAndNothingIsWritten)
{
    TempDir dir;
    std::string cut = timecodeMovieBytes({30000, 1001, 30, kDrop, 107892});
    std::string other = cut;
    // A sample offset past the end of the file; a sample description of another kind.
    cut.replace(cut.find("stco") + 12, 4, std::string("\x7f\0\0\0", 4));
    other.replace(other.find("tmcd", other.find("stsd")), 4, "avc1");
    writeFile(dir / "cut.mov", cut);
    writeFile(dir / "other.mov", other);
    writeFile(dir / "none.mov", movWithMoovLast(0));
    for (const auto &[name, rate] : {std::pair{"cut.mov", 100}, {"other.mov", 107}, {"none.mov", 107}}) {
        EXPECT_EQ(QuickTimeUtilities::startTimecodeOfMovie(dir / name), std::nullopt) << name;
        EXPECT_EQ(QuickTimeUtilities::rateDefinitionOfMovie(dir / name), rate) << name;
    }
    EXPECT_EQ(QuickTimeUtilities::timecodeRateTextOfMovie(dir / "missing.mov"), std::nullopt);
    EXPECT_FALSE(QuickTimeUtilities::insertTimeCodeTrackIntoMovie(dir / "none.mov", 102, "01:00:00:00", true, 12));
    EXPECT_EQ(readFile(dir / "none.mov"), movWithMoovLast(0));
}
