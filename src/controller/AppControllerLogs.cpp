#include "controller/AppController.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"
#include "fsutil/UserDirectories.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ferrydeck {

namespace {

std::string expandTilde(const std::string &folder)
{
    if (folder != "~" && !folder.starts_with("~/")) return folder;
    const char *home = std::getenv("HOME");
    return (home ? std::string(home) : std::string()) + folder.substr(1);
}

bool writeAll(int fd, const std::string &text)
{
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        written += static_cast<size_t>(n);
    }
    return true;
}

} // namespace

namespace {

// FUSE file systems (exFAT, NTFS drivers) may refuse rename over a name, the
// no-replace rename and hard links alike: then the log is written straight to
// its name, which is not atomic but is better than no log at all.
bool renameUnsupported(int error)
{
    return error == EINVAL || error == ENOTSUP || error == EPERM || error == ENOSYS || error == EXDEV;
}

bool writeDirectly(const std::string &path, const std::string &text, bool replace)
{
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (replace ? O_TRUNC : O_EXCL);
    UniqueFd fd(::open(path.c_str(), flags, 0644));
    if (!fd) return false;
    if (writeAll(fd.get(), text) && ::fsync(fd.get()) == 0 && ::close(fd.release()) == 0) return true;
    const int error = errno;
    // Only a file this call made is taken away again.
    if (!replace) ::unlink(path.c_str());
    errno = error;
    return false;
}

// mkdir -p with folders that are the user's alone.
bool makePrivateFolders(const std::string &folder)
{
    if (folder.empty() || path::isDirectory(folder)) return true;
    const std::string parent = path::parent(folder);
    if (!parent.empty() && parent != folder && !makePrivateFolders(parent)) return false;
    return ::mkdir(folder.c_str(), 0700) == 0 || (errno == EEXIST && path::isDirectory(folder));
}

} // namespace

bool AppController::writeFileAtomically(const std::string &path, const std::string &text, bool replace)
{
    std::string temporary = path + ".XXXXXX";
    UniqueFd fd(::mkstemp(temporary.data()));
    if (!fd) return false;
    const bool written = ::fchmod(fd.get(), 0644) == 0 && writeAll(fd.get(), text) && ::fsync(fd.get()) == 0;
    const bool closed = ::close(fd.release()) == 0;
    bool moved = false;
    bool unsupported = false;
    if (written && closed) {
        if (replace) {
            moved = ::rename(temporary.c_str(), path.c_str()) == 0;
            unsupported = !moved && renameUnsupported(errno);
        } else {
            moved = ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0;
            // File systems without the no-replace rename still refuse an existing link name.
            if (!moved && renameUnsupported(errno)) {
                moved = ::link(temporary.c_str(), path.c_str()) == 0;
                if (moved) ::unlink(temporary.c_str());
                unsupported = !moved && renameUnsupported(errno);
            }
        }
    }
    if (!moved) {
        const int error = errno;
        ::unlink(temporary.c_str());
        if (unsupported) return writeDirectly(path, text, replace);
        errno = error;
        return false;
    }
    return true;
}

std::string AppController::logFolderForInstance(const Job &job) const
{
    // The window keeps the settings in step with its log controls, so a job's
    // thread reads them without asking the main thread.
    if (m_settings.logOptionIndex() != 0) return job->fullOffloadPath();
    return m_settings.textLogDirectory();
}

bool AppController::autoSaveLogForInstance(const Job &job)
{
    const std::string wanted =
        expandTilde(logFolderForInstance(job)) + "/" + path::lastComponent(job->fullOffloadPath()) + ".txt";
    const std::string text = job->interface()->logText();
    // Jobs of one source end together and want the same name: an existing
    // log is never replaced, so a name taken meanwhile means the next one.
    const auto saveUnder = [&](const std::string &path) -> std::optional<std::string> {
        for (int attempt = 0; attempt < 100; ++attempt) {
            const std::string target = FileUtilities::ensureFilePathDoesNotExist(path);
            if (writeFileAtomically(target, text, false)) return target;
            if (errno != EEXIST) return std::nullopt;
        }
        return std::nullopt;
    };
    if (const std::optional<std::string> saved = saveUnder(wanted)) {
        noteSavedLog(job, *saved);
        return true;
    }
    // A log is the only record of what was verified: one that cannot go where
    // it was asked (full disk, missing folder, a file system that refuses the
    // write) goes to the user's state folder, and the person is told where.
    const std::string reason = std::strerror(errno);
    const std::string fallbackFolder = UserDirectories::stateDirectory() + "/logs";
    std::optional<std::string> saved;
    if (makePrivateFolders(fallbackFolder)) saved = saveUnder(fallbackFolder + "/" + path::lastComponent(wanted));
    if (!saved) {
        systemLog("the log of %s could not be saved as %s (%s), nor in %s", job->fullOffloadPath().c_str(),
                  wanted.c_str(), reason.c_str(), fallbackFolder.c_str());
        return false;
    }
    noteSavedLog(job, *saved);
    const std::string message = stringWithFormat("The log could not be saved as \"%s\" (%s).\nIt was saved as \"%s\".",
                                                 wanted.c_str(), reason.c_str(), saved->c_str());
    // Told without waiting: the job's thread must not wait for the person.
    postToController([message](AppController &controller) {
        const PromptOpen open(controller.m_promptsOpen);
        controller.m_view->showAlert("Log Saved Elsewhere", message, {"OK"});
    });
    return true;
}

bool AppController::saveLogForInstance(const Job &job)
{
    const std::string folder = expandTilde(logFolderForInstance(job));
    const std::string proposed = path::lastComponent(job->fullOffloadPath()) + ".txt";
    std::optional<std::string> chosen;
    {
        const PromptOpen open(m_promptsOpen);
        chosen = m_view->chooseSaveFile("Save the log file ...", folder, proposed);
    }
    if (!chosen) return false;
    // Replacing an existing file was the person's choice in the panel.
    if (!writeFileAtomically(*chosen, job->interface()->logText(), true)) return false;
    noteSavedLog(job, *chosen);
    return true;
}

void AppController::noteSavedLog(const Job &job, const std::string &path)
{
    job->setLogWasSaved(true);
    std::lock_guard lock(m_lists);
    std::erase_if(m_savedLogs, [&](const auto &entry) { return entry.first == job; });
    m_savedLogs.emplace_back(job, path);
}

std::optional<std::string> AppController::savedLogPath(const Job &job) const
{
    std::lock_guard lock(m_lists);
    for (const auto &[saved, path] : m_savedLogs) {
        if (saved == job) return path;
    }
    return std::nullopt;
}

void AppController::saveLog()
{
    const Job viewed = viewedInstance();
    // Cancelling the panel shows this alert too, as designed.
    if (!viewed || !saveLogForInstance(viewed)) alert("Log File Not Saved", "The log file was not saved.", {"OK"});
}

void AppController::viewLog()
{
    const Job viewed = viewedInstance();
    m_view->showLog(viewed ? viewed->interface()->logText() : std::string());
}

void AppController::browse()
{
    std::optional<std::string> chosen;
    {
        const PromptOpen open(m_promptsOpen);
        chosen = m_view->chooseFolder("Please select a to save the log files", "");
    }
    if (chosen) m_settings.setTextLogDirectory(*chosen);
}

std::optional<std::string> AppController::browseForDirectoryWithMessage(const std::string &message,
                                                                        const std::string &title)
{
    const PromptOpen open(m_promptsOpen);
    return m_view->chooseFolder(message, title);
}

void AppController::toggleLogSaveMode()
{
    m_view->setCommonLogFolderVisible(m_settings.logOptionIndex() == 0);
}

} // namespace ferrydeck
