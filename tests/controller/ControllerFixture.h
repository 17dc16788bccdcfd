#pragma once

#include "controller/AppController.h"
#include "controller/StdMainLoop.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <mutex>

namespace ferrydeck::test {

// A window that records every alert and presses the buttons its script names,
// the default (first) one when the script has run out.
class ScriptedView : public ControllerView {
public:
    struct Alert {
        std::string title;
        std::string message;
        std::vector<std::string> buttons;
    };

    int showAlert(const std::string &title, const std::string &message,
                  const std::vector<std::string> &buttons) override
    {
        std::lock_guard lock(m_mutex);
        m_alerts.push_back({title, message, buttons});
        if (answers.empty()) return 0;
        const std::string wanted = answers.front();
        answers.pop_front();
        const auto it = std::find(buttons.begin(), buttons.end(), wanted);
        return it == buttons.end() ? 0 : static_cast<int>(it - buttons.begin());
    }
    NamingControls namingControls() const override { return naming; }
    VerificationControls verificationControls() const override { return verification; }
    std::optional<std::string> chooseFolder(const std::string &, const std::string &) override { return std::nullopt; }
    std::optional<std::string> chooseSaveFile(const std::string &, const std::string &directory,
                                              const std::string &proposedName) override
    {
        std::lock_guard lock(m_mutex);
        if (!acceptSave) return std::nullopt;
        return directory + "/" + proposedName;
    }
    void showConsecutiveNumber(const std::string &text) override { shownNumber = text; }
    void showNamingPreview(const std::string &text) override { preview = text; }

    std::vector<Alert> alerts() const
    {
        std::lock_guard lock(m_mutex);
        return m_alerts;
    }
    std::vector<std::string> titles() const
    {
        std::vector<std::string> result;
        for (const Alert &alert : alerts())
            result.push_back(alert.title);
        return result;
    }

    std::deque<std::string> answers;
    NamingControls naming{"None", "", "", ""};
    VerificationControls verification;
    bool acceptSave = true;
    std::string shownNumber;
    std::string preview;

private:
    mutable std::mutex m_mutex;
    std::vector<Alert> m_alerts;
};

class ControllerTest : public testing::Test {
protected:
    void SetUp() override
    {
        options.processorCount = 2;
        options.refreshInterval = std::chrono::milliseconds(20);
        options.history = std::make_shared<OffloadHistory>(dir / "state");
    }
    // A new controller; with `destination`, that folder is made and listed as its one destination.
    AppController &make(const std::string &destination = {})
    {
        controller = std::make_unique<AppController>(view, loop, options);
        if (!destination.empty()) addDestination(destination);
        return *controller;
    }
    bool pumpUntil(const std::function<bool()> &done, std::chrono::milliseconds timeout = std::chrono::seconds(30))
    {
        return loop->runUntil(done, timeout);
    }
    // Listing and job threads ask the main thread for alerts, so waiting pumps the loop.
    void settle()
    {
        ASSERT_TRUE(pumpUntil([&] { return !controller->hasActiveWorkers(); }));
        loop->processEvents();
    }
    std::string addDestination(const std::string &name)
    {
        makeDirectory(dir / name);
        controller->addDirectoriesToDestinationList({dir / name});
        return dir / name;
    }
    std::string makeCard(const std::string &name, int files = 3)
    {
        for (int i = 0; i < files; ++i)
            writeSizedFile(dir / (name + "/CLIP/" + std::to_string(i) + ".MOV"), 3000, i);
        return dir / name;
    }
    // Logs saved into `folder` (made here when `make` is set) rather than into the copy.
    void logToFolder(const std::string &folder, bool make = true)
    {
        if (make) makeDirectory(folder);
        controller->ferrydeckSettings().setLogOptionIndex(0);
        controller->ferrydeckSettings().setTextLogDirectory(folder);
    }
    // A job from `dir`/`source` to `dir`/`destination`, in `status`, its copy folder named after the source.
    AppController::Job job(const std::string &source, OffloadInstance::Status status = OffloadInstance::kIndexing,
                           const std::string &destination = "d")
    {
        auto made = OffloadInstance::create(dir / source, dir / destination);
        made->setFullOffloadPath(dir / (destination + "/" + source));
        made->setOffloadStatus(status);
        return made;
    }
    // The alerts shown so far have `titles`; the last one says `message`.
    void expectAlerts(const std::vector<std::string> &titles, const std::string &message)
    {
        ASSERT_EQ(view->titles(), titles);
        EXPECT_EQ(view->alerts().back().message, message);
    }
    // `field` of every listed job, in list order.
    template <class F> auto eachJob(F field) const
    {
        std::vector<std::decay_t<decltype(field(controller->listOffloadInstances().front()))>> values;
        for (const auto &job : controller->listOffloadInstances())
            values.push_back(field(job));
        return values;
    }
    std::vector<std::string> queuedSources() const
    {
        return eachJob([](auto &j) { return j->sourceDirectory(); });
    }
    std::vector<OffloadInstance::Status> statuses() const
    {
        return eachJob([](auto &j) { return j->offloadStatus(); });
    }
    // Queues `sources` and returns once they are listed.
    void queue(const std::vector<std::string> &sources)
    {
        controller->addDirectoriesToOffloadList(sources);
        settle();
    }
    // Queues `sources` and starts them; returns once every job ran.
    void offload(const std::vector<std::string> &sources)
    {
        queue(sources);
        controller->processAllItemsInTheQueue();
        settle();
    }
    // What `use` makes of `pool`, under the pool's lock.
    template <class F> static auto locked(ThreadPool &pool, F use)
    {
        std::lock_guard lock(pool.poolLock());
        return use(pool);
    }
    static size_t threadsIn(ThreadPool &pool)
    {
        return locked(pool, [](ThreadPool &p) { return p.pool().size(); });
    }

    TempDir dir;
    std::shared_ptr<StdMainLoop> loop = std::make_shared<StdMainLoop>();
    std::shared_ptr<ScriptedView> view = std::make_shared<ScriptedView>();
    AppController::Options options;
    std::unique_ptr<AppController> controller;
};

} // namespace ferrydeck::test
