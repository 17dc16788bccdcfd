#include "controller/AppController.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UserDirectories.h"

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

// Without `replace` an existing file is kept and errno is EEXIST.
bool writeLog(const std::string &path, const std::string &text, bool replace)
{
    const fsutil::ReplaceResult result = fsutil::replaceFileAtomically(
        path, text, {.mode = 0644, .replaceExisting = replace, .writeInPlaceIfRenameUnsupported = true});
    return result == fsutil::ReplaceResult::Replaced || result == fsutil::ReplaceResult::FolderNotFlushed;
}

} // namespace

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
            if (writeLog(target, text, false)) return target;
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
    if (fsutil::makePrivateFolders(fallbackFolder))
        saved = saveUnder(fallbackFolder + "/" + path::lastComponent(wanted));
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
    if (!writeLog(*chosen, job->interface()->logText(), true)) return false;
    noteSavedLog(job, *chosen);
    return true;
}

void AppController::noteSavedLog(const Job &job, const std::string &path)
{
    job->setLogWasSaved(true);
    m_savedLogs.update([&](auto &logs) {
        std::erase_if(logs, [&](const auto &entry) { return entry.first == job; });
        logs.emplace_back(job, path);
    });
    scheduleQueueSave();
}

std::optional<std::string> AppController::savedLogPath(const Job &job) const
{
    return m_savedLogs.read([&](const auto &logs) -> std::optional<std::string> {
        for (const auto &[saved, path] : logs) {
            if (saved == job) return path;
        }
        return std::nullopt;
    });
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
