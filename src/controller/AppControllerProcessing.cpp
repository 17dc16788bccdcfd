#include "controller/AppController.h"
#include "controller/AlertTexts.h"

#include "engine/OffloadDriver.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/SystemLog.h"

#include <algorithm>
#include <exception>

namespace ferrydeck {

namespace {
double ratioOf(ThreadPool &own, ThreadPool &shared)
{
    int ownSize = 0;
    {
        std::lock_guard lock(own.poolLock());
        ownSize = own.poolSize();
    }
    std::lock_guard lock(shared.poolLock());
    return static_cast<double>(ownSize) / static_cast<double>(shared.poolSize());
}
} // namespace

void AppController::processInstance(const Job &job)
{
    if (DirectoryUtilities::doesPathHaveWritePermissions(job->offloadDirectory())) {
        job->setThreadRatio(ratioOf(job->pool(), m_offloadPool));
    }
    OffloadDriver::Hooks hooks;
    hooks.interval = m_options.refreshInterval;
    hooks.folderCreationLock = &m_lockInterface;
    hooks.permissionDenied = [this, &job] {
        const AlertText text = AlertTexts::offloadNotWritable(job->offloadDirectory());
        alert(text.title, text.message, {"OK"});
    };
    hooks.refresh = [this, &job] {
        updateView([weak = std::weak_ptr(job)](ControllerView &view) {
            if (const Job held = weak.lock()) view.refreshDetails(held);
        });
    };
    OffloadDriver::drive(job, hooks);
    processingOfInstanceCompleted(job);
}

void AppController::processingOfInstanceCompleted(const Job &job)
{
    // Before the card actions: the reformat reads this job's outcome.
    recordJobInHistory(job, false);
    if (job->offloadStatus() == OffloadInstance::kCompleted) {
        DirectoryUtilities::unlockDirectory(job->fullOffloadPath());
        {
            std::lock_guard lock(m_lockPostOffload);
            try {
                runPostOffloadDriveModificationsForInstance(job);
            } catch (const std::exception &error) {
                systemLog("post-offload card actions failed: %s", error.what());
            }
            job->setPostOffloadComplete(true);
        }
        if (m_settings.playSound()) playOffloadCompleteSound();
    }
    reportCardIfFinished(job);
    if (m_settings.autoSaveLogs()) autoSaveLogForInstance(job);
    redistributeThreadsFromInstance(job);
    scheduleQueueSave();
    std::lock_guard lock(m_lockInterface);
    postToController([](AppController &controller) {
        try {
            controller.refreshDriveLists();
        } catch (const std::exception &error) {
            systemLog("could not refresh the drive lists: %s", error.what());
        }
    });
    // Weak: the job holds the main loop, so a posted call that held the job and
    // never ran (the loop stopped first) would keep both alive.
    updateView([weak = std::weak_ptr(job)](ControllerView &view) {
        view.reloadQueueTable();
        if (const Job held = weak.lock()) view.offloadFinished(held);
    });
}

void AppController::redistributeThreadsFromInstance(const Job &job)
{
    std::vector<ThreadPool::Thread> threads;
    {
        std::lock_guard lock(job->pool().poolLock());
        threads = job->pool().pool();
    }
    int freed = 0;
    for (const auto &thread : threads) {
        m_overflowPool.update([&](auto &pool) { std::erase(pool, thread); });
        {
            std::lock_guard lock(m_offloadPool.poolLock());
            if (m_offloadPool.removeThreadFromPool(thread)) ++freed;
        }
        std::lock_guard lock(job->pool().poolLock());
        job->pool().removeThreadFromPool(thread);
    }
    const std::vector<Job> running = collectJobsWithStatus(OffloadInstance::kProcessing);
    if (running.empty()) return;
    {
        std::lock_guard lock(m_offloadPool.poolLock());
        freed = std::min(freed, m_offloadPool.poolSize());
    }
    // freed + 1 passes: a running job gets a thread even when none was freed, as intended.
    for (int j = 0; j <= freed; ++j) {
        const Job &target = running[static_cast<size_t>(j) % running.size()];
        ThreadPool::Thread thread = target->createOffloadThread();
        bool inserted = false;
        {
            std::lock_guard lock(m_offloadPool.poolLock());
            inserted = m_offloadPool.insertThreadIntoPool(thread);
        }
        if (!inserted) continue;
        {
            std::lock_guard lock(m_lockOffloadInstances);
            target->addThreadToPool(thread);
            target->setThreadRatio(ratioOf(target->pool(), m_offloadPool));
        }
        target->pool().fireAllThreadsInThePool();
    }
}

} // namespace ferrydeck
