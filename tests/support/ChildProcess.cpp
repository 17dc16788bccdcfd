#include "support/ChildProcess.h"

#include "support/TestFiles.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <thread>

extern char **environ;

namespace ferrydeck::test {

ChildProcess::ChildProcess(const std::vector<std::string> &argv, const std::map<std::string, std::string> &environment,
                           const std::string &outputFolder)
    : m_out(outputFolder + "/child.out")
    , m_err(outputFolder + "/child.err")
{
    std::map<std::string, std::string> merged;
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
    std::vector<char *> envp;
    for (auto &entry : envText)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::vector<std::string> args = argv;
    std::vector<char *> argp;
    for (auto &arg : args)
        argp.push_back(arg.data());
    argp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int error = posix_spawn(&m_pid, argp[0], &actions, nullptr, argp.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error("cannot start " + argv.front());
}

ChildProcess::~ChildProcess()
{
    if (!m_reaped) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, &m_status, 0);
    }
}

void ChildProcess::signal(int number)
{
    if (!m_reaped) ::kill(m_pid, number);
}

bool ChildProcess::running()
{
    if (m_reaped) return false;
    if (::waitpid(m_pid, &m_status, WNOHANG) == m_pid) m_reaped = true;
    return !m_reaped;
}

int ChildProcess::wait(std::chrono::milliseconds timeout)
{
    if (!waitFor([this] { return !running(); }, timeout)) return -1000;
    if (WIFSIGNALED(m_status)) return -WTERMSIG(m_status);
    return WEXITSTATUS(m_status);
}

std::string ChildProcess::standardOutput() const
{
    return exists(m_out) ? readFile(m_out) : std::string();
}

std::string ChildProcess::standardError() const
{
    return exists(m_err) ? readFile(m_err) : std::string();
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
