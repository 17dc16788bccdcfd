#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileCopy.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <thread>
#include <tuple>

using ferrydeck::FileCopy;
using namespace ferrydeck::test;

class FileCopyPaths : public ::testing::TestWithParam<bool> {};

TEST_P(FileCopyPaths, CopiesBytesModeAndTimes)
{
    // Empty, and two write-back steps with a tail after them.
    for (const uint64_t size : {uint64_t{0}, uint64_t{(17 << 20) + 123}}) {
        TempDir dir;
        writeSizedFile(dir / "src.bin", size, 3);
        ASSERT_EQ(::chmod((dir / "src.bin").c_str(), 0640), 0);
        const struct timespec times[2] = {{1000000000, 5}, {1200000000, 700}};
        ASSERT_EQ(::utimensat(AT_FDCWD, (dir / "src.bin").c_str(), times, 0), 0);

        FileCopy::Options options;
        options.useCopyFileRange = GetParam();
        options.bufferSize = 64 * 1024;
        const auto result = FileCopy::copyFile(dir / "src.bin", dir / "dst.bin", options);
        ASSERT_TRUE(result.ok()) << result.describe();
        EXPECT_EQ(result.bytesCopied, size);
        EXPECT_EQ(readFile(dir / "dst.bin"), readFile(dir / "src.bin"));
        const struct stat copy = statOf(dir / "dst.bin");
        EXPECT_EQ(std::tuple(copy.st_mode & 07777, copy.st_mtim.tv_sec, copy.st_mtim.tv_nsec),
                  std::tuple(0640u, 1200000000, 700));
    }
}

INSTANTIATE_TEST_SUITE_P(KernelAndFallback, FileCopyPaths, ::testing::Values(true, false));

TEST(FileCopy, TemporaryNamesAreHiddenRecognisableAndFitAnyName)
{
    EXPECT_EQ(FileCopy::temporaryNameFor("A001.MOV"), ".A001.MOV.ferrydeck-part");
    const std::string longest = FileCopy::temporaryNameFor(std::string(255, 'x'));
    EXPECT_TRUE(FileCopy::isTemporaryName(longest));
    EXPECT_LE(longest.size(), 255u);
    EXPECT_NE(FileCopy::temporaryNameFor(std::string(255, 'x')),
              FileCopy::temporaryNameFor(std::string(254, 'x') + "y"));
    for (const char *name : {"A001.MOV", ".ferrydeck-part", "A.ferrydeck-part", ".hidden"})
        EXPECT_FALSE(FileCopy::isTemporaryName(name)) << name;
}

// Left by a copy cut short (a kill, a power loss): the clean-up removes
// those and nothing else, at any depth.
TEST(FileCopy, LeftoverTemporariesAreRemovedAndNothingElse)
{
    TempDir dir;
    const std::vector<std::string> kept = {"A.MOV", "CLIP/B.MOV", "CLIP/.thumbs/c.jpg", "CLIP/x.ferrydeck-part"};
    for (const std::string &file : kept)
        writeFile(dir / ("copy/" + file), "keep");
    writeFile(dir / "copy/.A.MOV.ferrydeck-part", "partial");
    writeFile(dir / "copy/CLIP/.thumbs/.c.jpg.ferrydeck-part", "partial");
    ASSERT_EQ(::symlink("target", (dir / "copy/CLIP/.L.ferrydeck-part").c_str()), 0);
    makeDirectory(dir / "copy/.D.ferrydeck-part"); // a folder is never ours to remove

    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "copy"), 3);
    for (const std::string &file : kept)
        EXPECT_EQ(readFile(dir / ("copy/" + file)), "keep");
    EXPECT_FALSE(exists(dir / "copy/.A.MOV.ferrydeck-part"));
    EXPECT_TRUE(exists(dir / "copy/.D.ferrydeck-part"));
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "missing"), -1);
}

// Two jobs asking for the same copy folder name at once, as two cards both
// called NO_NAME: every folder handed out is a new one.
TEST(CopyFolder, ConcurrentRequestsNeverShareAFolder)
{
    TempDir dir;
    std::vector<std::string> made[2];
    {
        std::vector<std::jthread> jobs;
        for (auto &names : made) {
            jobs.emplace_back([&dir, &names] {
                for (int round = 0; round < 50; ++round) {
                    ferrydeck::UniqueFd folder;
                    const auto path =
                        ferrydeck::DirectoryUtilities::createExclusiveDirectoryForPath(dir / "NO_NAME", folder);
                    names.push_back(path && folder ? *path : "none");
                }
            });
        }
    }
    std::set<std::string> folders(made[0].begin(), made[0].end());
    folders.insert(made[1].begin(), made[1].end());
    EXPECT_EQ(folders.size(), 100u);
    EXPECT_FALSE(folders.count("none"));
    EXPECT_TRUE(folders.count(dir / "NO_NAME-100"));
}

TEST(FileCopy, SymbolicLinkIsCopiedAsALink)
{
    TempDir dir;
    writeFile(dir / "target", "data");
    ASSERT_EQ(::symlink("target", (dir / "link").c_str()), 0);
    ASSERT_TRUE(FileCopy::copyFile(dir / "link", dir / "copy").ok());
    EXPECT_TRUE(S_ISLNK(statOf(dir / "copy").st_mode));
    char buffer[64] = {};
    ASSERT_EQ(::readlink((dir / "copy").c_str(), buffer, sizeof buffer - 1), 6);
    EXPECT_STREQ(buffer, "target");
}

// An existing destination (a dangling link included) is never replaced; a
// missing source, a FIFO (opened without blocking), a socket, a folder, and a
// link where the listing found a regular file are refused. Nothing is left
// behind, not even a temporary.
TEST(FileCopy, RefusesToReplaceOrToCopyAnythingButFilesAndLinks)
{
    TempDir dir;
    writeFile(dir / "src", "new");
    writeFile(dir / "dst", "footage");
    writeFile(dir / "target", "data");
    ASSERT_EQ(::symlink("nowhere", (dir / "dangling").c_str()), 0);
    ASSERT_EQ(::symlink("target", (dir / "link").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0644), 0);
    ASSERT_TRUE(makeSocket(dir / "sock"));
    makeDirectory(dir / "folder");
    const std::vector<std::string> before = listFolder(dir.path());
    const struct {
        const char *source, *destination;
        bool listedAsFile; // opened without a look first, and still refused
        int error;         // 0: any
    } cases[] = {
        {"src", "dst", false, EEXIST},   {"src", "dangling", false, EEXIST},
        {"missing", "a", false, ENOENT}, {"missing", "a", true, ENOENT},
        {"fifo", "b", false, EINVAL},    {"fifo", "b", true, EINVAL},
        {"sock", "c", false, 0},         {"sock", "c", true, 0},
        {"link", "e", true, ELOOP},      {"folder", "d", false, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.source) + " to " + c.destination + (c.listedAsFile ? ", listed" : ""));
        FileCopy::Options options;
        options.sourceListedAsFile = c.listedAsFile;
        const auto result = FileCopy::copyFile(dir / c.source, dir / c.destination, options);
        EXPECT_FALSE(result.ok());
        if (c.error) {
            EXPECT_EQ(result.error, c.error);
        }
        EXPECT_EQ(listFolder(dir.path()), before);
    }
    EXPECT_EQ(readFile(dir / "dst"), "footage");

    // A missing destination folder is this copy's failure, not the destination's end.
    const auto result = FileCopy::copyFile(dir / "src", dir / "no/such/dst");
    EXPECT_EQ(result.error, ENOENT);
    EXPECT_FALSE(result.dooms());
    EXPECT_NE(result.describe().find("create destination"), std::string::npos);
}
