#pragma once

#include "controller/ControllerView.h"
#include "controller/DefaultsPersistence.h"
#include "controller/OffloadHistory.h"
#include "controller/QueueStore.h"
#include "engine/MainLoop.h"
#include "engine/OffloadDestination.h"
#include "engine/OffloadInstance.h"
#include "engine/ThreadPool.h"
#include "engine/WorkerThread.h"
#include "fsutil/Guarded.h"
#include "settings/FerrydeckSettings.h"
#include "settings/PreferencesStore.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ferrydeck {

class AttachedVolume;

// The one object that turns sources and ticked destinations into jobs, runs
// them on the shared copy threads and saves their logs. It knows no toolkit:
// the person is reached through ControllerView, the main thread through
// MainLoop. Its code is split by concern: lifecycle (AppController.cpp), the
// queue (AppControllerQueue.cpp), a job's run and end
// (AppControllerProcessing.cpp), naming, destinations and space, log saving.
class AppController {
public:
    using Job = std::shared_ptr<OffloadInstance>;
    using Destination = std::shared_ptr<OffloadDestination>;

    struct Options {
        int32_t processorCount = 0; // 0: ask the machine
        std::chrono::milliseconds refreshInterval = std::chrono::seconds(5);
        // Free bytes of the file system holding a folder; statvfs when empty.
        std::function<uint64_t(const std::string &)> freeSpace;
        // Plays a named sound: kSoundComplete or kSoundFailure. The system's
        // sound service when empty.
        std::function<void(const std::string &)> playSound;
        // The card type id of a drive and its reformat; the card registry
        // when empty. Tests replace them to see a reformat fail.
        std::function<int32_t(const std::string &)> cardTypeOfDrive;
        std::function<bool(const std::string &)> reformatDrive;
        // Where settings and destinations persist; without one nothing is
        // loaded or saved (the command line never writes the desktop's).
        std::shared_ptr<PreferencesStore> preferences;
        // Where each card's last offload is remembered; the state folder's when empty.
        std::shared_ptr<OffloadHistory> history;
        // Where the queue is kept across restarts; without one it is not
        // (the command line's queue is its own run's).
        std::shared_ptr<QueueStore> queueStore;
        // Changes to the queue within this many seconds are saved together.
        double queueSaveDelay = 0.5;
    };

    static constexpr const char *kSoundComplete = "complete";
    static constexpr const char *kSoundFailure = "carHorn";
    static constexpr int32_t kUndefinedCardType = 11;
    static constexpr int32_t kStepperMinimum = 1;
    static constexpr int32_t kStepperMaximum = 9999;

    AppController(std::shared_ptr<ControllerView> view, std::shared_ptr<MainLoop> mainLoop);
    AppController(std::shared_ptr<ControllerView> view, std::shared_ptr<MainLoop> mainLoop, Options options);
    // Cancels every job and waits for every thread the controller started.
    virtual ~AppController();
    AppController(const AppController &) = delete;
    AppController &operator=(const AppController &) = delete;

    // --- state ----------------------------------------------------------------
    std::vector<Job> listOffloadInstances() const { return m_listOffloadInstances.get(); }
    void setListOffloadInstances(std::vector<Job> jobs);
    std::vector<Destination> listOffloadDestinations() const { return m_listOffloadDestinations.get(); }
    void setListOffloadDestinations(std::vector<Destination> destinations);
    std::vector<std::string> listNamingSchemeOptions() const { return m_listNamingSchemeOptions.get(); }
    Job viewedInstance() const { return m_viewedInstance.get(); }
    void setViewedInstance(Job job) { m_viewedInstance.set(std::move(job)); }
    FerrydeckSettings &ferrydeckSettings() { return m_settings; }
    ThreadPool &offloadPool() { return m_offloadPool; }
    // The shared pool's size for later hand-outs (the thread-count control);
    // running threads are not stopped. Until it is called the pool holds 4
    // per processor: loading the settings only shows their count.
    void setCopyThreadCount(int count);
    std::vector<ThreadPool::Thread> overflowPool() const { return m_overflowPool.get(); }
    std::mutex &lockOffloadInstances() { return m_lockOffloadInstances; }

    // --- lifecycle --------------------------------------------------------------
    // True to quit now; asks once when a job is processing.
    bool applicationShouldTerminate();
    void applicationWillTerminate();
    // Any listing or job thread still running.
    bool hasActiveWorkers() const;

    // --- queue (AppControllerQueue.cpp) ----------------------------------------
    void addDirectoriesToOffloadList(const std::vector<std::string> &paths);
    // The caller holds lockOffloadInstances.
    bool isSourceAlreadyInList(const std::string &path) const;
    bool directoryPathCanBeProcessed(const std::string &path);
    void verifyOffloadSourceSize(const std::vector<Job> &jobs);
    void processAllItemsInTheQueue();
    void processInstancesInList(const std::vector<Job> &jobs);
    // Hands max(jobs, shared pool size) copy threads to `jobs` by the idle
    // count of the shared pool; no thread is started.
    void handOutSharedThreads(const std::vector<Job> &jobs);
    void configureInstanceFromInterface(const Job &job);
    void cancelAllItemsInTheQueue();
    void cancelInstancesInList(const std::vector<Job> &jobs);
    void cancelOffloadInstance(const Job &job);
    void removeItemFromOffloadingQueue(const Job &job);
    void removeItemsNotStartedFromQueue();
    bool canInstanceBeDequeued(const Job &job) const;
    void removeRowFromProcessingQueue(const std::vector<int> &selectedRows);
    void clearProcessingQueue();

    // --- the queue across restarts (AppControllerQueueFile.cpp) -----------------
    // Puts the saved jobs back in the queue: finished ones as they ended,
    // read-only; the others waiting, to be started again or removed.
    void restoreQueue();
    // Writes the queue now; true without a store.
    bool saveQueue();
    // Writes the queue soon, on the main thread; callable from any thread.
    void scheduleQueueSave();
    std::vector<SavedJob> queueSnapshot() const;
    // A waiting job brought back from the last run, not started since.
    bool isRestoredJob(const Job &job) const;
    // Replaces a restored waiting job by a new one of the same source and
    // destination (listed and named afresh), started once listed when `start`.
    // False when it is not one or its source is gone, which the person is told.
    bool requeueRestoredJob(const Job &job, bool start);
    // Jobs configured from now on continue the latest interrupted copy of
    // their source in their destination, where its journal matches; kept
    // files are re-read and checked first when `verifyKept`.
    void setResumeInterrupted(bool resume, bool verifyKept);
    // A Canceled or Error job is replaced by one that continues its copy
    // folder with the same verification, and started. False when it is not
    // such a job or its source is gone.
    bool resumeJob(const Job &job);

    // --- a job's run and end (AppControllerProcessing.cpp) ---------------------
    void processInstance(const Job &job);
    void processingOfInstanceCompleted(const Job &job);
    void redistributeThreadsFromInstance(const Job &job);

    // --- persistence (AppControllerDefaults.cpp) --------------------------------
    // Settings and destinations from the preferences store, when there is one.
    void loadDefaults();
    // With the window's texts. False when the store could not be written; true without a store.
    bool saveDefaults();

    // --- automatic mode and volumes (AppControllerAutomatic.cpp) ---------------
    std::vector<std::shared_ptr<AttachedVolume>> listMountedMedia() const { return m_listMountedMedia.get(); }
    void setListMountedMedia(std::vector<std::shared_ptr<AttachedVolume>> volumes);
    std::vector<std::shared_ptr<AttachedVolume>> drivesMountedLastTick() const { return m_drivesMountedLastTick.get(); }
    void setDrivesMountedLastTick(std::vector<std::shared_ptr<AttachedVolume>> volumes)
    {
        m_drivesMountedLastTick.set(std::move(volumes));
    }
    std::vector<std::string> listMediaTitles() const { return m_listMediaTitles.get(); }
    std::mutex &lockAutoTimer() { return m_lockAutoTimer; }
    bool activeTimer() const { return m_activeTimer; }
    void toggleOffloadMode();
    void automaticallyProcessRemovableMedia();
    std::vector<std::shared_ptr<AttachedVolume>> refreshRemovableMedia() const;
    std::vector<std::shared_ptr<AttachedVolume>> refreshMountedMedia() const;
    virtual void refreshDriveLists();
    bool isDirectoryARemovableDrive(const std::string &path) const;
    void populateMediaTitles();
    // Refreshes the drive lists and queues nothing, as designed.
    void addAllRemovableMediaToQueue();
    // Refreshes the drive lists, then queues every removable volume not yet queued.
    void addAllMountedMediaToQueue();

    // --- card actions (AppControllerCardActions.cpp) ---------------------------
    // Reformat, rename and eject after a card's last job; runs on the job's
    // thread under lockPostOffload.
    virtual void runPostOffloadDriveModificationsForInstance(const Job &job);
    bool attemptToFormatDrive(const std::string &path);
    OffloadHistory offloadHistory() const;
    // Writes the job's outcome into its card's record (no-op for a job that
    // is not a card's); `dropped` for a job taken off the queue before it ran.
    void recordJobInHistory(const Job &job, bool dropped);
    void playOffloadCompleteSound();

    // How a card's offload ended, once the last of its jobs is over.
    struct CardOutcome {
        std::string card; // the card's mount path when it was queued
        size_t jobs = 0;
        size_t failedJobs = 0; // jobs that did not complete
        size_t filesVerified = 0;
        size_t filesFailed = 0;
    };
    using CardFinished = std::function<void(const CardOutcome &)>;
    // Called on the last job's thread when a card's jobs are all over,
    // completed or not; nothing is called while none is set.
    void setCardFinishedHandler(CardFinished handler) { m_cardFinished.set(std::move(handler)); }
    // The desktop notification front ends enable as that handler.
    static void notifyDesktop(const CardOutcome &outcome);
    // Its title and body.
    static std::pair<std::string, std::string> cardNotificationText(const CardOutcome &outcome);
    // The desktop's own sounds; what Options::playSound does when not given.
    static void playSystemSound(const std::string &name);

    // --- naming (AppControllerNaming.cpp) --------------------------------------
    void populateNamingSchemeOptions();
    std::string addNamingConventionToOffloadPath(const std::string &destination, const std::string &source);
    void configureFullNamingSchemeTextBox();
    void selectSchemeAtIndex(int index);
    void configureStepper(int32_t value);
    void resetStepper() { configureStepper(1); }
    std::string textStepperCount() const { return m_textStepperCount.get(); }

    // --- destinations and space (AppControllerDestinations.cpp) ----------------
    void addDirectoriesToDestinationList(const std::vector<std::string> &paths);
    void removeRowFromDestinationTable(int selectedRow);
    void removeDirectoryPathFromDestinationList(const std::string &path);
    void removeDirectoryDestinationFromOffloadInstanceList(const std::string &path);
    bool directoryIsAnOffloadDestination(const std::string &path);
    int numberOfSelectedOffloadDestinations();
    bool areAnyDestinationsSelected();
    bool isSufficentSpaceAvailableForOffload(const Job &job);

    // --- log saving (AppControllerLogs.cpp) ------------------------------------
    bool autoSaveLogForInstance(const Job &job);
    bool saveLogForInstance(const Job &job);
    void saveLog();
    void viewLog();
    void browse();
    std::optional<std::string> browseForDirectoryWithMessage(const std::string &message, const std::string &title);
    void toggleLogSaveMode();
    // Where the job's log was last written, none when it never was.
    std::optional<std::string> savedLogPath(const Job &job) const;

    // --- kept for the design, without a caller ---------------------------------
    std::mutex &lockOffloadDestination() { return m_lockOffloadDestination; }
    std::mutex &lockInterface() { return m_lockInterface; }
    std::mutex &lockPostOffload() { return m_lockPostOffload; }
    bool beginOffloadingInstance(const Job &) const { return true; }
    void queueAllDrivesFromList(const std::vector<std::shared_ptr<AttachedVolume>> &volumes);
    void playOffloadFailureSound();

protected:
    // Shows an alert from any thread; a worker waits for the answer without
    // holding any controller lock. Answers the default button when the
    // controller is shutting down.
    void removeMarkedInstances(const std::vector<Job> &marked);
    int alert(const std::string &title, const std::string &message, const std::vector<std::string> &buttons);
    // True while an alert or chooser waits for the person. The window's
    // dialogs run a nested event loop, so timers still fire meanwhile.
    bool promptOpen() const { return m_promptsOpen.load() > 0; }
    // Runs `work` on the main thread and waits for its answer without holding
    // any controller lock; answers 0 when the controller is shutting down.
    int waitForMainThread(std::function<int()> work);
    // Runs `change` on the main thread later; it never touches the controller.
    void updateView(std::function<void(ControllerView &)> change);
    // Starts `body` on a thread the destructor waits for.
    void startWorker(std::function<void()> body);
    // Runs `task` on the main thread later, unless the controller is gone by then.
    void postToController(std::function<void(AppController &)> task);

private:
    struct PendingAnswer;
    class DetailsDelegate;

    void playNamedSound(const std::string &name) const;
    // A new job of the queue, before it is listed.
    Job makeJob(const std::string &source, const std::string &destination) const;
    Job restoreJob(const SavedJob &saved);
    // What the queue file keeps of a job beyond the job itself.
    struct JobNote {
        std::weak_ptr<OffloadInstance> job;
        NamingControls naming;
        bool restored = false;
        // The copy folder of an interrupted run this job continues, and how
        // that run verified (the journal is only of use with the same method).
        std::string resumeFolder;
        std::string resumeVerification;
    };
    // Replaces `job` in the queue by a fresh one of its source and
    // destination, noted by `note`, listed and (when `start`) started.
    bool requeueFresh(const Job &job, bool start, const std::function<void(JobNote &)> &note);
    // Folder, journal or why not, for a job about to be configured.
    void chooseCopyFolder(const Job &job, const std::string &wanted, const std::optional<JobNote> &note);
    std::optional<JobNote> noteOf(const Job &job) const;
    void setNote(const Job &job, const std::function<void(JobNote &)> &change);
    // Starts the history records of the cards among the just queued jobs.
    void beginCardOffloads(const std::vector<Job> &added);
    std::optional<OffloadHistory::Ticket> ticketOf(const Job &job) const;
    // The automatic tick's memory: a card it took, by identity, is taken
    // again only when it holds a file it did not hold then.
    bool cardIsBusyOrUnchanged(const std::string &identity, const std::string &mountPath) const;
    void rememberCardContents(const std::string &identity, const std::string &mountPath, bool onlyIfKnown);
    std::string logFolderForInstance(const Job &job) const;
    void noteSavedLog(const Job &job, const std::string &path);
    std::vector<Job> collectJobsWithStatus(OffloadInstance::Status status);
    // Space checks of one destination folder run in queue order, whichever
    // listing finishes first.
    void reportCardIfFinished(const Job &job);
    void waitForSpaceCheckTurn(const Job &job);
    void endSpaceCheck(const Job &job);

    std::shared_ptr<ControllerView> m_view;
    std::shared_ptr<MainLoop> m_mainLoop;
    Options m_options;
    std::shared_ptr<OffloadInstanceDelegate> m_detailsDelegate;

    Guarded<std::vector<Job>> m_listOffloadInstances;
    Guarded<std::vector<Destination>> m_listOffloadDestinations;
    Guarded<std::vector<std::string>> m_listNamingSchemeOptions;
    Guarded<Job> m_viewedInstance;
    Guarded<std::string> m_textStepperCount;
    Guarded<std::vector<std::pair<Job, std::string>>> m_savedLogs;
    Guarded<std::vector<JobNote>> m_jobNotes;
    std::atomic<bool> m_queueSavePending{false};
    std::atomic<bool> m_resumeInterrupted{false};
    std::atomic<bool> m_resumeVerify{false};
    std::shared_ptr<MainLoopTimer> m_queueSaveTimer;

    std::mutex m_lockOffloadInstances;
    std::mutex m_lockOffloadDestination;
    std::mutex m_lockInterface;
    std::mutex m_lockPostOffload;

    std::mutex m_spaceCheckMutex;
    std::condition_variable m_spaceCheckDone;
    std::vector<Job> m_spaceChecksPending;

    FerrydeckSettings m_settings;
    ThreadPool m_offloadPool;
    Guarded<std::vector<std::shared_ptr<AttachedVolume>>> m_listMountedMedia;
    Guarded<std::vector<std::shared_ptr<AttachedVolume>>> m_drivesMountedLastTick;
    Guarded<std::vector<std::string>> m_listMediaTitles;
    std::mutex m_lockAutoTimer;
    std::atomic<bool> m_activeTimer{false};
    std::atomic<int> m_promptsOpen{0};
    // Counts a prompt for as long as it is open.
    struct PromptOpen {
        explicit PromptOpen(std::atomic<int> &count)
            : m_count(count)
        {
            ++m_count;
        }
        ~PromptOpen() { --m_count; }
        PromptOpen(const PromptOpen &) = delete;
        PromptOpen &operator=(const PromptOpen &) = delete;
        std::atomic<int> &m_count;
    };
    std::shared_ptr<MainLoopTimer> m_autoModeTimer;

    mutable std::mutex m_cardsMutex;
    std::vector<std::pair<std::weak_ptr<OffloadInstance>, OffloadHistory::Ticket>> m_tickets;
    std::map<std::string, std::vector<OffloadHistory::File>> m_takenCards;
    // Card jobs that have ended, until the card is reported.
    std::vector<std::weak_ptr<OffloadInstance>> m_endedCardJobs;
    Guarded<CardFinished> m_cardFinished;

    Guarded<std::vector<ThreadPool::Thread>> m_overflowPool;

    mutable std::mutex m_workersMutex;
    std::vector<std::shared_ptr<WorkerThread>> m_workers;
    std::vector<std::shared_ptr<PendingAnswer>> m_pendingAnswers;
    bool m_shuttingDown = false;
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

} // namespace ferrydeck
