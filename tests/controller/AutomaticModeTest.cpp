#include "ControllerFixture.h"

#include "fsutil/AttachedVolume.h"
#include "support/CardFixtures.h"

#include <cstdio>

namespace ferrydeck::test {

namespace {

// Cards are sub-folders of a media root: inserting one is making its folder.
class AutomaticModeTest : public ControllerTest {
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        makeDirectory(dir / "media");
        m_media = std::make_unique<ScopedMediaRoot>(dir / "media");
    }
    std::string insert(const std::string &name) { return makeCard("media/" + name, 2); }
    // Moves a card (out of or into the media root), then lets the timer tick.
    void moveCard(const std::string &from, const std::string &to)
    {
        ASSERT_EQ(std::rename((dir / from).c_str(), (dir / to).c_str()), 0);
        controller->automaticallyProcessRemovableMedia();
        settle();
    }
    void automatic()
    {
        controller->ferrydeckSettings().setOffloadModeIndex(1);
        controller->toggleOffloadMode();
    }

private:
    std::unique_ptr<ScopedMediaRoot> m_media;
};

} // namespace

TEST_F(AutomaticModeTest, OnlyCardsThatArriveAfterTheSwitchAreTakenInAscendingOrder)
{
    insert("EARLY");
    make("dest");
    automatic();
    EXPECT_TRUE(controller->activeTimer());

    const std::string b = insert("B_CARD");
    const std::string a = insert("A_CARD");
    controller->automaticallyProcessRemovableMedia();
    EXPECT_EQ(queuedSources(), (std::vector<std::string>{a, b}));
    settle();
    controller->automaticallyProcessRemovableMedia(); // starts what the listing queued
    settle();
    EXPECT_EQ(statuses(), std::vector(2, OffloadInstance::kCompleted));
    EXPECT_FALSE(exists(dir / "dest/EARLY"));

    // Out and back in between two ticks: the same path, not new.
    ASSERT_EQ(std::rename(a.c_str(), (dir / "A_OUT").c_str()), 0);
    moveCard("A_OUT", "media/A_CARD");
    EXPECT_EQ(queuedSources().size(), 2u);
}

TEST_F(AutomaticModeTest, ACardIsKnownByIdentityAcrossRenamesAndTakenAgainOnlyWithNewContents)
{
    make("dest");
    FerrydeckSettings &settings = controller->ferrydeckSettings();
    settings.setRenameCard(true);
    settings.setTextRenameCard("DAY");
    settings.setIncrementRenameTitle(true);
    automatic();
    insert("CARD");
    const auto tick = [&] {
        controller->automaticallyProcessRemovableMedia();
        settle();
    };
    tick(); // queued and listed
    tick(); // copied, then renamed by the card action
    ASSERT_TRUE(exists(dir / "media/DAY-1"));
    tick(); // the renamed card is a new path, not a new card
    tick();
    EXPECT_EQ(queuedSources(), (std::vector<std::string>{dir / "media/CARD"}));

    // Out, and back under another name with the same contents: still not taken.
    moveCard("media/DAY-1", "OUT");
    moveCard("OUT", "media/BACK");
    EXPECT_EQ(queuedSources().size(), 1u);

    // A new clip on it is worth an offload.
    moveCard("media/BACK", "OUT");
    writeSizedFile(dir / "OUT/CLIP/NEW.MOV", 100, 7);
    moveCard("OUT", "media/BACK");
    EXPECT_EQ(queuedSources(), (std::vector<std::string>{dir / "media/CARD", dir / "media/BACK"}));
}

TEST_F(AutomaticModeTest, TheTimerChainTicksUntilManualModeAndCardsAlreadyQueuedWaitingAreDropped)
{
    make("dest");
    queue({makeCard("folder")});
    ASSERT_EQ(controller->listOffloadInstances().size(), 1u);
    automatic(); // only new cards from here on
    EXPECT_TRUE(controller->listOffloadInstances().empty());

    insert("CARD");
    ASSERT_TRUE(pumpUntil([&] {
        const auto jobs = controller->listOffloadInstances();
        return !jobs.empty() && jobs.front()->processingTaskIsOver();
    }));
    EXPECT_EQ(controller->listOffloadInstances().front()->offloadStatus(), OffloadInstance::kCompleted);

    controller->ferrydeckSettings().setOffloadModeIndex(0);
    controller->toggleOffloadMode();
    EXPECT_FALSE(controller->activeTimer());
    insert("LATE");
    pumpUntil([] { return false; }, std::chrono::milliseconds(2500));
    EXPECT_EQ(controller->listOffloadInstances().size(), 1u);
}

TEST_F(AutomaticModeTest, DriveListsHoldCardsThenLocalVolumesAndEveryNewCardWithoutATickedDestinationIsTold)
{
    insert("ZED");
    insert("ALPHA");
    make();
    controller->refreshDriveLists();
    const auto volumes = controller->listMountedMedia();
    ASSERT_GE(volumes.size(), 2u);
    EXPECT_EQ(volumes[0]->volumePath(), dir / "media/ALPHA");
    EXPECT_EQ(volumes[1]->volumePath(), dir / "media/ZED");
    EXPECT_EQ(volumes[0]->mountType(), MountTypeRemovable);
    for (size_t i = 2; i < volumes.size(); ++i) {
        EXPECT_EQ(volumes[i]->mountType(), MountTypeLocal);
        EXPECT_NE(volumes[i]->volumePath(), "/");
    }
    EXPECT_TRUE(controller->isDirectoryARemovableDrive(dir / "media/ZED"));
    EXPECT_FALSE(controller->isDirectoryARemovableDrive(dir / "media/ZED/CLIP"));

    // Without a ticked destination every new card is told, once.
    automatic();
    insert("ONE");
    controller->automaticallyProcessRemovableMedia();
    controller->automaticallyProcessRemovableMedia(); // nothing new: no alert
    insert("TWO");
    controller->automaticallyProcessRemovableMedia();
    EXPECT_EQ(view->titles(), (std::vector<std::string>{"Error", "Error"}));
    EXPECT_NE(view->alerts().front().message.find("No offload destinations"), std::string::npos);
    EXPECT_TRUE(controller->listOffloadInstances().empty());
}

} // namespace ferrydeck::test
