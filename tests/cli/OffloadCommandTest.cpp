#include "fsutil/FileUtilities.h"
#include "fsutil/Process.h"
#include "support/ChildProcess.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

using ferrydeck::Process;
using namespace ferrydeck::test;

namespace {

Process::Result cli(std::vector<std::string> args)
{
    args.insert(args.begin(), FERRYDECK_CLI_PATH);
    args.insert(args.begin() + 1, "offload");
    return Process::run(args, Process::Output::Capture);
}

std::vector<std::string> entries(const std::string &folder)
{
    std::vector<std::string> names;
    ferrydeck::path::listDirectory(folder, names);
    return names;
}

} // namespace

TEST(OffloadCommand, BadInputExitsTwoAndTouchesNothing)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    writeFile(dir / "file.txt", "f");
    makeDirectory(dir / "dest");
    const std::vector<std::vector<std::string>> cases{
        {dir / "card"},                             // no destination
        {dir / "missing", "--dest", dir / "dest"},  // missing source
        {dir / "file.txt", "--dest", dir / "dest"}, // a source that is a file
        {dir / "card", "--dest", dir / "nowhere"},  // a destination that does not exist
        {dir / "card", "--dest", dir / "card"},     // the source itself
        {dir / "card", "--dest", dir / "dest", "--verify", "maybe"},
        {dir / "card", "--dest", dir / "dest", "--scheme", "custom"},
        {dir / "card", "--dest", dir / "dest", "--log-dir", dir / "nologs"},
        {dir / "card", "--dest", dir / "dest", "--log-dir", dir / "dest", "--log-in-copy"},
    };
    for (const auto &arguments : cases) {
        const auto result = cli(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.back();
        EXPECT_TRUE(result.output.empty()) << arguments.back();
    }
    makeDirectory(dir / "card/inner");
    EXPECT_EQ(cli({dir / "card", "--dest", dir / "card/inner"}).exitCode, 2);
    EXPECT_TRUE(entries(dir / "dest").empty());
    EXPECT_TRUE(entries(dir / "card/inner").empty());
    EXPECT_FALSE(exists(dir / "nowhere"));
}

TEST(OffloadCommand, TwoDestinationsGetVerifiedCopiesAndOneLogPerJob)
{
    TempDir dir;
    writeSizedFile(dir / "card/CLIP/A.MOV", 400000, 1);
    writeSizedFile(dir / "card/CLIP/deep/er/B.MOV", 1000, 2);
    writeFile(dir / "card/$(touch pwned); 'q\"`.MOV", "hostile");
    writeFile(dir / "card/-n", "dash");
    writeFile(dir / "card/.hidden", "not copied");
    makeDirectory(dir / "one");
    makeDirectory(dir / "two");
    makeDirectory(dir / "logs");
    const auto result =
        cli({dir / "card", "--dest", dir / "one", "--dest", dir / "two", "--verify", "contents", "--scheme", "card",
             "--prefix", "A_", "--log-dir", dir / "logs", "--json", "--threads", "3"});
    ASSERT_EQ(result.exitCode, 0) << result.output;
    const auto jobs = jsonLines(result.output);
    ASSERT_EQ(jobs.size(), 2u);
    std::vector<std::string> logs;
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Completed");
        EXPECT_EQ(job["files"], 4);
        const std::string copy = job["destination"];
        for (const std::string name : {"CLIP/A.MOV", "CLIP/deep/er/B.MOV", "$(touch pwned); 'q\"`.MOV", "-n"}) {
            EXPECT_EQ(readFile(copy + "/" + name), readFile(dir / ("card/" + name))) << name;
        }
        EXPECT_FALSE(exists(copy + "/.hidden"));
        logs.push_back(job["log"]);
        EXPECT_NE(readFile(logs.back()).find("Offload Verified"), std::string::npos);
    }
    EXPECT_EQ(jobs[0]["destination"], dir / "one/A_card/card");
    EXPECT_EQ(jobs[1]["destination"], dir / "two/A_card/card");
    EXPECT_NE(logs[0], logs[1]);
    EXPECT_EQ(entries(dir / "logs").size(), 2u);
    EXPECT_FALSE(exists(dir / "pwned"));
}

TEST(OffloadCommand, LogInCopyAndConsecutiveNumbersAcrossRuns)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "dest");
    const auto first =
        cli({dir / "card", "--dest", dir / "dest", "--scheme", "number", "--number", "9", "--log-in-copy", "--quiet"});
    EXPECT_EQ(first.exitCode, 0);
    EXPECT_TRUE(first.output.empty());
    EXPECT_TRUE(exists(dir / "dest/09/card/card.txt"));
    const auto second =
        cli({dir / "card", "--dest", dir / "dest", "--scheme", "number", "--number", "9", "--log-in-copy"});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_TRUE(exists(dir / "dest/09/card-2/card-2.txt"));
    EXPECT_NE(second.output.find("Completed: " + dir / "card"), std::string::npos);
}

// A log folder on a read-only file system: the log goes to the state folder
// and the command says where, on standard error and in its JSON line.
TEST(OffloadCommand, LogThatCannotBeWrittenWhereAskedGoesToTheStateFolder)
{
    if (::geteuid() != 0) GTEST_SKIP() << "mounting a read-only log folder needs root";
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    if (::mount("tmpfs", (dir / "logs").c_str(), "tmpfs", MS_RDONLY, "size=16k") != 0)
        GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(errno);
    ChildProcess child(
        {FERRYDECK_CLI_PATH, "offload", dir / "card", "--dest", dir / "dest", "--log-dir", dir / "logs", "--json"},
        {{"XDG_STATE_HOME", dir / "state"}}, dir.path());
    const int exitCode = child.wait();
    ::umount((dir / "logs").c_str());
    EXPECT_EQ(exitCode, 0) << child.standardError();
    const std::string saved = dir / "state/ferrydeck/logs/card.txt";
    EXPECT_EQ(nlohmann::json::parse(child.standardOutput())["log"], saved);
    EXPECT_NE(child.standardError().find("saved as \"" + saved + "\""), std::string::npos) << child.standardError();
    EXPECT_NE(readFile(saved).find("Offload Verified"), std::string::npos);
}
