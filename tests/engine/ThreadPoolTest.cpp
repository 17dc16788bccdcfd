#include "engine/ThreadPool.h"
#include "support/Gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>

using ferrydeck::ThreadPool;
using ferrydeck::WorkerThread;

namespace {

using ferrydeck::test::Gate;

ThreadPool::Thread gated(Gate &gate, std::atomic<int> &runs)
{
    return WorkerThread::create([&gate, &runs](WorkerThread &) {
        ++runs;
        gate.wait();
    });
}

int idle(ThreadPool &pool)
{
    std::lock_guard lock(pool.poolLock());
    return pool.idleThreadsInPool();
}

bool insert(ThreadPool &pool, const ThreadPool::Thread &thread)
{
    std::lock_guard lock(pool.poolLock());
    return pool.insertThreadIntoPool(thread);
}

} // namespace

TEST(ThreadPool, SizeIsAtLeastOne)
{
    EXPECT_EQ(ThreadPool(0).poolSize(), 1);
    EXPECT_EQ(ThreadPool(-5).poolSize(), 1);
    EXPECT_EQ(ThreadPool().poolSize(), 1);
    ThreadPool pool(3);
    pool.setActiveThreads(-2);
    EXPECT_EQ(pool.activeThreads(), 0);
}

TEST(ThreadPool, RefusesThreadWhenFullOfRunningThreadsAndReplacesFinishedOnes)
{
    Gate first, second, third;
    std::atomic<int> runs{0};
    ThreadPool pool(2);
    EXPECT_EQ(idle(pool), 2);
    auto a = gated(first, runs), b = gated(second, runs), c = gated(third, runs);
    ASSERT_TRUE(insert(pool, a));
    ASSERT_TRUE(insert(pool, b));
    pool.fireAllThreadsInThePool();
    EXPECT_EQ(idle(pool), 0);
    EXPECT_FALSE(insert(pool, c));

    first.open();
    a->waitUntilFinished();
    EXPECT_EQ(idle(pool), 1);
    ASSERT_TRUE(insert(pool, c));
    const auto threads = pool.pool();
    ASSERT_EQ(threads.size(), 2u);
    EXPECT_EQ(threads[0], b);
    EXPECT_EQ(threads[1], c);       // the newest goes last
    pool.fireAllThreadsInThePool(); // b still runs, so c is reached and started
    second.open();
    third.open();
    b->waitUntilFinished();
    c->waitUntilFinished();
    EXPECT_EQ(runs.load(), 3);
}

TEST(ThreadPool, OverfullPoolCountsOnlyFinishedThreadsAsIdle)
{
    Gate early, late;
    std::atomic<int> runs{0};
    ThreadPool pool(3);
    auto a = gated(early, runs), b = gated(early, runs), c = gated(late, runs);
    insert(pool, a);
    insert(pool, b);
    insert(pool, c);
    pool.setPoolSize(1);
    EXPECT_EQ(idle(pool), 0); // none started, none finished
    pool.fireAllThreadsInThePool();
    early.open();
    a->waitUntilFinished();
    b->waitUntilFinished();
    EXPECT_EQ(idle(pool), 2);
    late.open();
    c->waitUntilFinished();
}

TEST(ThreadPool, FiringTwiceNeverStartsAThreadTwiceAndRemovesFinishedOnes)
{
    Gate gate;
    std::atomic<int> runs{0};
    ThreadPool pool(4);
    std::vector<ThreadPool::Thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.push_back(gated(gate, runs));
        insert(pool, threads.back());
    }
    pool.fireAllThreadsInThePool();
    pool.fireAllThreadsInThePool(); // all running: nothing to start, nothing to remove
    EXPECT_EQ(pool.pool().size(), 3u);
    gate.open();
    for (auto &t : threads)
        t->waitUntilFinished();
    EXPECT_EQ(runs.load(), 3);

    // Three finished threads: a pass removes the first and skips the one that
    // slid into its place, then removes the third.
    pool.fireAllThreadsInThePool();
    ASSERT_EQ(pool.pool().size(), 1u);
    EXPECT_EQ(pool.pool()[0], threads[1]);
    pool.fireAllThreadsInThePool();
    EXPECT_TRUE(pool.pool().empty());
    EXPECT_EQ(runs.load(), 3);
}

TEST(WorkerThread, StartsOnceAndOutlivesItsLastOwner)
{
    std::atomic<int> runs{0};
    auto done = std::make_shared<std::atomic<bool>>(false);
    {
        auto thread = WorkerThread::create([&runs, done](WorkerThread &) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++runs;
            *done = true;
        });
        EXPECT_FALSE(thread->isExecuting());
        thread->start();
        EXPECT_TRUE(thread->isExecuting());
        EXPECT_THROW(thread->start(), std::logic_error);
    } // the running thread now holds the only reference
    for (int i = 0; i < 500 && !*done; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_TRUE(done->load());
    EXPECT_EQ(runs.load(), 1);
}
