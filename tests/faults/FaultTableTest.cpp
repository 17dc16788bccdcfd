#include "CliRun.h"
#include "FaultChecks.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

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

    // The card is read, never written; only the shrinking file changes, by
    // the fault itself.
    TreeSnapshot cardAfter = snapshotTree(dir / "cardA");
    if (std::string(row.fault) == "truncate-source") {
        EXPECT_EQ(readFile(dir / "cardA/B.MOV").size(), row.after);
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
                      FaultCase{"ByteFlippedInTheCopy", "offload", "flip-byte", 123457, "contents", false},
                      FaultCase{"ByteFlippedInTheCopyReadWrite", "offload", "flip-byte", 5, "contents", true},
                      FaultCase{"SourceCannotBeOpened", "offload", "open-eacces", 0, "size", false}),
    [](const ::testing::TestParamInfo<FaultCase> &info) { return std::string(info.param.name); });
