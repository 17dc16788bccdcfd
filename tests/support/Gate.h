#pragma once

#include <condition_variable>
#include <mutex>

namespace ferrydeck::test {

// Holds the threads that reach it until it is opened, so a test decides
// when a worker may go on; `reached` tells whether one has arrived.
class Gate {
public:
    void open()
    {
        {
            std::lock_guard lock(m_mutex);
            m_open = true;
        }
        m_cv.notify_all();
    }
    void wait()
    {
        std::unique_lock lock(m_mutex);
        m_reached = true;
        m_cv.wait(lock, [this] { return m_open; });
    }
    bool reached()
    {
        std::lock_guard lock(m_mutex);
        return m_reached;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_open = false, m_reached = false;
};

} // namespace ferrydeck::test
