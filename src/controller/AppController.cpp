#include "controller/AppController.h"

#include "controller/AlertTexts.h"

#include "cards/HDUtilities.h"
#include "fsutil/HardwareUtilities.h"
#include "fsutil/SystemLog.h"

#include <condition_variable>
#include <exception>

namespace ferrydeck {

// An answer a worker waits for; abandoned when the controller shuts down so
// that no worker waits for a main thread that no longer serves it.
struct AppController::PendingAnswer {
    std::mutex mutex;
    std::condition_variable answered;
    bool done = false;
    bool abandoned = false;
    int answer = 0;
};

// The jobs' delegate. Copy threads may outlive a call into the controller, so
// the delegate holds the view and the loop itself, never the controller.
class AppController::DetailsDelegate : public OffloadInstanceDelegate {
public:
    DetailsDelegate(std::shared_ptr<ControllerView> view, std::shared_ptr<MainLoop> loop)
        : m_view(std::move(view))
        , m_loop(std::move(loop))
    {
    }
    void updateDetailsWindowFromThread(const std::shared_ptr<OffloadInstance> &job) override
    {
        if (!job->queueRefresh()) return;
        // Weak: the job holds the loop, so a refresh still queued when the loop
        // stops for good would otherwise keep both alive forever.
        m_loop->post([view = m_view, weak = std::weak_ptr(job)] {
            if (const auto held = weak.lock()) {
                held->refreshTaken();
                view->refreshDetails(held);
            }
        });
    }
    void showAlert(const std::string &title, const std::string &message) override
    {
        m_loop->post([view = m_view, title, message] { view->showAlert(title, message, {"OK"}); });
    }

private:
    std::shared_ptr<ControllerView> m_view;
    std::shared_ptr<MainLoop> m_loop;
};

namespace {
int32_t processorsOf(const AppController::Options &options)
{
    return options.processorCount > 0 ? options.processorCount : HardwareUtilities::countProcessors();
}
} // namespace

AppController::AppController(std::shared_ptr<ControllerView> view, std::shared_ptr<MainLoop> mainLoop)
    : AppController(std::move(view), std::move(mainLoop), Options())
{
}

AppController::AppController(std::shared_ptr<ControllerView> view, std::shared_ptr<MainLoop> mainLoop, Options options)
    : m_view(std::move(view))
    , m_mainLoop(std::move(mainLoop))
    , m_options(std::move(options))
    , m_detailsDelegate(std::make_shared<DetailsDelegate>(m_view, m_mainLoop))
    , m_settings(processorsOf(m_options))
    , m_offloadPool(4 * processorsOf(m_options))
{
    if (!m_options.playSound) m_options.playSound = &AppController::playSystemSound;
    if (!m_options.cardTypeOfDrive) m_options.cardTypeOfDrive = &HDUtilities::volumeTypeFromDrivePath;
    if (!m_options.reformatDrive) m_options.reformatDrive = &HDUtilities::reformatDrive;
    // Volumes mounted at start are never taken for new cards by the tick.
    setDrivesMountedLastTick(refreshRemovableMedia());
    populateMediaTitles();
    populateNamingSchemeOptions();
    configureStepper(m_settings.valueConsecutiveNumbering());
}

AppController::~AppController()
{
    std::vector<std::shared_ptr<WorkerThread>> workers;
    {
        std::lock_guard lock(m_workersMutex);
        m_shuttingDown = true;
        for (const auto &pending : m_pendingAnswers) {
            {
                std::lock_guard answerLock(pending->mutex);
                pending->abandoned = true;
            }
            pending->answered.notify_all();
        }
        workers = m_workers;
    }
    m_activeTimer = false;
    if (m_autoModeTimer) m_autoModeTimer->cancel();
    // The queue was saved at termination; what the cancels below change is not kept.
    if (m_queueSaveTimer) m_queueSaveTimer->cancel();
    const std::vector<Job> jobs = listOffloadInstances();
    for (const Job &job : jobs) {
        if (!job->processingTaskIsOver()) job->cancelOffloadingTasks();
        job->pool().cancelAllThreadsInThePool();
    }
    m_offloadPool.cancelAllThreadsInThePool();
    for (const auto &worker : workers)
        worker->waitUntilFinished();
    // Copy threads handed out but belonging to no running job still stop
    // before their next file; wait so none outlives the lists.
    std::vector<ThreadPool::Thread> threads;
    {
        std::lock_guard lock(m_offloadPool.poolLock());
        threads = m_offloadPool.pool();
    }
    for (const auto &thread : overflowPool())
        threads.push_back(thread);
    for (const Job &job : jobs) {
        std::lock_guard lock(job->pool().poolLock());
        for (const auto &thread : job->pool().pool())
            threads.push_back(thread);
    }
    for (const auto &thread : threads) {
        if (thread) thread->waitUntilFinished();
    }
}

void AppController::setListOffloadInstances(std::vector<Job> jobs)
{
    m_listOffloadInstances.set(std::move(jobs));
    scheduleQueueSave();
    updateView([](ControllerView &view) { view.reloadQueueTable(); });
}

void AppController::setListOffloadDestinations(std::vector<Destination> destinations)
{
    m_listOffloadDestinations.set(std::move(destinations));
    updateView([](ControllerView &view) { view.reloadDestinationTable(); });
}

bool AppController::applicationShouldTerminate()
{
    bool active = false;
    size_t waiting = 0;
    {
        std::lock_guard lock(m_lockOffloadInstances);
        for (const Job &job : listOffloadInstances()) {
            active = active || job->offloadStatus() == OffloadInstance::kProcessing;
            if (!job->processingTaskHasBegun()) ++waiting;
        }
    }
    // Asked once, and without the list's lock: jobs that end meanwhile take it.
    if (active)
        return alert("Active Processing", "Ferrydeck is actively offloading.\nQuit anyway?", {"NO", "YES"}) != 0;
    if (waiting == 0) return true;
    const AlertText text = AlertTexts::waitingJobsAtQuit(waiting);
    return alert(text.title, text.message, {"NO", "YES"}) != 0;
}

void AppController::applicationWillTerminate()
{
    if (m_settings.alertWhenLogsNotSaved()) {
        bool unsaved = false;
        std::vector<Job> jobs;
        {
            std::lock_guard lock(m_lockOffloadInstances);
            jobs = listOffloadInstances();
            for (const Job &job : jobs) {
                if (job->processingTaskIsOver() && !job->logWasSaved()) unsaved = true;
            }
        }
        if (unsaved && alert("Unsaved Logs", "There are logs files that have not yet been saved.\nSave before exit?",
                             {"YES", "NO"}) == 0) {
            // Every listed job, saved or not, started or not: the wider sweep is intended.
            for (const Job &job : jobs)
                autoSaveLogForInstance(job);
        }
    }
    saveDefaults();
    // Before anything is canceled: running jobs are kept as running and come back waiting.
    saveQueue();
    m_offloadPool.cancelAllThreadsInThePool();
}

bool AppController::hasActiveWorkers() const
{
    std::lock_guard lock(m_workersMutex);
    for (const auto &worker : m_workers) {
        if (!worker->isFinished()) return true;
    }
    return false;
}

int AppController::alert(const std::string &title, const std::string &message, const std::vector<std::string> &buttons)
{
    return waitForMainThread([this, view = m_view, title, message, buttons] {
        const PromptOpen open(m_promptsOpen);
        return view->showAlert(title, message, buttons);
    });
}

int AppController::waitForMainThread(std::function<int()> work)
{
    if (m_mainLoop->isMainThread()) return work();
    auto pending = std::make_shared<PendingAnswer>();
    {
        std::lock_guard lock(m_workersMutex);
        if (m_shuttingDown) return 0;
        m_pendingAnswers.push_back(pending);
    }
    m_mainLoop->post([pending, work = std::move(work)] {
        {
            std::lock_guard lock(pending->mutex);
            if (pending->abandoned) return;
        }
        const int answer = work();
        {
            std::lock_guard lock(pending->mutex);
            pending->answer = answer;
            pending->done = true;
        }
        pending->answered.notify_all();
    });
    int answer = 0;
    {
        std::unique_lock lock(pending->mutex);
        pending->answered.wait(lock, [&] { return pending->done || pending->abandoned; });
        if (pending->done) answer = pending->answer;
    }
    std::lock_guard lock(m_workersMutex);
    std::erase(m_pendingAnswers, pending);
    return answer;
}

void AppController::updateView(std::function<void(ControllerView &)> change)
{
    if (m_mainLoop->isMainThread()) {
        change(*m_view);
        return;
    }
    m_mainLoop->post([view = m_view, change = std::move(change)] { change(*view); });
}

void AppController::startWorker(std::function<void()> body)
{
    auto worker = WorkerThread::create([body = std::move(body)](WorkerThread &) { body(); });
    {
        std::lock_guard lock(m_workersMutex);
        if (m_shuttingDown) return;
        std::erase_if(m_workers, [](const auto &thread) { return thread->isFinished(); });
        // Started under the lock, so the destructor never sees a worker
        // that has yet to start and would not wait for it.
        try {
            worker->start();
        } catch (const std::exception &error) {
            systemLog("could not start a controller thread: %s", error.what());
            return;
        }
        m_workers.push_back(worker);
    }
}

void AppController::postToController(std::function<void(AppController &)> task)
{
    m_mainLoop->post([alive = std::weak_ptr<int>(m_alive), this, task = std::move(task)] {
        // The controller lives and dies on the main thread, where this runs.
        if (alive.lock()) task(*this);
    });
}

} // namespace ferrydeck
