#pragma once

#include "support/TestFiles.h"

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ferrydeck::test {

using Environment = std::map<std::string, std::string>;

// ferrydeck-cli as a child with extra environment variables, standard input
// from /dev/null and its output kept in files, so that a test can read what
// it printed so far, signal it half-way, and wait for it with a deadline
// that fails the test instead of hanging the suite.
class CliRun {
public:
    struct Result {
        bool timedOut = false;
        int signal = 0;    // the signal that ended it, 0 when it exited
        int exitCode = -1; // -1 when it did not exit
        std::string out;
        std::string err;
    };

    // `workingDirectory` empty: the test's own.
    CliRun(std::vector<std::string> arguments, const Environment &environment = {},
           const std::string &workingDirectory = {});
    ~CliRun(); // kills a child still running
    CliRun(const CliRun &) = delete;
    CliRun &operator=(const CliRun &) = delete;

    void signal(int number);
    bool running();
    std::string out() const { return readFile(m_output / "out"); }
    std::string err() const { return readFile(m_output / "err"); }
    // Past `limit` it is killed and reported as timed out.
    Result wait(std::chrono::milliseconds limit = std::chrono::seconds(60));

private:
    TempDir m_output;
    pid_t m_pid = -1;
    int m_status = 0;
    bool m_reaped = false;
};

// Runs `ferrydeck-cli ARGS...` to its end, within a minute.
CliRun::Result runCli(const std::vector<std::string> &arguments, const Environment &environment = {},
                      const std::string &workingDirectory = {});

// `ferrydeck-cli watch ARGS...` on the simulated card reader `dir`/media
// (made here), its state in `dir`/state, once it says it is watching.
std::unique_ptr<CliRun> startWatch(const TempDir &dir, std::vector<std::string> arguments,
                                   Environment environment = {});

// The environment that preloads the fault-injection library into the CLI.
Environment faultEnvironment(const std::string &fault, const std::string &pathPattern, unsigned long long after = 0);

// Polls `condition` every 10 ms until it holds or the timeout passes.
bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout = std::chrono::seconds(30));

} // namespace ferrydeck::test
