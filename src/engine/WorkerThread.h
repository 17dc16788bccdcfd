#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace ferrydeck {

// A thread made with its body but not started: it starts at most once,
// reports whether it is executing or has finished, and carries a cancel
// request that its body may read.
class WorkerThread : public std::enable_shared_from_this<WorkerThread> {
public:
    using Body = std::function<void(WorkerThread &)>;

    static std::shared_ptr<WorkerThread> create(Body body);
    ~WorkerThread();
    WorkerThread(const WorkerThread &) = delete;
    WorkerThread &operator=(const WorkerThread &) = delete;

    // Throws std::logic_error when the thread was started before.
    void start();
    bool isExecuting() const { return m_state.load() == State::Executing; }
    bool isFinished() const { return m_state.load() == State::Finished; }
    void cancel() { m_cancelled.store(true); }
    bool isCancelled() const { return m_cancelled.load(); }
    // Blocks until the body has returned; returns at once if never started.
    void waitUntilFinished();

private:
    enum class State { Created, Executing, Finished };
    explicit WorkerThread(Body body)
        : m_body(std::move(body))
    {
    }

    Body m_body;
    std::atomic<State> m_state{State::Created};
    std::atomic<bool> m_cancelled{false};
    std::mutex m_mutex;
    std::condition_variable m_finished;
    std::thread m_thread;
};

} // namespace ferrydeck
