#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileCopy.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <sstream>

using ferrydeck::FileCopy;
using namespace ferrydeck::test;

namespace {

struct stat statOf(const std::string &path)
{
    struct stat info {};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info;
}

} // namespace

class FileCopyPaths : public ::testing::TestWithParam<bool> {};

TEST_P(FileCopyPaths, CopiesBytesModeAndTimes)
{
    TempDir dir;
    writeSizedFile(dir / "src.bin", (5 << 20) + 123, 3);
    ASSERT_EQ(::chmod((dir / "src.bin").c_str(), 0640), 0);
    const struct timespec times[2] = {{1000000000, 5}, {1200000000, 700}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (dir / "src.bin").c_str(), times, 0), 0);

    FileCopy::Options options;
    options.useCopyFileRange = GetParam();
    options.bufferSize = 64 * 1024;
    const auto result = FileCopy::copyFile(dir / "src.bin", dir / "dst.bin", options);
    ASSERT_TRUE(result.ok()) << result.describe();
    EXPECT_EQ(result.bytesCopied, (5u << 20) + 123);
    EXPECT_EQ(readFile(dir / "dst.bin"), readFile(dir / "src.bin"));
    const struct stat copy = statOf(dir / "dst.bin");
    EXPECT_EQ(copy.st_mode & 07777, 0640u);
    EXPECT_EQ(copy.st_mtim.tv_sec, 1200000000);
    EXPECT_EQ(copy.st_mtim.tv_nsec, 700);
}

TEST_P(FileCopyPaths, EmptyFile)
{
    TempDir dir;
    writeFile(dir / "empty", "");
    FileCopy::Options options;
    options.useCopyFileRange = GetParam();
    ASSERT_TRUE(FileCopy::copyFile(dir / "empty", dir / "copy", options).ok());
    EXPECT_EQ(statOf(dir / "copy").st_size, 0);
}

INSTANTIATE_TEST_SUITE_P(KernelAndFallback, FileCopyPaths, ::testing::Values(true, false));

TEST(FileCopy, NeverReplacesAnExistingDestination)
{
    TempDir dir;
    writeFile(dir / "src", "new");
    writeFile(dir / "dst", "footage");
    const auto result = FileCopy::copyFile(dir / "src", dir / "dst");
    EXPECT_EQ(result.error, EEXIST);
    EXPECT_EQ(readFile(dir / "dst"), "footage");
    ASSERT_EQ(::symlink("nowhere", (dir / "link").c_str()), 0);
    EXPECT_EQ(FileCopy::copyFile(dir / "src", dir / "link").error, EEXIST);
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir.path()), 0); // a refused copy leaves nothing
}

TEST(FileCopy, TemporaryNamesAreHiddenRecognisableAndFitAnyName)
{
    for (const std::string &name : {std::string("A001.MOV"), std::string(200, 'c'), std::string(255, 'x')}) {
        const std::string temporary = FileCopy::temporaryNameFor(name);
        EXPECT_TRUE(FileCopy::isTemporaryName(temporary)) << temporary;
        EXPECT_LE(temporary.size(), 255u);
        EXPECT_EQ(temporary[0], '.');
    }
    EXPECT_EQ(FileCopy::temporaryNameFor("A001.MOV"), ".A001.MOV.ferrydeck-part");
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
    for (const std::string &file : kept) writeFile(dir / ("copy/" + file), "keep");
    writeFile(dir / "copy/.A.MOV.ferrydeck-part", "partial");
    writeFile(dir / "copy/CLIP/.thumbs/.c.jpg.ferrydeck-part", "partial");
    ASSERT_EQ(::symlink("target", (dir / "copy/CLIP/.L.ferrydeck-part").c_str()), 0);
    makeDirectory(dir / "copy/.D.ferrydeck-part"); // a folder is never ours to remove

    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "copy"), 3);
    for (const std::string &file : kept) EXPECT_EQ(readFile(dir / ("copy/" + file)), "keep");
    EXPECT_FALSE(exists(dir / "copy/.A.MOV.ferrydeck-part"));
    EXPECT_TRUE(exists(dir / "copy/.D.ferrydeck-part"));
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "missing"), -1);
}

// Two processes asking for the same copy folder name at once, as two cards
// both called NO_NAME: every folder handed out is a new one.
TEST(CopyFolder, ConcurrentProcessesNeverShareAFolder)
{
    TempDir dir;
    constexpr int kRounds = 50;
    int pipes[2][2];
    pid_t children[2];
    for (int child = 0; child < 2; ++child) {
        ASSERT_EQ(::pipe(pipes[child]), 0);
        children[child] = ::fork();
        ASSERT_GE(children[child], 0);
        if (children[child] == 0) {
            for (int round = 0; round < kRounds; ++round) {
                ferrydeck::UniqueFd folder;
                const auto made =
                    ferrydeck::DirectoryUtilities::createExclusiveDirectoryForPath(dir / "dest/NO_NAME", folder);
                const std::string line = (made && folder ? *made : std::string("none")) + "\n";
                if (::write(pipes[child][1], line.data(), line.size()) < 0) ::_exit(1);
            }
            ::_exit(0);
        }
        ::close(pipes[child][1]);
    }
    std::set<std::string> folders;
    for (int child = 0; child < 2; ++child) {
        std::string text;
        char buffer[4096];
        for (ssize_t n; (n = ::read(pipes[child][0], buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(n));
        ::close(pipes[child][0]);
        int status = 0;
        ::waitpid(children[child], &status, 0);
        EXPECT_EQ(status, 0);
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_NE(line, "none");
            EXPECT_TRUE(folders.insert(line).second) << line << " was handed out twice";
        }
    }
    EXPECT_EQ(folders.size(), 2u * kRounds);
    EXPECT_TRUE(folders.count(dir / "dest/NO_NAME"));
    EXPECT_TRUE(folders.count(dir / "dest/NO_NAME-100"));
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

TEST(FileCopy, RefusesMissingSourcesAndSpecialFilesWithoutBlocking)
{
    TempDir dir;
    EXPECT_EQ(FileCopy::copyFile(dir / "missing", dir / "a").error, ENOENT);
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0644), 0);
    const auto fifo = FileCopy::copyFile(dir / "fifo", dir / "b");
    EXPECT_EQ(fifo.error, EINVAL);
    EXPECT_FALSE(exists(dir / "b"));

    const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string socketPath = dir / "sock";
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(sock, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(FileCopy::copyFile(socketPath, dir / "c").error, EINVAL);
    ::close(sock);

    makeDirectory(dir / "folder");
    EXPECT_FALSE(FileCopy::copyFile(dir / "folder", dir / "d").ok());
}

TEST(FileCopy, MissingDestinationFolderFails)
{
    TempDir dir;
    writeFile(dir / "src", "x");
    const auto result = FileCopy::copyFile(dir / "src", dir / "no/such/dst");
    EXPECT_EQ(result.error, ENOENT);
    EXPECT_FALSE(result.dooms());
    EXPECT_NE(result.describe().find("create destination"), std::string::npos);
}
