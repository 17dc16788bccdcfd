#include "engine/OffloadInstance.h"

#include "engine/CardGroup.h"
#include "engine/FlushBatch.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"
#include "proof/Hasher.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>

namespace ferrydeck {

namespace {

// The job's folder is still the one at its path: not moved away, replaced,
// removed, or hidden by an unmount that left the bare mount point behind.
bool folderInPlace(int folderFd, const std::string &path)
{
    struct stat opened {};
    struct stat named {};
    if (::fstat(folderFd, &opened) != 0 || opened.st_nlink == 0) return false;
    return ::stat(path.c_str(), &named) == 0 && named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

} // namespace

std::optional<std::string> OffloadInstance::relativeToSource(const std::string &file, const std::string &source)
{
    const std::string prefix = source == "/" ? source : source + "/";
    if (source.empty() || file.size() <= prefix.size() || !file.starts_with(prefix)) return std::nullopt;
    return file.substr(prefix.size());
}

void OffloadInstance::offloadSourceFiles()
{
    // The list, the paths and the options are fixed before the threads start.
    const std::vector<Details> details = fileDetails();
    const std::string source = sourceDirectory();
    const std::string destinationRoot = fullOffloadPath();
    const std::shared_ptr<const UniqueFd> folder = offloadFolder();
    const CopyObserver observer = m_properties.get<&Properties::copyObserver>();
    const std::optional<HashMethod> method = hashMethod();
    const bool bySize = !method && !noFileVerification() && !byteComparison();
    // The records of what the listing could not read come last and are never taken.
    const auto recordCount = static_cast<int32_t>(details.size() - std::min(details.size(), unreadableEntries()));
    FlushBatch batch(folder ? folder->get() : -1);
    const std::shared_ptr<CardGroup> group = m_properties.get<&Properties::cardGroup>();
    const int member = m_properties.get<&Properties::cardGroupMember>();
    // The group's reads of one file: its copy and its comparison are shared apart.
    const auto groupReader = [&](const std::string &key, uint64_t fileSize,
                                 std::optional<HashMethod> hashing = std::nullopt) -> SourceReader {
        if (!group || !CardGroup::shares(fileSize)) return {};
        return [&group, member, key, hashing](int fd, char *buffer, size_t size, uint64_t offset) {
            return group->read(member, key, fd, buffer, size, offset, hashing);
        };
    };
    const auto doneWith = [&](const std::string &key, uint64_t fileSize) {
        if (group && CardGroup::shares(fileSize)) group->doneWith(member, key);
    };
    // The folder of the last copy. A card's files come folder by folder, and
    // checking the copy folder and walking down to each file's folder afresh
    // cost more system calls than its copy on cards of small files. The
    // folder is taken again while its path still leads to it: then it is in
    // place, and so is every copy named below it.
    struct {
        std::string relative;
        std::shared_ptr<const UniqueFd> fd;
        dev_t device = 0;
        ino_t inode = 0;
    } lastFolder;
    const auto lastFolderStill = [&](const std::string &relativeFolder) {
        if (!lastFolder.fd || lastFolder.relative != relativeFolder) return false;
        const std::string path = relativeFolder.empty() ? destinationRoot : destinationRoot + "/" + relativeFolder;
        // Not through a link put in the folder's place: the walk would refuse it.
        struct stat info {};
        return ::lstat(path.c_str(), &info) == 0 && info.st_dev == lastFolder.device && info.st_ino == lastFolder.inode;
    };
    const auto openFolder = [&](const std::string &relativeFolder) -> std::shared_ptr<const UniqueFd> {
        UniqueFd opened = FileCopy::openFolderBeneath(folder->get(), relativeFolder, true);
        struct stat info {};
        if (!opened || ::fstat(opened.get(), &info) != 0) return nullptr;
        lastFolder = {relativeFolder, std::make_shared<const UniqueFd>(std::move(opened)), info.st_dev, info.st_ino};
        return lastFolder.fd;
    };

    // Everything after the copy and its flush: the check, the record, the count.
    const auto finish = [&](FlushBatch::Copy &file) {
        const Details &record = file.record;
        const std::string &sourceFile = file.sourceFile;
        const std::string &destination = file.destination;
        const std::string &name = file.name;
        const FileCopy::Result &copy = file.copy;
        std::string reason = file.reason;
        bool failed = !reason.empty();
        const int parent = file.parent ? file.parent->get() : -1;

        if (!failed) {
            if (observer) observer(*record);
            if (method) {
                reason = verifyChecksum(*method, sourceFile, parent, name, copy, file.sourceValue);
                failed = !reason.empty();
            } else if (!noFileVerification() && byteComparison() &&
                       !compareFiles(sourceFile, destination, true,
                                     groupReader("compare:" + sourceFile, record->rawFileSize()))) {
                failed = true;
                reason = "contents differ";
            }
            // The check read the copy by its path; it counts only when that
            // path still leads to the very file that was written. A copy
            // folder moved, replaced or unmounted since fails here too, and
            // so does a batched copy whose name no longer holds it. The size
            // check compares that same entry's size with the source's as its
            // open descriptor showed it before and after the copy.
            struct stat byPath {};
            const bool found = ::lstat(destination.c_str(), &byPath) == 0;
            if (!failed && (!found || byPath.st_dev != copy.copyDevice || byPath.st_ino != copy.copyInode)) {
                failed = true;
                reason = "the copy was moved or replaced before its check";
            }
            if (!failed && bySize && static_cast<uint64_t>(byPath.st_size) != copy.sourceSize) {
                failed = true;
                reason = "sizes differ";
            }
            if (found) {
                record->setRawBytesCopied(static_cast<uint64_t>(byPath.st_size));
            } else {
                record->setBytesCopiedText(record->fileSize());
            }
        }

        if (!failed) {
            if (method && !copy.symbolicLink) {
                record->setHashValue(file.sourceValue);
                m_hashList.addFile(mhl::FileHash{file.relative, copy.bytesCopied,
                                                 copy.sourceModificationTime / 1000000000, *method, file.sourceValue,
                                                 mhl::Action::Original, static_cast<int64_t>(std::time(nullptr))});
            }
            // Before the job can end (and drop its journal) on this file.
            if (!copy.symbolicLink)
                m_journal.append({file.relative, copy.bytesCopied, copy.sourceModificationTime, file.sourceValue,
                                  static_cast<int64_t>(std::time(nullptr))});
            record->setRawStatus(FileCopyDetails::kCopyVerified);
        } else {
            record->setFailureReason(reason);
            systemLog("File %s failed for this reason:%s\n%s", sourceFile.c_str(), reason.c_str(), destination.c_str());
            record->setRawStatus(FileCopyDetails::kCopyError);
            if (!m_errorReported.exchange(true) && offloadStatus() != kCanceled) soundFileCopyFailureAlert();
        }
        doneWith("compare:" + sourceFile, record->rawFileSize());
        recordResult(record, failed, details);
        // Asked for here, after the lock is released, rather than on a fresh
        // thread per file: the delegate only hands the refresh to the main loop.
        updateDelegateInterface();
    };
    const auto flushBatch = [&] {
        for (FlushBatch::Copy &file : batch.flush()) {
            // The batch of a job that stopped meanwhile is whole and named,
            // but its files are left as never reached, unverified: as after
            // a cancel, only the file in progress is checked.
            if (file.reason.empty() && processingTaskIsOver()) {
                file.record->setRawStatus(FileCopyDetails::kInQueue);
                continue;
            }
            finish(file);
        }
    };

    while (!processingTaskIsOver()) {
        int32_t index = 0;
        {
            std::lock_guard lock(m_lockProcessing);
            index = m_indexToProcess++;
        }
        if (index >= recordCount) break;

        const Details &record = details[static_cast<size_t>(index)];
        // Files waiting for their flush are checked before one that cannot
        // join them is copied, so a long copy does not hold them back.
        if (!batch.empty() && !batch.takes(record->rawFileSize())) {
            flushBatch();
            if (processingTaskIsOver()) break;
        }
        record->setRawStatus(FileCopyDetails::kInProcess);
        FlushBatch::Copy file;
        file.record = record;
        file.sourceFile = record->filePath();
        const std::string &sourceFile = file.sourceFile;
        // Only the leading source folder is replaced: a sub-folder whose name
        // repeats the source's text keeps its place in the copy.
        const std::optional<std::string> relative = relativeToSource(sourceFile, source);
        file.relative = relative.value_or("");
        file.destination = relative ? destinationRoot + "/" + *relative : std::string();
        file.name = path::lastComponent(sourceFile);
        const std::string &name = file.name;
        record->setOutputPath(file.destination);

        std::string &reason = file.reason;
        std::shared_ptr<const UniqueFd> parent;
        {
            std::lock_guard lock(m_lockProcessing);
            m_interface->setCurrentOffloadFile(name);
            if (!folder) {
                reason = "the copy folder could not be made";
            } else if (!relative) {
                reason = "it does not lie inside the source";
            } else {
                const size_t slash = relative->find_last_of('/');
                const std::string relativeFolder =
                    slash == std::string::npos ? std::string() : relative->substr(0, slash);
                if (lastFolderStill(relativeFolder)) {
                    parent = lastFolder.fd;
                } else if (!folderInPlace(folder->get(), destinationRoot)) {
                    reason = "the copy folder was moved, replaced or unmounted";
                } else if (!(parent = openFolder(relativeFolder))) {
                    reason = std::string("its folder could not be made: ") + std::strerror(errno);
                }
            }
        }

        if (reason.empty() && carryOver(record, *relative, parent->get(), name)) {
            doneWith("copy:" + sourceFile, record->rawFileSize());
            doneWith("compare:" + sourceFile, record->rawFileSize());
            recordResult(record, false, details);
            updateDelegateInterface();
            continue;
        }

        const auto start = std::chrono::steady_clock::now();
        FileCopy::Result &copy = file.copy;
        const bool batched = reason.empty() && batch.takes(record->rawFileSize()) && batch.begin(parent);
        if (reason.empty()) {
            std::optional<Hasher> sourceHash;
            FileCopy::Options options;
            options.leaveUnnamed = batched;
            options.flush = !batched;
            options.sourceListedAsFile = record->listedAsFile();
            options.readSource = groupReader("copy:" + sourceFile, record->rawFileSize(), method);
            // A file the card's group reads is hashed once there, for all its destinations.
            const bool groupHashes = method && options.readSource;
            if (method && !groupHashes) {
                sourceHash.emplace(*method);
                options.onSourceData = [&sourceHash](const char *data, size_t size) { sourceHash->update(data, size); };
            }
            copy = FileCopy::copyFileAt(sourceFile, parent->get(), name, options);
            if (copy.ok() && !copy.symbolicLink) {
                if (sourceHash) file.sourceValue = sourceHash->finish().value_or("");
                else if (groupHashes) file.sourceValue = group->checksum(member, "copy:" + sourceFile).value_or("");
            }
            if (copy.sourceSize != 0 || copy.sourceModificationTime != 0)
                record->setRawModificationTime(copy.sourceModificationTime);
            if (!copy.ok()) {
                reason = copy.describe();
            } else if (copy.bytesCopied != record->rawFileSize()) {
                // The file changed after it was listed: what was listed was not copied.
                reason = stringWithFormat("%llu bytes copied, %llu listed",
                                          static_cast<unsigned long long>(copy.bytesCopied),
                                          static_cast<unsigned long long>(record->rawFileSize()));
                if (batched) FileCopy::discardCopyAt(parent->get(), name);
            }
        }
        doneWith("copy:" + sourceFile, record->rawFileSize());
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        record->setDuration(stringWithFormat("%.3f", took.count()));
        file.parent = std::move(parent);

        if (batched && reason.empty()) {
            batch.add(std::move(file));
            if (batch.due()) flushBatch();
            continue;
        }
        // A file that failed is told after the ones copied before it.
        if (!batch.empty()) flushBatch();
        finish(file);
    }
    if (!batch.empty()) flushBatch();
}

void OffloadInstance::completeWithoutFiles()
{
    bool failed = false;
    {
        std::lock_guard lock(m_lockProcessing);
        if (offloadStatus() != kProcessing) return;
        failed = endAfterLastReadableFile(fileDetails());
    }
    if (failed && !m_errorReported.exchange(true)) soundFileCopyFailureAlert();
}

bool OffloadInstance::endAfterLastReadableFile(const std::vector<Details> &details)
{
    // The hash list is written before the job says Completed, so whoever
    // waits for the job finds it; a job whose list cannot be written has
    // no proof to show and ends as Error saying why.
    std::string listError;
    const bool listed = unreadableEntries() == 0 && writeHashList(listError);
    if (!listError.empty())
        m_interface->addLogEntryToLogDetails(
            {"\nThe ASC MHL hash list could not be written: " + listError + "\n", DisplayColor::Red});
    if (listed) {
        if (const std::shared_ptr<const UniqueFd> folder = offloadFolder()) m_journal.remove(folder->get());
        setOffloadStatus(kCompleted);
        updateInterfaceToComplete();
        createLogEntriesForCopies(details, false);
        m_interface->setCurrentOffloadFile("Offload Complete & Verified");
        return false;
    }
    setOffloadStatus(kError);
    m_endedPremature = true;
    createLogEntriesForCopies(details, true);
    m_interface->setCurrentOffloadFile("Not all files were copied correctly, look at the Log Report for details");
    return true;
}

void OffloadInstance::recordResult(const Details &record, bool failed, const std::vector<Details> &details)
{
    // The thread's own list, not a fresh copy of the job's: copying every
    // record's pointer for every file made a card of many files quadratic.
    bool unreadableFailed = false;
    {
        std::lock_guard lock(m_lockProcessing);
        try {
            if (!failed) {
                // A file finished after a cancel or an error no longer counts.
                if (offloadStatus() != kProcessing) return;
                m_bytesCopied += record->rawBytesCopied();
                const size_t readable = details.size() - std::min(details.size(), unreadableEntries());
                if (++m_itemsProcessed >= static_cast<int32_t>(readable))
                    unreadableFailed = endAfterLastReadableFile(details);
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
    if (unreadableFailed && !m_errorReported.exchange(true)) soundFileCopyFailureAlert();
}

bool OffloadInstance::compareFiles(const std::string &source, const std::string &destination, bool compareBytes,
                                   const SourceReader &readSource)
{
    return compareBytes ? FileUtilities::compareFileContents(source, destination, readSource)
                        : FileUtilities::compareFileSize(source, destination);
}

void OffloadInstance::reportCopyError(const std::string &path, int error)
{
    const std::string message = path + ": " + std::strerror(error);
    systemLog("Coyp Error: %s", message.c_str());
    if (auto target = delegate()) target->showAlert("Coyp Error", message);
}

bool OffloadInstance::copyFile(const std::string &source, const std::string &destination, int64_t blockSize)
{
    if (blockSize <= 0) return false;
    if (path::exists(destination) && ::unlink(destination.c_str()) != 0) return false;
    UniqueFd out(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!out) return false;
    UniqueFd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (!in) {
        reportCopyError(source, errno);
        return false;
    }
    std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(blockSize)]);
    off_t offset = 0;
    for (;;) {
        const ssize_t n = ::pread(in.get(), buffer.get(), static_cast<size_t>(blockSize), offset);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            reportCopyError(source, errno);
            return false;
        }
        // The end of the data ends the copy, even before the size read at the
        // start: a file that shrank must not make the loop spin.
        if (n == 0) return true;
        if (!fsutil::writeAll(out.get(), {buffer.get(), static_cast<size_t>(n)})) {
            reportCopyError(destination, errno != 0 ? errno : EIO);
            return false;
        }
        offset += n;
    }
}

void OffloadInstance::soundFileCopyFailureAlert()
{
    const std::function<void()> sound = m_properties.get<&Properties::failureSound>();
    try {
        if (sound) sound();
    } catch (const std::exception &) {
        // A sound that cannot play is no reason to disturb the copy.
    }
}

} // namespace ferrydeck
