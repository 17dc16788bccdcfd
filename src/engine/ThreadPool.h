#pragma once

#include "engine/WorkerThread.h"

#include <memory>
#include <mutex>
#include <vector>

namespace ferrydeck {

// A bounded list of threads with a lock. idleThreadsInPool and the insert
// operations expect the caller to hold the lock (lockThePool); firing and
// cancelling take it themselves.
class ThreadPool {
public:
    using Thread = std::shared_ptr<WorkerThread>;

    ThreadPool()
        : ThreadPool(1)
    {
    }
    explicit ThreadPool(int poolSize);
    ThreadPool(const ThreadPool &) = delete;
    ThreadPool &operator=(const ThreadPool &) = delete;

    void lockThePool() { m_poolLock.lock(); }
    void unlockThePool() { m_poolLock.unlock(); }
    std::mutex &poolLock() { return m_poolLock; }

    int idleThreadsInPool() const;
    bool insertThreadIntoPool(const Thread &thread);
    // The second argument is accepted and left untouched: the replaced thread
    // is never handed back.
    bool insertThreadIntoPool(const Thread &thread, Thread *removedThread);
    // Caller holds the lock; false when the thread is not in the pool.
    bool removeThreadFromPool(const Thread &thread);
    bool containsThread(const Thread &thread) const;
    void fireAllThreadsInThePool();
    void cancelAllThreadsInThePool();

    int poolSize() const { return m_poolSize; }
    void setPoolSize(int size) { m_poolSize = size; }
    int activeThreads() const { return m_activeThreads; }
    void setActiveThreads(int count) { m_activeThreads = count < 0 ? 0 : count; }
    // A copy of the list, for inspection; take the lock around it.
    std::vector<Thread> pool() const { return m_pool; }

private:
    std::vector<Thread> m_pool;
    std::mutex m_poolLock;
    int m_poolSize;
    int m_activeThreads = 0;
};

} // namespace ferrydeck
