#include "controller/StdMainLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace std::chrono_literals;
using ferrydeck::StdMainLoop;

TEST(StdMainLoop, TasksRunInOrderOnTheLoopThreadAndTimersInDeadlineOrderUnlessCancelled)
{
    StdMainLoop loop;
    std::vector<int> order;
    std::thread worker([&] {
        loop.post([&] { order.push_back(1); });
        loop.post([&] { order.push_back(2); });
    });
    worker.join();
    EXPECT_TRUE(loop.runUntil([&] { return order.size() == 2; }, 2s));
    EXPECT_EQ(order, (std::vector<int>{1, 2}));

    // Waited-for work runs on the loop too, and inline when the loop asks itself.
    std::thread::id ranOn;
    std::atomic<bool> returned{false};
    std::thread waiter([&] {
        loop.invokeAndWait([&] { ranOn = std::this_thread::get_id(); });
        returned = true;
    });
    EXPECT_TRUE(loop.runUntil([&] { return returned.load(); }, 2s));
    waiter.join();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    bool inlineRan = false;
    loop.invokeAndWait([&] { inlineRan = true; });
    EXPECT_TRUE(inlineRan);

    // Timers fire once in deadline order unless cancelled.
    std::vector<std::string> fired;
    loop.scheduleOnce(0.06, [&] { fired.push_back("late"); });
    loop.scheduleOnce(0.01, [&] { fired.push_back("early"); });
    auto cancelled = loop.scheduleOnce(0.02, [&] { fired.push_back("cancelled"); });
    cancelled->cancel();
    EXPECT_FALSE(cancelled->isActive());
    EXPECT_TRUE(loop.runUntil([&] { return fired.size() == 2; }, 2s));
    loop.processEvents(30ms);
    EXPECT_EQ(fired, (std::vector<std::string>{"early", "late"}));
    EXPECT_EQ(loop.pendingTimers(), 0u);
    // Waiting gives up at its deadline; a timer's quit ends run().
    EXPECT_FALSE(loop.runUntil([] { return false; }, 30ms));
    loop.scheduleOnce(0.01, [&] { loop.quit(); });
    loop.run();
}

TEST(StdMainLoop, WaitersAreReleasedWhenTheLoopGoesAway)
{
    auto loop = std::make_unique<StdMainLoop>();
    StdMainLoop *raw = loop.get();
    std::atomic<bool> returned{false}, ran{false};
    std::thread worker([&] {
        raw->invokeAndWait([&] { ran = true; });
        returned = true;
    });
    while (raw->pendingTasks() == 0)
        std::this_thread::yield();
    loop.reset();
    worker.join();
    EXPECT_TRUE(returned.load());
    EXPECT_FALSE(ran.load());
}
