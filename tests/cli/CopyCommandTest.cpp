#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

using ferrydeck::Process;
using namespace ferrydeck::test;

// `copy` is `offload` of one folder to one destination; offload's own tests
// cover the checks and the reports, these the mapping of its arguments.
namespace {

Process::Result cli(std::vector<std::string> args)
{
    args.insert(args.begin(), FERRYDECK_CLI_PATH);
    return Process::run(args, Process::Output::Capture);
}

} // namespace

TEST(CopyCommand, CopiesIntoAFreshFolderEachRunWithOffloadsReport)
{
    TempDir dir;
    writeSizedFile(dir / "card/CLIP/A.MOV", 300000, 1);
    writeSizedFile(dir / "card/B.MOV", 1000, 2);
    makeDirectory(dir / "dest");
    const auto first = cli({"copy", dir / "card", dir / "dest", "--verify", "contents", "--threads", "2"});
    EXPECT_EQ(first.exitCode, 0) << first.output;
    EXPECT_NE(first.output.find("Completed: " + (dir / "card") + " -> " + (dir / "dest/card")), std::string::npos)
        << first.output;
    EXPECT_EQ(readFile(dir / "dest/card/CLIP/A.MOV"), readFile(dir / "card/CLIP/A.MOV"));

    const auto second = cli({"copy", dir / "card", dir / "dest", "--json", "--log-in-copy"});
    ASSERT_EQ(second.exitCode, 0) << second.output;
    const auto lines = jsonLines(second.output);
    ASSERT_EQ(lines.size(), 1u) << second.output;
    EXPECT_EQ(lines[0]["status"], "Completed");
    EXPECT_EQ(lines[0]["destination"], dir / "dest/card-2");
    EXPECT_EQ(lines[0]["files"], 2);
    EXPECT_NE(readFile(lines[0]["log"]).find("Verification Status:Offload Verified"), std::string::npos);
}

TEST(CopyCommand, AFileThatCannotBeCopiedFailsWithStatusOne)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    ASSERT_EQ(::mkfifo((dir / "card/pipe").c_str(), 0644), 0);
    makeDirectory(dir / "dest");
    const auto run = cli({"copy", dir / "card", dir / "dest", "--threads", "1", "--json", "--log-dir", dir.path()});
    EXPECT_EQ(run.exitCode, 1);
    const auto lines = jsonLines(run.output);
    ASSERT_EQ(lines.size(), 1u) << run.output;
    EXPECT_EQ(lines[0]["status"], "Error");
    EXPECT_NE(readFile(lines[0]["log"]).find("Comparing \"" + (dir / "card/pipe") + "\""), std::string::npos);
    EXPECT_EQ(readFile(dir / "card/A.MOV"), "a");
}

TEST(CopyCommand, BadArgumentsAreRefusedWithStatusTwo)
{
    TempDir dir;
    makeDirectory(dir / "dest");
    writeFile(dir / "card/a", "x");
    const std::vector<std::vector<std::string>> cases{
        {"copy", dir / "missing", dir / "dest"},
        {"copy", dir / "card", dir / "missing"},
        {"copy", dir / "card", dir / "card"},
        {"copy", dir / "card"},
        {"copy", dir / "card", dir / "dest", "--scheme", "card"},
        {"copy", dir / "card", dir / "dest", "--threads", "0"},
    };
    for (const auto &arguments : cases)
        EXPECT_EQ(cli(arguments).exitCode, 2) << arguments.back();
    EXPECT_FALSE(exists(dir / "dest/card"));
}
