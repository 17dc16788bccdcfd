#include "support/CliRun.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

extern char **environ;

namespace ferrydeck::test {

namespace {

std::vector<char *> pointers(std::vector<std::string> &strings)
{
    std::vector<char *> result;
    for (std::string &text : strings)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

CliRun::CliRun(std::vector<std::string> arguments, const Environment &environment, const std::string &workingDirectory)
{
    Environment merged;
    for (char **entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const auto equals = text.find('=');
        if (equals != std::string::npos) merged[text.substr(0, equals)] = text.substr(equals + 1);
    }
    for (const auto &[key, value] : environment)
        merged[key] = value;
    std::vector<std::string> envText;
    for (const auto &[key, value] : merged)
        envText.push_back(key + "=" + value);
    arguments.insert(arguments.begin(), FERRYDECK_CLI_PATH);
    std::vector<char *> argv = pointers(arguments), envp = pointers(envText);

    const std::string out = m_output / "out", err = m_output / "err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (!workingDirectory.empty()) posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());
    const int error = posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error("cannot start " + arguments.front());
}

CliRun::~CliRun()
{
    if (!m_reaped) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, &m_status, 0);
    }
}

void CliRun::signal(int number)
{
    if (!m_reaped) ::kill(m_pid, number);
}

bool CliRun::running()
{
    if (!m_reaped && ::waitpid(m_pid, &m_status, WNOHANG) == m_pid) m_reaped = true;
    return !m_reaped;
}

CliRun::Result CliRun::wait(std::chrono::milliseconds limit)
{
    Result result;
    if (!waitFor([this] { return !running(); }, limit)) {
        result.timedOut = true;
        signal(SIGKILL);
        waitFor([this] { return !running(); });
    }
    if (m_reaped && WIFEXITED(m_status)) result.exitCode = WEXITSTATUS(m_status);
    if (m_reaped && WIFSIGNALED(m_status)) result.signal = WTERMSIG(m_status);
    result.out = out();
    result.err = err();
    return result;
}

CliRun::Result runCli(const std::vector<std::string> &arguments, const Environment &environment,
                      const std::string &workingDirectory)
{
    return CliRun(arguments, environment, workingDirectory).wait();
}

std::unique_ptr<CliRun> startWatch(const TempDir &dir, std::vector<std::string> arguments, Environment environment)
{
    makeDirectory(dir / "media");
    environment["FERRYDECK_MEDIA_ROOT"] = dir / "media";
    environment["XDG_STATE_HOME"] = dir / "state";
    arguments.insert(arguments.begin(), "watch");
    auto watch = std::make_unique<CliRun>(arguments, environment, dir.path());
    EXPECT_TRUE(waitFor([&] { return watch->err().find("Watching") != std::string::npos; })) << watch->err();
    return watch;
}

Environment faultEnvironment(const std::string &fault, const std::string &pathPattern, unsigned long long after)
{
    // The library comes before a sanitizer's runtime in a sanitizer build;
    // it only forwards to it, so the order does not matter here.
    const char *asan = std::getenv("ASAN_OPTIONS");
    return {{"LD_PRELOAD", FERRYDECK_FAULT_LIBRARY},
            {"FERRYDECK_FAULT", fault},
            {"FERRYDECK_FAULT_PATH", pathPattern},
            {"FERRYDECK_FAULT_AFTER", std::to_string(after)},
            {"ASAN_OPTIONS", (asan ? std::string(asan) + ":" : std::string()) + "verify_asan_link_order=0"}};
}

bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace ferrydeck::test
