#include "engine/OffloadInstance.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "proof/Hasher.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ferrydeck {

void OffloadInstance::setResume(std::shared_ptr<const OffloadJournal::Contents> journal, bool verifyKept)
{
    m_properties.update([&](Properties &properties) {
        properties.resumeJournal = std::move(journal);
        properties.resumeVerify = verifyKept;
    });
}

void OffloadInstance::openJournal()
{
    const std::shared_ptr<const UniqueFd> folder = offloadFolder();
    if (!folder) return;
    const bool resuming = resumed();
    // Half-written copies of the interrupted run never carry a clip's name;
    // they are only in the way.
    if (resuming) FileCopy::removeTemporaryFiles(folder->get());
    std::string error;
    if (!m_journal.open(folder->get(), sourceDirectory(), verificationName(), resuming, error))
        m_interface->addLogEntryToLogDetails(
            {"\nNo journal could be kept, so an interruption cannot be resumed: " + error + "\n", DisplayColor::Red});
}

bool OffloadInstance::carryOver(const Details &record, const std::string &relative, int folderFd,
                                const std::string &name)
{
    const std::shared_ptr<const OffloadJournal::Contents> journal = m_properties.get<&Properties::resumeJournal>();
    if (!journal) return false;
    const auto found = journal->entries.find(relative);
    struct stat copy {};
    const bool present = ::fstatat(folderFd, name.c_str(), &copy, AT_SYMLINK_NOFOLLOW) == 0;
    bool keep = found != journal->entries.end() && present && S_ISREG(copy.st_mode) &&
                static_cast<uint64_t>(copy.st_size) == found->second.size &&
                record->rawFileSize() == found->second.size && (!hashMethod() || !found->second.hash.empty()) &&
                unchangedAtSource(sourceDirectory(), found->second);
    if (keep && m_properties.get<&Properties::resumeVerify>()) {
        const std::string destination = record->outputPath();
        if (const std::optional<HashMethod> method = hashMethod()) {
            const UniqueFd in(::openat(folderFd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
            const FileHashResult read = in ? hashDescriptor(in.get(), *method, nullptr) : FileHashResult{};
            keep = read.value && *read.value == found->second.hash;
        } else if (!noFileVerification()) {
            keep = compareFiles(record->filePath(), destination, byteComparison());
        }
        if (!keep) systemLog("File %s no longer matches its copy and is copied again", record->filePath().c_str());
    }
    if (!keep) {
        // Whatever the interrupted run left under the final name was never
        // verified (or no longer is); the fresh copy replaces it.
        if (present && !S_ISDIR(copy.st_mode)) ::unlinkat(folderFd, name.c_str(), 0);
        return false;
    }
    const OffloadJournal::Entry &entry = found->second;
    record->setRawModificationTime(entry.modificationTime);
    record->setRawBytesCopied(entry.size);
    record->setHashValue(entry.hash);
    record->setCarriedOver(true);
    record->setDuration("0.000");
    if (const std::optional<HashMethod> method = hashMethod())
        m_hashList.addFile(mhl::FileHash{relative, entry.size, entry.modificationTime / 1000000000, *method, entry.hash,
                                         mhl::Action::Original, entry.verifiedAt});
    record->setRawStatus(FileCopyDetails::kCopyVerified);
    ++m_carriedOver;
    return true;
}

} // namespace ferrydeck
