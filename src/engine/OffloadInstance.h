#pragma once

#include "engine/FileCopyDetails.h"
#include "engine/OffloadInterface.h"
#include "engine/OffloadJournal.h"
#include "engine/ThreadPool.h"
#include "fsutil/FileCopy.h"
#include "fsutil/Guarded.h"
#include "fsutil/UniqueFd.h"
#include "proof/HashMethod.h"
#include "proof/MhlGenerationWriter.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

class CardGroup;
class MainLoop;
class MainLoopTimer;
class OffloadInstance;

// What a job tells whoever drives it: the display should be refreshed.
// Called from copy threads and timers; implementations must not block on
// the job's locks.
class OffloadInstanceDelegate {
public:
    virtual ~OffloadInstanceDelegate() = default;
    virtual void updateDetailsWindowFromThread(const std::shared_ptr<OffloadInstance> &job) = 0;
    // An alert for the person (the block copier's "Coyp Error"); must not wait for an answer.
    virtual void showAlert(const std::string &title, const std::string &message)
    {
        (void)title;
        (void)message;
    }
};

// One offload job: one source folder copied to one destination folder by the
// job's copy threads, each taking whole files in list order.
class OffloadInstance : public std::enable_shared_from_this<OffloadInstance> {
public:
    enum class Status : int32_t {
        kInQueue = 100,
        kProcessing = 101,
        kCanceled = 102,
        kCompleted = 103,
        kError = 104,
        kIdle = 105,
        kIndexing = 106,
    };
    using enum Status;
    using Clock = std::chrono::system_clock;
    using Details = std::shared_ptr<FileCopyDetails>;
    // Called on a copy thread after a file's copy and before its verification.
    using CopyObserver = std::function<void(const FileCopyDetails &)>;

    static const char *statusText(Status status);
    static DisplayColor statusColor(Status status);

    // The refresh chain runs on `mainLoop`; without one the job is not refreshed.
    static std::shared_ptr<OffloadInstance> create(const std::string &source, const std::string &destination,
                                                   std::shared_ptr<MainLoop> mainLoop = nullptr);
    static std::shared_ptr<OffloadInstance> create();
    ~OffloadInstance();
    OffloadInstance(const OffloadInstance &) = delete;
    OffloadInstance &operator=(const OffloadInstance &) = delete;

    // --- record -------------------------------------------------------------
    std::string sourceDirectory() const { return m_properties.get<&Properties::sourceDirectory>(); }
    void setSourceDirectory(const std::string &value);
    std::string offloadDirectory() const { return m_properties.get<&Properties::offloadDirectory>(); }
    void setOffloadDirectory(const std::string &value);
    std::string fullOffloadPath() const { return m_properties.get<&Properties::fullOffloadPath>(); }
    void setFullOffloadPath(const std::string &value) { m_properties.set<&Properties::fullOffloadPath>(value); }
    // The job's own copy folder, opened when it was made (exclusively) at
    // fullOffloadPath. Every file and sub-folder of the job is reached from
    // it; a job without one copies nothing.
    std::shared_ptr<const UniqueFd> offloadFolder() const { return m_properties.get<&Properties::offloadFolder>(); }
    void setOffloadFolder(UniqueFd folder);
    std::string probeFilePath() const { return m_properties.get<&Properties::probeFilePath>(); }
    void setProbeFilePath(const std::string &value) { m_properties.set<&Properties::probeFilePath>(value); }
    const std::shared_ptr<OffloadInterface> &interface() const { return m_interface; }
    std::vector<Details> fileDetails() const { return m_properties.get<&Properties::fileDetails>(); }
    void setFileDetails(std::vector<Details> details)
    {
        m_properties.set<&Properties::fileDetails>(std::move(details));
    }
    std::vector<std::string> sourceSubDirectories() const
    {
        return m_properties.get<&Properties::sourceSubDirectories>();
    }
    void setSourceSubDirectories(std::vector<std::string> folders)
    {
        m_properties.set<&Properties::sourceSubDirectories>(std::move(folders));
    }
    std::shared_ptr<OffloadInstanceDelegate> delegate() const { return m_properties.get<&Properties::delegate>(); }
    void setDelegate(std::shared_ptr<OffloadInstanceDelegate> delegate)
    {
        m_properties.set<&Properties::delegate>(std::move(delegate));
    }
    void setCopyObserver(CopyObserver observer) { m_properties.set<&Properties::copyObserver>(std::move(observer)); }
    // How many entries the listing could not read (a folder it could not open
    // or read to its end, an entry it could not examine). Each has a record,
    // failed from the start, at the end of the list; the copy threads take
    // only the records before them, and once those are done the job ends as
    // Error naming them instead of calling a copy of the rest a copy of the
    // source.
    size_t unreadableEntries() const { return m_unreadableEntries.load(); }
    void setUnreadableEntries(size_t count) { m_unreadableEntries = count; }
    // Plays once at a job's first failed file unless it was canceled; silent
    // when none is set.
    void setFailureSound(std::function<void()> sound) { m_properties.set<&Properties::failureSound>(std::move(sound)); }

    Status offloadStatus() const { return m_offloadStatus.load(); }
    void setOffloadStatus(Status status);
    double threadRatio() const { return m_threadRatio.load(); }
    void setThreadRatio(double value) { m_threadRatio = value; }
    double previousCopyRate() const { return m_previousCopyRate.load(); }
    void setPreviousCopyRate(double value) { m_previousCopyRate = value; }
    int32_t itemsProcessed() const { return m_itemsProcessed.load(); }
    uint64_t bytesAtSource() const { return m_bytesAtSource.load(); }
    void setBytesAtSource(uint64_t bytes);
    uint64_t totalFilesAtSource() const { return m_totalFilesAtSource.load(); }
    void setTotalFilesAtSource(uint64_t value) { m_totalFilesAtSource = value; }
    uint64_t bytesCopied() const { return m_bytesCopied.load(); }
    void setBytesCopied(uint64_t value) { m_bytesCopied = value; }
    bool byteComparison() const { return m_byteComparison.load(); }
    void setByteComparison(bool value) { m_byteComparison = value; }
    bool noFileVerification() const { return m_noFileVerification.load(); }
    void setNoFileVerification(bool value) { m_noFileVerification = value; }
    // Checksum verification instead of size or contents: the source is hashed
    // from the very bytes the copy reads and the copy is read back from its
    // medium. Such a job ends by writing its copy folder's hash list.
    std::optional<HashMethod> hashMethod() const { return m_properties.get<&Properties::hashMethod>(); }
    void setHashMethod(std::optional<HashMethod> method) { m_properties.set<&Properties::hashMethod>(method); }
    // Continue an interrupted run of this job in its copy folder: files its
    // journal lists that are unchanged on the source and whole in the copy
    // are kept (re-read and checked first when `verifyKept`), the rest copied.
    void setResume(std::shared_ptr<const OffloadJournal::Contents> journal, bool verifyKept);
    bool resumed() const { return m_properties.get<&Properties::resumeJournal>() != nullptr; }
    uint64_t filesCarriedOver() const { return m_carriedOver.load(); }
    // The jobs of one card started together read it once between them;
    // `member` is this job's place in `group`. It leaves the group as it ends.
    void setCardGroup(std::shared_ptr<CardGroup> group, int member);
    std::shared_ptr<CardGroup> cardGroup() const { return m_properties.get<&Properties::cardGroup>(); }
    // Why a rerun asked to resume made a new folder instead ("" otherwise).
    std::string resumeRefusal() const { return m_properties.get<&Properties::resumeRefusal>(); }
    void setResumeRefusal(const std::string &why) { m_properties.set<&Properties::resumeRefusal>(why); }
    // Begins (or, resumed, continues) the journal; a resumed job first drops
    // the temporary files its interrupted run left behind.
    void openJournal();
    void closeJournal() { m_journal.close(); }
    // The method by its name in verificationName(); an unknown one is size.
    void setVerificationByName(const std::string &name);
    // The generation file the job wrote ("" until then).
    std::string hashListPath() const { return m_properties.get<&Properties::hashListPath>(); }
    // The method as people and the command line name it: "size", "contents",
    // "none" or a checksum's name.
    std::string verificationName() const;
    // Seconds from the job's start to its end (to now while it runs).
    double secondsTaken() const;
    bool verboseLogging() const { return m_verboseLogging.load(); }
    void setVerboseLogging(bool value) { m_verboseLogging = value; }
    bool endedPremature() const { return m_endedPremature.load(); }
    bool errorReported() const { return m_errorReported.load(); }
    bool logWasSaved() const { return m_logWasSaved.load(); }
    void setLogWasSaved(bool value) { m_logWasSaved = value; }
    bool postOffloadComplete() const { return m_postOffloadComplete.load(); }
    void setPostOffloadComplete(bool value) { m_postOffloadComplete = value; }

    std::mutex &lockProcessing() { return m_lockProcessing; }
    std::mutex &lockCopyDetails() { return m_lockCopyDetails; }
    ThreadPool &pool() { return *m_pool; }

    // --- lifecycle ----------------------------------------------------------
    bool processingTaskIsOver() const;
    bool processingTaskHasBegun() const;
    void cancelOffloadingTasks();
    std::shared_ptr<WorkerThread> createOffloadThread();
    void addThreadToPool(const std::shared_ptr<WorkerThread> &thread);
    uint64_t bytesLeftToCopy() const { return bytesAtSource() - bytesCopied(); }
    // Blocks until the job is over or the timeout passes; true when over.
    bool waitUntilOver(std::chrono::milliseconds timeout);

    // --- copying (OffloadCopyLoop.cpp) --------------------------------------
    void offloadSourceFiles();
    // A source that lists nothing readable has nothing left to copy or
    // verify: the job ends at once (Completed, or Error when something could
    // not be read) instead of waiting for a file that never comes.
    void completeWithoutFiles();
    // `file`'s path below `source` (the source's prefix, once); none when it
    // does not lie below it.
    static std::optional<std::string> relativeToSource(const std::string &file, const std::string &source);
    bool compareFiles(const std::string &source, const std::string &destination, bool compareBytes,
                      const SourceReader &readSource = {});
    void soundFileCopyFailureAlert();

    // --- display (OffloadDisplay.cpp) ---------------------------------------
    void updateCurrentInterface();
    std::string updateTotalDuration();
    void updateDelegateInterface();
    void updateInterfaceToComplete();
    void updateInterfaceEstimatedTime();
    void setEstimatedTimeRemaining(int hours, int minutes, int seconds);

    // --- log text (OffloadLog.cpp) ------------------------------------------
    void createInitialLogEntry();
    void createLogEntriesForCopies(const std::vector<Details> &copies, bool didError);
    void insertFinalLogEntry();
    static std::string convertIntToTimeString(int value);
    static void breakSecondsIntoHoursMinutesSeconds(double seconds, int &hours, int &minutes, int &secs);
    static std::string createClockTimeFromDate(Clock::time_point from, Clock::time_point to);
    static std::string createTimeOfDayFromCalenderDate(Clock::time_point date);
    static std::string dateText(Clock::time_point date);

    // --- kept for the design, without a caller ------------------------------
    double dataTransferRate() const { return m_dataTransferRate.load(); }
    int32_t indexToProcess() const { return m_indexToProcess.load(); }
    void setIndexToProcess(int32_t value) { m_indexToProcess = value; }
    void setItemsProcessed(int32_t value) { m_itemsProcessed = value; }
    // A block copier that replaces its destination (the copy threads use FileCopy).
    bool copyFile(const std::string &source, const std::string &destination, int64_t blockSize);
    // Logs a failed step of copyFile and has the delegate show it.
    void reportCopyError(const std::string &path, int error);
    static double estimateRemainingSecondsFromBytes(uint64_t bytes);
    static double estimatedRemainingSecondsFromFiles(uint64_t files);
    void calculateThroughPutRate() {}
    void continuallyUpdateDelegateInterface(const std::atomic<bool> &keepGoing);
    // For a delegate that hands refreshes to the main thread: true when none
    // of this job's is queued there yet. Changes made meanwhile ride on the
    // queued one, whose taking (refreshTaken, before it reads the job) lets
    // the next change queue another; a card of many small files otherwise
    // woke the main thread once per file.
    bool queueRefresh() { return !m_refreshQueued.exchange(true); }
    void refreshTaken() { m_refreshQueued.exchange(false); }

private:
    OffloadInstance(const std::string &source, const std::string &destination, std::shared_ptr<MainLoop> mainLoop);
    // details: the job's list as the copy thread took it (it is fixed while threads run).
    void recordResult(const Details &record, bool failed, const std::vector<Details> &details);
    // Under lockProcessing, once every readable file is verified: Completed,
    // or Error when the listing could not see everything. True for Error.
    bool endAfterLastReadableFile(const std::vector<Details> &details);
    // Checks a finished copy against the checksum the copy took of its
    // source; the copy is reached through its folder and must be the file
    // that was written. Empty when they match, else why not.
    static std::string verifyChecksum(HashMethod method, const std::string &sourcePath, int folderFd,
                                      const std::string &name, const FileCopy::Result &copy,
                                      const std::string &sourceValue);
    // A file an interrupted run verified, still as it was at both ends, is
    // recorded as verified without a copy. A resumed job's leftover copy
    // that is not kept is removed so that the fresh copy can take its name.
    bool carryOver(const Details &record, const std::string &relative, int folderFd, const std::string &name);
    // The copy folder's next hash-list generation, from every verified file.
    bool writeHashList(std::string &error);

    std::shared_ptr<OffloadInterface> m_interface = std::make_shared<OffloadInterface>();
    std::shared_ptr<ThreadPool> m_pool = std::make_shared<ThreadPool>(1);
    std::shared_ptr<MainLoop> m_mainLoop;

    // Paths, lists, delegate, observer: each access atomic on its own.
    struct Properties {
        std::string sourceDirectory;
        std::string offloadDirectory;
        std::string fullOffloadPath;
        std::string probeFilePath;
        std::shared_ptr<const UniqueFd> offloadFolder;
        std::vector<Details> fileDetails;
        std::vector<std::string> sourceSubDirectories;
        std::shared_ptr<OffloadInstanceDelegate> delegate;
        std::shared_ptr<MainLoopTimer> timerInterface;
        CopyObserver copyObserver;
        std::function<void()> failureSound;
        std::optional<HashMethod> hashMethod;
        std::string hashListPath;
        std::shared_ptr<const OffloadJournal::Contents> resumeJournal;
        bool resumeVerify = false;
        std::string resumeRefusal;
        std::shared_ptr<CardGroup> cardGroup;
        int cardGroupMember = -1;
        std::optional<Clock::time_point> endTime; // the first Completed, Error or Canceled
    };
    Guarded<Properties> m_properties;

    std::atomic<Status> m_offloadStatus{kIndexing};
    std::atomic<double> m_threadRatio{1.0};
    std::atomic<double> m_previousCopyRate{0.0};
    std::atomic<double> m_dataTransferRate{1.0};
    std::atomic<int32_t> m_itemsProcessed{0};
    std::atomic<int32_t> m_indexToProcess{0};
    std::atomic<uint64_t> m_bytesAtSource{0};
    std::atomic<uint64_t> m_totalFilesAtSource{0};
    std::atomic<uint64_t> m_bytesCopied{0};
    std::atomic<bool> m_byteComparison{false};
    std::atomic<bool> m_noFileVerification{false};
    std::atomic<bool> m_verboseLogging{false};
    std::atomic<bool> m_endedPremature{false};
    std::atomic<bool> m_errorReported{false};
    std::atomic<bool> m_refreshQueued{false};
    std::atomic<size_t> m_unreadableEntries{0};
    std::atomic<bool> m_logWasSaved{false};
    std::atomic<bool> m_postOffloadComplete{false};

    std::atomic<uint64_t> m_carriedOver{0};

    MhlGenerationWriter m_hashList;
    OffloadJournal m_journal;

    std::mutex m_lockProcessing;
    std::mutex m_lockCopyDetails;
    std::mutex m_overMutex;
    std::condition_variable m_over;
};

} // namespace ferrydeck
