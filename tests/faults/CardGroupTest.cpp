#include "engine/CardGroup.h"
#include "support/CliRun.h"
#include "support/TestFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <thread>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

constexpr size_t kPiece = 64 << 10;

// Reads `path` whole through `group` as `member`, pausing `pause` per piece;
// checks on the way that the group never keeps more than its limit.
std::string readThrough(CardGroup &group, int member, const std::string &key, const std::string &path,
                        std::chrono::milliseconds pause, size_t limit, std::optional<std::string> *checksum = nullptr)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string bytes;
    std::vector<char> buffer(kPiece);
    for (;;) {
        const ssize_t got = group.read(member, key, fd, buffer.data(), kPiece, bytes.size(), HashMethod::Md5);
        EXPECT_LE(group.bytesHeld(), limit);
        if (got <= 0) break;
        bytes.append(buffer.data(), static_cast<size_t>(got));
        std::this_thread::sleep_for(pause);
    }
    if (checksum) *checksum = group.checksum(member, key);
    group.doneWith(member, key);
    ::close(fd);
    return bytes;
}

} // namespace

// Members at different speeds each get exactly their file, the card is read
// and hashed once, and what is kept stays within the limit. A file that is
// no longer the one the group read (changed, or another card) fails, never
// mixes, and has no checksum.
TEST(CardGroup, EachMemberGetsItsOwnBytesAndTheCardIsReadOnce)
{
    TempDir dir;
    writeSizedFile(dir / "clip", 40 * kPiece + 123, 1);
    writeSizedFile(dir / "other", 40 * kPiece + 123, 2);
    const std::string clip = readFile(dir / "clip");
    const size_t limit = 4 * kPiece;
    CardGroup group(3, limit);
    std::string got[3];
    std::optional<std::string> checksums[3];
    std::vector<std::thread> members;
    for (int m = 0; m < 3; ++m)
        members.emplace_back([&, m] {
            got[m] = readThrough(group, m, "k", dir / "clip", std::chrono::milliseconds(m), limit, &checksums[m]);
        });
    for (std::thread &member : members)
        member.join();
    for (int m = 0; m < 3; ++m) {
        EXPECT_TRUE(got[m] == clip);
        EXPECT_EQ(checksums[m], Hasher::hashBytes(HashMethod::Md5, clip));
    }
    EXPECT_EQ(group.bytesRead(), clip.size());
    EXPECT_EQ(group.bytesHashed(), clip.size());
    EXPECT_EQ(group.bytesHeld(), 0u);

    CardGroup mixed(2);
    std::thread first([&] { got[0] = readThrough(mixed, 0, "k", dir / "clip", {}, CardGroup::kDefaultLimit); });
    first.join();
    EXPECT_EQ(readThrough(mixed, 1, "k", dir / "other", {}, CardGroup::kDefaultLimit, &checksums[1]), "");
    EXPECT_EQ(checksums[1], std::nullopt);
    EXPECT_EQ(mixed.bytesHeld(), 0u);
}

// A member that never reads (a stuck destination) holds the others up for
// at most the stall limit, and one that leaves frees what was kept for it.
TEST(CardGroup, AStuckMemberCostsASecondReadNeverAHang)
{
    TempDir dir;
    writeSizedFile(dir / "clip", 20 * kPiece, 3);
    const std::chrono::milliseconds stall(300);
    CardGroup group(2, 2 * kPiece, stall);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(readThrough(group, 0, "k", dir / "clip", {}, 2 * kPiece) == readFile(dir / "clip"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10 * stall);
    EXPECT_EQ(group.bytesHeld(), 2 * kPiece);
    group.leave(1);
    EXPECT_EQ(group.bytesHeld(), 0u);
}

// A job that ends mid-file (canceled, or another file failed) finishes the
// file alone; it and the member still in the group get the one checksum.
TEST(CardGroup, AMemberThatLeavesMidFileStillGetsTheChecksum)
{
    TempDir dir;
    writeSizedFile(dir / "clip", 10 * kPiece + 5, 4);
    const std::string clip = readFile(dir / "clip");
    CardGroup group(2);
    const int fd = ::open((dir / "clip").c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> buffer(kPiece);
    const auto readUpTo = [&](uint64_t from, uint64_t to) {
        for (uint64_t at = from; at < to; at += kPiece)
            EXPECT_GT(group.read(0, "k", fd, buffer.data(), kPiece, at, HashMethod::Md5), 0);
    };
    readUpTo(0, 4 * kPiece);
    group.leave(0);
    std::optional<std::string> stayed;
    EXPECT_TRUE(readThrough(group, 1, "k", dir / "clip", {}, CardGroup::kDefaultLimit, &stayed) == clip);
    readUpTo(4 * kPiece, clip.size());
    EXPECT_EQ(group.checksum(0, "k"), Hasher::hashBytes(HashMethod::Md5, clip));
    EXPECT_EQ(stayed, Hasher::hashBytes(HashMethod::Md5, clip));
    EXPECT_EQ(group.bytesHashed(), clip.size());
    group.doneWith(0, "k");
    ::close(fd);
    EXPECT_EQ(group.bytesHeld(), 0u);
}

namespace {

// The card on a file system of its own, as in a reader: only there do its destinations share reads.
struct GroupCard {
    TempDir dir;
    TempDir reader{otherFileSystem()};
    GroupCard()
    {
        for (int i = 0; i < 4; ++i)
            writeSizedFile(reader / ("card/C" + std::to_string(i) + ".MOV"), 300000 + static_cast<uint64_t>(i), i + 1);
        makeDirectory(dir / "d1");
        makeDirectory(dir / "d2");
    }
    std::map<std::string, nlohmann::json> offload(const Environment &environment) const
    {
        const CliRun::Result result = runCli(
            {"offload", reader / "card", "--dest", dir / "d1", "--dest", dir / "d2", "--verify", "xxh64", "--json"},
            environment);
        return jobsBy(result.out, "destination");
    }
};

} // namespace

// Each destination of a card ends on its own: a failing or slow one does
// not fail or block the other, and a file changing while read fails both.
TEST(CardGroup, EachDestinationEndsOnItsOwn)
{
    if (otherFileSystem().empty()) GTEST_SKIP() << "no second file system (/dev/shm) to hold the card";
    struct Case {
        const char *what;
        const char *fault;
        const char *pattern;
        bool onCard;
        std::pair<std::string, std::string> statuses; // d1, d2
    };
    const std::vector<Case> cases = {
        {"one destination's writes fail", "write-eio", "d2/*", false, {"Completed", "Error"}},
        {"one destination much slower", "slow", "d2/*", false, {"Completed", "Completed"}},
        {"a clip changes while read", "touch-source", "card/C2.MOV", true, {"Error", "Error"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        GroupCard card;
        const auto jobs =
            card.offload(faultEnvironment(c.fault, (c.onCard ? card.reader : card.dir) / c.pattern, 100000));
        ASSERT_EQ(jobs.size(), 2u);
        EXPECT_EQ(jobs.at(card.dir / "d1/card")["status"], c.statuses.first);
        EXPECT_EQ(jobs.at(card.dir / "d2/card")["status"], c.statuses.second);
        for (const auto &[folder, job] : jobs) {
            if (job["status"] != "Completed") continue;
            EXPECT_EQ(runCli({"verify", folder}).exitCode, 0) << folder;
        }
    }
}
