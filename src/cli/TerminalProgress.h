#pragma once

#include "controller/MainLoop.h"
#include "engine/OffloadInstance.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace ferrydeck::cli {

// Progress of a job on standard error: one line redrawn in place on a
// terminal, nothing when standard error is not one.
class TerminalProgress : public OffloadInstanceDelegate {
public:
    explicit TerminalProgress(std::shared_ptr<MainLoop> loop);
    // Copy threads only mark the display dirty; the main loop draws.
    void updateDetailsWindowFromThread(const std::shared_ptr<OffloadInstance> &job) override;
    void show(const OffloadInstance &job);
    void finish();

private:
    std::shared_ptr<MainLoop> m_loop;
    bool m_enabled;
    bool m_drawn = false;
    std::atomic<bool> m_dirty{true};
    std::chrono::steady_clock::time_point m_last{};
};

} // namespace ferrydeck::cli
