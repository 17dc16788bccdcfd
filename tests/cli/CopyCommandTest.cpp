#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

using ferrydeck::Process;
using namespace ferrydeck::test;

namespace {

Process::Result cli(std::vector<std::string> args)
{
    args.insert(args.begin(), FERRYDECK_CLI_PATH);
    return Process::run(args, Process::Output::Capture);
}

} // namespace

TEST(CopyCommand, CompletedJobExitsZeroWithTheLogAndAFreshFolderEachRun)
{
    TempDir dir;
    writeSizedFile(dir / "card/CLIP/A.MOV", 300000, 1);
    writeSizedFile(dir / "card/B.MOV", 1000, 2);
    makeDirectory(dir / "dest");
    const auto first = cli({"copy", dir / "card", dir / "dest", "--verify", "contents", "--threads", "2"});
    EXPECT_EQ(first.exitCode, 0) << first.output;
    EXPECT_NE(first.output.find("Verification Status:Offload Verified"), std::string::npos);
    EXPECT_EQ(readFile(dir / "dest/card/CLIP/A.MOV"), readFile(dir / "card/CLIP/A.MOV"));

    const auto second = cli({"copy", dir / "card", dir / "dest", "--json"});
    ASSERT_EQ(second.exitCode, 0);
    const auto result = nlohmann::json::parse(second.output);
    EXPECT_EQ(result["status"], "Completed");
    EXPECT_EQ(result["destination"], dir / "dest/card-2");
    EXPECT_EQ(result["filesCopied"], 2);
    EXPECT_EQ(result["files"].size(), 2u);
    EXPECT_EQ(result["files"][0]["status"], "Copy Verified");
}

TEST(CopyCommand, AFileThatCannotBeCopiedFailsTheJobWithStatusOne)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    ASSERT_EQ(::mkfifo((dir / "card/pipe").c_str(), 0644), 0);
    makeDirectory(dir / "dest");
    const auto run = cli({"copy", dir / "card", dir / "dest", "--threads", "1", "--json"});
    EXPECT_EQ(run.exitCode, 1);
    const auto result = nlohmann::json::parse(run.output);
    EXPECT_EQ(result["status"], "Error");
    EXPECT_NE(result["log"].get<std::string>().find("Comparing \"" + (dir / "card/pipe") + "\""), std::string::npos);
    EXPECT_EQ(readFile(dir / "card/A.MOV"), "a");
}

TEST(CopyCommand, BadInputIsRefusedWithStatusTwo)
{
    TempDir dir;
    makeDirectory(dir / "empty");
    makeDirectory(dir / "dest");
    writeFile(dir / "card/a", "x");
    EXPECT_EQ(cli({"copy", dir / "missing", dir / "dest"}).exitCode, 2);
    EXPECT_EQ(cli({"copy", dir / "card", dir / "missing"}).exitCode, 2);
    EXPECT_EQ(cli({"copy", dir / "empty", dir / "dest"}).exitCode, 2);
    EXPECT_EQ(cli({"copy", dir / "card", dir / "card/sub"}).exitCode, 2);
    EXPECT_EQ(cli({"copy", dir / "card", dir / "dest", "--verify", "maybe"}).exitCode, 2);
    EXPECT_EQ(cli({"copy", dir / "card", dir / "dest", "--threads", "0"}).exitCode, 2);
    EXPECT_FALSE(exists(dir / "dest/card"));
}

TEST(CopyCommand, HostileNamesAreCopiedAndNeverRun)
{
    TempDir dir;
    const std::vector<std::string> names{
        "it's \"quoted\".mov", "`touch PWNED`", "$(touch PWNED)",   "a;touch PWNED", "-rf",
        "new\nline",           "tab\tx",        "\xff\xfe-not-utf8"};
    for (size_t i = 0; i < names.size(); ++i)
        writeSizedFile(dir / ("card/" + names[i]), 100 + i, i);
    makeDirectory(dir / "dest");
    const auto run = cli({"copy", dir / "card", dir / "dest", "--verify", "contents", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.output;
    EXPECT_TRUE(nlohmann::json::parse(run.output).is_object());
    for (const auto &name : names)
        EXPECT_EQ(readFile(dir / ("dest/card/" + name)), readFile(dir / ("card/" + name)));
    EXPECT_FALSE(exists(dir / "PWNED"));
    EXPECT_FALSE(exists("PWNED"));
}
