#include "engine/OffloadInstance.h"

#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>

namespace ferrydeck {

void OffloadInstance::offloadSourceFiles()
{
    bool failed = false;
    // The list, the paths and the options are fixed before the threads start.
    const std::vector<Details> details = fileDetails();
    const std::string source = sourceDirectory();
    const std::string destinationRoot = fullOffloadPath();
    CopyObserver observer;
    {
        std::lock_guard lock(m_properties);
        observer = m_copyObserver;
    }
    const auto recordCount = static_cast<int32_t>(details.size());

    while (!processingTaskIsOver()) {
        int32_t index = 0;
        {
            std::lock_guard lock(m_lockProcessing);
            index = m_indexToProcess++;
        }
        if (index >= recordCount) break;

        const Details &record = details[static_cast<size_t>(index)];
        record->setRawStatus(FileCopyDetails::kInProcess);
        const std::string sourceFile = record->filePath();
        // Every occurrence is replaced, not only the leading one; kept as designed.
        const std::string destination = path::replaceAll(sourceFile, source, destinationRoot);
        record->setOutputPath(destination);

        {
            std::lock_guard lock(m_lockProcessing);
            m_interface->setCurrentOffloadFile(path::lastComponent(sourceFile));
            const std::string parent = path::parent(destination);
            if (!path::exists(parent)) {
                std::error_code error;
                std::filesystem::create_directories(parent, error);
            }
        }

        const auto start = std::chrono::steady_clock::now();
        const FileCopy::Result copy = FileCopy::copyFile(sourceFile, destination);
        std::string reason;
        if (!copy.ok()) {
            failed = true;
            reason = copy.describe();
        } else if (copy.bytesCopied != record->rawFileSize()) {
            // The file changed after it was listed: what was listed was not copied.
            failed = true;
            reason = stringWithFormat("%llu bytes copied, %llu listed",
                                      static_cast<unsigned long long>(copy.bytesCopied),
                                      static_cast<unsigned long long>(record->rawFileSize()));
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        record->setDuration(stringWithFormat("%.3f", took.count()));

        if (!failed) {
            if (observer) observer(*record);
            if (!noFileVerification() && !compareFiles(sourceFile, destination, byteComparison())) {
                failed = true;
                reason = byteComparison() ? "contents differ" : "sizes differ";
            }
            struct stat info {};
            if (::lstat(destination.c_str(), &info) == 0) {
                record->setRawBytesCopied(static_cast<uint64_t>(info.st_size));
            } else {
                record->setBytesCopiedText(record->fileSize());
            }
        }

        if (!failed) {
            record->setRawStatus(FileCopyDetails::kCopyVerified);
        } else {
            systemLog("File %s failed for this reason:%s\n%s", sourceFile.c_str(), reason.c_str(),
                      destination.c_str());
            record->setRawStatus(FileCopyDetails::kCopyError);
            if (!m_errorReported.exchange(true) && offloadStatus() != kCanceled) soundFileCopyFailureAlert();
        }
        recordResult(record, failed, details);
        // Asked for here, after the lock is released, rather than on a fresh
        // thread per file: the delegate only hands the refresh to the main loop.
        updateDelegateInterface();
    }
}

void OffloadInstance::recordResult(const Details &record, bool failed, const std::vector<Details> &details)
{
    // The thread's own list, not a fresh copy of the job's: copying every
    // record's pointer for every file made a card of many files quadratic.
    std::lock_guard lock(m_lockProcessing);
    try {
        if (!failed) {
            // A file finished after a cancel or an error no longer counts.
            if (offloadStatus() != kProcessing) return;
            m_bytesCopied += record->rawBytesCopied();
            if (++m_itemsProcessed >= static_cast<int32_t>(details.size())) {
                setOffloadStatus(kCompleted);
                updateInterfaceToComplete();
                createLogEntriesForCopies(details, false);
                m_interface->setCurrentOffloadFile("Offload Complete & Verified");
            }
        } else {
            // A canceled job whose file fails becomes Error, on purpose.
            setOffloadStatus(kError);
            m_endedPremature = true;
            createLogEntriesForCopies(details, true);
            m_interface->setCurrentOffloadFile(
                "Not all files were copied correctly, look at the Log Report for details");
        }
    } catch (const std::exception &error) {
        systemLog("recording %s: %s", record->filePath().c_str(), error.what());
    }
}

bool OffloadInstance::compareFiles(const std::string &source, const std::string &destination, bool compareBytes)
{
    return compareBytes ? FileUtilities::compareFileContents(source, destination)
                        : FileUtilities::compareFileSize(source, destination);
}

bool OffloadInstance::copyFile(const std::string &source, const std::string &destination, int64_t blockSize)
{
    if (blockSize <= 0) return false;
    if (path::exists(destination) && ::unlink(destination.c_str()) != 0) return false;
    UniqueFd out(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!out) return false;
    UniqueFd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (!in) {
        systemLog("Coyp Error: %s: %s", source.c_str(), std::strerror(errno));
        return false;
    }
    std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(blockSize)]);
    off_t offset = 0;
    for (;;) {
        const ssize_t n = ::pread(in.get(), buffer.get(), static_cast<size_t>(blockSize), offset);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            systemLog("Coyp Error: %s: %s", source.c_str(), std::strerror(errno));
            return false;
        }
        // The end of the data ends the copy, even before the size read at the
        // start: a file that shrank must not make the loop spin.
        if (n == 0) return true;
        for (ssize_t written = 0; written < n;) {
            const ssize_t w = ::write(out.get(), buffer.get() + written, static_cast<size_t>(n - written));
            if (w < 0 && errno == EINTR) continue;
            if (w <= 0) {
                systemLog("Coyp Error: %s: %s", destination.c_str(), std::strerror(errno));
                return false;
            }
            written += w;
        }
        offset += n;
    }
}

void OffloadInstance::soundFileCopyFailureAlert()
{
    std::function<void()> sound;
    {
        std::lock_guard lock(m_properties);
        sound = m_failureSound;
    }
    try {
        if (sound) sound();
    } catch (const std::exception &) {
        // A sound that cannot play is no reason to disturb the copy.
    }
}

} // namespace ferrydeck
