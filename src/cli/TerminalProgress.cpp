#include "cli/TerminalProgress.h"

#include <unistd.h>

#include <cstdio>

namespace ferrydeck::cli {

TerminalProgress::TerminalProgress(std::shared_ptr<MainLoop> loop)
    : m_loop(std::move(loop))
    , m_enabled(::isatty(STDERR_FILENO) == 1)
{
}

void TerminalProgress::updateDetailsWindowFromThread(const std::shared_ptr<OffloadInstance> &)
{
    m_dirty = true;
}

void TerminalProgress::show(const OffloadInstance &job)
{
    if (!m_enabled || !m_dirty) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_last < std::chrono::milliseconds(200)) return;
    m_last = now;
    m_dirty = false;
    const auto interface = job.interface();
    std::fprintf(stderr, "\r\033[K%s  %d/%llu files  %.1f/%.1f MB  left %s  elapsed %s  %s",
                 interface->currentStatus().c_str(), job.itemsProcessed(),
                 static_cast<unsigned long long>(job.totalFilesAtSource()), job.bytesCopied() / 1e6,
                 job.bytesAtSource() / 1e6, interface->estimatedTimeRemaining().c_str(),
                 interface->totalDuration().c_str(), interface->currentOffloadFile().c_str());
    std::fflush(stderr);
    m_drawn = true;
}

void TerminalProgress::finish()
{
    if (m_drawn) std::fputs("\n", stderr);
}

} // namespace ferrydeck::cli
