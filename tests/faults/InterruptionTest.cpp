#include "fsutil/FileCopy.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <signal.h>

#include <cstring>

using namespace ferrydeck::test;

namespace {

// A slowed-down offload of eight files, stopped by `signal` once two of them
// have reached the copy.
struct Stopped {
    CliRun::Result result;
    size_t copiedBeforeStop = 0;
};

Stopped stopHalfWay(const TempDir &dir, const std::vector<std::string> &arguments, int signal)
{
    Environment slow = faultEnvironment("slow", dir / "dest*/*");
    slow["FERRYDECK_FAULT_DELAY_MS"] = "40";
    CliRun run(arguments, slow);
    waitFor([&] { return listFolder(dir / "dest/card/CLIP").size() >= 2; }, std::chrono::seconds(60));
    run.signal(signal);
    Stopped stopped;
    stopped.result = run.wait(std::chrono::seconds(30));
    stopped.copiedBeforeStop = listFolder(dir / "dest/card/CLIP").size();
    return stopped;
}

// What a stopped offload may leave: whole copies under their names, and the
// files it was writing or had not flushed yet only under their temporary
// names, which the clean-up then removes.
void expectOnlyWholeCopiesAndTemporaries(const TempDir &dir)
{
    size_t temporaries = 0;
    for (const std::string &name : listFolder(dir / "dest/card/CLIP")) {
        if (ferrydeck::FileCopy::isTemporaryName(name)) ++temporaries;
        else EXPECT_EQ(readFile(dir / ("dest/card/CLIP/" + name)), readFile(dir / ("card/CLIP/" + name))) << name;
    }
    EXPECT_EQ(ferrydeck::FileCopy::removeTemporaryFiles(dir / "dest/card"), static_cast<int>(temporaries));
}

std::vector<std::string> offloadArguments(const TempDir &dir)
{
    for (unsigned i = 0; i < 8; ++i)
        writeSizedFile(dir / ("card/CLIP/" + std::to_string(i) + ".MOV"), 256 * 1024, i + 1);
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    return {"offload",   dir / "card", "--dest",    dir / "dest", "--verify",     "contents",
            "--log-dir", dir / "logs", "--threads", "1",          "--log-detail", "verbose"};
}

} // namespace

// Ctrl-C, kill, a closed SSH session and a reader that went away all end the
// offload the same way: every job is canceled, its log says so, exit status
// 1, and no clip's name ever holds a partial copy.
class StoppedBySignal : public ::testing::TestWithParam<int> {};

TEST_P(StoppedBySignal, CancelsEveryJobWritesTheLogsExitsOneAndLeavesOnlyWholeCopies)
{
    TempDir dir;
    std::vector<std::string> arguments = offloadArguments(dir);
    makeDirectory(dir / "dest2");
    arguments.insert(arguments.end(), {"--dest", dir / "dest2", "--json"});
    const Stopped stopped = stopHalfWay(dir, arguments, GetParam());
    ASSERT_FALSE(stopped.result.timedOut) << stopped.result.err;
    ASSERT_EQ(stopped.result.signal, 0) << stopped.result.err;
    EXPECT_EQ(stopped.result.exitCode, 1) << stopped.result.err;
    EXPECT_GE(stopped.copiedBeforeStop, 2u);
    EXPECT_LT(stopped.copiedBeforeStop, 8u);
    expectOnlyWholeCopiesAndTemporaries(dir);
    const auto jobs = jsonLines(stopped.result.out);
    ASSERT_EQ(jobs.size(), 2u) << stopped.result.out;
    ASSERT_EQ(listFolder(dir / "logs"), (std::vector<std::string>{"card-2.txt", "card.txt"}));
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Canceled");
        const std::string log = readFile(job["log"]);
        EXPECT_NE(log.find("Offload Canceled"), std::string::npos);
        EXPECT_EQ(log.find("Offload Verified"), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, StoppedBySignal, ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGPIPE),
                         [](const ::testing::TestParamInfo<int> &info) {
                             return std::string(sigabbrev_np(info.param));
                         });
