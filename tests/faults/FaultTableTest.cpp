// Every way one file of a card can fail, in the engine and through the
// command: its job ends Error naming it, nothing unverified is called
// verified, and the card is never written.
#include "FaultChecks.h"
#include "engine/EngineFixture.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

// One fault on B.MOV of card A (A.MOV, B.MOV, C.MOV), while card B offloads
// beside it where the row runs the command.
struct FaultRow {
    const char *name;
    const char *verify;
    // Command: a fault the preloaded library injects into ferrydeck-cli.
    const char *fault = nullptr;
    unsigned long long after = 0;
    bool noCopyRange = false; // forces the read/write fallback instead of copy_file_range
    // Command: B.MOV made an entry that is not a readable file; false: not here.
    std::function<bool(const std::string &)> entry = nullptr;
    // Engine: changes made after listing, and on the copy thread after each file.
    std::function<void(const TempDir &)> beforeStart = nullptr;
    std::function<void(const FileCopyDetails &)> afterCopy = nullptr;
    bool changesSource = false; // the fault itself changes B.MOV on the card
    bool movesCopies = false;   // the fault takes the verified copies away from where the log says
    bool exactVerdict = true;   // the verdict is the one of the verification asked for
};

void PrintTo(const FaultRow &row, std::ostream *out)
{
    *out << row.name;
}

void runCommand(const FaultRow &row, const TempDir &dir, std::string &log)
{
    Environment environment;
    if (row.fault) environment = faultEnvironment(row.fault, "*/cardA/B.MOV", row.after);
    if (row.noCopyRange) environment["FERRYDECK_FAULT_NO_COPY_RANGE"] = "1";
    const CliRun::Result result =
        runCli({"offload", dir / "cardA", dir / "cardB", "--dest", dir / "dest", "--verify", row.verify, "--log-dir",
                dir / "logs", "--log-detail", "verbose", "--json", "--threads", "2"},
               environment);
    ASSERT_FALSE(result.timedOut) << result.err;
    ASSERT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_NE(result.err.find(dir / "cardA/B.MOV"), std::string::npos) << result.err;
    auto jobs = jobsBySource(result.out);
    ASSERT_EQ(jobs.size(), 2u) << result.out;
    EXPECT_EQ(jobs[dir / "cardA"]["status"], "Error");
    EXPECT_EQ(jobs[dir / "cardB"]["status"], "Completed");
    EXPECT_EQ(jobs[dir / "cardB"]["files"], 2);
    EXPECT_EQ(expectVerifiedCopiesIdentical(readFile(jobs[dir / "cardB"]["log"])), 2u);
    ASSERT_TRUE(jobs[dir / "cardA"]["log"].is_string()) << result.out;
    log = readFile(jobs[dir / "cardA"]["log"]);
}

void runEngine(const FaultRow &row, const TempDir &dir, std::string &log)
{
    auto job = preparedJob(dir / "cardA", dir / "dest",
                           JobOptions{.threads = 1, .contents = std::string(row.verify) == "contents"});
    if (row.beforeStart) row.beforeStart(dir);
    if (row.afterCopy) job->setCopyObserver(row.afterCopy);
    driveJob(job);
    EXPECT_EQ(job->offloadStatus(), OffloadInstance::kError);
    for (const auto &record : job->fileDetails()) {
        if (record->filePath() == dir / "cardA/B.MOV") {
            EXPECT_EQ(record->status(), "Copy Error");
        }
    }
    // No failed copy leaves its temporary behind, and nothing is written
    // into a folder that took the copy folder's place.
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "dest"), 0);
    if (exists(dir / "dest/copy-moved")) {
        for (const std::string &name : listFolder(dir / "dest/copy"))
            EXPECT_EQ(name, "B.MOV"); // the test's own
    }
    log = job->interface()->logText();
}

FaultRow command(const char *name, const char *verify, const char *fault, unsigned long long after,
                 bool readWrite = false)
{
    FaultRow row{name, verify, fault, after, readWrite};
    row.changesSource = std::string(fault).ends_with("-source");
    return row;
}

FaultRow entry(const char *name, const char *verify, std::function<bool(const std::string &)> make)
{
    FaultRow row{name, verify};
    row.entry = std::move(make);
    row.exactVerdict = false;
    return row;
}

// `afterCopy` runs on B.MOV's copy right after it is written. Rows named
// Source… change B.MOV on the card; CopyFolder… take the copies away.
FaultRow engine(const char *name, const char *verify, std::function<void(const TempDir &)> beforeStart,
                std::function<void(const std::string &copy)> afterCopy = nullptr)
{
    FaultRow row{name, verify};
    row.beforeStart = std::move(beforeStart);
    row.changesSource = std::string(name).starts_with("Source");
    row.movesCopies = std::string(name).starts_with("CopyFolder");
    if (afterCopy) {
        row.afterCopy = [afterCopy](const FileCopyDetails &record) {
            if (record.fileName() == "B.MOV") afterCopy(record.outputPath());
        };
    }
    return row;
}

bool makeFifo(const std::string &path)
{
    return ::mkfifo(path.c_str(), 0644) == 0;
}

void moveCopyFolder(const std::string &copy)
{
    ::rename(path::parent(copy).c_str(), (path::parent(copy) + "-moved").c_str());
}

} // namespace

class FaultTable : public ::testing::TestWithParam<FaultRow> {};

TEST_P(FaultTable, FailedFileEndsItsJobAsErrorNamedInTheLogAndNothingIsLost)
{
    const FaultRow &row = GetParam();
    TempDir dir;
    writeSizedFile(dir / "cardA/A.MOV", 200000, 1);
    writeSizedFile(dir / "cardA/B.MOV", 300000, 2);
    writeSizedFile(dir / "cardA/C.MOV", 250000, 3);
    writeSizedFile(dir / "cardB/D.MOV", 300000, 4);
    writeSizedFile(dir / "cardB/sub/E.MOV", 1000, 5);
    if (row.entry) {
        ::unlink((dir / "cardA/B.MOV").c_str());
        if (!row.entry(dir / "cardA/B.MOV")) GTEST_SKIP() << "cannot be made here";
    }
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    const TreeSnapshot cardBefore = snapshotTree(dir / "cardA");

    std::string log;
    if (row.fault || row.entry) runCommand(row, dir, log);
    else runEngine(row, dir, log);
    if (HasFatalFailure()) return;

    const std::string entry = "\nComparing \"" + dir / "cardA/B.MOV" + "\" to \"";
    const size_t at = log.find(entry);
    ASSERT_NE(at, std::string::npos) << log;
    const size_t verdictAt = log.find(":\n", at + 1) + 2;
    const std::string verdict = log.substr(verdictAt, log.find('\n', verdictAt) - verdictAt);
    const std::string expected = !row.exactVerdict                       ? "verification failure"
                                 : std::string(row.verify) == "contents" ? "File contents compare verification failure"
                                                                         : "File size verification failure";
    EXPECT_EQ(verdict.find(expected), row.exactVerdict ? 0 : verdict.find("verification failure")) << log;
    EXPECT_NE(log.find("Verification Status:Offload Errored"), std::string::npos);
    for (const auto &[source, copy] : verifiedInLog(log))
        EXPECT_NE(source, dir / "cardA/B.MOV");
    if (!row.movesCopies) expectVerifiedCopiesIdentical(log);

    // The card is read, never written; only the file the fault changes does, by the fault itself.
    TreeSnapshot cardAfter = snapshotTree(dir / "cardA"), unchanged = cardBefore;
    if (row.changesSource) {
        if (row.fault && std::string(row.fault) == "truncate-source") {
            EXPECT_EQ(readFile(dir / "cardA/B.MOV").size(), row.after);
        }
        for (const char *changed : {"", "/B.MOV"}) { // a deletion changes the folder's time too
            cardAfter.erase(changed);
            unchanged.erase(changed);
        }
    }
    EXPECT_EQ(cardAfter, unchanged);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, FaultTable,
    ::testing::Values(
        // Each injected fault, through copy_file_range and through the read/write fallback; between them
        // entries that are not files that can be read: refused before they are opened, so nothing blocks.
        command("DiskFullMidFile", "size", "write-enospc", 100000),
        command("DiskFullMidFileReadWrite", "size", "write-enospc", 100000, true),
        command("WriteIoErrorAtFirstByte", "contents", "write-eio", 0),
        command("WriteIoErrorMidFileReadWrite", "size", "write-eio", 65536, true),
        command("ReadIoErrorMidFile", "contents", "read-eio", 100000), entry("FifoVerifiedBySize", "size", makeFifo),
        entry("FifoVerifiedByContents", "contents", makeFifo),
        command("ReadIoErrorMidFileReadWrite", "size", "read-eio", 100000, true),
        command("SourceTruncatedMidCopy", "size", "truncate-source", 100000),
        command("SourceTruncatedMidCopyReadWrite", "contents", "truncate-source", 100000, true),
        // Same size, new time: only the source check at the end of the copy can tell.
        command("SourceRewrittenMidCopy", "size", "touch-source", 100000),
        command("SourceRewrittenMidCopyReadWrite", "size", "touch-source", 100000, true),
        // Longer, same time: an in-kernel copy that stops at the size the file had when opened still fails it.
        command("SourceGrewMidCopy", "size", "grow-source", 100000), entry("SocketVerifiedBySize", "size", makeSocket),
        entry("SocketVerifiedByContents", "contents", makeSocket),
        command("ByteFlippedInTheCopy", "contents", "flip-byte", 123457),
        command("ByteFlippedInTheCopyReadWrite", "contents", "flip-byte", 5, true),
        command("SourceCannotBeOpened", "size", "open-eacces", 0),
        // Root reads files without read permission; SourceCannotBeOpened stands for it there.
        entry("Unreadable", "contents",
              [](const std::string &p) {
                  writeFile(p, "secret");
                  return ::geteuid() != 0 && ::chmod(p.c_str(), 0) == 0;
              }),
        engine("DestinationHoldsTheFile", "size", [](const TempDir &d) { writeFile(d / "dest/copy/B.MOV", "older"); }),
        engine("SourceDeletedAfterListing", "size", [](const TempDir &d) { ::unlink((d / "cardA/B.MOV").c_str()); }),
        engine("SourceTruncatedAfterListing", "size",
               [](const TempDir &d) { ::truncate((d / "cardA/B.MOV").c_str(), 10); }),
        engine("SourceGrewAfterListing", "contents",
               [](const TempDir &d) { writeSizedFile(d / "cardA/B.MOV", 400000, 2); }),
        engine("DestinationByteChangedAfterCopy", "contents", nullptr,
               [](const std::string &copy) {
                   std::string bytes = readFile(copy);
                   bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] + 1);
                   writeFile(copy, bytes);
               }),
        engine("DestinationTruncatedAfterCopy", "size", nullptr,
               [](const std::string &copy) { ::truncate(copy.c_str(), 1); }),
        // The copy folder moved, replaced (as by another mount) or gone between a copy and its check.
        engine("CopyFolderMovedAway", "size", nullptr, moveCopyFolder),
        engine("CopyFolderReplacedByAnother", "contents", nullptr,
               [](const std::string &copy) {
                   moveCopyFolder(copy);
                   writeSizedFile(copy, 300000, 2); // same bytes: only identity tells them apart
               }),
        engine("CopyFolderRemoved", "size", nullptr,
               [](const std::string &copy) { std::filesystem::remove_all(path::parent(copy)); })),
    [](const ::testing::TestParamInfo<FaultRow> &info) { return std::string(info.param.name); });

// A file that appears under a copy's name while the copy is being written
// (only a foreign writer could put it there) is never replaced, also where
// the file system lacks RENAME_NOREPLACE, or hard links as well.
struct RenameSupport {
    const char *name;
    Environment environment;
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
    Environment environment = faultEnvironment("slow", "*/dest/cardA/B.MOV");
    environment["FERRYDECK_FAULT_DELAY_MS"] = "100";
    environment.insert(GetParam().environment.begin(), GetParam().environment.end());
    CliRun run({"offload", dir / "cardA", "--dest", dir / "dest", "--verify", "contents", "--log-dir", dir / "dest",
                "--json", "--threads", "1"},
               environment);
    ASSERT_TRUE(waitFor([&] { return exists(dir / "dest/cardA/.B.MOV.ferrydeck-part"); }));
    writeFile(dir / "dest/cardA/B.MOV", "someone else's");
    const CliRun::Result result = run.wait();

    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_EQ(jobsBySource(result.out)[dir / "cardA"]["status"], "Error") << result.out;
    EXPECT_EQ(readFile(dir / "dest/cardA/B.MOV"), "someone else's");
    EXPECT_FALSE(exists(dir / "dest/cardA/.B.MOV.ferrydeck-part"));
}

INSTANTIATE_TEST_SUITE_P(
    Offload, NameTakenDuringTheCopy,
    ::testing::Values(RenameSupport{"RenameNoReplace", {}},
                      RenameSupport{"HardLink", {{"FERRYDECK_FAULT_NO_NOREPLACE", "1"}}},
                      RenameSupport{"CheckThenRename",
                                    {{"FERRYDECK_FAULT_NO_NOREPLACE", "1"}, {"FERRYDECK_FAULT_NO_LINK", "1"}}}),
    [](const ::testing::TestParamInfo<RenameSupport> &info) { return std::string(info.param.name); });

TEST(Faults, DestinationThatRunsOutOfSpace)
{
    TempDir dir;
    makeDirectory(dir / "small");
    // Room for the first file beside the speed probe's megabyte, which the
    // first estimate may be writing while that file is copied.
    if (::mount("tmpfs", (dir / "small").c_str(), "tmpfs", 0, "size=4m") != 0) {
        GTEST_SKIP() << "needs a small file system (root only)";
    }
    writeSizedFile(dir / "card/A.MOV", 20000, 1);
    writeSizedFile(dir / "card/B.MOV", 5000000, 2);
    auto job = preparedJob(dir / "card", dir / "small", JobOptions{.threads = 1});
    driveJob(job);
    ::umount((dir / "small").c_str());
    EXPECT_EQ(job->offloadStatus(), OffloadInstance::kError);
    EXPECT_EQ(job->fileDetails()[0]->status(), "Copy Verified");
    EXPECT_EQ(job->fileDetails()[1]->status(), "Copy Error");
    EXPECT_NE(job->interface()->logText().find("\nComparing \"" + dir / "card/B.MOV"), std::string::npos);
}

TEST(Faults, UnwritableDestinationEndsAsErrorWithoutCopying)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "x");
    auto job = OffloadInstance::create(dir / "card", dir / "missing");
    OffloadDriver::listSource(*job);
    job->addThreadToPool(job->createOffloadThread());
    bool denied = false;
    OffloadDriver::Hooks hooks;
    hooks.permissionDenied = [&] { denied = true; };
    EXPECT_EQ(OffloadDriver::drive(job, hooks), OffloadInstance::kError);
    EXPECT_TRUE(denied);
    EXPECT_EQ(job->fileDetails()[0]->status(), "In Queue");
    EXPECT_NE(job->interface()->logText().find("Offload Errored"), std::string::npos);
}
