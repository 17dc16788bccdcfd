#include "engine/FlushBatch.h"

#include "fsutil/MountTable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace ferrydeck {

namespace {

// Before 5.8 syncfs answered 0 even when the write-back of a file had
// failed, which would let a lost copy pass for a durable one.
bool syncfsReportsErrors()
{
    static const bool reports = [] {
        struct utsname system {};
        int major = 0, minor = 0;
        if (::uname(&system) != 0 || std::sscanf(system.release, "%d.%d", &major, &minor) != 2) return false;
        return major > 5 || (major == 5 && minor >= 8);
    }();
    return reports;
}

} // namespace

FlushBatch::FlushBatch(int copyFolderFd)
    : m_copyFolderFd(copyFolderFd)
{
    struct stat info {};
    m_enabled = copyFolderFd >= 0 && fileSystemTakesBatches(copyFolderFd) && ::fstat(copyFolderFd, &info) == 0;
    m_device = static_cast<uint64_t>(info.st_dev);
}

bool FlushBatch::fileSystemTakesBatches(int folderFd)
{
    struct stat info {};
    if (!syncfsReportsErrors() || ::fstat(folderFd, &info) != 0) return false;
    // By name, not by the magic number statfs gives: ext2 shares ext4's, and
    // its own driver flushes no device cache in syncfs. A btrfs subvolume
    // whose device is not in the table is left out too.
    static const char *const kTaking[] = {"ext3", "ext4", "xfs", "btrfs"};
    for (const MountEntry &mount : MountTable::read(MountTable::kDefaultPath)) {
        if (mount.major != ::major(info.st_dev) || mount.minor != ::minor(info.st_dev)) continue;
        return std::any_of(std::begin(kTaking), std::end(kTaking),
                           [&](const char *type) { return mount.fsType == type; });
    }
    return false;
}

bool FlushBatch::due() const
{
    if (m_copies.empty()) return false;
    return m_copies.size() >= kMaxFiles || m_bytes >= kMaxBytes || m_folders.size() >= kMaxFolders ||
           std::chrono::steady_clock::now() - m_firstCopied >= kMaxWait;
}

bool FlushBatch::takes(uint64_t size) const
{
    return m_enabled && size < kLargeFile && !due() && m_bytes + size <= kMaxBytes;
}

bool FlushBatch::begin(const std::shared_ptr<const UniqueFd> &parent)
{
    if (!m_enabled || !parent) return false;
    // A folder the batch already holds was checked when it joined.
    struct stat info {};
    if (!holds(parent) && (::fstat(parent->get(), &info) != 0 || static_cast<uint64_t>(info.st_dev) != m_device))
        return false;
    if (m_fileSystem) return true;
    // A descriptor of its own, opened before the batch's first byte is
    // written: syncfs reports the write-back errors recorded since a
    // descriptor was opened, and only once per descriptor, so one shared
    // with other batches could hand this batch's error to another.
    m_fileSystem = UniqueFd(::openat(m_copyFolderFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return m_fileSystem.valid();
}

void FlushBatch::add(Copy copy)
{
    if (m_copies.empty()) m_firstCopied = std::chrono::steady_clock::now();
    m_bytes += copy.copy.bytesCopied;
    // Copies of one folder share its descriptor, so a batch holds few open.
    if (!holds(copy.parent)) {
        struct stat parent {};
        ::fstat(copy.parent->get(), &parent);
        const auto device = static_cast<uint64_t>(parent.st_dev);
        const auto inode = static_cast<uint64_t>(parent.st_ino);
        const auto known = std::find_if(m_folders.begin(), m_folders.end(), [&](const Folder &folder) {
            return folder.device == device && folder.inode == inode && inode != 0;
        });
        if (known != m_folders.end()) copy.parent = known->fd;
        else m_folders.push_back({copy.parent, device, inode});
    }
    m_copies.push_back(std::move(copy));
}

bool FlushBatch::holds(const std::shared_ptr<const UniqueFd> &folder) const
{
    return std::any_of(m_folders.begin(), m_folders.end(), [&](const Folder &held) { return held.fd == folder; });
}

std::vector<FlushBatch::Copy> FlushBatch::flush()
{
    std::vector<Copy> copies = std::exchange(m_copies, {});
    const std::vector<Folder> folders = std::exchange(m_folders, {});
    const UniqueFd fileSystem = std::move(m_fileSystem);
    m_bytes = 0;
    if (copies.empty()) return copies;

    // The data and the temporaries first; the names only once that held.
    if (::syncfs(fileSystem.get()) != 0) {
        const int error = errno;
        for (Copy &copy : copies) {
            FileCopy::discardCopyAt(copy.parent->get(), copy.name);
            copy.copy.error = error;
            copy.copy.step = "flush";
            copy.reason = copy.copy.describe();
        }
        return copies;
    }
    for (Copy &copy : copies) {
        // Whoever takes the batch checks each copy by its whole path after the
        // flush, which also finds a name that no longer holds it.
        copy.copy = FileCopy::nameCopyAt(copy.parent->get(), copy.name, copy.copy, false);
        if (!copy.copy.ok()) copy.reason = copy.copy.describe();
    }
    for (const Folder &folder : folders) {
        if (::fsync(folder.fd->get()) == 0 || errno == EINVAL) continue;
        const int error = errno;
        for (Copy &copy : copies) {
            if (copy.parent != folder.fd || !copy.reason.empty()) continue;
            copy.copy.error = error;
            copy.copy.step = "flush folder";
            copy.reason = copy.copy.describe();
        }
    }
    return copies;
}

} // namespace ferrydeck
