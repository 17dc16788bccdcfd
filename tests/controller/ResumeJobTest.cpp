#include "controller/ControllerFixture.h"
#include "engine/OffloadJournal.h"

#include <sys/stat.h>

#include <atomic>

using namespace ferrydeck;
using namespace ferrydeck::test;

// Resume on a canceled job continues its folder: what it verified stays
// (the same inodes), the rest is copied, and a Completed job is not resumed.
TEST_F(ControllerTest, ResumeContinuesACanceledJobInItsFolder)
{
    make();
    addDestination("backup");
    view->verification.verification = Verification::Checksum;
    view->verification.checksum = HashMethod::Xxh64;
    controller->setCopyThreadCount(1);
    controller->addDirectoriesToOffloadList({makeCard("A001", 6)});
    settle();
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
