#include "EngineFixture.h"
#include "controller/StdMainLoop.h"
#include "support/EnvironmentGuard.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace ferrydeck;
using namespace ferrydeck::test;
using namespace std::chrono_literals;

TEST(JobRecord, StatusTextsColoursAndPhases)
{
    struct Row {
        int32_t code;
        const char *text;
        DisplayColor color;
        bool over, begun;
    };
    const Row rows[] = {
        {100, "In Queue", DisplayColor::Blue, false, false}, {101, "Processing", DisplayColor::Blue, false, true},
        {102, "Canceled", DisplayColor::Red, true, true},    {103, "Completed", DisplayColor::Green, true, true},
        {104, "Error", DisplayColor::Red, true, true},       {105, "Idle", DisplayColor::Blue, false, false},
        {106, "Indexing", DisplayColor::Blue, false, false}, {99, "", DisplayColor::White, false, true},
        {107, "", DisplayColor::White, false, true}};
    auto job = OffloadInstance::create();
    EXPECT_EQ(job->probeFilePath(), "/.probeFile");
    EXPECT_EQ(job->offloadStatus(), OffloadInstance::kIndexing);
    for (const Row &row : rows) {
        job->setOffloadStatus(OffloadInstance::Status(row.code));
        EXPECT_EQ(job->interface()->currentStatus(), row.text) << row.code;
        EXPECT_EQ(job->interface()->statusColor(), row.color) << row.code;
        EXPECT_EQ(job->processingTaskIsOver(), row.over) << row.code;
        EXPECT_EQ(job->processingTaskHasBegun(), row.begun) << row.code;
    }
    job->setBytesAtSource(1500000);
    EXPECT_EQ(job->interface()->sourceSize(), "1.50 MB");
    job->setBytesAtSource(10);
    job->setBytesCopied(12);
    EXPECT_EQ(job->bytesLeftToCopy(), UINT64_MAX - 1); // wraps, as destination sizes may exceed

    // Each thread raises the pool size by one.
    job = OffloadInstance::create("/a", "/b");
    for (int i = 0; i < 3; ++i)
        job->addThreadToPool(job->createOffloadThread());
    EXPECT_EQ(job->pool().poolSize(), 4);
    EXPECT_EQ(job->pool().pool().size(), 3u);
    job->cancelOffloadingTasks();
    EXPECT_EQ(job->offloadStatus(), OffloadInstance::kCanceled);
}

TEST(TimeTexts, TwoDigitFieldsAndClockTimes)
{
    EXPECT_EQ(OffloadInstance::convertIntToTimeString(7), "07");
    EXPECT_EQ(OffloadInstance::convertIntToTimeString(125), "125");
    EXPECT_EQ(OffloadInstance::convertIntToTimeString(-3), "0-3");
    const auto t0 = OffloadInstance::Clock::now();
    EXPECT_EQ(OffloadInstance::createClockTimeFromDate(t0, t0 + 3725s), "01:02:05");
    EXPECT_EQ(OffloadInstance::createClockTimeFromDate(t0, t0 + 100h + 59s + 900ms), "100:00:59");
    int h = 0, m = 0, s = 0;
    OffloadInstance::breakSecondsIntoHoursMinutesSeconds(-3725.9, h, m, s);
    EXPECT_EQ(h * 10000 + m * 100 + s, -(1 * 10000 + 2 * 100 + 5));
    auto job = OffloadInstance::create();
    job->setEstimatedTimeRemaining(1, 2, 5);
    EXPECT_EQ(job->interface()->estimatedTimeRemaining(), "01:02:05");
}

TEST(TimeTexts, TwelveHourRuleKeepsNoonAsAM)
{
    auto utc = std::make_unique<EnvironmentGuard>("TZ", "UTC");
    ::tzset();
    auto at = [](int hour, int minute) {
        std::tm tm{};
        tm.tm_year = 126;
        tm.tm_mday = 1;
        tm.tm_hour = hour;
        tm.tm_min = minute;
        return OffloadInstance::Clock::from_time_t(::timegm(&tm));
    };
    EXPECT_EQ(OffloadInstance::createTimeOfDayFromCalenderDate(at(0, 5)), "00:05 AM");
    EXPECT_EQ(OffloadInstance::createTimeOfDayFromCalenderDate(at(12, 30)), "12:30 AM");
    EXPECT_EQ(OffloadInstance::createTimeOfDayFromCalenderDate(at(13, 30)), "01:30 PM");
    EXPECT_EQ(OffloadInstance::createTimeOfDayFromCalenderDate(at(23, 59)), "11:59 PM");
    EXPECT_EQ(OffloadInstance::dateText(at(13, 30)), "2026-01-01 13:30:00 +0000");
    utc.reset();
    ::tzset();
}

TEST(Estimate, TextsTheEmptySourceGuardAndAnUnwritableDestination)
{
    TempDir dir;
    auto job = OffloadInstance::create(dir / "card", dir.path());
    job->setBytesAtSource(0); // the rate-cut loop could never end without its guard
    job->updateInterfaceEstimatedTime();
    EXPECT_EQ(job->interface()->estimatedTimeRemaining(), "Under 1 min");
    EXPECT_GT(job->previousCopyRate(), 0.0);
    EXPECT_FALSE(exists(dir / ".probeFile"));

    job->setBytesAtSource(1000000ull * 1000000ull * 1000ull); // an exabyte takes hours at any speed
    job->updateInterfaceEstimatedTime();
    const std::string remaining = job->interface()->estimatedTimeRemaining();
    EXPECT_EQ(std::count(remaining.begin(), remaining.end(), ':'), 2) << remaining;
    EXPECT_NE(job->interface()->estimatedCompletionTime(), "N/A");

    // Elapsed time times the rate beyond the total: cut until it falls below.
    job->setBytesAtSource(1000);
    job->setBytesCopied(1);
    job->interface()->setStartTime(OffloadInstance::Clock::now() - 1h);
    job->updateInterfaceEstimatedTime();
    // The last cut leaves at most nine tenths of the total: at most nine times the elapsed hour.
    // How close below the total it lands depends on the measured rate, so any
    // shorter estimate, down to "Under 1 min", is as right.
    const std::string cut = job->interface()->estimatedTimeRemaining();
    if (cut != "Under 1 min") {
        ASSERT_EQ(cut.size(), 8u) << cut;
        EXPECT_LE(std::stoi(cut.substr(0, 2)), 9) << cut;
    }

    // Where no probe can be written the texts stay as they were.
    auto unwritable = OffloadInstance::create("/nonexistent-src", "/nonexistent-dest");
    unwritable->setBytesAtSource(5000);
    unwritable->updateInterfaceEstimatedTime();
    EXPECT_EQ(unwritable->interface()->estimatedTimeRemaining(), "Loading...");
}

namespace {
struct CountingDelegate : OffloadInstanceDelegate {
    std::atomic<int> calls{0};
    void updateDetailsWindowFromThread(const std::shared_ptr<OffloadInstance> &) override { ++calls; }
};
} // namespace

TEST(Refresh, OneSecondChainStopsWhenTheJobIsOver)
{
    auto loop = std::make_shared<StdMainLoop>();
    TempDir dir;
    auto job = OffloadInstance::create(dir / "card", dir.path(), loop);
    auto delegate = std::make_shared<CountingDelegate>();
    job->setDelegate(delegate);
    EXPECT_EQ(loop->pendingTimers(), 1u);
    loop->runUntil([&] { return delegate->calls >= 1; }, 3s);
    EXPECT_EQ(loop->pendingTimers(), 1u); // the tick made the next one
    job->setOffloadStatus(OffloadInstance::kCompleted);
    loop->runUntil([&] { return loop->pendingTimers() == 0; }, 3s);
    EXPECT_EQ(loop->pendingTimers(), 0u);
    loop->processEvents(1200ms);
    EXPECT_EQ(loop->pendingTimers(), 0u);
}

TEST(BlockCopier, CopiesReplacesAndEndsOnAShortFile)
{
    TempDir dir;
    writeSizedFile(dir / "src", 10000, 4);
    writeFile(dir / "dst", "old");
    auto job = OffloadInstance::create();
    EXPECT_TRUE(job->copyFile(dir / "src", dir / "dst", 4096));
    EXPECT_EQ(readFile(dir / "dst"), readFile(dir / "src"));
    EXPECT_TRUE(job->copyFile(dir / "src", dir / "dst2", 1 << 20)); // block beyond the file's end
    EXPECT_EQ(readFile(dir / "dst2"), readFile(dir / "src"));
    EXPECT_FALSE(job->copyFile(dir / "src", dir / "dst3", 0));
    EXPECT_FALSE(job->copyFile(dir / "missing", dir / "dst4", 4096));
}
