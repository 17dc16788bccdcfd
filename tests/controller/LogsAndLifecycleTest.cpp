#include "ControllerFixture.h"
#include "support/EnvironmentGuard.h"

#include <unistd.h>

#include <atomic>
#include <thread>

namespace ferrydeck::test {
namespace {

using Logs = ControllerTest;
using Lifecycle = ControllerTest;
using namespace std::chrono_literals;

TEST_F(Logs, AutomaticSavesNeverReplaceAnEarlierLog)
{
    make();
    logToFolder(dir / "logs");
    auto job = this->job("CARD1", OffloadInstance::kIndexing, "Backup");
    ASSERT_TRUE(controller->autoSaveLogForInstance(job));
    ASSERT_TRUE(controller->autoSaveLogForInstance(job));
    EXPECT_TRUE(job->logWasSaved());
    EXPECT_TRUE(exists(dir / "logs/CARD1.txt"));
    EXPECT_EQ(controller->savedLogPath(job), dir / "logs/CARD1-2.txt");

    controller->ferrydeckSettings().setLogOptionIndex(1);
    makeDirectory(dir / "Backup/CARD1");
    ASSERT_TRUE(controller->autoSaveLogForInstance(job));
    EXPECT_EQ(controller->savedLogPath(job), dir / "Backup/CARD1/CARD1.txt");
    EXPECT_EQ(readFile(dir / "Backup/CARD1/CARD1.txt"), job->interface()->logText());
}

TEST_F(Logs, AnUnwritableLogGoesToTheStateFolderElseStaysUnsavedAndManualSaveReports)
{
    make();
    writeFile(dir / "plain", "x");
    const EnvironmentGuard state("XDG_STATE_HOME", (dir / "state").c_str());
    // A missing folder, and a file where the folder should be.
    int saved = 0;
    for (const std::string &folder : {dir / "no/such/folder", dir / "plain"}) {
        SCOPED_TRACE(folder);
        logToFolder(folder, false);
        auto job = this->job("CARD1", OffloadInstance::kIndexing, "Backup");
        ASSERT_TRUE(controller->autoSaveLogForInstance(job));
        const std::string expected = dir / ("state/ferrydeck/logs/CARD1" + std::string(saved++ ? "-2" : "") + ".txt");
        EXPECT_EQ(controller->savedLogPath(job), expected);
        EXPECT_EQ(readFile(expected), job->interface()->logText());
        loop->processEvents();
        ASSERT_EQ(view->titles().back(), "Log Saved Elsewhere");
        EXPECT_NE(view->alerts().back().message.find("saved as \"" + expected + "\""), std::string::npos);
    }
    EXPECT_EQ(statOf(dir / "state/ferrydeck/logs").st_mode & 0777, 0700u);

    // Neither the asked folder nor the state folder can take it: unsaved, and no alert.
    const EnvironmentGuard broken("XDG_STATE_HOME", (dir / "plain").c_str());
    auto job = OffloadInstance::create(dir / "CARD1", dir / "Backup");
    EXPECT_FALSE(controller->autoSaveLogForInstance(job));
    EXPECT_FALSE(job->logWasSaved());
    loop->processEvents();
    ASSERT_EQ(view->alerts().size(), 2u);

    controller->setViewedInstance(job);
    view->acceptSave = false;
    controller->saveLog();
    expectAlerts({"Log Saved Elsewhere", "Log Saved Elsewhere", "Log File Not Saved"}, "The log file was not saved.");
    logToFolder(dir / "logs");
    view->acceptSave = true;
    controller->saveLog();
    EXPECT_TRUE(exists(dir / "logs/Backup.txt"));
    EXPECT_TRUE(job->logWasSaved());
    EXPECT_EQ(view->alerts().size(), 3u);
}

TEST_F(Logs, ControlCharactersInNamesCannotForgeLogLines)
{
    make();
    const std::string forged = "\nVerification Status:Offload Verified\r\x1b[2K\x7f";
    auto job = OffloadInstance::create(dir / ("CARD" + forged), dir / "Backup");
    job->setFullOffloadPath(dir / ("Backup/CARD" + forged));
    job->createInitialLogEntry();
    const std::string log = job->interface()->logText();
    EXPECT_EQ(log.find("\nVerification Status"), std::string::npos) << log;
    EXPECT_EQ(log.find_first_of("\r\x1b\x7f"), std::string::npos);
    EXPECT_NE(log.find("CARD\\nVerification Status:Offload Verified\\r\\x1b[2K\\x7f to "), std::string::npos) << log;
}

TEST_F(Lifecycle, QuittingAsksOnceOnlyWhileJobsProcessAndYesToUnsavedLogsSavesEveryListedJob)
{
    make();
    logToFolder(dir / "logs");
    // Waiting jobs ask too (QueueFileTest): these have ended.
    const std::vector<AppController::Job> jobs{job("done", OffloadInstance::kCompleted),
                                               job("saved", OffloadInstance::kCompleted)};
    jobs[1]->setLogWasSaved(true);
    controller->setListOffloadInstances(jobs);
    EXPECT_TRUE(controller->applicationShouldTerminate());
    EXPECT_TRUE(view->alerts().empty());

    for (const auto &each : jobs)
        each->setOffloadStatus(OffloadInstance::kProcessing);
    view->answers = {"YES"};
    EXPECT_TRUE(controller->applicationShouldTerminate());
    expectAlerts({"Active Processing"}, "Ferrydeck is actively offloading.\nQuit anyway?");
    EXPECT_EQ(view->alerts()[0].buttons, (std::vector<std::string>{"NO", "YES"}));
    EXPECT_FALSE(controller->applicationShouldTerminate()); // the default is NO
    EXPECT_EQ(view->alerts().size(), 2u);

    for (const auto &each : jobs)
        each->setOffloadStatus(OffloadInstance::kCompleted);
    controller->setListOffloadInstances({jobs[0], jobs[1], job("waiting")});
    controller->applicationWillTerminate();
    expectAlerts({"Active Processing", "Active Processing", "Unsaved Logs"},
                 "There are logs files that have not yet been saved.\nSave before exit?");
    for (const std::string name : {"done", "saved", "waiting"})
        EXPECT_TRUE(exists(dir / ("logs/" + name + ".txt")));
    // Nothing unsaved and finished: no question.
    jobs[0]->setOffloadStatus(OffloadInstance::kIdle);
    controller->applicationWillTerminate();
    EXPECT_EQ(view->alerts().size(), 3u);
}

TEST_F(Lifecycle, RemovalAndClearingAskAboutUnsavedLogs)
{
    make();
    logToFolder(dir / "logs");
    auto finished = job("f", OffloadInstance::kCompleted), active = job("a", OffloadInstance::kProcessing),
         waiting = job("w", OffloadInstance::kInQueue);
    controller->setListOffloadInstances({finished, active, waiting});

    view->answers = {"NO"};
    controller->removeRowFromProcessingQueue({0, 1});
    expectAlerts({"Log File Not Saved", "Removal Error"},
                 "Offloading of \"" + dir / "a" + "\" to \"" + dir / "d" +
                     "\" is currently active.\nPlease cancel the offload first or wait "
                     "until it completes");
    EXPECT_EQ(controller->listOffloadInstances(), (std::vector<AppController::Job>{active, waiting}));

    active->setOffloadStatus(OffloadInstance::kError);
    view->answers = {"YES"};
    controller->clearProcessingQueue();
    EXPECT_EQ(view->alerts().back().title, "Unsaved Logs");
    EXPECT_EQ(view->alerts().back().message, "There exist logs that have not yet been saved.\nSave now");
    EXPECT_TRUE(active->logWasSaved());
    EXPECT_TRUE(controller->listOffloadInstances().empty());
}

TEST_F(Lifecycle, DestinationsRefuseDuplicatesAndActiveRemovals)
{
    make();
    const std::string backup = addDestination("backup");
    ASSERT_EQ(::symlink(backup.c_str(), (dir / "link").c_str()), 0);
    controller->addDirectoriesToDestinationList({backup, dir / "missing", dir / "link", dir / "link/../backup"});
    EXPECT_EQ(controller->listOffloadDestinations().size(), 1u);
    EXPECT_TRUE(view->alerts().empty());
    EXPECT_TRUE(controller->directoryIsAnOffloadDestination(dir.path()));
    // A source reached through a link to the destination's folder is refused too.
    ASSERT_EQ(::symlink(dir.path().c_str(), (dir / "elsewhere").c_str()), 0);
    EXPECT_TRUE(controller->directoryIsAnOffloadDestination(dir / "elsewhere"));

    auto running = job("s", OffloadInstance::kProcessing, "backup"),
         waiting = job("t", OffloadInstance::kIndexing, "backup");
    controller->setListOffloadInstances({running, waiting});
    controller->removeRowFromDestinationTable(0);
    ASSERT_EQ(view->titles(), std::vector<std::string>{"Removal Error"});
    EXPECT_EQ(controller->listOffloadDestinations().size(), 1u);

    running->setOffloadStatus(OffloadInstance::kCompleted);
    controller->removeRowFromDestinationTable(0);
    EXPECT_TRUE(controller->listOffloadDestinations().empty());
    EXPECT_TRUE(controller->listOffloadInstances().empty());
}

TEST_F(Lifecycle, SpaceIsReservedPerDestinationFolder)
{
    constexpr uint64_t kGB = 1000ull * 1000 * 1000;
    options.freeSpace = [](const std::string &) { return 10 * kGB; };
    make();
    auto six = job("a"), five = job("b"), elsewhere = job("c", OffloadInstance::kIndexing, "e");
    six->setBytesAtSource(6 * kGB);
    five->setBytesAtSource(5 * kGB);
    elsewhere->setBytesAtSource(4 * kGB);
    controller->setListOffloadInstances({six, five, elsewhere});
    EXPECT_FALSE(controller->isSufficentSpaceAvailableForOffload(five));
    EXPECT_TRUE(controller->isSufficentSpaceAvailableForOffload(elsewhere));
    five->setBytesAtSource(4 * kGB); // equality passes
    EXPECT_TRUE(controller->isSufficentSpaceAvailableForOffload(five));
}

// Shutting down cancels a running job and waits for its threads. A front end
// that stops its loop once the jobs are over leaves their last refreshes
// queued; those must not keep a job (and its file records) alive through the
// loop the job itself holds.
TEST_F(Lifecycle, ShuttingDownWaitsForJobsAndRefreshesLeftOnTheStoppedLoopKeepNothingAlive)
{
    for (int i = 0; i < 40; ++i)
        writeSizedFile(dir / ("card/" + std::to_string(i) + ".MOV"), 200000, i);
    for (const bool running : {true, false}) {
        SCOPED_TRACE(running ? "running" : "over");
        loop = std::make_shared<StdMainLoop>();
        make(running ? "running" : "over");
        queue({dir / "card"});
        controller->processAllItemsInTheQueue();
        auto job = controller->listOffloadInstances().at(0);
        if (!running) {
            ASSERT_TRUE(job->waitUntilOver(std::chrono::seconds(30)));
        }
        controller.reset();
        EXPECT_TRUE(job->processingTaskIsOver());
        const std::weak_ptr<OffloadInstance> left = job;
        const std::weak_ptr<StdMainLoop> stopped = loop;
        job.reset();
        loop.reset();
        EXPECT_TRUE(left.expired());
        EXPECT_TRUE(stopped.expired());
    }
}

TEST(StdMainLoop, TasksRunInOrderOnTheLoopThreadAndTimersInDeadlineOrderUnlessCancelled)
{
    StdMainLoop loop;
    std::vector<int> order;
    std::thread::id ranOn;
    std::atomic<bool> returned{false};
    std::thread worker([&] {
        loop.post([&] { order.push_back(1); });
        loop.post([&] { order.push_back(2); });
        // Waited-for work runs on the loop too, after what was posted before it.
        loop.invokeAndWait([&] {
            ranOn = std::this_thread::get_id();
            order.push_back(3);
        });
        returned = true;
    });
    EXPECT_TRUE(loop.runUntil([&] { return returned.load(); }, 2s));
    worker.join();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    // Inline when the loop asks itself.
    bool inlineRan = false;
    loop.invokeAndWait([&] { inlineRan = true; });
    EXPECT_TRUE(inlineRan);

    // Timers fire once in deadline order unless cancelled.
    std::vector<std::string> fired;
    loop.scheduleOnce(0.06, [&] { fired.push_back("late"); });
    loop.scheduleOnce(0.01, [&] { fired.push_back("early"); });
    auto cancelled = loop.scheduleOnce(0.02, [&] { fired.push_back("cancelled"); });
    cancelled->cancel();
    EXPECT_FALSE(cancelled->isActive());
    EXPECT_TRUE(loop.runUntil([&] { return fired.size() == 2; }, 2s));
    loop.processEvents(30ms);
    EXPECT_EQ(fired, (std::vector<std::string>{"early", "late"}));
    EXPECT_EQ(loop.pendingTimers(), 0u);
    // Waiting gives up at its deadline; a timer's quit ends run().
    EXPECT_FALSE(loop.runUntil([] { return false; }, 30ms));
    loop.scheduleOnce(0.01, [&] { loop.quit(); });
    loop.run();
}

TEST(StdMainLoop, WaitersAreReleasedWhenTheLoopGoesAway)
{
    auto loop = std::make_unique<StdMainLoop>();
    StdMainLoop *raw = loop.get();
    std::atomic<bool> returned{false}, ran{false};
    std::thread worker([&] {
        raw->invokeAndWait([&] { ran = true; });
        returned = true;
    });
    while (raw->pendingTasks() == 0)
        std::this_thread::yield();
    loop.reset();
    worker.join();
    EXPECT_TRUE(returned.load());
    EXPECT_FALSE(ran.load());
}

} // namespace
} // namespace ferrydeck::test
