#include "controller/ControllerFixture.h"
#include "engine/CardGroup.h"

#include <atomic>

using namespace ferrydeck;
using namespace ferrydeck::test;

// The destinations of one card in a reader started together share its reads;
// canceling one of them drops only that destination, and the other still
// copies and verifies every file without waiting on it.
TEST_F(ControllerTest, CancelingOneDestinationOfACardLeavesTheOtherWhole)
{
    if (otherFileSystem().empty()) GTEST_SKIP() << "no second file system (/dev/shm) to hold the card";
    const TempDir reader(otherFileSystem());
    make();
    addDestination("d1");
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
    int local = 0;
    for (const auto &job : controller->listOffloadInstances()) {
        if (job->sourceDirectory() != dir / "A002") continue;
        ++local;
        EXPECT_EQ(job->offloadStatus(), OffloadInstance::kCompleted);
        EXPECT_FALSE(job->cardGroup());
    }
    EXPECT_EQ(local, 2);
}
