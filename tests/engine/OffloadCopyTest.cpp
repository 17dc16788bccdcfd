#include "EngineFixture.h"
#include "engine/FlushBatch.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

size_t count(const std::string &text, const std::string &what)
{
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

std::vector<int32_t> statuses(const OffloadInstance &job)
{
    std::vector<int32_t> result;
    for (const auto &record : job.fileDetails())
        result.push_back(static_cast<int32_t>(record->rawStatus()));
    return result;
}

// A card of `files` files, numbered so the walk order is easy to read.
void makeCard(const TempDir &dir, int files)
{
    for (int i = 0; i < files; ++i) {
        writeSizedFile(dir / ("card/CLIP/" + std::to_string(100 + i) + ".MOV"), 1000 + 37 * i, i);
    }
}

// Holds each of two files' checks until the other's has begun; one thread
// may now copy both files before checking either, so the wait is bounded.
struct BothChecks {
    std::mutex mutex;
    std::condition_variable arrived;
    int count = 0;
    void arriveAndWait()
    {
        std::unique_lock lock(mutex);
        ++count;
        arrived.notify_all();
        arrived.wait_for(lock, std::chrono::seconds(2), [&] { return count >= 2; });
    }
};

} // namespace

class CopyAllFiles : public ::testing::TestWithParam<bool> {};

TEST_P(CopyAllFiles, EveryFileIsCopiedAndVerifiedWithSeveralThreads)
{
    TempDir dir;
    makeCard(dir, 40);
    writeSizedFile(dir / "card/DCIM/.thumbs/a.jpg", 512);
    writeFile(dir / "card/.Trashes/x.mov", "never");
    std::atomic<int> sounds{0};
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 4, .contents = GetParam()}, &sounds);

    EXPECT_EQ(driveJob(job), OffloadInstance::kCompleted);
    EXPECT_EQ(job->itemsProcessed(), 41);
    EXPECT_EQ(job->bytesCopied(), job->bytesAtSource());
    for (const auto &record : job->fileDetails()) {
        EXPECT_EQ(record->status(), "Copy Verified");
        EXPECT_EQ(readFile(record->outputPath()), readFile(record->filePath()));
    }
    EXPECT_TRUE(exists(dir / "dest/copy/DCIM/.thumbs/a.jpg"));
    EXPECT_FALSE(exists(dir / "dest/copy/.Trashes"));
    EXPECT_EQ(sounds.load(), 0);
    EXPECT_EQ(job->interface()->currentOffloadFile(), "Offload Complete & Verified");
    EXPECT_EQ(job->interface()->estimatedTimeRemaining(), "Complete");

    // Minimal logging: the initial entry and the summary only.
    const auto log = job->interface()->logDetails();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1].color, DisplayColor::Green);
    EXPECT_NE(log[1].text.find("Total files copied:41\nTotal bytes at source:"), std::string::npos);
    EXPECT_NE(log[1].text.find("Verification Status:Offload Verified\n"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(SizeAndContents, CopyAllFiles, ::testing::Values(false, true));

TEST(CopyLoop, FirstFailureEndsTheJobAndLogsEveryRecord)
{
    TempDir dir;
    makeCard(dir, 5);
    std::atomic<int> sounds{0};
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 1}, &sounds);
    const auto records = job->fileDetails();
    // The third file is already at the destination: it must not be replaced.
    const std::string third = path::replaceAll(records[2]->filePath(), dir / "card", dir / "dest/copy");
    writeFile(third, "older footage");

    EXPECT_EQ(driveJob(job), OffloadInstance::kError);
    EXPECT_EQ(readFile(third), "older footage");
    EXPECT_TRUE(job->endedPremature());
    EXPECT_EQ(sounds.load(), 1);
    EXPECT_EQ(statuses(*job), (std::vector<int32_t>{10003, 10003, 10004, 10001, 10001}));
    EXPECT_EQ(job->itemsProcessed(), 2);
    EXPECT_EQ(job->interface()->currentOffloadFile(),
              "Not all files were copied correctly, look at the Log Report for details");

    const auto log = job->interface()->logDetails();
    ASSERT_EQ(log.size(), 1u + 5u + 1u);
    const std::string head0 = "\nComparing \"" + records[0]->filePath() + "\" to \"" + records[0]->outputPath() + ":\n";
    EXPECT_EQ(log[1].text, head0 + "File size verification complete: Both files are the same size\n");
    EXPECT_EQ(log[1].color, DisplayColor::Green);
    EXPECT_EQ(log[3].text, "\nComparing \"" + records[2]->filePath() + "\" to \"" + third +
                               ":\nFile size verification failure: The files are different sizes\n");
    EXPECT_EQ(log[3].color, DisplayColor::Red);
    EXPECT_EQ(log[4].text, "Copying file \"" + records[3]->filePath() + "\" to \"\" did not have a chance to process");
    EXPECT_EQ(log[4].color, DisplayColor::Black);
    EXPECT_EQ(log[6].color, DisplayColor::Red);
    EXPECT_NE(log[6].text.find("Verification Status:Offload Errored\n"), std::string::npos);
}

TEST(CopyLoop, OneThreadTakesFilesInListOrderAndVerboseLoggingUsesTheContentsSentences)
{
    TempDir dir;
    makeCard(dir, 12);
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 1, .contents = true, .verbose = true});
    std::vector<std::string> copied, listed;
    job->setCopyObserver([&](const FileCopyDetails &record) { copied.push_back(record.filePath()); });
    for (const auto &record : job->fileDetails())
        listed.push_back(record->filePath());
    EXPECT_EQ(driveJob(job), OffloadInstance::kCompleted);
    EXPECT_EQ(copied, listed);
    const std::string log = job->interface()->logText();
    EXPECT_EQ(count(log, "File contents compare verification succeeded: The file contents are the same\n"), 12u);
    EXPECT_EQ(log.rfind("Ferrydeck by Brightwater (", 0), 0u);
    EXPECT_NE(log.find("Total files at source:12\nTotal bytes at source:"), std::string::npos);
    EXPECT_NE(log.find("Total Files at source:12\n"), std::string::npos);
}

// Files of one folder share its descriptor. A folder replaced between two of
// them (here with the first copy linked into the new one) gets the next copy
// where its path leads, not the folder that was moved away.
TEST(CopyLoop, AFolderReplacedBetweenTwoOfItsFilesGetsTheNextCopyAtItsPath)
{
    TempDir dir;
    // Too large to wait for a flush together: each is checked before the next is copied.
    for (const char *name : {"A.MOV", "B.MOV"})
        writeSizedFile(dir / (std::string("card/CLIP/") + name), FlushBatch::kLargeFile, 1);
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 1});
    job->setCopyObserver([&](const FileCopyDetails &record) {
        if (record.fileName() != "A.MOV") return;
        ASSERT_EQ(::rename((dir / "dest/copy/CLIP").c_str(), (dir / "dest/moved").c_str()), 0);
        makeDirectory(dir / "dest/copy/CLIP");
        ASSERT_EQ(::link((dir / "dest/moved/A.MOV").c_str(), (dir / "dest/copy/CLIP/A.MOV").c_str()), 0);
    });
    EXPECT_EQ(driveJob(job), OffloadInstance::kCompleted);
    EXPECT_TRUE(readFile(dir / "dest/copy/CLIP/B.MOV") == readFile(dir / "card/CLIP/B.MOV"));
    EXPECT_FALSE(exists(dir / "dest/moved/B.MOV"));
}

TEST(CopyLoop, CancelStopsBeforeTheNextFileAndLeavesCounters)
{
    TempDir dir;
    makeCard(dir, 6);
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 1});
    job->setCopyObserver([&](const FileCopyDetails &) { job->cancelOffloadingTasks(); });
    EXPECT_EQ(driveJob(job), OffloadInstance::kCanceled);
    // The file in progress finishes and is verified, but no longer counts.
    EXPECT_EQ(statuses(*job), (std::vector<int32_t>{10003, 10001, 10001, 10001, 10001, 10001}));
    EXPECT_EQ(job->itemsProcessed(), 0);
    EXPECT_EQ(job->bytesCopied(), 0u);
    const auto log = job->interface()->logDetails();
    ASSERT_EQ(log.size(), 2u); // no per-file entries on cancel
    EXPECT_EQ(log[1].color, DisplayColor::Red);
    EXPECT_NE(log[1].text.find("Verification Status:Offload Canceled\n"), std::string::npos);
}

TEST(CopyLoop, TwoThreadsFinishingTheLastTwoFilesCompleteOnce)
{
    TempDir dir;
    makeCard(dir, 2);
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 2, .verbose = true});
    BothChecks both;
    job->setCopyObserver([&](const FileCopyDetails &) { both.arriveAndWait(); });
    EXPECT_EQ(driveJob(job), OffloadInstance::kCompleted);
    EXPECT_EQ(count(job->interface()->logText(), "\nComparing \""), 2u);
    EXPECT_EQ(job->itemsProcessed(), 2);
}

TEST(CopyLoop, TwoFailuresLogTwiceAndSoundOnce)
{
    TempDir dir;
    // Files flushed on their own, so that each thread takes one.
    for (unsigned i = 0; i < 2; ++i)
        writeSizedFile(dir / ("card/CLIP/10" + std::to_string(i) + ".MOV"), FlushBatch::kLargeFile, i);
    std::atomic<int> sounds{0};
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{.threads = 2, .contents = true}, &sounds);
    BothChecks both;
    job->setCopyObserver([&](const FileCopyDetails &record) {
        both.arriveAndWait();
        std::string bytes = readFile(record.outputPath());
        bytes[0] = static_cast<char>(bytes[0] ^ 0x40);
        writeFile(record.outputPath(), bytes);
    });
    EXPECT_EQ(driveJob(job), OffloadInstance::kError);
    // Two blocks of two entries; the other file may still be in process when
    // the first block is written.
    const std::string log = job->interface()->logText();
    EXPECT_EQ(count(log, "File contents compare verification failure") + count(log, "did not have a chance"), 4u);
    EXPECT_GE(count(log, "File contents compare verification failure"), 2u);
    EXPECT_EQ(sounds.load(), 1);
}

TEST(CopyLoop, EmptyJobCompletesAtOnceWithItsLog)
{
    TempDir dir;
    makeDirectory(dir / "card/.hidden-only");
    writeFile(dir / "card/.DS_Store", "x");
    auto job = preparedJob(dir / "card", dir / "dest", JobOptions{});
    EXPECT_EQ(driveJob(job), OffloadInstance::kCompleted);
    EXPECT_NE(job->interface()->logText().find("Ferrydeck Offload Summary"), std::string::npos);
}

// Only the leading source folder is replaced: a sub-folder that repeats the
// source's text (/footagex/footagex_day1, or the whole source path again)
// keeps its place in the copy.
TEST(CopyLoop, SourcePathRecurringInsideAFilePathKeepsTheSourceLayout)
{
    TempDir dir;
    const std::vector<std::string> files = {"footagex_day1/A001.MOV", "footagex_day1/footagex/B.MOV",
                                            "x" + dir.path() + "/footagex/y"};
    for (const std::string &file : files)
        writeFile(dir / ("footagex/" + file), file);
    const struct timespec old[2] = {{1500000000, 0}, {1500000000, 0}};
    ::utimensat(AT_FDCWD, (dir / "footagex/footagex_day1").c_str(), old, 0);
    makeDirectory(dir / "D");
    auto job = preparedJob(dir / "footagex", dir / "D", JobOptions{});
    EXPECT_EQ(driveJob(job), OffloadInstance::kCompleted);
    for (const std::string &file : files)
        EXPECT_EQ(readFile(dir / ("D/copy/" + file)), file) << file;
    for (const auto &record : job->fileDetails()) {
        const std::string relative = *OffloadInstance::relativeToSource(record->filePath(), dir / "footagex");
        EXPECT_EQ(record->outputPath(), dir / ("D/copy/" + relative));
        // What the copy saw of the source is what the record keeps.
        const struct stat info = statOf(record->filePath());
        EXPECT_EQ(record->rawModificationTime(), info.st_mtim.tv_sec * 1000000000LL + info.st_mtim.tv_nsec);
    }
    // Folder times are set after their files, so they survive them.
    EXPECT_EQ(statOf(dir / "D/copy/footagex_day1").st_mtim.tv_sec, 1500000000);
    EXPECT_EQ(FileCopy::removeTemporaryFiles(dir / "D"), 0);
}
