#include "engine/OffloadDriver.h"

#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

#include <fcntl.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace ferrydeck {

void OffloadDriver::listSource(OffloadInstance &job)
{
    uint64_t count = 0, bytes = 0;
    const std::string source = job.sourceDirectory();
    std::vector<DirectoryUtilities::UnreadableEntry> unreadable;
    std::vector<OffloadInstance::Details> details;
    // From the listing's own look at each file: a second one per file cost
    // as much as the listing on cards of many small files.
    DirectoryUtilities::sourceFilesAtDirectory(source, false, count, bytes, unreadable,
                                               [&](const std::string &file, const struct stat &info) {
                                                   details.push_back(FileCopyDetails::detailsFromFile(file, info));
                                               });
    // Last in the list and failed from the start: everything readable is
    // still copied and verified before the job ends as Error naming them.
    for (const DirectoryUtilities::UnreadableEntry &entry : unreadable) {
        systemLog("File %s could not be read while listing the source: %s", entry.path.c_str(),
                  std::strerror(entry.error));
        auto record = std::make_shared<FileCopyDetails>();
        record->setFilePath(entry.path);
        record->setRawStatus(FileCopyDetails::kCopyError);
        record->setFailureReason(std::string("could not be read while listing the source: ") +
                                 std::strerror(entry.error));
        details.push_back(std::move(record));
    }
    job.setUnreadableEntries(unreadable.size());
    job.setBytesAtSource(bytes);
    job.setTotalFilesAtSource(count);
    job.setProbeFilePath(FileUtilities::ensureFilePathDoesNotExist(job.probeFilePath()));
    job.setFileDetails(std::move(details));
    job.setSourceSubDirectories(DirectoryUtilities::subDirectoriesAtDirectory(source));
    job.setOffloadStatus(OffloadInstance::kInQueue);
}

void OffloadDriver::createOffloadDirectories(const std::vector<std::string> &subDirectories, const std::string &source,
                                             int destinationFd)
{
    for (const std::string &folder : subDirectories) {
        // Only the folder's own name is tested for a leading dot: a visible
        // folder inside a hidden one is still attempted, as intended.
        if (path::lastComponent(folder).starts_with(".") || folder.starts_with(".")) continue;
        // The source's prefix is replaced once, never a later repeat of its text.
        const std::optional<std::string> relative = OffloadInstance::relativeToSource(folder, source);
        if (!relative) continue;
        struct stat info {};
        if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) continue;
        // Made below the job's own folder without following links, and
        // without intermediate folders, as designed.
        const size_t slash = relative->find_last_of('/');
        const UniqueFd parent = FileCopy::openFolderBeneath(
            destinationFd, slash == std::string::npos ? std::string() : relative->substr(0, slash), false);
        if (parent) ::mkdirat(parent.get(), relative->substr(slash + 1).c_str(), 0777);
    }
}

void OffloadDriver::createOffloadDirectories(const std::vector<std::string> &subDirectories, const std::string &source,
                                             const std::string &destination)
{
    const UniqueFd folder(::open(destination.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) createOffloadDirectories(subDirectories, source, folder.get());
}

void OffloadDriver::copyFolderModificationTimes(const OffloadInstance &job)
{
    const std::shared_ptr<const UniqueFd> folder = job.offloadFolder();
    if (!folder) return;
    const std::string source = job.sourceDirectory();
    std::vector<std::string> folders = job.sourceSubDirectories();
    // Deepest first, and after every file: making an entry inside a folder
    // changes the folder's time again.
    std::stable_sort(folders.begin(), folders.end(), [](const std::string &a, const std::string &b) {
        return std::count(a.begin(), a.end(), '/') > std::count(b.begin(), b.end(), '/');
    });
    folders.push_back(source);
    for (const std::string &sourceFolder : folders) {
        const std::optional<std::string> relative = sourceFolder == source
                                                        ? std::optional<std::string>("")
                                                        : OffloadInstance::relativeToSource(sourceFolder, source);
        struct stat info {};
        if (!relative || ::stat(sourceFolder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) continue;
        const UniqueFd copy = FileCopy::openFolderBeneath(folder->get(), *relative, false);
        const struct timespec times[2] = {info.st_atim, info.st_mtim};
        if (copy) ::futimens(copy.get(), times);
    }
}

OffloadInstance::Status OffloadDriver::drive(const std::shared_ptr<OffloadInstance> &job, const Hooks &hooks)
{
    if (!job->processingTaskIsOver()) {
        if (!DirectoryUtilities::doesPathHaveWritePermissions(job->offloadDirectory())) {
            if (hooks.permissionDenied) hooks.permissionDenied();
            job->setOffloadStatus(OffloadInstance::kError);
        } else {
            job->setOffloadStatus(OffloadInstance::kProcessing);
            {
                std::lock_guard lock(job->interface()->lockInterface());
                job->interface()->setStartTime(OffloadInstance::Clock::now());
            }
            if (const auto folder = job->offloadFolder()) {
                std::unique_lock<std::mutex> lock;
                if (hooks.folderCreationLock) lock = std::unique_lock(*hooks.folderCreationLock);
                createOffloadDirectories(job->sourceSubDirectories(), job->sourceDirectory(), folder->get());
            }
            job->openJournal();
            if (job->fileDetails().size() <= job->unreadableEntries()) {
                job->completeWithoutFiles();
            } else {
                job->pool().fireAllThreadsInThePool();
            }
            while (!job->processingTaskIsOver()) {
                job->updateInterfaceEstimatedTime();
                if (hooks.refresh) hooks.refresh();
                job->waitUntilOver(hooks.interval);
            }
        }
    }
    job->pool().cancelAllThreadsInThePool();
    // The summary comes after every file a thread was still copying, and
    // nothing may act on the card while a thread still reads it.
    std::vector<ThreadPool::Thread> threads;
    {
        std::lock_guard lock(job->pool().poolLock());
        threads = job->pool().pool();
    }
    for (const auto &thread : threads) {
        if (thread) thread->waitUntilFinished();
    }
    job->closeJournal();
    copyFolderModificationTimes(*job);
    job->insertFinalLogEntry();
    return job->offloadStatus();
}

} // namespace ferrydeck
