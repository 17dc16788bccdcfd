#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

namespace ferrydeck::test {

// A program started in the background with extra environment variables and
// its standard output and error kept in files, so that a test can signal it
// half-way and read what it printed.
class ChildProcess {
public:
    ChildProcess(const std::vector<std::string> &argv, const std::map<std::string, std::string> &environment,
                 const std::string &outputFolder);
    ~ChildProcess(); // kills a child still running
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    void signal(int number);
    // The exit code, -(signal) when killed by one, or -1000 on timeout.
    int wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));
    bool running();
    std::string standardOutput() const;
    std::string standardError() const;

private:
    pid_t m_pid = -1;
    int m_status = 0;
    bool m_reaped = false;
    std::string m_out;
    std::string m_err;
};

// Polls `condition` every 10 ms until it holds or the timeout passes.
bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout = std::chrono::seconds(30));

} // namespace ferrydeck::test
