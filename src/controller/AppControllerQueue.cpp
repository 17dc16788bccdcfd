#include "controller/AppController.h"
#include "controller/AlertTexts.h"
#include "controller/OffloadNamingScheme.h"

#include "engine/CardGroup.h"
#include "engine/OffloadDriver.h"
#include "fsutil/AttachedVolume.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"

#include <sys/stat.h>

#include <algorithm>
#include <exception>

namespace ferrydeck {

namespace {

// Sharing one read of a card pays only where the card is a device of its own, as in a reader.
// On the destinations' own disk the second read comes from the page cache for free, while a
// shared read gives up the kernel's in-place copy and makes each job wait for the others.
bool cardOnItsOwnDevice(const std::vector<AppController::Job> &jobs)
{
    struct stat card {};
    if (::stat(jobs.front()->sourceDirectory().c_str(), &card) != 0) return false;
    return std::all_of(jobs.begin(), jobs.end(), [&](const AppController::Job &job) {
        struct stat destination {};
        return ::stat(job->offloadDirectory().c_str(), &destination) == 0 && destination.st_dev != card.st_dev;
    });
}

} // namespace

void AppController::addDirectoriesToOffloadList(const std::vector<std::string> &paths)
{
    if (!areAnyDestinationsSelected()) return;
    std::vector<std::string> sources;
    for (const std::string &path : paths) {
        if (path::isDirectory(path)) sources.push_back(path);
    }
    for (const std::string &source : sources) {
        // One refusal refuses the whole drop, even the folders accepted before it: deliberate.
        if (!directoryPathCanBeProcessed(source)) return;
    }
    std::vector<Job> added;
    {
        std::lock_guard lock(m_lockOffloadInstances);
        std::vector<Job> queue = listOffloadInstances();
        try {
            const std::vector<Destination> destinations = listOffloadDestinations();
            for (const std::string &source : sources) {
                for (const Destination &destination : destinations) {
                    if (!destination->inUse()) continue;
                    Job job = makeJob(source, destination->destinationPath());
                    queue.push_back(job);
                    added.push_back(job);
                }
            }
        } catch (const std::exception &error) {
            systemLog("could not queue a source: %s", error.what());
        }
        setListOffloadInstances(std::move(queue));
        std::lock_guard order(m_spaceCheckMutex);
        m_spaceChecksPending.insert(m_spaceChecksPending.end(), added.begin(), added.end());
    }
    beginCardOffloads(added);
    for (const Job &job : added) {
        startWorker([this, job] { verifyOffloadSourceSize({job}); });
    }
}

AppController::Job AppController::makeJob(const std::string &source, const std::string &destination) const
{
    Job job = OffloadInstance::create(source, destination, m_mainLoop);
    // Copy threads may outlive the controller: the hook holds the player, not `this`.
    job->setFailureSound([play = m_options.playSound] { play(kSoundFailure); });
    return job;
}

void AppController::queueAllDrivesFromList(const std::vector<std::shared_ptr<AttachedVolume>> &volumes)
{
    for (const auto &volume : volumes) {
        const std::string path = volume->volumePath();
        {
            std::lock_guard lock(m_lockOffloadInstances);
            if (isSourceAlreadyInList(path)) continue;
        }
        addDirectoriesToOffloadList({path});
    }
}

void AppController::waitForSpaceCheckTurn(const Job &job)
{
    const std::string folder = job->offloadDirectory();
    const auto earlierCheckPending = [&] {
        for (const Job &queued : listOffloadInstances()) {
            if (queued == job) return false;
            if (queued->offloadDirectory() == folder &&
                std::find(m_spaceChecksPending.begin(), m_spaceChecksPending.end(), queued) !=
                    m_spaceChecksPending.end())
                return true;
        }
        return false;
    };
    const auto shuttingDown = [&] {
        std::lock_guard workers(m_workersMutex);
        return m_shuttingDown;
    };
    std::unique_lock lock(m_spaceCheckMutex);
    // Polled as well: a job taken off the queue meanwhile also ends the wait,
    // and a shutdown may have kept an earlier job's listing from starting.
    while (earlierCheckPending() && !shuttingDown())
        m_spaceCheckDone.wait_for(lock, std::chrono::milliseconds(50));
}

void AppController::endSpaceCheck(const Job &job)
{
    {
        std::lock_guard lock(m_spaceCheckMutex);
        std::erase(m_spaceChecksPending, job);
    }
    m_spaceCheckDone.notify_all();
}

bool AppController::isSourceAlreadyInList(const std::string &path) const
{
    const std::vector<Job> queue = listOffloadInstances();
    return std::any_of(queue.begin(), queue.end(), [&](const Job &job) { return job->sourceDirectory() == path; });
}

bool AppController::directoryPathCanBeProcessed(const std::string &path)
{
    if (!directoryIsAnOffloadDestination(path)) return true;
    const AlertText text = AlertTexts::sourceIsADestination(path);
    alert(text.title, text.message, {"OK"});
    return false;
}

void AppController::verifyOffloadSourceSize(const std::vector<Job> &jobs)
{
    if (jobs.empty()) return;
    const AlertText space = AlertTexts::insufficientSpace();
    std::string message = space.message;
    bool removed = false;
    for (const Job &job : jobs) {
        // The walk runs outside the queue's lock: a large card must not stall the window.
        OffloadDriver::listSource(*job);
        waitForSpaceCheckTurn(job);
        const bool enoughSpace = isSufficentSpaceAvailableForOffload(job);
        endSpaceCheck(job);
        if (!enoughSpace) {
            message += AlertTexts::insufficientSpaceLine(job->sourceDirectory(), job->offloadDirectory());
            recordJobInHistory(job, true);
            std::lock_guard lock(m_lockOffloadInstances);
            std::vector<Job> queue = listOffloadInstances();
            std::erase(queue, job);
            setListOffloadInstances(std::move(queue));
            removed = true;
        }
        job->updateInterfaceEstimatedTime();
    }
    scheduleQueueSave();
    if (removed) alert(space.title, message, {"OK"});
    std::lock_guard lock(m_lockInterface);
    updateView([](ControllerView &view) { view.reloadQueueTable(); });
}

void AppController::processAllItemsInTheQueue()
{
    processInstancesInList(listOffloadInstances());
}

void AppController::setCopyThreadCount(int count)
{
    std::lock_guard lock(m_offloadPool.poolLock());
    m_offloadPool.setPoolSize(count);
}

std::vector<AppController::Job> AppController::collectJobsWithStatus(OffloadInstance::Status status)
{
    std::lock_guard lock(m_lockOffloadInstances);
    std::vector<Job> collected;
    for (const Job &job : listOffloadInstances()) {
        if (job->offloadStatus() == status) collected.push_back(job);
    }
    return collected;
}

void AppController::handOutSharedThreads(const std::vector<Job> &jobs)
{
    const int count = static_cast<int>(jobs.size());
    if (count == 0) return;
    int poolSize = 0;
    for (int i = 0;; ++i) {
        int idle = 0;
        {
            std::lock_guard lock(m_offloadPool.poolLock());
            idle = m_offloadPool.idleThreadsInPool();
            poolSize = m_offloadPool.poolSize();
        }
        if (i >= count && i >= poolSize) break;
        // The receiver follows the idle count read just before, not i: intended.
        ThreadPool::Thread thread;
        {
            std::lock_guard lock(m_lockOffloadInstances);
            const Job &target = jobs[static_cast<size_t>(idle % count)];
            thread = target->createOffloadThread();
            target->addThreadToPool(thread);
        }
        if (!thread) continue;
        bool inserted = false;
        {
            std::lock_guard lock(m_offloadPool.poolLock());
            inserted = m_offloadPool.insertThreadIntoPool(thread);
        }
        if (!inserted) {
            m_overflowPool.update([&](auto &pool) { pool.push_back(thread); });
            systemLog("Could not add processing thread to pool");
        }
    }
}

void AppController::processInstancesInList(const std::vector<Job> &jobs)
{
    std::vector<Job> collected, restored;
    {
        std::lock_guard lock(m_lockOffloadInstances);
        for (const Job &job : jobs) {
            if (job->offloadStatus() != OffloadInstance::kInQueue) continue;
            // A job from the last run has no listing yet: it is listed again first.
            (isRestoredJob(job) ? restored : collected).push_back(job);
        }
    }
    for (const Job &job : restored)
        requeueRestoredJob(job, true);
    if (collected.empty()) return;
    handOutSharedThreads(collected);

    // All destinations of one source share one consecutive number.
    std::vector<Job> remaining = collected;
    while (!remaining.empty()) {
        std::vector<Job> group{remaining.front()};
        remaining.erase(remaining.begin());
        for (auto it = remaining.begin(); it != remaining.end();) {
            const std::string source = (*it)->sourceDirectory();
            const bool sameSource = std::any_of(group.begin(), group.end(),
                                                [&](const Job &member) { return member->sourceDirectory() == source; });
            if (sameSource) {
                group.push_back(*it);
                it = remaining.erase(it);
            } else {
                ++it;
            }
        }
        // One read of the card serves all its destinations.
        const auto reader = group.size() > 1 && cardOnItsOwnDevice(group)
                                ? std::make_shared<CardGroup>(static_cast<int>(group.size()))
                                : nullptr;
        for (size_t member = 0; member < group.size(); ++member) {
            const Job &job = group[member];
            job->setCardGroup(reader, static_cast<int>(member));
            configureInstanceFromInterface(job);
            startWorker([this, job] { processInstance(job); });
        }
        std::lock_guard lock(m_lockInterface);
        if (OffloadNamingScheme::schemeForTitle(m_view->namingControls().schemeTitle) ==
            OffloadNamingScheme::kConsecutiveNumbering) {
            configureStepper(m_settings.valueConsecutiveNumbering() + 1);
        }
    }
    try {
        setViewedInstance(collected.front());
        m_view->showDetails(collected.front());
    } catch (const std::exception &error) {
        systemLog("could not show the details of a job: %s", error.what());
    }
}

void AppController::configureInstanceFromInterface(const Job &job)
{
    std::lock_guard lock(m_lockInterface);
    const std::string base = addNamingConventionToOffloadPath(job->offloadDirectory(), job->sourceDirectory());
    const std::optional<JobNote> note = noteOf(job);
    const VerificationControls controls = m_view->verificationControls();
    // A resumed job checks as its interrupted run did, or its journal is no use.
    if (note && !note->resumeFolder.empty()) {
        job->setVerificationByName(note->resumeVerification);
    } else if (controls.verification == Verification::None) {
        job->setNoFileVerification(true);
    } else if (controls.verification == Verification::Contents) {
        job->setByteComparison(true);
    } else if (controls.verification == Verification::Checksum) {
        job->setHashMethod(controls.checksum);
    }
    chooseCopyFolder(job, base + "/" + path::lastComponent(job->sourceDirectory()), note);
    setNote(job, [naming = m_view->namingControls()](JobNote &note) { note.naming = naming; });
    if (controls.verboseLogging) job->setVerboseLogging(true);
    job->createInitialLogEntry();
    job->setDelegate(m_detailsDelegate);
    scheduleQueueSave();
}

void AppController::setResumeInterrupted(bool resume, bool verifyKept)
{
    m_resumeInterrupted = resume;
    m_resumeVerify = verifyKept;
}

void AppController::chooseCopyFolder(const Job &job, const std::string &wanted, const std::optional<JobNote> &note)
{
    const std::string earlier = note ? note->resumeFolder : std::string();
    if (!earlier.empty() || m_resumeInterrupted) {
        const std::string source = job->sourceDirectory();
        ResumePlan plan = !earlier.empty() ? planResumeInto(earlier, source, job->verificationName())
                                           : planResume(wanted, source, job->verificationName());
        if (plan.resumable()) {
            job->setFullOffloadPath(plan.folder);
            job->setOffloadFolder(std::move(*plan.folderFd));
            job->setResume(plan.journal, m_resumeVerify);
            return;
        }
        job->setResumeRefusal(plan.refusal);
        systemLog("Not resuming into a copy of %s: %s", source.c_str(), plan.refusal.c_str());
    }
    // The folder is made here, exclusively, and the job keeps it open: no
    // other job or process can be handed the same one.
    UniqueFd folder;
    job->setFullOffloadPath(DirectoryUtilities::createExclusiveDirectoryForPath(wanted, folder).value_or(wanted));
    job->setOffloadFolder(std::move(folder));
}

void AppController::cancelAllItemsInTheQueue()
{
    cancelInstancesInList(listOffloadInstances());
}

void AppController::cancelInstancesInList(const std::vector<Job> &jobs)
{
    if (jobs.empty()) return;
    std::lock_guard lock(m_lockOffloadInstances);
    for (const Job &job : jobs)
        cancelOffloadInstance(job);
    setListOffloadInstances(listOffloadInstances());
}

void AppController::cancelOffloadInstance(const Job &job)
{
    if (job->processingTaskHasBegun()) job->cancelOffloadingTasks();
    else removeItemFromOffloadingQueue(job);
}

void AppController::removeItemFromOffloadingQueue(const Job &job)
{
    if (viewedInstance() == job) {
        updateView([](ControllerView &view) { view.closeDetails(); });
        setViewedInstance(nullptr);
    }
    std::vector<Job> queue = listOffloadInstances();
    std::erase(queue, job);
    setListOffloadInstances(std::move(queue));
}

void AppController::removeItemsNotStartedFromQueue()
{
    std::lock_guard lock(m_lockOffloadInstances);
    for (const Job &job : listOffloadInstances()) {
        if (!job->processingTaskHasBegun()) removeItemFromOffloadingQueue(job);
    }
}

bool AppController::canInstanceBeDequeued(const Job &job) const
{
    return !job->processingTaskHasBegun() || job->processingTaskIsOver();
}

void AppController::removeRowFromProcessingQueue(const std::vector<int> &selectedRows)
{
    if (selectedRows.empty()) return;
    std::vector<Job> queue;
    {
        std::lock_guard lock(m_lockOffloadInstances);
        queue = listOffloadInstances();
    }
    // The prompts wait for the person without the list's lock: jobs that end
    // meanwhile, and the window, take it.
    std::vector<Job> marked;
    for (const int row : selectedRows) {
        if (row < 0 || static_cast<size_t>(row) >= queue.size()) continue;
        const Job job = queue[static_cast<size_t>(row)];
        if (canInstanceBeDequeued(job)) {
            if (job->processingTaskIsOver() && !job->logWasSaved() && m_settings.alertWhenLogsNotSaved() &&
                alert("Log File Not Saved", "The log file for this offload was not saved.\nSave now?", {"YES", "NO"}) ==
                    0) {
                saveLogForInstance(job);
            }
            marked.push_back(job);
            if (viewedInstance() == job) {
                updateView([](ControllerView &view) { view.closeDetails(); });
                setViewedInstance(nullptr);
            }
        } else {
            alert("Removal Error",
                  stringWithFormat("Offloading of \"%s\" to \"%s\" is currently active.\nPlease cancel the offload "
                                   "first or wait until it completes",
                                   job->sourceDirectory().c_str(), job->offloadDirectory().c_str()),
                  {"OK"});
        }
    }
    removeMarkedInstances(marked);
}

void AppController::removeMarkedInstances(const std::vector<Job> &marked)
{
    std::lock_guard lock(m_lockOffloadInstances);
    std::vector<Job> queue = listOffloadInstances();
    // A job that began while a prompt was open stays.
    std::erase_if(queue, [&](const Job &job) {
        return canInstanceBeDequeued(job) && std::find(marked.begin(), marked.end(), job) != marked.end();
    });
    setListOffloadInstances(std::move(queue));
}

void AppController::clearProcessingQueue()
{
    std::vector<Job> marked, unsaved;
    {
        std::lock_guard lock(m_lockOffloadInstances);
        for (const Job &job : listOffloadInstances()) {
            if (job->processingTaskIsOver()) {
                marked.push_back(job);
                if (!job->logWasSaved()) unsaved.push_back(job);
            } else if (!job->processingTaskHasBegun()) {
                marked.push_back(job);
            }
        }
    }
    const Job viewed = viewedInstance();
    if (viewed && std::find(marked.begin(), marked.end(), viewed) != marked.end()) {
        updateView([](ControllerView &view) { view.closeDetails(); });
        setViewedInstance(nullptr);
    }
    // This prompt ignores alertWhenLogsNotSaved, by design.
    if (!unsaved.empty() &&
        alert("Unsaved Logs", "There exist logs that have not yet been saved.\nSave now", {"YES", "NO"}) == 0) {
        for (const Job &job : unsaved)
            saveLogForInstance(job);
    }
    removeMarkedInstances(marked);
}

} // namespace ferrydeck
