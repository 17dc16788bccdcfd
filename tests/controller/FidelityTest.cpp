#include "controller/ControllerFixture.h"

#include "fsutil/AttachedVolume.h"
#include "support/FixedVolumes.h"

namespace ferrydeck::test {
namespace {

class Fidelity : public ControllerTest {
protected:
    void TearDown() override { VolumeService::setCurrent(nullptr); }
};

TEST_F(Fidelity, AddAllMediaQueuesEachRemovableVolumeOnceAndNoLocalDisk)
{
    const std::string cardA = makeCard("media/CARD_A"), cardB = makeCard("media/CARD_B");
    const std::string disk = makeCard("disk");
    VolumeService::setCurrent(std::make_shared<FixedVolumes>(std::vector<std::string>{"/", disk, cardA, cardB},
                                                             std::vector<std::string>{cardB, cardA}));
    make("backup");
    controller->addDirectoriesToOffloadList({cardA});
    settle();
    controller->addAllMountedMediaToQueue();
    settle();
    EXPECT_EQ(queuedSources(), (std::vector<std::string>{cardA, cardB}));
    EXPECT_TRUE(view->alerts().empty());

    std::vector<std::pair<std::string, std::string>> images;
    for (const auto &volume : controller->listMountedMedia())
        images.emplace_back(volume->volumePath(), volume->volumeImage());
    EXPECT_EQ(images, (std::vector<std::pair<std::string, std::string>>{
                          {cardA, "removable.tif"}, {cardB, "removable.tif"}, {disk, "harddrive.tif"}}));
}

// Listing threads finish in any order; the later job of one folder is the one refused.
TEST_F(Fidelity, SpaceCheckDropsTheLaterJobOfAFolderEveryTime)
{
    options.freeSpace = [](const std::string &) { return uint64_t{10000}; };
    for (int i = 0; i < 40; ++i)
        writeSizedFile(dir / ("first/CLIP/" + std::to_string(i) + ".MOV"), 150, i);
    writeSizedFile(dir / "second/CLIP/0.MOV", 5000, 1);
    const std::string first = dir / "first", second = dir / "second";
    for (int run = 0; run < 20; ++run) {
        make();
        const std::string backup = addDestination("backup");
        controller->addDirectoriesToOffloadList({first, second});
        settle();
        ASSERT_EQ(queuedSources(), std::vector<std::string>{first}) << "run " << run;
        const auto alerts = view->alerts();
        ASSERT_EQ(alerts.size(), size_t(run + 1));
        EXPECT_NE(alerts.back().message.find(second + " could not be copied to " + backup), std::string::npos);
    }
}

TEST_F(Fidelity, BlockCopierFailureShowsTheCopyErrorAlert)
{
    make();
    const std::string backup = addDestination("backup");
    const auto job = OffloadInstance::create(makeCard("card"), backup, loop);
    controller->configureInstanceFromInterface(job);
    EXPECT_FALSE(job->copyFile(dir / "missing", dir / "copy", 4096));
    loop->processEvents();
    ASSERT_EQ(view->titles(), std::vector<std::string>{"Coyp Error"});
    EXPECT_EQ(view->alerts()[0].message, dir / "missing" + ": No such file or directory");
}

} // namespace
} // namespace ferrydeck::test
