// Small copies are flushed in batches: none is named or checked before a
// flush that covers it, and a batch whose flush fails is verified nowhere.
#include "FaultChecks.h"
#include "engine/FlushBatch.h"
#include "fsutil/FileUtilities.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <map>
#include <sstream>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

struct FlushRow {
    const char *name;
    const char *fault;     // syncfs-eio, syncfs-enospc, slow (stopped by SIGINT) or trace (no fault)
    const char *errorText; // what every file of the failed batch fails with
};

void PrintTo(const FlushRow &row, std::ostream *out)
{
    *out << row.name;
}

const std::vector<std::string> kSmall = {"B.JPG", "C.JPG", "D.JPG", "E.JPG"};

// Every copy read back (its check) and every copy named came after a flush
// that started once its data was written, and after the flush of its folder.
void expectFlushedBeforeNamedAndRead(const std::string &trace)
{
    std::istringstream lines(trace);
    std::string line;
    std::map<std::string, size_t> closed, flushedFile, named;
    size_t at = 0, lastSyncfs = 0, checked = 0;
    std::map<std::string, size_t> folderFlushed;
    for (; std::getline(lines, line); ++at) {
        std::vector<std::string> field;
        std::istringstream parts(line);
        for (std::string part; std::getline(parts, part, '\t');)
            field.push_back(part);
        const std::string &event = field[0];
        if (event == "close") closed[field[1]] = at;
        else if (event == "fdatasync") flushedFile[field[1]] = at;
        else if (event == "syncfs") lastSyncfs = at;
        else if (event == "fsync") folderFlushed[field[1]] = at;
        else if (event == "rename") {
            const std::string &temporary = field[1];
            ASSERT_TRUE(closed.count(temporary)) << line;
            EXPECT_TRUE(flushedFile.count(temporary) || lastSyncfs > closed[temporary])
                << field[2] << " named before a flush covered its data";
            named[field[2]] = at;
        } else if (event == "read" && named.count(field[1])) {
            const std::string folder = path::parent(field[1]);
            EXPECT_GT(folderFlushed[folder], named[field[1]]) << field[1] << " checked before its name was flushed";
            ++checked;
        }
    }
    EXPECT_EQ(checked == 0, named.empty()) << trace;
}

} // namespace

class FlushBatches : public ::testing::TestWithParam<FlushRow> {};

TEST_P(FlushBatches, NothingIsNamedOrCheckedBeforeItsFlushAndAFailedFlushFailsItsBatch)
{
    const FlushRow &row = GetParam();
    TempDir dir;
    makeDirectory(dir / "dest");
    UniqueFd destination(::open((dir / "dest").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!FlushBatch::fileSystemTakesBatches(destination.get()))
        GTEST_SKIP() << "the test folder's file system is flushed file by file";
    // A clip flushed on its own; the fault rows leave it out so that one
    // batch holds the whole card whatever order the folder is read in.
    if (!row.errorText) writeSizedFile(dir / "card/A.MOV", FlushBatch::kLargeFile, 1);
    makeDirectory(dir / "logs");
    for (size_t i = 0; i < kSmall.size(); ++i)
        writeSizedFile(dir / ("card/" + kSmall[i]), 200000, static_cast<unsigned>(i + 2));

    const std::string fault = row.fault;
    Environment environment = faultEnvironment(fault == "trace" ? "none" : fault, dir / "dest*");
    environment["FERRYDECK_FAULT_TRACE_FILE"] = dir / "trace";
    environment["FERRYDECK_FAULT_DELAY_MS"] = "30";
    CliRun run({"offload", dir / "card", "--dest", dir / "dest", "--verify", "contents", "--threads", "1", "--json",
                "--log-dir", dir / "logs", "--log-detail", "verbose"},
               environment);
    if (fault == "slow") {
        ASSERT_TRUE(waitFor([&] { return listFolder(dir / "dest/card").size() >= 3; }, std::chrono::seconds(60)));
        run.signal(SIGINT);
    }
    const CliRun::Result result = run.wait();
    ASSERT_FALSE(result.timedOut) << result.err;

    const nlohmann::json job = nlohmann::json::parse(result.out);
    const std::string log = readFile(job["log"]);
    const std::string expected = fault == "trace" ? "Completed" : fault == "slow" ? "Canceled" : "Error";
    EXPECT_EQ(job["status"], expected) << result.err;
    EXPECT_EQ(result.exitCode, fault == "trace" ? 0 : 1);
    expectFlushedBeforeNamedAndRead(readFile(dir / "trace"));
    expectVerifiedCopiesIdentical(log);
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "dest"), 0);
    if (!row.errorText) return;
    for (const std::string &name : kSmall) {
        EXPECT_FALSE(exists(dir / ("dest/card/" + name))) << name;
        EXPECT_NE(result.err.find(dir / ("card/" + name) + " failed for this reason:" + row.errorText),
                  std::string::npos)
            << result.err;
    }
    EXPECT_TRUE(verifiedInLog(log).empty()) << log;
}

INSTANTIATE_TEST_SUITE_P(
    Offload, FlushBatches,
    ::testing::Values(FlushRow{"Ordered", "trace", nullptr}, FlushRow{"CanceledMidBatch", "slow", nullptr},
                      FlushRow{"FlushIoError", "syncfs-eio", "flush: Input/output error"},
                      FlushRow{"FlushDiskFull", "syncfs-enospc", "flush: No space left on device"}),
    [](const ::testing::TestParamInfo<FlushRow> &info) { return std::string(info.param.name); });
