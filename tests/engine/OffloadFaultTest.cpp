#include "EngineFixture.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"

#include <gtest/gtest.h>

#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

struct Fault {
    const char *name;
    bool contents;
    // Runs after listing and before the job starts.
    std::function<void(const TempDir &)> beforeStart;
    // Runs on the copy thread after each file's copy.
    std::function<void(const FileCopyDetails &)> afterCopy;
};

void expectErrorNaming(const OffloadInstance &job, const std::string &file)
{
    EXPECT_EQ(job.offloadStatus(), OffloadInstance::kError);
    const std::string log = job.interface()->logText();
    const std::string failed = "\nComparing \"" + file + "\"";
    const size_t at = log.find(failed);
    ASSERT_NE(at, std::string::npos) << log;
    EXPECT_NE(log.find("verification failure", at), std::string::npos);
    for (const auto &record : job.fileDetails()) {
        if (record->filePath() == file) {
            EXPECT_EQ(record->status(), "Copy Error");
        }
    }
}

} // namespace

class Faults : public ::testing::TestWithParam<Fault> {};

TEST_P(Faults, EndTheJobAsErrorAndNameTheFile)
{
    const Fault &fault = GetParam();
    TempDir dir;
    writeSizedFile(dir / "card/A.MOV", 4000, 1);
    writeSizedFile(dir / "card/B.MOV", 5000, 2);
    writeSizedFile(dir / "card/C.MOV", 6000, 3);
    makeDirectory(dir / "dest");
    JobOptions options;
    options.threads = 1;
    options.contents = fault.contents;
    auto job = preparedJob(dir / "card", dir / "dest", options);
    if (fault.beforeStart) fault.beforeStart(dir);
    if (fault.afterCopy) job->setCopyObserver(fault.afterCopy);
    driveJob(job);
    expectErrorNaming(*job, dir / "card/B.MOV");
    // Nothing on the card is touched by a failing offload.
    EXPECT_EQ(readFile(dir / "card/A.MOV").size(), 4000u);
    // No failed copy leaves its temporary behind, and nothing is written
    // into a folder that took the copy folder's place.
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "dest"), 0);
    std::vector<std::string> names;
    if (exists(dir / "dest/copy-moved") && path::listDirectory(dir / "dest/copy", names)) {
        for (const std::string &name : names)
            EXPECT_EQ(name, "B.MOV"); // the test's own
    }
}

INSTANTIATE_TEST_SUITE_P(
    Engine, Faults,
    ::testing::Values(Fault{"DestinationHoldsTheFile", false,
                            [](const TempDir &d) { writeFile(d / "dest/copy/B.MOV", "older"); }, nullptr},
                      Fault{"SourceDeletedAfterListing", false,
                            [](const TempDir &d) { ::unlink((d / "card/B.MOV").c_str()); }, nullptr},
                      Fault{"SourceTruncatedAfterListing", false,
                            [](const TempDir &d) { ::truncate((d / "card/B.MOV").c_str(), 10); }, nullptr},
                      Fault{"SourceGrewAfterListing", true,
                            [](const TempDir &d) { writeSizedFile(d / "card/B.MOV", 9000, 2); }, nullptr},
                      Fault{"DestinationByteChangedAfterCopy", true, nullptr,
                            [](const FileCopyDetails &record) {
                                if (record.fileName() != "B.MOV") return;
                                std::string bytes = readFile(record.outputPath());
                                bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] + 1);
                                writeFile(record.outputPath(), bytes);
                            }},
                      Fault{"DestinationTruncatedAfterCopy", false, nullptr,
                            [](const FileCopyDetails &record) {
                                if (record.fileName() == "B.MOV") ::truncate(record.outputPath().c_str(), 1);
                            }},
                      // The copy folder moved, replaced (as by another mount) or gone
                      // between a copy and its check.
                      Fault{"CopyFolderMovedAway", false, nullptr,
                            [](const FileCopyDetails &record) {
                                const std::string folder = path::parent(record.outputPath());
                                if (record.fileName() == "B.MOV") ::rename(folder.c_str(), (folder + "-moved").c_str());
                            }},
                      Fault{"CopyFolderReplacedByAnother", true, nullptr,
                            [](const FileCopyDetails &record) {
                                const std::string folder = path::parent(record.outputPath());
                                if (record.fileName() != "B.MOV") return;
                                ::rename(folder.c_str(), (folder + "-moved").c_str());
                                makeDirectory(folder);
                                writeSizedFile(folder + "/B.MOV", 5000,
                                               2); // same bytes: only identity tells them apart
                            }},
                      Fault{"CopyFolderRemoved", false, nullptr,
                            [](const FileCopyDetails &record) {
                                if (record.fileName() == "B.MOV")
                                    std::filesystem::remove_all(path::parent(record.outputPath()));
                            }}),
    [](const ::testing::TestParamInfo<Fault> &info) { return std::string(info.param.name); });

TEST(Faults, DestinationThatRunsOutOfSpace)
{
    TempDir dir;
    makeDirectory(dir / "small");
    if (::mount("tmpfs", (dir / "small").c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "needs a small file system (root only)";
    }
    writeSizedFile(dir / "card/A.MOV", 20000, 1);
    writeSizedFile(dir / "card/B.MOV", 200000, 2);
    JobOptions options;
    options.threads = 1;
    auto job = preparedJob(dir / "card", dir / "small", options);
    driveJob(job);
    expectErrorNaming(*job, dir / "card/B.MOV");
    EXPECT_EQ(job->fileDetails()[0]->status(), "Copy Verified");
    ::umount((dir / "small").c_str());
}

TEST(Faults, UnwritableDestinationEndsAsErrorWithoutCopying)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "x");
    JobOptions options;
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
