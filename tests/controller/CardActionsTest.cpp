#include "ControllerFixture.h"

#include "controller/OffloadHistory.h"
#include "fsutil/AttachedVolume.h"
#include "fsutil/MediaRootVolumeService.h"
#include "fsutil/VolumeService.h"
#include "support/CardFixtures.h"

#include <sys/stat.h>
#include <unistd.h>

#include <functional>

namespace ferrydeck::test {

namespace {

// The simulated card reader, counting what the card actions asked of it.
class CountingVolumes : public MediaRootVolumeService {
public:
    using MediaRootVolumeService::MediaRootVolumeService;
    bool renameVolume(const std::string &newName, const std::string &oldName) override
    {
        renames.push_back(oldName + ">" + newName);
        return MediaRootVolumeService::renameVolume(newName, oldName);
    }
    bool ejectVolume(const std::string &name) override
    {
        ejects.push_back(name);
        return MediaRootVolumeService::ejectVolume(name);
    }
    std::vector<std::string> renames;
    std::vector<std::string> ejects;
};

class CardActionsTest : public ControllerTest {
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        makeDirectory(dir / "media");
        volumes = std::make_shared<CountingVolumes>(dir / "media");
        VolumeService::setCurrent(volumes);
    }
    void TearDown() override { VolumeService::setCurrent(nullptr); }
    FerrydeckSettings &settings() { return controller->ferrydeckSettings(); }
    std::string card() { return buildCard(CardKind::CanonEos, dir / "media/DAY_ONE").root; }

    std::shared_ptr<CountingVolumes> volumes;
};

} // namespace

// The eject acts on the renamed card itself, never on a card named DAY nor
// on one whose name the card's path ends with.
TEST_F(CardActionsTest, OnlyTheLastOfThreeJobsRenamesWithTheNextNumberAndEjectsOnlyThatCard)
{
    const std::string decoy = buildCard(CardKind::CanonEos, dir / "media/AY-4").root;
    const std::string source = card();
    make();
    for (const char *name : {"one", "two", "three"})
        addDestination(name);
    settings().setRenameCard(true);
    settings().setTextRenameCard("DAY");
    settings().setIncrementRenameTitle(true);
    settings().setRenameCounter(4);
    settings().setEjectCard(true);
    offload({source});
    EXPECT_EQ(statuses(), std::vector(3, OffloadInstance::kCompleted));
    EXPECT_EQ(eachJob([](auto &job) { return job->postOffloadComplete(); }), std::vector(3, true));
    EXPECT_EQ(volumes->renames, (std::vector<std::string>{"DAY_ONE>DAY-4"}));
    EXPECT_EQ(settings().renameCounter(), 5);
    EXPECT_EQ(volumes->ejects, (std::vector<std::string>{"DAY-4"}));
    EXPECT_TRUE(exists(dir / "media/.ejected/DAY-4"));
    EXPECT_TRUE(exists(decoy));
    EXPECT_TRUE(view->alerts().empty());
    const auto last = controller->drivesMountedLastTick();
    ASSERT_FALSE(last.empty());
    EXPECT_EQ(last.back()->volumePath(), dir / "media/DAY-4");
}

// A volume that reports a fixed medium: a USB disk, never to be reformatted.
class FixedMediumVolumes : public MediaRootVolumeService {
public:
    using MediaRootVolumeService::MediaRootVolumeService;
    bool hasRemovableMedium(const std::string &) const override { return false; }
};

TEST_F(CardActionsTest, TheReformatIsRefusedAndDeletesNothingUnlessVerifiedCopiesHoldEveryFile)
{
    using After = std::function<void(const BuiltCard &)>; // between offload and reformat
    const auto write = [](const std::string &file) {
        return [file](const BuiltCard &card) { writeSizedFile(card.root + file, 10, 1); };
    };
    struct Case {
        const char *name;
        const char *reason; // part of the refusal's message
        bool offloaded, secondFull;
        Verification verification;
        After after;
    };
    const Case cases[] = {
        {"never offloaded", "no offload of", false, false, Verification::Size, {}},
        {"second destination dropped for space", "did not complete (Dropped)", true, true, Verification::Size, {}},
        {"verified by nothing", "was not verified", true, false, Verification::None, {}},
        {"a clip added after the offload", "DCIM/100CANON/NEW.MOV has no verified copy", true, false,
         Verification::Size, write("/DCIM/100CANON/NEW.MOV")},
        {"a hidden file added after the offload", ".hidden/CLIP.MOV has no verified copy", true, false,
         Verification::Size, write("/.hidden/CLIP.MOV")},
        {"a clip rewritten after the offload", "has no verified copy", true, false, Verification::Size,
         [](const BuiltCard &card) { writeSizedFile(card.clips[0], 5, 3); }},
        // The FIFO fails its copy; it goes before the check, which then sees only the Error.
        {"a job that ended in Error", "did not complete (Error)", true, false, Verification::Size,
         [](const BuiltCard &card) { ::unlink((card.root + "/DCIM/PIPE.MOV").c_str()); }},
        {"a fixed medium", "not on a removable medium", true, false, Verification::Size,
         [this](const BuiltCard &) { VolumeService::setCurrent(std::make_shared<FixedMediumVolumes>(dir / "media")); }},
    };
    int n = 0;
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        const BuiltCard built = buildCard(CardKind::CanonEos, dir / ("media/C" + std::to_string(n)));
        const std::string &source = built.root;
        if (std::string(test.name).find("Error") != std::string::npos) {
            ASSERT_EQ(::mkfifo((source + "/DCIM/PIPE.MOV").c_str(), 0644), 0);
        }
        options.freeSpace = [full = test.secondFull](const std::string &folder) {
            return full && folder.find("/two") != std::string::npos ? uint64_t{0} : uint64_t{1} << 40;
        };
        view->verification.verification = test.verification;
        make("one" + std::to_string(n));
        addDestination("two" + std::to_string(n));
        settings().setWarnBeforeFormatting(false);
        if (test.offloaded) offload({source});
        if (test.after) test.after(built);
        const auto before = listTree(source);
        EXPECT_FALSE(controller->attemptToFormatDrive(source));
        EXPECT_EQ(listTree(source), before);
        ASSERT_FALSE(view->alerts().empty());
        EXPECT_EQ(view->alerts().back().title, "Reformat Refused");
        EXPECT_NE(view->alerts().back().message.find(test.reason), std::string::npos) << view->alerts().back().message;
        VolumeService::setCurrent(volumes);
        ++n;
    }
}

TEST_F(CardActionsTest, AFailedReformatAndAFailedRenameAreToldAndTheRenameStillUsesUpItsNumber)
{
    const std::string source = card();
    options.reformatDrive = [](const std::string &) { return false; };
    make("dest");
    settings().setFormatCard(true);
    settings().setWarnBeforeFormatting(false);
    settings().setRenameCard(true);
    settings().setTextRenameCard("bad;name");
    settings().setIncrementRenameTitle(true);
    offload({source});
    ASSERT_EQ(view->titles(),
              (std::vector<std::string>{"Error", "Rename Card Failure:\nbad;name-1 could not be renamed"}));
    EXPECT_EQ(view->alerts()[0].message, "Ferrydeck's attempt to format drive \"" + source + "\" has failed");
    EXPECT_EQ(view->alerts()[1].message, "Check for illegal characters in the new name");
    EXPECT_EQ(settings().renameCounter(), 2);
    EXPECT_TRUE(exists(source));
}

TEST_F(CardActionsTest, AFolderOnAFixedDiskGetsNoCardAction)
{
    const std::string folder = buildCard(CardKind::CanonEos, dir / "fixed/DAY_ONE").root;
    const auto before = listTree(folder);
    make("dest");
    settings().setRenameCard(true);
    settings().setEjectCard(true);
    settings().setFormatCard(true);
    offload({folder});
    EXPECT_EQ(statuses(), std::vector{OffloadInstance::kCompleted});
    EXPECT_EQ(volumes->renames.size() + volumes->ejects.size(), 0u);
    EXPECT_EQ(listTree(folder), before);
    EXPECT_TRUE(view->alerts().empty());
}

TEST_F(CardActionsTest, ACardOfUnknownStructureOrAFailedOffloadIsNeverReformattedAndEachSoundsOnce)
{
    std::vector<std::string> played;
    std::mutex playedMutex;
    options.playSound = [&](const std::string &name) {
        std::lock_guard lock(playedMutex);
        played.push_back(name);
    };
    const std::string unknown = makeCard("media/PLAIN");
    const auto unknownBefore = listTree(unknown);
    const BuiltCard failing = buildCard(CardKind::CanonEos, dir / "media/DAY_ONE");
    std::vector<std::string> clipsBefore;
    for (const std::string &clip : failing.clips)
        clipsBefore.push_back(readFile(clip));
    // A FIFO cannot be copied, so the card's offload ends in Error; two of them still sound once.
    ASSERT_EQ(::mkfifo((failing.root + "/DCIM/PIPE.MOV").c_str(), 0644), 0);
    ASSERT_EQ(::mkfifo((failing.root + "/DCIM/PIPE2.MOV").c_str(), 0644), 0);
    make("dest");
    settings().setFormatCard(true);
    settings().setWarnBeforeFormatting(false);
    settings().setPlaySound(true);
    offload({unknown, failing.root});
    EXPECT_EQ(statuses(), (std::vector{OffloadInstance::kCompleted, OffloadInstance::kError}));
    EXPECT_EQ(listTree(unknown), unknownBefore);
    for (size_t i = 0; i < failing.clips.size(); ++i)
        EXPECT_EQ(readFile(failing.clips[i]), clipsBefore[i]);
    EXPECT_TRUE(exists(failing.root + "/DCIM/PIPE.MOV"));
    EXPECT_TRUE(view->alerts().empty());
    std::lock_guard lock(playedMutex);
    EXPECT_EQ(std::count(played.begin(), played.end(), AppController::kSoundComplete), 1);
    EXPECT_EQ(std::count(played.begin(), played.end(), AppController::kSoundFailure), 1);
}

// The card history the reformat check reads.
TEST(OffloadHistory, ANewOffloadReplacesTheCardsRecordAndItsOldJobsNoLongerWriteIntoIt)
{
    TempDir dir;
    const OffloadHistory history(dir / "state");
    const auto first = history.beginOffload("card-a", "/media/A", {"/one", "/two"});
    ASSERT_TRUE(first);
    OffloadHistory::Job done{"/one", "Completed", "contents", {{"DCIM/A.MOV", 3, 7}}};
    ASSERT_TRUE(history.recordJob(*first, done));
    ASSERT_TRUE(history.beginOffload("card-b", "/media/B", {"/one"}));

    const auto second = history.beginOffload("card-a", "/media/A", {"/three"});
    ASSERT_TRUE(second);
    ASSERT_TRUE(history.recordJob(*first, done)); // a late job of the replaced offload
    const auto card = history.lastOffload("card-a");
    ASSERT_TRUE(card);
    ASSERT_EQ(card->jobs.size(), 1u);
    EXPECT_EQ(card->jobs[0].destination, "/three");
    EXPECT_EQ(card->jobs[0].status, "In Queue");
    EXPECT_EQ(history.cards().size(), 2u);
}

TEST(OffloadHistory, AnUnusableFileIsToldAndCountsAsNothingRecorded)
{
    struct Case {
        const char *name;
        void (*make)(const std::string &file);
    };
    const Case cases[] = {
        {"corrupt", [](const std::string &file) { writeFile(file, "{\"cards\": [ {\"identity\": "); }},
        {"not an object", [](const std::string &file) { writeFile(file, "[1, 2, 3]"); }},
        {"a FIFO, which must not block", [](const std::string &file) { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); }},
        {"too large",
         [](const std::string &file) {
             writeFile(file, "");
             ASSERT_EQ(::truncate(file.c_str(), OffloadHistory::kMaximumBytes + 1), 0);
         }},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        TempDir dir;
        makeDirectory(dir / "state");
        const OffloadHistory history(dir / "state");
        test.make(history.filePath());
        std::string error;
        EXPECT_TRUE(history.cards(&error).empty());
        EXPECT_NE(error.find(history.filePath()), std::string::npos) << error;
        EXPECT_FALSE(history.lastOffload("card"));
        // The next offload starts a fresh history and keeps the bad one aside.
        EXPECT_TRUE(history.beginOffload("card", "/media/C", {"/one"}));
        EXPECT_TRUE(history.lastOffload("card"));
        EXPECT_TRUE(exists(history.filePath() + ".corrupt"));
    }
}

} // namespace ferrydeck::test
