#include "controller/AppController.h"
#include "controller/AlertTexts.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

#include <algorithm>
#include <exception>
#include <limits>

namespace ferrydeck {

namespace {
// The job has a copy folder of its own once naming gave it one.
std::string copyFolderOf(const OffloadInstance &job)
{
    const std::string full = job.fullOffloadPath();
    return full == job.offloadDirectory() ? std::string() : full;
}
} // namespace

std::optional<AppController::JobNote> AppController::noteOf(const Job &job) const
{
    for (const JobNote &note : m_jobNotes.get()) {
        if (note.job.lock() == job) return note;
    }
    return std::nullopt;
}

void AppController::setNote(const Job &job, const std::function<void(JobNote &)> &change)
{
    m_jobNotes.update([&](std::vector<JobNote> &notes) {
        std::erase_if(notes, [](const JobNote &note) { return note.job.expired(); });
        auto found =
            std::find_if(notes.begin(), notes.end(), [&](const JobNote &note) { return note.job.lock() == job; });
        if (found == notes.end()) found = notes.insert(notes.end(), JobNote{job, {}, false, {}, {}});
        change(*found);
    });
}

std::vector<SavedJob> AppController::queueSnapshot() const
{
    std::vector<SavedJob> saved;
    for (const Job &job : listOffloadInstances()) {
        const auto &shown = job->interface();
        SavedJob entry;
        entry.source = job->sourceDirectory();
        entry.destination = job->offloadDirectory();
        entry.copyFolder = copyFolderOf(*job);
        if (const auto note = noteOf(job)) entry.naming = note->naming;
        entry.verification = job->verificationName();
        entry.verboseLogging = job->verboseLogging();
        entry.status = job->offloadStatus();
        entry.files = job->totalFilesAtSource();
        entry.filesDone = static_cast<uint64_t>(std::max(0, job->itemsProcessed()));
        entry.bytes = job->bytesAtSource();
        entry.bytesCopied = job->bytesCopied();
        entry.timeCompleted = shown->timeCompleted();
        entry.duration = shown->totalDuration();
        entry.logPath = savedLogPath(job).value_or("");
        // A running job's log is not its record yet; it starts afresh when the job does.
        if (job->processingTaskIsOver()) entry.logText = shown->logText();
        saved.push_back(std::move(entry));
    }
    return saved;
}

bool AppController::saveQueue()
{
    m_queueSavePending = false;
    if (!m_options.queueStore) return true;
    try {
        return m_options.queueStore->save(queueSnapshot());
    } catch (const std::exception &error) {
        systemLog("queue: not saved: %s", error.what());
        return false;
    }
}

void AppController::scheduleQueueSave()
{
    if (!m_options.queueStore || m_queueSavePending.exchange(true)) return;
    postToController([](AppController &controller) {
        controller.m_queueSaveTimer = controller.m_mainLoop->scheduleOnce(
            controller.m_options.queueSaveDelay, [alive = std::weak_ptr<int>(controller.m_alive), &controller] {
                if (alive.lock()) controller.saveQueue();
            });
    });
}

AppController::Job AppController::restoreJob(const SavedJob &saved)
{
    Job job = OffloadInstance::create(saved.source, saved.destination, m_mainLoop);
    if (!saved.copyFolder.empty()) job->setFullOffloadPath(saved.copyFolder);
    job->setVerificationByName(saved.verification);
    job->setVerboseLogging(saved.verboseLogging);
    job->setTotalFilesAtSource(saved.files);
    job->setBytesAtSource(saved.bytes);
    job->setItemsProcessed(static_cast<int32_t>(
        std::min<uint64_t>(saved.filesDone, static_cast<uint64_t>(std::numeric_limits<int32_t>::max()))));
    job->setBytesCopied(saved.bytesCopied);
    const OffloadInstance::Status status = QueueStore::restoredStatus(saved.status);
    job->setOffloadStatus(status);
    const bool finished = job->processingTaskIsOver();
    setNote(job, [&](JobNote &note) {
        note.naming = saved.naming;
        note.restored = !finished;
    });
    if (!finished) return job;
    const auto &shown = job->interface();
    shown->setTimeCompleted(saved.timeCompleted);
    shown->setTotalDuration(saved.duration);
    shown->setEstimatedTimeRemaining(status == OffloadInstance::kCompleted ? "Complete" : "N/A");
    shown->setCurrentOffloadFile("");
    std::string log = saved.logText;
    if (log.empty())
        log = saved.logPath.empty() ? "The log of this offload was too long to keep across a restart.\n"
                                    : "The log of this offload is kept in \"" + saved.logPath + "\".\n";
    shown->addLogEntryToLogDetails({log, DisplayColor::Default});
    if (!saved.logPath.empty()) noteSavedLog(job, saved.logPath);
    return job;
}

void AppController::restoreQueue()
{
    if (!m_options.queueStore) return;
    std::vector<Job> restored;
    for (const SavedJob &saved : m_options.queueStore->load()) {
        try {
            restored.push_back(restoreJob(saved));
        } catch (const std::exception &error) {
            systemLog("queue: a saved job of %s could not be restored: %s", saved.source.c_str(), error.what());
        }
    }
    if (restored.empty()) return;
    std::lock_guard lock(m_lockOffloadInstances);
    std::vector<Job> queue = listOffloadInstances();
    queue.insert(queue.begin(), restored.begin(), restored.end());
    setListOffloadInstances(std::move(queue));
}

bool AppController::isRestoredJob(const Job &job) const
{
    const auto note = noteOf(job);
    return note && note->restored && !job->processingTaskHasBegun();
}

bool AppController::requeueRestoredJob(const Job &job, bool start)
{
    if (!isRestoredJob(job)) return false;
    const std::string source = job->sourceDirectory();
    if (!path::isDirectory(source)) {
        const AlertText text = AlertTexts::restoredSourceMissing(source);
        alert(text.title, text.message, {"OK"});
        return false;
    }
    if (!directoryPathCanBeProcessed(source)) return false;
    // One that was running when the window closed continues its folder.
    if (job->fullOffloadPath().empty()) return requeueFresh(job, start, nullptr);
    return requeueFresh(job, start, [&job](JobNote &note) {
        note.resumeFolder = job->fullOffloadPath();
        note.resumeVerification = job->verificationName();
    });
}

bool AppController::resumeJob(const Job &job)
{
    const OffloadInstance::Status status = job->offloadStatus();
    if ((status != OffloadInstance::kCanceled && status != OffloadInstance::kError) || !job->offloadFolder() ||
        !path::isDirectory(job->sourceDirectory()))
        return false;
    return requeueFresh(job, true, [&job](JobNote &note) {
        note.resumeFolder = job->fullOffloadPath();
        note.resumeVerification = job->verificationName();
    });
}

bool AppController::requeueFresh(const Job &job, bool start, const std::function<void(JobNote &)> &note)
{
    const Job fresh = makeJob(job->sourceDirectory(), job->offloadDirectory());
    if (note) setNote(fresh, note);
    {
        std::lock_guard lock(m_lockOffloadInstances);
        std::vector<Job> queue = listOffloadInstances();
        const auto place = std::find(queue.begin(), queue.end(), job);
        if (place == queue.end()) return false;
        *place = fresh;
        setListOffloadInstances(std::move(queue));
        std::lock_guard order(m_spaceCheckMutex);
        m_spaceChecksPending.push_back(fresh);
    }
    if (viewedInstance() == job) setViewedInstance(fresh);
    beginCardOffloads({fresh});
    startWorker([this, fresh, start] {
        verifyOffloadSourceSize({fresh});
        if (start) postToController([fresh](AppController &controller) { controller.processInstancesInList({fresh}); });
    });
    return true;
}

} // namespace ferrydeck
