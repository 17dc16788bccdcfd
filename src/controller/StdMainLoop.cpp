#include "controller/StdMainLoop.h"

#include <atomic>

namespace ferrydeck {

class StdMainLoop::Timer : public MainLoopTimer {
public:
    explicit Timer(Task task)
        : m_task(std::move(task))
    {
    }
    void cancel() override { m_active.store(false); }
    bool isActive() const override { return m_active.load(); }
    // True for exactly one caller: the loop firing it, unless cancelled first.
    bool claim() { return m_active.exchange(false); }
    Task &task() { return m_task; }

private:
    Task m_task;
    std::atomic<bool> m_active{true};
};

// One caller of invokeAndWait waiting; shared so that neither side can
// outlive what it touches.
struct StdMainLoop::Waiter {
    std::mutex mutex;
    std::condition_variable cv;
    bool done = false;
    void finish()
    {
        {
            std::lock_guard lock(mutex);
            done = true;
        }
        cv.notify_all();
    }
};

StdMainLoop::StdMainLoop()
    : m_owner(std::this_thread::get_id())
{
}

StdMainLoop::~StdMainLoop()
{
    std::vector<std::weak_ptr<Waiter>> waiters;
    {
        std::lock_guard lock(m_mutex);
        m_shutDown = true;
        waiters.swap(m_waiters);
    }
    // Threads still waiting in invokeAndWait are let go rather than left hanging.
    for (const auto &weak : waiters) {
        if (auto waiter = weak.lock()) waiter->finish();
    }
}

void StdMainLoop::post(Task task)
{
    {
        std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
    }
    m_wake.notify_all();
}

void StdMainLoop::invokeAndWait(Task task)
{
    if (isMainThread()) {
        task();
        return;
    }
    auto waiter = std::make_shared<Waiter>();
    {
        std::lock_guard lock(m_mutex);
        if (m_shutDown) return;
        std::erase_if(m_waiters, [](const std::weak_ptr<Waiter> &w) { return w.expired(); });
        m_waiters.push_back(waiter);
        m_tasks.push_back([waiter, task = std::move(task)] {
            task();
            waiter->finish();
        });
        // Notified under the lock: once it is released this thread touches
        // only the waiter, so the loop may be destroyed meanwhile.
        m_wake.notify_all();
    }
    std::unique_lock lock(waiter->mutex);
    waiter->cv.wait(lock, [&] { return waiter->done; });
}

std::shared_ptr<MainLoopTimer> StdMainLoop::scheduleOnce(double seconds, Task task)
{
    auto timer = std::make_shared<Timer>(std::move(task));
    const auto delay = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    {
        std::lock_guard lock(m_mutex);
        m_timers.emplace(Clock::now() + delay, timer);
    }
    m_wake.notify_all();
    return timer;
}

bool StdMainLoop::isMainThread() const
{
    std::lock_guard lock(m_mutex);
    return m_owner == std::this_thread::get_id();
}

int StdMainLoop::processEvents(std::chrono::milliseconds maxWait)
{
    std::deque<Task> batch;
    std::vector<std::shared_ptr<Timer>> due;
    {
        std::unique_lock lock(m_mutex);
        m_owner = std::this_thread::get_id();
        const auto deadline = Clock::now() + maxWait;
        auto ready = [&] {
            return m_quit || !m_tasks.empty() || (!m_timers.empty() && m_timers.begin()->first <= Clock::now());
        };
        while (!ready()) {
            auto until = deadline;
            if (!m_timers.empty() && m_timers.begin()->first < until) until = m_timers.begin()->first;
            if (Clock::now() >= deadline) break;
            m_wake.wait_until(lock, until);
        }
        batch.swap(m_tasks);
        const auto now = Clock::now();
        while (!m_timers.empty() && m_timers.begin()->first <= now) {
            due.push_back(m_timers.begin()->second);
            m_timers.erase(m_timers.begin());
        }
    }
    int ran = 0;
    for (Task &task : batch) {
        task();
        ++ran;
    }
    for (const auto &timer : due) {
        if (timer->claim()) {
            timer->task()();
            ++ran;
        }
    }
    return ran;
}

bool StdMainLoop::runUntil(const std::function<bool()> &done, std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        if (done && done()) return true;
        {
            std::lock_guard lock(m_mutex);
            if (m_quit) {
                m_quit = false;
                return true;
            }
        }
        const auto now = Clock::now();
        if (now >= deadline) return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
        processEvents(std::min(left, std::chrono::milliseconds(50)));
    }
}

void StdMainLoop::run()
{
    runUntil(nullptr, std::chrono::hours(24 * 365 * 100));
}

void StdMainLoop::quit()
{
    {
        std::lock_guard lock(m_mutex);
        m_quit = true;
    }
    m_wake.notify_all();
}

size_t StdMainLoop::pendingTasks() const
{
    std::lock_guard lock(m_mutex);
    return m_tasks.size();
}

size_t StdMainLoop::pendingTimers() const
{
    std::lock_guard lock(m_mutex);
    size_t active = 0;
    for (const auto &[when, timer] : m_timers)
        active += timer->isActive() ? 1 : 0;
    return active;
}

} // namespace ferrydeck
