#pragma once

#include "engine/MainLoop.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace ferrydeck {

// A main loop on the standard library, driven by whichever thread calls
// run/processEvents (that thread is the main thread; the constructing thread
// until then).
class StdMainLoop : public MainLoop {
public:
    using Clock = std::chrono::steady_clock;

    StdMainLoop();
    ~StdMainLoop() override;
    StdMainLoop(const StdMainLoop &) = delete;
    StdMainLoop &operator=(const StdMainLoop &) = delete;

    void post(Task task) override;
    void invokeAndWait(Task task) override;
    std::shared_ptr<MainLoopTimer> scheduleOnce(double seconds, Task task) override;
    bool isMainThread() const override;

    // Runs everything that is due, waiting at most maxWait for the first
    // task or timer; returns the number of tasks and timers run.
    int processEvents(std::chrono::milliseconds maxWait = std::chrono::milliseconds(0));
    // Runs until quit() or until done() answers true (checked after every
    // batch); false when the timeout passed first.
    bool runUntil(const std::function<bool()> &done, std::chrono::milliseconds timeout);
    void run();
    void quit();
    size_t pendingTasks() const;
    size_t pendingTimers() const;

private:
    class Timer;
    struct Waiter;

    void wake();

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Task> m_tasks;
    std::multimap<Clock::time_point, std::shared_ptr<Timer>> m_timers;
    std::thread::id m_owner;
    bool m_quit = false;
    bool m_shutDown = false;
    std::vector<std::weak_ptr<Waiter>> m_waiters;
};

} // namespace ferrydeck
