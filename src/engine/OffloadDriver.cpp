#include "engine/OffloadDriver.h"

#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"

#include <sys/stat.h>

namespace ferrydeck {

void OffloadDriver::listSource(OffloadInstance &job)
{
    uint64_t count = 0, bytes = 0;
    const std::string source = job.sourceDirectory();
    const std::vector<std::string> files = DirectoryUtilities::sourceFilesAtDirectory(source, false, count, bytes);
    std::vector<OffloadInstance::Details> details;
    details.reserve(files.size());
    for (const std::string &file : files) details.push_back(FileCopyDetails::detailsFromFile(file));
    job.setBytesAtSource(bytes);
    job.setTotalFilesAtSource(count);
    job.setProbeFilePath(FileUtilities::ensureFilePathDoesNotExist(job.probeFilePath()));
    job.setFileDetails(std::move(details));
    job.setSourceSubDirectories(DirectoryUtilities::subDirectoriesAtDirectory(source));
    job.setOffloadStatus(OffloadInstance::kInQueue);
}

void OffloadDriver::createOffloadDirectories(const std::vector<std::string> &subDirectories,
                                             const std::string &source, const std::string &destination)
{
    for (const std::string &folder : subDirectories) {
        // Only the folder's own name is tested for a leading dot: a visible
        // folder inside a hidden one is still made, as intended.
        if (path::lastComponent(folder).starts_with(".") || folder.starts_with(".")) continue;
        const std::string target = path::replaceAll(folder, source, destination);
        if (path::exists(target)) continue;
        struct stat info {};
        if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) continue;
        ::mkdir(target.c_str(), 0777);
    }
}

int32_t OffloadDriver::drive(const std::shared_ptr<OffloadInstance> &job, const Hooks &hooks)
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
            createOffloadDirectories(job->sourceSubDirectories(), job->sourceDirectory(), job->fullOffloadPath());
            job->pool().fireAllThreadsInThePool();
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
    job->insertFinalLogEntry();
    return job->offloadStatus();
}

} // namespace ferrydeck
