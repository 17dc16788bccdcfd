#include "engine/WorkerThread.h"

#include "fsutil/SystemLog.h"

#include <exception>
#include <stdexcept>

namespace ferrydeck {

std::shared_ptr<WorkerThread> WorkerThread::create(Body body)
{
    return std::shared_ptr<WorkerThread>(new WorkerThread(std::move(body)));
}

WorkerThread::~WorkerThread()
{
    if (!m_thread.joinable()) return;
    // The last owner can be the thread itself; it cannot join itself.
    if (m_thread.get_id() == std::this_thread::get_id()) m_thread.detach();
    else m_thread.join();
}

void WorkerThread::start()
{
    State expected = State::Created;
    if (!m_state.compare_exchange_strong(expected, State::Executing)) {
        throw std::logic_error("thread started twice");
    }
    // The running thread owns the object, so dropping every other reference
    // while it runs is safe.
    std::shared_ptr<WorkerThread> self = shared_from_this();
    try {
        m_thread = std::thread([self]() mutable {
            try {
                self->m_body(*self);
            } catch (const std::exception &error) {
                systemLog("worker thread ended by an exception: %s", error.what());
            }
            self->m_body = nullptr; // whatever the body holds goes with it
            {
                std::lock_guard lock(self->m_mutex);
                self->m_state.store(State::Finished);
            }
            self->m_finished.notify_all();
            self.reset();
        });
    } catch (...) {
        // The system refused a thread: it will never run, so it counts as finished.
        {
            std::lock_guard lock(m_mutex);
            m_state.store(State::Finished);
        }
        m_finished.notify_all();
        throw;
    }
}

void WorkerThread::waitUntilFinished()
{
    std::unique_lock lock(m_mutex);
    m_finished.wait(lock, [this] { return m_state.load() != State::Executing; });
}

} // namespace ferrydeck
