#include "fsutil/FileUtilities.h"
#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <unistd.h>

using ferrydeck::FileUtilities;
using ferrydeck::Process;
using namespace ferrydeck::test;

TEST(Compare, SizeAndContentsTellEqualSizedFilesApart)
{
    TempDir dir;
    writeFile(dir / "a", "abcdef");
    writeFile(dir / "b", "abcdeX");
    writeFile(dir / "c", "abcdef");
    EXPECT_TRUE(FileUtilities::compareFileSize(dir / "a", dir / "b"));
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / "a", dir / "b"));
    EXPECT_TRUE(FileUtilities::compareFileContents(dir / "a", dir / "c"));
    EXPECT_FALSE(FileUtilities::compareFileSize(dir / "a", dir / "missing"));
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / "a", dir / "missing"));
    writeFile(dir / "short", "abc");
    EXPECT_FALSE(FileUtilities::compareFileSize(dir / "a", dir / "short"));
}

TEST(Compare, LargeFilesDifferingInTheLastByte)
{
    TempDir dir;
    writeSizedFile(dir / "a", 3 << 20, 5);
    std::string content = readFile(dir / "a");
    content.back() = static_cast<char>(content.back() ^ 1);
    writeFile(dir / "b", content);
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / "a", dir / "b"));
    content.back() = static_cast<char>(content.back() ^ 1);
    writeFile(dir / "b", content);
    EXPECT_TRUE(FileUtilities::compareFileContents(dir / "a", dir / "b"));
}

TEST(Compare, CommandLineIsEscapedForDisplay)
{
    EXPECT_EQ(FileUtilities::compareCommandLine("/Card 1/it's.mov", "/D/it's.mov"),
              "cmp /Card\\ 1/it\\'s.mov /D/it\\'s.mov");
}

class HostileNames : public ::testing::TestWithParam<std::string> {};

// Every name would run `touch PWNED` in a shell that read it unquoted.
TEST_P(HostileNames, CompareCorrectlyAndNeverRunACommand)
{
    TempDir dir;
    const std::string name = GetParam();
    writeFile(dir / ("src/" + name), "same bytes");
    writeFile(dir / ("dst/" + name), "same bytes");
    writeFile(dir / ("bad/" + name), "diff bytes");
    const std::string cwd = dir.path();
    ASSERT_EQ(::chdir(cwd.c_str()), 0);

    EXPECT_TRUE(FileUtilities::compareFileContents(dir / ("src/" + name), dir / ("dst/" + name)));
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / ("src/" + name), dir / ("bad/" + name)));
    EXPECT_TRUE(FileUtilities::compareFileSize(dir / ("src/" + name), dir / ("bad/" + name)));
    EXPECT_FALSE(exists(dir / "PWNED"));
    EXPECT_FALSE(exists(dir / "src/PWNED"));
    ASSERT_EQ(::chdir("/"), 0);
}

INSTANTIATE_TEST_SUITE_P(Names, HostileNames,
                         ::testing::Values("a b.mov", "it's.mov", "say \"hi\".mov", "`touch PWNED`.mov",
                                           "$(touch PWNED).mov", "x; touch PWNED", "line\nbreak.mov", "-n.mov",
                                           "--help", "a|touch PWNED", "*", "tab\there", "&& touch PWNED"),
                         [](const ::testing::TestParamInfo<std::string> &info) {
                             return "name" + std::to_string(info.index);
                         });

TEST(Process, RunsWithoutAShellAndReportsExitCodes)
{
    EXPECT_TRUE(Process::run({"true"}).succeeded());
    const auto failed = Process::run({"false"});
    EXPECT_TRUE(failed.started);
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_FALSE(Process::run({"/no/such/program"}).started);
    const auto echoed = Process::run({"echo", "$(whoami)"}, Process::Output::Capture);
    EXPECT_EQ(echoed.output, "$(whoami)\n");
    EXPECT_EQ(Process::displayCommand({"cmp", "it's"}), "'cmp' 'it'\\''s'");
}

TEST(Compare, LinksCompareByTheirTargetsWithoutFollowingThem)
{
    TempDir dir;
    ASSERT_EQ(::symlink("loop", (dir / "loop").c_str()), 0);
    ASSERT_EQ(::symlink("loop", (dir / "copy").c_str()), 0);
    ASSERT_EQ(::symlink("..", (dir / "up").c_str()), 0);
    writeFile(dir / "file", "loop");
    EXPECT_TRUE(FileUtilities::compareFileContents(dir / "loop", dir / "copy"));
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / "loop", dir / "up"));
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / "loop", dir / "file"));
    EXPECT_FALSE(FileUtilities::compareFileContents(dir / "loop", dir / "missing"));
}
