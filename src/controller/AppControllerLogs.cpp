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

bool AppController::writeFileAtomically(const std::string &path, const std::string &text)
{
    std::string temporary = path + ".XXXXXX";
    UniqueFd fd(::mkstemp(temporary.data()));
    if (!fd) return false;
    const bool written = ::fchmod(fd.get(), 0644) == 0 && writeAll(fd.get(), text) && ::fsync(fd.get()) == 0;
    const bool closed = ::close(fd.release()) == 0;
    if (!written || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
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
    const std::string name = path::lastComponent(job->fullOffloadPath());
    const std::string target =
        FileUtilities::ensureFilePathDoesNotExist(expandTilde(logFolderForInstance(job)) + "/" + name + ".txt");
    if (!writeFileAtomically(target, job->interface()->logText())) return false;
    job->setLogWasSaved(true);
    return true;
}

bool AppController::saveLogForInstance(const Job &job)
{
    const std::string folder = expandTilde(logFolderForInstance(job));
    const std::string proposed = path::lastComponent(job->fullOffloadPath()) + ".txt";
    const std::optional<std::string> chosen = m_view->chooseSaveFile("Save the log file ...", folder, proposed);
    if (!chosen) return false;
    if (!writeFileAtomically(*chosen, job->interface()->logText())) return false;
    job->setLogWasSaved(true);
    return true;
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
