#include "engine/ThreadPool.h"

#include "fsutil/SystemLog.h"

#include <exception>

namespace ferrydeck {

ThreadPool::ThreadPool(int poolSize)
    : m_poolSize(poolSize < 1 ? 1 : poolSize)
{
}

int ThreadPool::idleThreadsInPool() const
{
    const int count = static_cast<int>(m_pool.size());
    if (count < m_poolSize) return m_poolSize - count;
    int finished = 0;
    for (const Thread &thread : m_pool) {
        if (thread && thread->isFinished()) ++finished;
    }
    return finished;
}

bool ThreadPool::insertThreadIntoPool(const Thread &thread)
{
    return insertThreadIntoPool(thread, nullptr);
}

bool ThreadPool::insertThreadIntoPool(const Thread &thread, Thread *)
{
    if (idleThreadsInPool() < 1) return false;
    if (static_cast<int>(m_pool.size()) < m_poolSize) {
        m_pool.push_back(thread);
        return true;
    }
    for (auto it = m_pool.begin(); it != m_pool.end(); ++it) {
        if (*it && (*it)->isFinished()) {
            m_pool.erase(it);
            m_pool.push_back(thread);
            return true;
        }
    }
    return false;
}

bool ThreadPool::removeThreadFromPool(const Thread &thread)
{
    for (auto it = m_pool.begin(); it != m_pool.end(); ++it) {
        if (*it == thread) {
            m_pool.erase(it);
            return true;
        }
    }
    return false;
}

bool ThreadPool::containsThread(const Thread &thread) const
{
    for (const Thread &entry : m_pool) {
        if (entry == thread) return true;
    }
    return false;
}

void ThreadPool::fireAllThreadsInThePool()
{
    std::lock_guard lock(m_poolLock);
    for (size_t i = 0; i < m_pool.size(); ++i) {
        const Thread thread = m_pool[i];
        if (thread && !thread->isExecuting() && !thread->isFinished()) {
            try {
                thread->start();
            } catch (const std::exception &error) {
                systemLog("could not start a copy thread: %s", error.what());
                m_pool.erase(m_pool.begin() + static_cast<std::ptrdiff_t>(i));
                return;
            }
        }
        // The index still advances after a removal, so the entry that slides
        // into this place waits for the next pass. Intended.
        if (thread && thread->isFinished()) m_pool.erase(m_pool.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void ThreadPool::cancelAllThreadsInThePool()
{
    std::lock_guard lock(m_poolLock);
    for (const Thread &thread : m_pool) {
        if (thread) thread->cancel();
    }
}

} // namespace ferrydeck
