#include "controller/AppController.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

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

bool AppController::writeFileAtomically(const std::string &path, const std::string &text, bool replace)
{
    std::string temporary = path + ".XXXXXX";
    UniqueFd fd(::mkstemp(temporary.data()));
    if (!fd) return false;
    const bool written = ::fchmod(fd.get(), 0644) == 0 && writeAll(fd.get(), text) && ::fsync(fd.get()) == 0;
    const bool closed = ::close(fd.release()) == 0;
    bool moved = false;
    if (written && closed) {
        if (replace) {
            moved = ::rename(temporary.c_str(), path.c_str()) == 0;
        } else {
            moved = ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0;
            // File systems without the no-replace rename still refuse an existing link name.
            if (!moved && errno == EINVAL && ::link(temporary.c_str(), path.c_str()) == 0) {
                ::unlink(temporary.c_str());
                moved = true;
            }
        }
    }
    if (!moved) {
        const int error = errno;
        ::unlink(temporary.c_str());
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
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string target = FileUtilities::ensureFilePathDoesNotExist(wanted);
        if (writeFileAtomically(target, text, false)) {
            noteSavedLog(job, target);
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool AppController::saveLogForInstance(const Job &job)
{
    const std::string folder = expandTilde(logFolderForInstance(job));
    const std::string proposed = path::lastComponent(job->fullOffloadPath()) + ".txt";
    const std::optional<std::string> chosen = m_view->chooseSaveFile("Save the log file ...", folder, proposed);
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
    const std::optional<std::string> chosen = m_view->chooseFolder("Please select a to save the log files", "");
    if (chosen) m_settings.setTextLogDirectory(*chosen);
}

std::optional<std::string> AppController::browseForDirectoryWithMessage(const std::string &message,
                                                                        const std::string &title)
{
    return m_view->chooseFolder(message, title);
}

void AppController::toggleLogSaveMode()
{
    m_view->setCommonLogFolderVisible(m_settings.logOptionIndex() == 0);
}

} // namespace ferrydeck
