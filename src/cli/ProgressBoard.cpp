#include "cli/ProgressBoard.h"

#include "engine/OffloadInstance.h"
#include "fsutil/FileUtilities.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace ferrydeck::cli {

namespace {

bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The first `count` code points of `text`.
std::string firstColumns(const std::string &text, size_t count)
{
    size_t end = 0;
    for (size_t seen = 0; end < text.size(); ++end) {
        if (!isContinuation(text[end]) && seen++ == count) break;
    }
    return text.substr(0, end);
}

std::string lastColumns(const std::string &text, size_t count)
{
    size_t start = text.size();
    for (size_t seen = 0; start > 0 && seen < count;) {
        --start;
        if (!isContinuation(text[start])) ++seen;
    }
    return text.substr(start);
}

} // namespace

ProgressBoard::ProgressBoard(bool quiet)
    : m_quiet(quiet)
    , m_terminal(::isatty(STDERR_FILENO) == 1)
{
}

size_t ProgressBoard::columns(const std::string &text)
{
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

std::string ProgressBoard::printable(const std::string &text)
{
    std::string clean;
    clean.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        // C1 controls arrive in UTF-8 as C2 80..9F.
        const bool c1 = c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (c < 0x20 || c == 0x7F || c1) {
            clean += '?';
            if (c1) ++i;
        } else {
            clean += text[i];
        }
    }
    return clean;
}

std::string ProgressBoard::shortened(const std::string &text, size_t width)
{
    if (columns(text) <= width) return text;
    if (width <= 3) return firstColumns(text, width);
    // The end names the card and the clip; the start tells disks apart.
    const size_t tail = (width - 3) * 3 / 5;
    return firstColumns(text, width - 3 - tail) + "..." + lastColumns(text, tail);
}

std::string ProgressBoard::lineFor(const OffloadInstance &job, size_t width)
{
    const auto shown = job.interface();
    const double total = static_cast<double>(job.bytesAtSource());
    const double done = static_cast<double>(job.bytesCopied());
    const double seconds = job.secondsTaken();
    char figures[160];
    std::snprintf(figures, sizeof figures, "%-10s %3.0f%% %.0f/%.0f MB %5.1f MB/s left %s ",
                  OffloadInstance::statusText(job.offloadStatus()), total > 0 ? 100.0 * done / total : 0.0, done / 1e6,
                  total / 1e6, seconds > 0 ? done / 1e6 / seconds : 0.0,
                  printable(shown->estimatedTimeRemaining()).c_str());
    std::string line = shortened(figures, width);
    const size_t room = width - std::min(width, columns(line));
    if (room < 8) return line;
    const std::string source = printable(path::lastComponent(job.sourceDirectory()));
    const std::string destination = printable(job.fullOffloadPath());
    const std::string file = printable(shown->currentOffloadFile());
    // Paths first; the current file gets what is left, at least a little.
    const size_t fileRoom = file.empty() ? 0 : std::min(columns(file) + 1, room / 4);
    const std::string route = shortened(source + " -> " + destination, room - fileRoom);
    line += route;
    if (fileRoom > 1) line += " " + shortened(file, room - columns(route) - 1);
    return line;
}

struct winsize ProgressBoard::size() const
{
    struct winsize size {};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) size.ws_col = 80;
    if (size.ws_row == 0) size.ws_row = 24;
    return size;
}

void ProgressBoard::draw(const std::vector<AppController::Job> &jobs)
{
    if (m_quiet) return;
    std::lock_guard lock(m_lock);
    const auto now = std::chrono::steady_clock::now();
    if (now - m_last < (m_terminal ? std::chrono::milliseconds(250) : std::chrono::seconds(2))) return;
    m_last = now;
    const struct winsize terminal = size();
    // One column short of the edge: a full line would wrap on some terminals.
    const size_t columnsWide = m_terminal ? terminal.ws_col - 1u : 200u;
    // Lines scrolled off the top could not be redrawn: the board stays
    // within the screen and counts the jobs it cannot show.
    const size_t rows = m_terminal ? std::max<size_t>(terminal.ws_row - 1u, 2u) : jobs.size();
    std::vector<std::string> lines;
    for (const auto &job : jobs) {
        if (!m_terminal && job->offloadStatus() != OffloadInstance::kProcessing) continue;
        if (lines.size() + 1 == rows && jobs.size() > rows) {
            lines.push_back(std::to_string(jobs.size() - lines.size()) + " more jobs");
            break;
        }
        lines.push_back(lineFor(*job, columnsWide));
    }
    if (m_terminal) {
        if (m_drawn > 0) std::fprintf(stderr, "\r\033[%zuA", m_drawn);
        for (const std::string &line : lines)
            std::fprintf(stderr, "\r\033[K%s\n", line.c_str());
        // Jobs removed since the last drawing leave no line behind.
        std::fputs("\r\033[J", stderr);
        m_drawn = lines.size();
    } else {
        for (const std::string &line : lines)
            std::fprintf(stderr, "%s\n", line.c_str());
    }
    std::fflush(stderr);
}

void ProgressBoard::clear()
{
    std::lock_guard lock(m_lock);
    clearLocked();
}

void ProgressBoard::print(const std::string &text)
{
    std::lock_guard lock(m_lock);
    clearLocked();
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
}

void ProgressBoard::clearLocked()
{
    if (!m_terminal || m_drawn == 0) return;
    std::fprintf(stderr, "\r\033[%zuA\033[J", m_drawn);
    std::fflush(stderr);
    m_drawn = 0;
    m_last = {};
}

} // namespace ferrydeck::cli
