#pragma once

#include "engine/MainLoop.h"

#include <QObject>

#include <atomic>
#include <memory>

namespace ferrydeck {

// The main loop on Qt's event loop: tasks run on the thread of the receiver
// made at construction, which must be the GUI thread. Workers may hold the
// loop after the window is gone, so the loop itself is no QObject: its
// receiver is deleted on the GUI thread, and what was posted to it is dropped
// with it (threads waiting in invokeAndWait are released then).
class QtMainLoop : public MainLoop {
public:
    QtMainLoop();
    ~QtMainLoop() override;
    QtMainLoop(const QtMainLoop &) = delete;
    QtMainLoop &operator=(const QtMainLoop &) = delete;

    void post(Task task) override;
    void invokeAndWait(Task task) override;
    std::shared_ptr<MainLoopTimer> scheduleOnce(double seconds, Task task) override;
    bool isMainThread() const override;

    // From here on invokeAndWait returns without running its task, so no
    // worker waits for a window that is closing.
    void shutDown() { m_shutDown = true; }

private:
    class Timer;
    class Receiver;
    struct ReceiverDeleter {
        void operator()(Receiver *receiver) const;
    };

    std::unique_ptr<Receiver, ReceiverDeleter> m_receiver;
    std::atomic<bool> m_shutDown{false};
};

} // namespace ferrydeck
