#pragma once

#include "controller/AppController.h"

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

struct winsize;

namespace ferrydeck::cli {

// One line per job on standard error. On a terminal the board is redrawn in
// place, each line cut to the terminal's width; otherwise the running jobs
// are printed as plain lines every two seconds.
class ProgressBoard {
public:
    explicit ProgressBoard(bool quiet);

    void draw(const std::vector<AppController::Job> &jobs);
    // Erases the board so that what is printed next takes its place; the
    // next draw starts a fresh board below it.
    void clear();
    // `text` on standard error in the board's place, the board drawn again
    // below it at the next draw. Any thread.
    void print(const std::string &text);

    // The board's line for `job` in at most `width` columns: status,
    // percentage by bytes, MB, MB/s, the estimate, source -> destination and
    // the current file, the paths shortened in their middle.
    static std::string lineFor(const OffloadInstance &job, size_t width);
    // `text` in at most `width` columns with "..." in its middle, keeping its
    // start and its more telling end.
    static std::string shortened(const std::string &text, size_t width);
    // Control characters (a hostile file name can carry escape sequences)
    // become "?", so nothing but the board drives the terminal.
    static std::string printable(const std::string &text);
    // Columns of UTF-8 text, one per code point.
    static size_t columns(const std::string &text);

private:
    struct winsize size() const;
    void clearLocked();

    std::mutex m_lock; // one writer of the terminal at a time
    bool m_quiet;
    bool m_terminal;
    size_t m_drawn = 0;
    std::chrono::steady_clock::time_point m_last{};
};

} // namespace ferrydeck::cli
