#include "fsutil/Process.h"

#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char **environ;

namespace ferrydeck {

namespace {

// Owns posix_spawn's file actions so every exit path destroys them.
class SpawnActions {
public:
    SpawnActions() { m_ok = posix_spawn_file_actions_init(&m_actions) == 0; }
    SpawnActions(const SpawnActions &) = delete;
    SpawnActions &operator=(const SpawnActions &) = delete;
    ~SpawnActions()
    {
        if (m_ok) posix_spawn_file_actions_destroy(&m_actions);
    }
    bool ok() const { return m_ok; }
    posix_spawn_file_actions_t *get() { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
    bool m_ok = false;
};

int waitFor(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

} // namespace

Process::Result Process::run(const std::vector<std::string> &argv, Output output)
{
    Result result;
    if (argv.empty()) return result;

    std::vector<char *> args;
    args.reserve(argv.size() + 1);
    for (const std::string &arg : argv)
        args.push_back(const_cast<char *>(arg.c_str()));
    args.push_back(nullptr);

    SpawnActions actions;
    if (!actions.ok()) return result;

    UniqueFd readEnd, writeEnd;
    switch (output) {
    case Output::Inherit:
        break;
    case Output::ToStandardError:
        posix_spawn_file_actions_adddup2(actions.get(), STDERR_FILENO, STDOUT_FILENO);
        break;
    case Output::Discard:
        posix_spawn_file_actions_addopen(actions.get(), STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        break;
    case Output::Capture:
    case Output::CaptureAll: {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) return result;
        readEnd.reset(fds[0]);
        writeEnd.reset(fds[1]);
        posix_spawn_file_actions_adddup2(actions.get(), writeEnd.get(), STDOUT_FILENO);
        if (output == Output::CaptureAll)
            posix_spawn_file_actions_adddup2(actions.get(), writeEnd.get(), STDERR_FILENO);
        break;
    }
    }

    pid_t pid = 0;
    const int rc = ::posix_spawnp(&pid, args[0], actions.get(), nullptr, args.data(), environ);
    if (rc != 0) return result;
    result.started = true;

    if (output == Output::Capture || output == Output::CaptureAll) {
        writeEnd.reset();
        char buffer[4096];
        for (;;) {
            const ssize_t n = ::read(readEnd.get(), buffer, sizeof buffer);
            if (n > 0) {
                result.output.append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                break;
            }
        }
    }

    result.status = waitFor(pid);
    if (result.status >= 0 && WIFEXITED(result.status)) result.exitCode = WEXITSTATUS(result.status);
    return result;
}

std::string Process::displayCommand(const std::vector<std::string> &argv)
{
    std::string line;
    for (const std::string &arg : argv) {
        if (!line.empty()) line += ' ';
        line += '\'';
        for (char c : arg) {
            if (c == '\'') line += "'\\''";
            else line += c;
        }
        line += '\'';
    }
    return line;
}

} // namespace ferrydeck
