#include "gui/QtMainLoop.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMetaObject>
#include <QThread>
#include <QTimer>

#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace ferrydeck {

class QtMainLoop::Timer : public MainLoopTimer {
public:
    explicit Timer(Task task)
        : m_task(std::move(task))
    {
    }
    void cancel() override { m_active.store(false); }
    bool isActive() const override { return m_active.load(); }
    void fire()
    {
        // exchange: a timer cancelled from a worker meanwhile never runs.
        if (m_active.exchange(false)) m_task();
    }

private:
    Task m_task;
    std::atomic<bool> m_active{true};
};

// Posted tasks wait in the receiver's own queue, handed over under a
// standard mutex, and each posted event runs the oldest one. Qt's event queue
// locks with primitives the thread sanitizer cannot see: a task carried in
// the event itself and run from a nested event loop (a modal alert) was
// reported as a race between the worker that made it and the GUI thread.
class QtMainLoop::Receiver : public QObject {
public:
    void post(Task task)
    {
        {
            std::lock_guard lock(m_mutex);
            m_tasks.push_back(std::move(task));
        }
        QCoreApplication::postEvent(this, new QEvent(runTaskEvent()));
    }

    // Tasks never run are dropped here, on the GUI thread, as Qt drops its
    // own posted calls with their receiver.
    ~Receiver() override
    {
        std::deque<Task> dropped;
        std::lock_guard lock(m_mutex);
        dropped.swap(m_tasks);
    }

protected:
    bool event(QEvent *event) override
    {
        if (event->type() != runTaskEvent()) return QObject::event(event);
        Task task;
        {
            std::lock_guard lock(m_mutex);
            if (m_tasks.empty()) return true;
            task = std::move(m_tasks.front());
            m_tasks.pop_front();
        }
        task();
        return true;
    }

private:
    static QEvent::Type runTaskEvent()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    std::mutex m_mutex;
    std::deque<Task> m_tasks;
};

void QtMainLoop::ReceiverDeleter::operator()(Receiver *receiver) const
{
    if (QThread::currentThread() == receiver->thread()) delete receiver;
    else receiver->deleteLater();
}

QtMainLoop::QtMainLoop()
    : m_receiver(new Receiver)
{
}

QtMainLoop::~QtMainLoop() = default;

void QtMainLoop::post(Task task)
{
    m_receiver->post(std::move(task));
}

void QtMainLoop::invokeAndWait(Task task)
{
    if (isMainThread()) {
        task();
        return;
    }
    if (m_shutDown) return;
    // A blocking queued call, with the wait on standard primitives that the
    // thread sanitizer can see: the caller is released when the posted call
    // is destroyed, which is after it ran or, when the receiver went first,
    // without running.
    struct Waiter {
        std::mutex mutex;
        std::condition_variable cv;
        bool done = false;
    };
    struct Release {
        explicit Release(std::shared_ptr<Waiter> w)
            : waiter(std::move(w))
        {
        }
        Release(const Release &) = delete;
        Release &operator=(const Release &) = delete;
        std::shared_ptr<Waiter> waiter;
        ~Release()
        {
            {
                std::lock_guard lock(waiter->mutex);
                waiter->done = true;
            }
            waiter->cv.notify_all();
        }
    };
    auto waiter = std::make_shared<Waiter>();
    QMetaObject::invokeMethod(
        m_receiver.get(), [task = std::move(task), release = std::make_shared<Release>(waiter)] { task(); },
        Qt::QueuedConnection);
    std::unique_lock lock(waiter->mutex);
    waiter->cv.wait(lock, [&] { return waiter->done; });
}

std::shared_ptr<MainLoopTimer> QtMainLoop::scheduleOnce(double seconds, Task task)
{
    auto timer = std::make_shared<Timer>(std::move(task));
    const int milliseconds = seconds <= 0 ? 0 : static_cast<int>(std::lround(seconds * 1000.0));
    QObject *receiver = m_receiver.get();
    auto arm = [receiver, timer, milliseconds] {
        QTimer::singleShot(milliseconds, Qt::PreciseTimer, receiver, [timer] { timer->fire(); });
    };
    // A QTimer belongs to the thread that starts it, so workers ask the GUI thread to start theirs.
    if (isMainThread()) arm();
    else post(arm);
    return timer;
}

bool QtMainLoop::isMainThread() const
{
    return QThread::currentThread() == m_receiver->thread();
}

} // namespace ferrydeck
