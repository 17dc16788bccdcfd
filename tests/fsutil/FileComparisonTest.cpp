#include "fsutil/FileComparison.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <optional>

using ferrydeck::FileComparison;
using ferrydeck::FileUtilities;
using ferrydeck::Process;
using namespace ferrydeck::test;

namespace {

struct Pair {
    const char *name;
    std::optional<std::string> first, second; // none: the file does not exist
};

std::string lines(size_t size, size_t every)
{
    std::string text(size, 'x');
    for (size_t i = every - 1; i < size; i += every)
        text[i] = '\n';
    return text;
}

std::string changedAt(std::string text, size_t at)
{
    text[at] = static_cast<char>(text[at] ^ 0x20);
    return text;
}

// The sizes straddle the comparison's 256 KiB chunks on purpose.
const std::string kBig = lines(700000, 81);

const Pair kPairs[] = {
    {"Equal", "same\nbytes", "same\nbytes"},
    {"BothEmpty", "", ""},
    {"DifferAtFirstByte", "abc", "xbc"},
    {"DifferOnSecondLine", "abc\nxyz", "abc\nxYz"},
    {"DifferAfterNul", std::string("a\0b", 3), std::string("a\0c", 3)},
    {"FirstShorterEndingInNewline", "abc\n", "abc\nmore"},
    {"FirstShorterMidLine", "abc\nde", "abc\ndef"},
    {"SecondShorter", "abc\ndef\n", "abc\nd"},
    {"FirstEmpty", "", "abc"},
    {"SecondEmpty", "abc", ""},
    {"FirstMissing", std::nullopt, "abc"},
    {"SecondMissing", "abc", std::nullopt},
    {"BothMissing", std::nullopt, std::nullopt},
    {"BigEqual", kBig, kBig},
    {"BigDifferInSecondChunk", kBig, changedAt(kBig, 300001)},
    {"BigDifferOnChunkEdge", kBig, changedAt(kBig, 262144)},
    {"BigSecondEndsInThirdChunk", kBig, kBig.substr(0, 524288 + 17)},
    {"BigFirstEndsOnChunkEdge", kBig.substr(0, 262144), kBig},
    {"BigDifferInLastByte", kBig, changedAt(kBig, kBig.size() - 1)},
};

class SameAsCmp : public ::testing::TestWithParam<Pair> {};

} // namespace

// Whatever cmp answers and prints for a pair, the comparison answers and
// reports word for word; the verifications' size and contents checks agree.
TEST_P(SameAsCmp, OutcomeAndReport)
{
    TempDir dir;
    const Pair &pair = GetParam();
    const std::string first = dir / "first it's.mov", second = dir / "second b.mov";
    if (pair.first) writeFile(first, *pair.first);
    if (pair.second) writeFile(second, *pair.second);

    const Process::Result cmp = Process::run({"cmp", "--", first, second}, Process::Output::CaptureAll);
    ASSERT_TRUE(cmp.started);
    std::string report;
    const FileComparison::Outcome outcome = FileComparison::compare(first, second, report);
    EXPECT_EQ(static_cast<int>(outcome), cmp.exitCode);
    EXPECT_EQ(report, cmp.output);
    EXPECT_EQ(FileUtilities::compareFileContents(first, second), cmp.exitCode == 0);
    EXPECT_EQ(FileUtilities::compareFileSize(first, second),
              pair.first && pair.second && pair.first->size() == pair.second->size());
}

INSTANTIATE_TEST_SUITE_P(Pairs, SameAsCmp, ::testing::ValuesIn(kPairs),
                         [](const ::testing::TestParamInfo<Pair> &info) { return std::string(info.param.name); });

TEST(FileComparison, FolderAndSelfAreJudgedAsCmpJudgesThem)
{
    TempDir dir;
    writeFile(dir / "a", "abc");
    makeDirectory(dir / "folder");
    for (const auto &[x, y] : {std::pair{dir / "a", dir / "folder"}, std::pair{dir / "a", dir / "a"}}) {
        const Process::Result cmp = Process::run({"cmp", "--", x, y}, Process::Output::CaptureAll);
        std::string report;
        EXPECT_EQ(static_cast<int>(FileComparison::compare(x, y, report)), cmp.exitCode) << y;
        EXPECT_EQ(report, cmp.output) << y;
    }
}

// Every name would run `touch PWNED` in a shell that read it unquoted.
TEST(Compare, HostileNamesCompareCorrectlyAndNeverRunACommand)
{
    TempDir dir;
    ASSERT_EQ(::chdir(dir.path().c_str()), 0);
    for (const std::string name :
         {"a b.mov", "it's.mov", "say \"hi\".mov", "`touch PWNED`.mov", "$(touch PWNED).mov", "x; touch PWNED",
          "line\nbreak.mov", "-n.mov", "--help", "a|touch PWNED", "*", "tab\there", "&& touch PWNED"}) {
        SCOPED_TRACE(name);
        writeFile(dir / ("src/" + name), "same bytes");
        writeFile(dir / ("dst/" + name), "same bytes");
        writeFile(dir / ("bad/" + name), "diff bytes");
        EXPECT_TRUE(FileUtilities::compareFileContents(dir / ("src/" + name), dir / ("dst/" + name)));
        EXPECT_FALSE(FileUtilities::compareFileContents(dir / ("src/" + name), dir / ("bad/" + name)));
        EXPECT_TRUE(FileUtilities::compareFileSize(dir / ("src/" + name), dir / ("bad/" + name)));
        EXPECT_FALSE(exists(dir / "PWNED"));
        EXPECT_FALSE(exists(dir / "src/PWNED"));
    }
    ASSERT_EQ(::chdir("/"), 0);
}

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
