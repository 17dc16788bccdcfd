#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace ferrydeck::test {

// ferrydeck-cli as a child with its own environment and working folder,
// waited for with a deadline so that a hang fails the test instead of the
// suite, and killable half-way.
class CliRun {
public:
    struct Options {
        std::vector<std::string> environment; // NAME=VALUE, added to (or replacing) the test's own
        std::string workingDirectory;
    };
    struct Result {
        bool started = false;
        bool timedOut = false;
        int signal = 0;    // the signal that ended it, 0 when it exited
        int exitCode = -1; // -1 when it did not exit
        std::string out;
        std::string err;
    };

    CliRun(std::vector<std::string> arguments, const Options &options);
    ~CliRun();
    CliRun(const CliRun &) = delete;
    CliRun &operator=(const CliRun &) = delete;

    // Reads its output until it ends; past `limit` it is killed and
    // reported as timed out.
    Result wait(std::chrono::milliseconds limit);
    void kill(int signal);
    bool running() const { return m_pid > 0; }

private:
    pid_t m_pid = -1;
    int m_out = -1;
    int m_err = -1;
};

// The environment that preloads the fault-injection library into the CLI.
std::vector<std::string> faultEnvironment(const std::string &fault, const std::string &pathPattern,
                                          unsigned long long after = 0);

// Runs `ferrydeck-cli ARGS...` to its end, within a minute.
CliRun::Result runCli(const std::vector<std::string> &arguments, const CliRun::Options &options = {});

} // namespace ferrydeck::test
