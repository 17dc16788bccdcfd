#include "CliRun.h"
#include "FaultChecks.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <sstream>
#include <thread>

using namespace ferrydeck::test;

namespace {

// One injected fault on B.MOV of card A, while card B offloads beside it.
struct FaultCase {
    const char *name;
    // The command under test; a row for another command that offloads
    // (watch) needs only its arguments in commandLine() below.
    const char *command;
    const char *fault;
    unsigned long long after;
    const char *verify;
    // Forces the read/write fallback instead of copy_file_range.
    bool noCopyRange;
};

void PrintTo(const FaultCase &row, std::ostream *out)
{
    *out << row.command << " " << row.fault << " after " << row.after << ", verify " << row.verify;
}

std::vector<std::string> commandLine(const FaultCase &row, const TempDir &dir)
{
    const std::string command = row.command;
    if (command == "offload") {
        return {"offload",   dir / "cardA", dir / "cardB",  "--dest",  dir / "dest", "--verify",  row.verify,
                "--log-dir", dir / "logs",  "--log-detail", "verbose", "--json",     "--threads", "2"};
    }
    ADD_FAILURE() << "no command line for " << command;
    return {};
}

} // namespace

class FaultTable : public ::testing::TestWithParam<FaultCase> {};

TEST_P(FaultTable, FailedFileEndsItsJobAsErrorNamedInTheLogAndTheOtherJobCompletes)
{
    const FaultCase &row = GetParam();
    TempDir dir;
    writeSizedFile(dir / "cardA/A.MOV", 200000, 1);
    writeSizedFile(dir / "cardA/B.MOV", 300000, 2);
    writeSizedFile(dir / "cardA/C.MOV", 250000, 3);
    writeSizedFile(dir / "cardB/D.MOV", 300000, 4);
    writeSizedFile(dir / "cardB/sub/E.MOV", 1000, 5);
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    const TreeSnapshot cardBefore = snapshotTree(dir / "cardA");

    CliRun::Options options;
    options.environment = faultEnvironment(row.fault, "*/cardA/B.MOV", row.after);
    if (row.noCopyRange) options.environment.push_back("FERRYDECK_FAULT_NO_COPY_RANGE=1");
    const CliRun::Result result = runCli(commandLine(row, dir), options);

    ASSERT_FALSE(result.timedOut) << result.err;
    ASSERT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_NE(result.err.find(dir / "cardA/B.MOV"), std::string::npos) << result.err;

    auto jobs = jobsBySource(result.out);
    ASSERT_EQ(jobs.size(), 2u) << result.out;
    const auto &failed = jobs[dir / "cardA"];
    const auto &other = jobs[dir / "cardB"];
    EXPECT_EQ(failed["status"], "Error");
    EXPECT_EQ(other["status"], "Completed");
    EXPECT_EQ(other["files"], 2);

    ASSERT_TRUE(failed["log"].is_string()) << result.out;
    const std::string log = readFile(failed["log"]);
    const std::string entry = "\nComparing \"" + dir / "cardA/B.MOV" + "\" to \"" + dir / "dest/cardA/B.MOV:\n";
    const size_t at = log.find(entry);
    ASSERT_NE(at, std::string::npos) << log;
    const std::string verdict = std::string(row.verify) == "contents" ? "File contents compare verification failure"
                                                                      : "File size verification failure";
    EXPECT_EQ(log.compare(at + entry.size(), verdict.size(), verdict), 0) << log;
    EXPECT_NE(log.find("Verification Status:Offload Errored"), std::string::npos);
    for (const auto &[source, copy] : verifiedInLog(log))
        EXPECT_NE(source, dir / "cardA/B.MOV");
    expectVerifiedCopiesIdentical(log);
    EXPECT_EQ(expectVerifiedCopiesIdentical(readFile(other["log"])), 2u);

    // The card is read, never written; only the file the fault changes does,
    // by the fault itself.
    TreeSnapshot cardAfter = snapshotTree(dir / "cardA");
    if (std::string(row.fault) == "truncate-source" || std::string(row.fault) == "touch-source") {
        if (std::string(row.fault) == "truncate-source") {
            EXPECT_EQ(readFile(dir / "cardA/B.MOV").size(), row.after);
        }
        cardAfter.erase("/B.MOV");
        TreeSnapshot expected = cardBefore;
        expected.erase("/B.MOV");
        EXPECT_EQ(cardAfter, expected);
    } else {
        EXPECT_EQ(cardAfter, cardBefore);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Offload, FaultTable,
    ::testing::Values(FaultCase{"DiskFullMidFile", "offload", "write-enospc", 100000, "size", false},
                      FaultCase{"DiskFullMidFileReadWrite", "offload", "write-enospc", 100000, "size", true},
                      FaultCase{"WriteIoErrorAtFirstByte", "offload", "write-eio", 0, "contents", false},
                      FaultCase{"WriteIoErrorMidFileReadWrite", "offload", "write-eio", 65536, "size", true},
                      FaultCase{"ReadIoErrorMidFile", "offload", "read-eio", 100000, "contents", false},
                      FaultCase{"ReadIoErrorMidFileReadWrite", "offload", "read-eio", 100000, "size", true},
                      FaultCase{"SourceTruncatedMidCopy", "offload", "truncate-source", 100000, "size", false},
                      FaultCase{"SourceTruncatedMidCopyReadWrite", "offload", "truncate-source", 100000, "contents",
                                true},
                      // Same size, new time: only the source check at the end of the copy can tell.
                      FaultCase{"SourceRewrittenMidCopy", "offload", "touch-source", 100000, "size", false},
                      FaultCase{"SourceRewrittenMidCopyReadWrite", "offload", "touch-source", 100000, "size", true},
                      FaultCase{"ByteFlippedInTheCopy", "offload", "flip-byte", 123457, "contents", false},
                      FaultCase{"ByteFlippedInTheCopyReadWrite", "offload", "flip-byte", 5, "contents", true},
                      FaultCase{"SourceCannotBeOpened", "offload", "open-eacces", 0, "size", false}),
    [](const ::testing::TestParamInfo<FaultCase> &info) { return std::string(info.param.name); });

// A file that appears under a copy's name while the copy is being written
// (only a foreign writer could put it there) is never replaced, also where
// the file system lacks RENAME_NOREPLACE, or hard links as well.
struct RenameSupport {
    const char *name;
    std::vector<std::string> environment;
};

void PrintTo(const RenameSupport &row, std::ostream *out)
{
    *out << row.name;
}

class NameTakenDuringTheCopy : public ::testing::TestWithParam<RenameSupport> {};

TEST_P(NameTakenDuringTheCopy, IsNeverReplacedAndTheFileFails)
{
    TempDir dir;
    writeSizedFile(dir / "cardA/B.MOV", 300000, 2);
    makeDirectory(dir / "dest");
    CliRun::Options options;
    options.environment = faultEnvironment("slow", "*/dest/cardA/B.MOV");
    options.environment.push_back("FERRYDECK_FAULT_DELAY_MS=100");
    for (const std::string &setting : GetParam().environment)
        options.environment.push_back(setting);
    CliRun run({"offload", dir / "cardA", "--dest", dir / "dest", "--verify", "contents", "--log-dir", dir / "dest",
                "--json", "--threads", "1"},
               options);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!exists(dir / "dest/cardA/.B.MOV.ferrydeck-part") && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(exists(dir / "dest/cardA/.B.MOV.ferrydeck-part"));
    writeFile(dir / "dest/cardA/B.MOV", "someone else's");
    const CliRun::Result result = run.wait(std::chrono::seconds(60));

    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_EQ(jobsBySource(result.out)[dir / "cardA"]["status"], "Error") << result.out;
    EXPECT_EQ(readFile(dir / "dest/cardA/B.MOV"), "someone else's");
    EXPECT_FALSE(exists(dir / "dest/cardA/.B.MOV.ferrydeck-part"));
}

INSTANTIATE_TEST_SUITE_P(
    Offload, NameTakenDuringTheCopy,
    ::testing::Values(RenameSupport{"RenameNoReplace", {}},
                      RenameSupport{"HardLink", {"FERRYDECK_FAULT_NO_NOREPLACE=1"}},
                      RenameSupport{"CheckThenRename",
                                    {"FERRYDECK_FAULT_NO_NOREPLACE=1", "FERRYDECK_FAULT_NO_LINK=1"}}),
    [](const ::testing::TestParamInfo<RenameSupport> &info) { return std::string(info.param.name); });
