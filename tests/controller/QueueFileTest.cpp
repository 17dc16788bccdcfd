#include "controller/AlertTexts.h"
#include "controller/QueueStore.h"
#include "controller/ControllerFixture.h"

#include <sys/resource.h>

#include <csignal>

namespace ferrydeck::test {
namespace {

using Status = OffloadInstance::Status;

SavedJob savedJob(const std::string &source, Status status, uint64_t files)
{
    SavedJob job;
    job.source = source;
    job.destination = "/backup/day 1";
    job.copyFolder = status == OffloadInstance::kInQueue ? "" : "/backup/day 1/" + source.substr(1);
    job.naming = {"Custom Name", "Unit B", "pre", ""};
    job.verification = "contents";
    job.status = status;
    job.files = files;
    job.filesDone = files - 1;
    job.bytes = files * 1000;
    job.bytesCopied = files * 900;
    job.timeCompleted = "10:42:07";
    job.duration = "00:03:12";
    job.logText = "Offload of " + source + "\n";
    if (status == OffloadInstance::kCanceled) job.verification = "sha1";
    if (status == OffloadInstance::kCompleted) job.logPath = "/logs/" + source.substr(1) + ".log";
    return job;
}

class QueueFileTest : public ControllerTest {
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        options.queueStore = std::make_shared<QueueStore>(file);
        options.queueSaveDelay = 0.01;
    }

    std::string file = dir / "config/queue.json";
};

TEST_F(QueueFileTest, FinishedJobsComeBackAsTheyEndedAndTheOthersWaiting)
{
    // A source name that is not UTF-8 must come back byte for byte.
    const std::vector<SavedJob> saved = {
        savedJob("/media/A001", OffloadInstance::kCompleted, 12),
        savedJob("/media/A002", OffloadInstance::kError, 7),
        savedJob("/media/A003", OffloadInstance::kCanceled, 5),
        savedJob("/media/A\xff", OffloadInstance::kProcessing, 9),
        savedJob("/media/A005", OffloadInstance::kInQueue, 3),
        savedJob("/media/A006", OffloadInstance::kIndexing, 2),
    };
    ASSERT_TRUE(QueueStore(file).save(saved));
    make().restoreQueue();
    const std::vector<AppController::Job> jobs = controller->listOffloadInstances();
    ASSERT_EQ(jobs.size(), saved.size());
    for (size_t i = 0; i < saved.size(); ++i) {
        SCOPED_TRACE(saved[i].source);
        const AppController::Job &job = jobs[i];
        const bool finished = i < 3;
        EXPECT_EQ(
            std::tuple(job->sourceDirectory(), job->offloadDirectory(), job->totalFilesAtSource(), job->bytesCopied()),
            std::tuple(saved[i].source, saved[i].destination, saved[i].files, saved[i].bytesCopied));
        EXPECT_EQ(job->offloadStatus(), finished ? saved[i].status : OffloadInstance::kInQueue);
        EXPECT_EQ(controller->isRestoredJob(job), !finished);
        EXPECT_EQ(job->interface()->logText(), finished ? saved[i].logText : "");
        EXPECT_EQ(controller->savedLogPath(job).value_or(""), saved[i].logPath);
        EXPECT_TRUE(controller->canInstanceBeDequeued(job));
    }
    // Saved again untouched, the finished jobs are what they were.
    const std::vector<SavedJob> again = controller->queueSnapshot();
    for (size_t i = 0; i < saved.size(); ++i) {
        EXPECT_EQ(again[i].verification, saved[i].verification);
        if (i < 3) {
            EXPECT_EQ(again[i], saved[i]);
        }
    }
    // A waiting job whose source is gone stays listed, waiting.
    EXPECT_FALSE(controller->requeueRestoredJob(jobs[3], true));
    EXPECT_EQ(view->titles(), std::vector<std::string>{AlertTexts::restoredSourceMissing("").title});
    EXPECT_EQ(controller->listOffloadInstances(), jobs);
}

TEST_F(QueueFileTest, DamagedOrForeignFileIsMovedAsideAndTheQueueStartsEmpty)
{
    const std::string valid = QueueStore::encode({savedJob("/media/A001", OffloadInstance::kCompleted, 2)});
    nlohmann::json missingField = nlohmann::json::parse(valid);
    missingField["jobs"][0].erase("bytes");
    nlohmann::json newer = nlohmann::json::parse(valid);
    newer["version"] = QueueStore::kVersion + 1;
    const std::string cases[] = {
        valid.substr(0, valid.size() / 2),
        "\x7f"
        "ELF garbage",
        R"({"cards": []})",
        R"({"format": "ferrydeck-queue"})",
        missingField.dump(),
        newer.dump(),
    };
    for (const std::string &content : cases) {
        SCOPED_TRACE(content.substr(0, 40));
        std::remove((file + ".bad").c_str());
        writeFile(file, content);
        EXPECT_TRUE(QueueStore(file).load().empty());
        EXPECT_FALSE(exists(file));
        EXPECT_EQ(readFile(file + ".bad"), content);
    }
    writeFile(file, valid);
    EXPECT_EQ(QueueStore(file).load().size(), 1u);
    EXPECT_TRUE(exists(file));
}

TEST_F(QueueFileTest, FailedSaveLeavesThePreviousFileWhole)
{
    const std::vector<SavedJob> before = {savedJob("/media/A001", OffloadInstance::kCompleted, 2)};
    ASSERT_TRUE(QueueStore(file).save(before));
    SavedJob large = savedJob("/media/A002", OffloadInstance::kError, 3);
    large.logText.assign(64 * 1024, 'x');
    // A full disk as the writer sees one: the write stops short with EFBIG.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small = old;
    small.rlim_cur = 8 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool saved = QueueStore(file).save({before[0], large});
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(saved);
    EXPECT_EQ(QueueStore(file).load(), before);
    EXPECT_EQ(listFolder(dir / "config"), std::vector<std::string>{"queue.json"}) << "a temporary was left behind";
}

TEST_F(QueueFileTest, RestartKeepsAFinishedOffloadAndStartsAWaitingOneAgain)
{
    make("backup");
    offload({makeCard("A001")});
    queue({makeCard("A002", 2)});
    const AppController::Job done = controller->listOffloadInstances().front();
    ASSERT_EQ(done->offloadStatus(), OffloadInstance::kCompleted);
    // Changes are saved on the main loop without being asked.
    ASSERT_TRUE(pumpUntil([&] { return QueueStore(file).load().size() == 2; }));

    view->answers = {"NO"};
    EXPECT_FALSE(controller->applicationShouldTerminate());
    EXPECT_EQ(view->alerts().back().title, AlertTexts::waitingJobsAtQuit(1).title);
    controller->applicationWillTerminate();
    controller.reset();

    make().restoreQueue();
    const std::vector<AppController::Job> jobs = controller->listOffloadInstances();
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0]->offloadStatus(), OffloadInstance::kCompleted);
    EXPECT_EQ(jobs[0]->fullOffloadPath(), done->fullOffloadPath());
    EXPECT_EQ(jobs[0]->itemsProcessed(), 3);
    EXPECT_TRUE(controller->isRestoredJob(jobs[1]));
    controller->processAllItemsInTheQueue();
    // Listed again first, then started from the main loop.
    const auto again = [&] { return controller->listOffloadInstances()[1]; };
    ASSERT_TRUE(pumpUntil([&] { return again() != jobs[1] && again()->processingTaskIsOver(); }));
    settle();
    EXPECT_EQ(again()->offloadStatus(), OffloadInstance::kCompleted);
    EXPECT_EQ(listFolder(again()->fullOffloadPath() + "/CLIP").size(), 2u);
    EXPECT_EQ(controller->listOffloadInstances()[0]->offloadStatus(), OffloadInstance::kCompleted);
}

} // namespace
} // namespace ferrydeck::test
