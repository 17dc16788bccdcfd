#include "ControllerFixture.h"

#include "engine/CardGroup.h"
#include "engine/OffloadJournal.h"
#include "support/Gate.h"

#include <sys/mount.h>
#include <sys/stat.h>

#include <atomic>

namespace ferrydeck::test {
namespace {

using Queue = ControllerTest;

// Each refusal drops the whole request, the folders accepted before it too.
TEST_F(Queue, RefusedSourcesQueueNothingAndSayWhy)
{
    const std::string card = makeCard("card"), backup = dir / "backup";
    struct Case {
        const char *name;
        std::vector<std::string> sources;
        bool ticked;
        uint64_t freeSpace;
        std::string title, message;
    };
    const std::string sourceIsDestination =
        "Directory could not be added for the following reason:\nDirectory " + backup +
        " is listed as a offload destination.  A directory cannot be both a source and a destination.\nPlease "
        "correct the above error & try again";
    const std::string noneTicked = "No offload destinations have been selected.\nPlease open Ferrydeck settings and "
                                   "add at least one active offload destination.";
    const std::string noSpace =
        "The following directories could not be copied due to insufficient space at the destination:\n" + card +
        " could not be copied to " + backup + "\n";
    const uint64_t plenty = uint64_t{1} << 40;
    const Case cases[] = {
        {"a source is a destination", {card, backup}, true, plenty, "Error", sourceIsDestination},
        {"no ticked destination", {card}, false, plenty, "Error", noneTicked},
        {"one byte short of space", {card}, true, 8999, "Insufficient Space", noSpace},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        view = std::make_shared<ScriptedView>();
        options.freeSpace = [free = c.freeSpace](const std::string &) { return free; };
        make("backup");
        controller->listOffloadDestinations()[0]->setInUse(c.ticked);
        queue(c.sources);
        EXPECT_TRUE(controller->listOffloadInstances().empty());
        expectAlerts({c.title}, c.message);
        EXPECT_EQ(view->alerts()[0].buttons, std::vector<std::string>{"OK"});
    }
}

// Missing paths and loose files are skipped; an unticked destination gets no job.
TEST_F(Queue, TickedDestinationsShareOneConsecutiveNumberPerSourceAndMissingPathsAreSkipped)
{
    make("a");
    view->naming = {"Consecutive Numbering", "", "", ""};
    controller->configureStepper(7);
    addDestination("unticked");
    const std::vector<std::string> destinations{dir / "a", addDestination("b"), addDestination("c")};
    controller->listOffloadDestinations()[1]->setInUse(false);
    view->verification.verification = Verification::Contents;
    writeFile(dir / "loose.txt", "x");
    queue({dir / "nowhere", dir / "loose.txt", makeCard("CARD1"), makeCard("CARD2", 1)});
    EXPECT_EQ(statuses(), std::vector(6, OffloadInstance::kInQueue));
    controller->processAllItemsInTheQueue();
    settle();
    const auto jobs = controller->listOffloadInstances();
    ASSERT_EQ(jobs.size(), 6u);
    for (size_t i = 0; i < jobs.size(); ++i) {
        const std::string number = i < 3 ? "07" : "08";
        const std::string card = i < 3 ? "CARD1" : "CARD2";
        EXPECT_EQ(jobs[i]->fullOffloadPath(), destinations[i % 3] + "/" + number + "/" + card);
        EXPECT_EQ(std::tuple(jobs[i]->totalFilesAtSource(), jobs[i]->bytesAtSource()),
                  i < 3 ? std::tuple(3u, 9000u) : std::tuple(1u, 3000u));
        EXPECT_EQ(jobs[i]->offloadStatus(), OffloadInstance::kCompleted) << i;
        EXPECT_TRUE(jobs[i]->byteComparison());
        EXPECT_EQ(readFile(jobs[i]->fullOffloadPath() + "/CLIP/0.MOV"), readFile(dir / (card + "/CLIP/0.MOV")));
        EXPECT_TRUE(jobs[i]->postOffloadComplete());
    }
    EXPECT_EQ(controller->textStepperCount(), "09");
    EXPECT_EQ(view->shownNumber, "09");
    EXPECT_EQ(controller->viewedInstance(), jobs[0]);
    EXPECT_TRUE(view->alerts().empty());
}

TEST_F(Queue, UnwritableDestinationEndsInErrorAndStillCompletes)
{
    make();
    controller->ferrydeckSettings().setAutoSaveLogs(true);
    logToFolder(dir / "logs");
    const std::string backup = addDestination("backup");
    queue({makeCard("card")});
    // Read-only even for root: a read-only file system over the destination.
    if (::mount("tmpfs", backup.c_str(), "tmpfs", MS_RDONLY, "size=64k") != 0) GTEST_SKIP() << "cannot mount";
    controller->processAllItemsInTheQueue();
    settle();
    ::umount(backup.c_str());
    const auto job = controller->listOffloadInstances().at(0);
    EXPECT_EQ(job->offloadStatus(), OffloadInstance::kError);
    expectAlerts({"Insufficient Permissions"}, backup + " does not have write-permissions & cannot be offloaded");
    // The completion steps ran: the log was saved and the job's threads were taken back.
    EXPECT_TRUE(job->logWasSaved());
    EXPECT_NE(readFile(dir / "logs/card.txt").find("Offload Errored"), std::string::npos);
    EXPECT_FALSE(job->postOffloadComplete());
    EXPECT_EQ(threadsIn(controller->offloadPool()), 0u);
}

TEST_F(Queue, CancellingHalfWayEndsCanceledWithItsLogSaved)
{
    make("backup");
    controller->ferrydeckSettings().setAutoSaveLogs(true);
    controller->ferrydeckSettings().setLogOptionIndex(1);
    queue({makeCard("card", 20)});
    const auto job = controller->listOffloadInstances().at(0);
    // Every copy thread stops after its first file until the job is cancelled.
    Gate cancelled;
    job->setCopyObserver([&](const FileCopyDetails &) { cancelled.wait(); });
    controller->processAllItemsInTheQueue();
    ASSERT_TRUE(pumpUntil([&] { return cancelled.reached(); }));
    controller->cancelAllItemsInTheQueue();
    cancelled.open();
    settle();
    EXPECT_EQ(job->offloadStatus(), OffloadInstance::kCanceled);
    EXPECT_LT(job->itemsProcessed(), 20);
    const std::string log = job->fullOffloadPath() + "/card.txt";
    EXPECT_EQ(controller->savedLogPath(job), log);
    EXPECT_NE(readFile(log).find("Offload Canceled"), std::string::npos);
    EXPECT_EQ(controller->listOffloadInstances().size(), 1u); // a begun job stays listed
}

// Pool of 8 (2 processors) and 3 waiting jobs: idle counts 8..1 pick jobs 8%3, 7%3, ... 1%3.
TEST_F(Queue, SharedThreadsAreHandedOutByIdleCountModuloJobs)
{
    make();
    ASSERT_EQ(controller->offloadPool().poolSize(), 8);
    std::vector<AppController::Job> jobs{job("s"), job("s"), job("s")};
    controller->handOutSharedThreads(jobs);
    // Job 0 gets idle 6 and 3; job 1: 7, 4, 1; job 2: 8, 5, 2.
    for (size_t i = 0; i < jobs.size(); ++i)
        EXPECT_EQ(threadsIn(jobs[i]->pool()), i == 0 ? 2u : 3u) << i;
    EXPECT_EQ(threadsIn(controller->offloadPool()), 8u);
    EXPECT_TRUE(controller->overflowPool().empty());
    // A full shared pool: the next threads go to the overflow list (none idle: every pick is job 0).
    controller->handOutSharedThreads(jobs);
    EXPECT_EQ(controller->overflowPool().size(), 8u);
    EXPECT_EQ(threadsIn(jobs[0]->pool()), 10u);
}

TEST_F(Queue, FreedThreadsGoOnlyToRunningJobs)
{
    make();
    auto finished = job("s"), running = job("s2", OffloadInstance::kIndexing, "d2");
    // With no job running, the freed threads are only let go.
    controller->handOutSharedThreads({finished});
    finished->setOffloadStatus(OffloadInstance::kError);
    controller->setListOffloadInstances({finished});
    controller->redistributeThreadsFromInstance(finished);
    EXPECT_EQ(threadsIn(controller->offloadPool()), 0u);

    controller->handOutSharedThreads({finished});
    // Room for the extra pass whatever the state of the threads already handed out.
    locked(controller->offloadPool(), [](ThreadPool &pool) { pool.setPoolSize(16); });
    // The running job has no files left, so the threads it receives end at once.
    running->setOffloadStatus(OffloadInstance::kProcessing);
    controller->setListOffloadInstances({finished, running});
    controller->redistributeThreadsFromInstance(finished);
    const auto shared = locked(controller->offloadPool(), [](ThreadPool &pool) { return pool.pool(); });
    // 8 freed, plus the one extra pass; each joined the running job (whose pool
    // counts one place more than threads) and the shared pool.
    EXPECT_EQ(shared.size(), 9u);
    for (const auto &thread : shared)
        thread->waitUntilFinished();
    EXPECT_EQ(locked(running->pool(), [](ThreadPool &pool) { return pool.poolSize(); }), 10);
    EXPECT_DOUBLE_EQ(running->threadRatio(), 10.0 / 16.0);
    EXPECT_EQ(threadsIn(finished->pool()), 0u);
}

// Resume on a canceled job continues its folder: what it verified stays
// (the same inodes), the rest is copied, and a Completed job is not resumed.
TEST_F(Queue, ResumeContinuesACanceledJobInItsFolder)
{
    make("backup");
    view->verification.verification = Verification::Checksum;
    view->verification.checksum = HashMethod::Xxh64;
    controller->setCopyThreadCount(1);
    queue({makeCard("A001", 6)});
    const AppController::Job job = controller->listOffloadInstances().front();
    std::atomic<int> copied{0};
    job->setCopyObserver([&](const FileCopyDetails &) {
        if (++copied == 3) job->cancelOffloadingTasks();
    });
    controller->processAllItemsInTheQueue();
    settle();
    ASSERT_EQ(job->offloadStatus(), OffloadInstance::kCanceled);
    const std::string folder = job->fullOffloadPath();
    std::string error;
    const auto journal = OffloadJournal::parse(readFile(folder + "/" + OffloadJournal::kFileName), error);
    ASSERT_TRUE(journal && !journal->entries.empty()) << error;
    const ino_t kept = statOf(folder + "/" + journal->entries.begin()->first).st_ino;

    ASSERT_TRUE(controller->resumeJob(job));
    const auto fresh = [&] { return controller->listOffloadInstances().front(); };
    ASSERT_TRUE(pumpUntil([&] { return fresh() != job && fresh()->processingTaskIsOver(); }));
    settle();
    EXPECT_EQ(fresh()->offloadStatus(), OffloadInstance::kCompleted);
    EXPECT_EQ(fresh()->fullOffloadPath(), folder);
    EXPECT_EQ(fresh()->verificationName(), "xxh64");
    EXPECT_EQ(fresh()->filesCarriedOver(), journal->entries.size());
    EXPECT_EQ(statOf(folder + "/" + journal->entries.begin()->first).st_ino, kept);
    EXPECT_EQ(listFolder(folder + "/CLIP").size(), 6u);
    EXPECT_EQ(listFolder(folder + "/ascmhl").size(), 2u);
    EXPECT_FALSE(controller->resumeJob(fresh())) << "a Completed job was resumed";
}

// Listing threads finish in any order; the later job of one folder is the one refused.
TEST_F(Queue, SpaceCheckDropsTheLaterJobOfAFolderEveryTime)
{
    options.freeSpace = [](const std::string &) { return uint64_t{10000}; };
    for (int i = 0; i < 40; ++i)
        writeSizedFile(dir / ("first/CLIP/" + std::to_string(i) + ".MOV"), 150, i);
    writeSizedFile(dir / "second/CLIP/0.MOV", 5000, 1);
    const std::string first = dir / "first", second = dir / "second";
    for (int run = 0; run < 20; ++run) {
        make();
        const std::string backup = addDestination("backup");
        queue({first, second});
        ASSERT_EQ(queuedSources(), std::vector<std::string>{first}) << "run " << run;
        const auto alerts = view->alerts();
        ASSERT_EQ(alerts.size(), size_t(run + 1));
        EXPECT_NE(alerts.back().message.find(second + " could not be copied to " + backup), std::string::npos);
    }
}

TEST_F(Queue, BlockCopierFailureShowsTheCopyErrorAlert)
{
    make();
    const auto job = OffloadInstance::create(makeCard("card"), addDestination("backup"), loop);
    controller->configureInstanceFromInterface(job);
    EXPECT_FALSE(job->copyFile(dir / "missing", dir / "copy", 4096));
    loop->processEvents();
    expectAlerts({"Coyp Error"}, dir / "missing" + ": No such file or directory");
}

// The destinations of one card in a reader started together share its reads;
// canceling one of them drops only that destination, and the other still
// copies and verifies every file without waiting on it.
TEST_F(Queue, CancelingOneDestinationOfACardLeavesTheOtherWhole)
{
    if (otherFileSystem().empty()) GTEST_SKIP() << "no second file system (/dev/shm) to hold the card";
    const TempDir reader(otherFileSystem());
    make("d1");
    addDestination("d2");
    controller->setCopyThreadCount(2);
    const std::string card = reader / "A001";
    for (int i = 0; i < 8; ++i)
        writeSizedFile(card + "/CLIP/" + std::to_string(i) + ".MOV", CardGroup::kSmallestShared + 1000, i);
    queue({card});
    const auto jobs = controller->listOffloadInstances();
    ASSERT_EQ(jobs.size(), 2u);
    std::atomic<int> copied{0};
    jobs[0]->setCopyObserver([&](const FileCopyDetails &) {
        if (++copied == 2) jobs[0]->cancelOffloadingTasks();
    });
    controller->processAllItemsInTheQueue();
    settle();
    ASSERT_TRUE(jobs[0]->cardGroup() && jobs[0]->cardGroup() == jobs[1]->cardGroup());
    EXPECT_EQ(jobs[0]->offloadStatus(), OffloadInstance::kCanceled);
    EXPECT_EQ(jobs[1]->offloadStatus(), OffloadInstance::kCompleted);
    for (int i = 0; i < 8; ++i) {
        const std::string clip = "/CLIP/" + std::to_string(i) + ".MOV";
        EXPECT_EQ(readFile(jobs[1]->fullOffloadPath() + clip), readFile(card + clip)) << clip;
    }
    EXPECT_EQ(jobs[1]->cardGroup()->bytesHeld(), 0u);

    // A card on the destinations' own disk is read by each job: its second read is from memory.
    writeSizedFile(dir / "A002/CLIP/0.MOV", CardGroup::kSmallestShared + 1000);
    queue({dir / "A002"});
    controller->processAllItemsInTheQueue();
    settle();
    EXPECT_EQ(queuedSources(), (std::vector<std::string>{card, card, dir / "A002", dir / "A002"}));
    using S = OffloadInstance::Status;
    EXPECT_EQ(statuses(), (std::vector<S>{S::kCanceled, S::kCompleted, S::kCompleted, S::kCompleted}));
    EXPECT_EQ(eachJob([](auto &job) { return !job->cardGroup(); }), (std::vector{false, false, true, true}));
}

} // namespace
} // namespace ferrydeck::test
