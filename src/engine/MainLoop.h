#pragma once

#include <functional>
#include <memory>

namespace ferrydeck {

// A one-shot timer handed out by MainLoop::scheduleOnce.
class MainLoopTimer {
public:
    virtual ~MainLoopTimer() = default;
    // After cancel returns the callback will not start (it may be running).
    virtual void cancel() = 0;
    virtual bool isActive() const = 0;
};

// The main thread as the controller and the engine see it: every window
// update and every timer runs there. The desktop app implements it on its
// event loop; the command line and the tests use StdMainLoop.
class MainLoop {
public:
    using Task = std::function<void()>;

    virtual ~MainLoop() = default;
    virtual void post(Task task) = 0;
    // Runs the task on the main thread and returns when it has run; on the
    // main thread itself it runs at once. A loop destroyed first lets the
    // caller go without running it.
    virtual void invokeAndWait(Task task) = 0;
    virtual std::shared_ptr<MainLoopTimer> scheduleOnce(double seconds, Task task) = 0;
    virtual bool isMainThread() const = 0;
};

} // namespace ferrydeck
