#include "CliRun.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

extern char **environ;

namespace ferrydeck::test {

namespace {

void closeFd(int &fd)
{
    if (fd >= 0) ::close(fd);
    fd = -1;
}

std::vector<std::string> mergedEnvironment(const std::vector<std::string> &extra)
{
    std::vector<std::string> merged = extra;
    for (char **entry = environ; *entry; ++entry) {
        const std::string text(*entry);
        const std::string name = text.substr(0, text.find('=') + 1);
        bool replaced = false;
        for (const std::string &added : extra)
            replaced = replaced || added.starts_with(name);
        if (!replaced) merged.push_back(text);
    }
    return merged;
}

std::vector<char *> pointers(std::vector<std::string> &strings)
{
    std::vector<char *> result;
    for (std::string &text : strings)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

CliRun::CliRun(std::vector<std::string> arguments, const Options &options)
{
    arguments.insert(arguments.begin(), FERRYDECK_CLI_PATH);
    int out[2], err[2];
    if (::pipe2(out, O_CLOEXEC) != 0) return;
    if (::pipe2(err, O_CLOEXEC) != 0) {
        ::close(out[0]);
        ::close(out[1]);
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (!options.workingDirectory.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, options.workingDirectory.c_str());
    }
    std::vector<std::string> environment = mergedEnvironment(options.environment);
    std::vector<char *> argv = pointers(arguments);
    std::vector<char *> envp = pointers(environment);
    pid_t pid = -1;
    if (::posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) == 0) m_pid = pid;
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(err[1]);
    m_out = out[0];
    m_err = err[0];
}

CliRun::~CliRun()
{
    if (m_pid > 0) {
        kill(SIGKILL);
        int status = 0;
        ::waitpid(m_pid, &status, 0);
    }
    closeFd(m_out);
    closeFd(m_err);
}

void CliRun::kill(int signal)
{
    if (m_pid > 0) ::kill(m_pid, signal);
}

CliRun::Result CliRun::wait(std::chrono::milliseconds limit)
{
    Result result;
    if (m_pid <= 0) return result;
    result.started = true;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (m_out >= 0 || m_err >= 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 && !result.timedOut) {
            result.timedOut = true;
            kill(SIGKILL);
        }
        // A program it started may still hold the pipes; it gets a few seconds.
        if (left.count() < -5000) break;
        pollfd fds[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
        const int ready = ::poll(fds, 2, result.timedOut ? 1000 : static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) break;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            char buffer[65536];
            const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                (i == 0 ? result.out : result.err).append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                closeFd(i == 0 ? m_out : m_err);
            }
        }
    }
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    return result;
}

std::vector<std::string> faultEnvironment(const std::string &fault, const std::string &pathPattern,
                                          unsigned long long after)
{
    // The library comes before a sanitizer's runtime in a sanitizer build;
    // it only forwards to it, so the order does not matter here.
    const char *asan = std::getenv("ASAN_OPTIONS");
    return {std::string("LD_PRELOAD=") + FERRYDECK_FAULT_LIBRARY, "FERRYDECK_FAULT=" + fault,
            "FERRYDECK_FAULT_PATH=" + pathPattern, "FERRYDECK_FAULT_AFTER=" + std::to_string(after),
            std::string("ASAN_OPTIONS=") + (asan ? std::string(asan) + ":" : std::string()) +
                "verify_asan_link_order=0"};
}

CliRun::Result runCli(const std::vector<std::string> &arguments, const CliRun::Options &options)
{
    CliRun run(arguments, options);
    return run.wait(std::chrono::seconds(60));
}

} // namespace ferrydeck::test
