#include "fsutil/FileCopy.h"

#include "fsutil/AtomicFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>

namespace ferrydeck {

namespace {

using Result = FileCopy::Result;

Result failure(const char *step, int error = errno)
{
    Result result;
    result.error = error == 0 ? EIO : error;
    result.step = step;
    return result;
}

// Keeps what was learnt about the source when a later step fails.
Result failed(Result result, const char *step, int error = errno)
{
    result.error = error == 0 ? EIO : error;
    result.step = step;
    return result;
}

constexpr off_t kSequentialHintSize = 1 << 20;

int64_t nanoseconds(const struct timespec &time)
{
    return static_cast<int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

bool nameExists(int folderFd, const std::string &name)
{
    struct stat info {};
    return ::fstatat(folderFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

// Removes the temporary unless the copy got its name: a failed copy leaves
// nothing behind that it made.
struct TemporaryGuard {
    int folderFd;
    std::string name;
    bool keep = false;
    ~TemporaryGuard()
    {
        if (!keep) ::unlinkat(folderFd, name.c_str(), 0);
    }
};

constexpr uint64_t kWriteBehind = 8 << 20; // write-back is started per this many bytes written

// Copies until the source reports its end, so a file that grew or shrank
// since it was listed is copied as it is now; the caller compares sizes.
// In-kernel copies stop at `stopAt` (0: never) instead: the call that would
// report the end costs as much as a small file's copy, and a file that grew
// meanwhile fails the caller's size comparison all the same.
bool copyContents(int in, int out, const FileCopy::Options &options, Result &result, uint64_t stopAt)
{
    bool tryRange = options.useCopyFileRange && !options.onSourceData && !options.readSource;
    uint64_t started = 0, dropped = 0;
    // A copy that is flushed on its own, in the kernel or not, starts its
    // write-back as it goes: the disk then writes while the source is read,
    // the final flush waits only for the tail, and few dirty pages pile up
    // for the kernel to throttle.
    const auto wroteUpTo = [&](uint64_t end) {
        if (!options.flush || end - started < kWriteBehind) return;
        ::sync_file_range(out, static_cast<off_t>(started), static_cast<off_t>(end - started), SYNC_FILE_RANGE_WRITE);
        // The step before has had this step's time to reach the disk: its
        // pages are let go (any still being written stay), so that a long
        // clip does not fill the page cache the card's read-ahead needs.
        if (started > dropped)
            ::posix_fadvise(out, static_cast<off_t>(dropped), static_cast<off_t>(started - dropped),
                            POSIX_FADV_DONTNEED);
        dropped = started;
        started = end;
    };
    while (tryRange) {
        const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, options.flush ? kWriteBehind : 1u << 30, 0);
        if (n > 0) {
            result.bytesCopied += static_cast<uint64_t>(n);
            if (result.bytesCopied == stopAt) return true;
            wroteUpTo(result.bytesCopied);
            continue;
        }
        if (n == 0) return true;
        if (errno == EINTR) continue;
        // Kernels and file systems that cannot do it in-kernel say so before
        // any byte moved; from then on the plain loop takes over.
        if (result.bytesCopied == 0 &&
            (errno == EXDEV || errno == ENOSYS || errno == EOPNOTSUPP || errno == EINVAL || errno == EPERM)) {
            tryRange = false;
            break;
        }
        result = failed(result, "copy");
        return false;
    }

    std::unique_ptr<char[]> buffer(new char[options.bufferSize]);
    for (;;) {
        const ssize_t n = options.readSource
                              ? options.readSource(in, buffer.get(), options.bufferSize, result.bytesCopied)
                              : ::read(in, buffer.get(), options.bufferSize);
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
            result = failed(result, "read");
            result.sourceChanged = options.readSource && result.error == EBUSY;
            return false;
        }
        if (options.onSourceData) options.onSourceData(buffer.get(), static_cast<size_t>(n));
        if (!fsutil::writeAll(out, {buffer.get(), static_cast<size_t>(n)})) {
            result = failed(result, "write");
            return false;
        }
        result.bytesCopied += static_cast<uint64_t>(n);
        wroteUpTo(result.bytesCopied);
    }
}

// Gives the finished temporary its name without ever replacing what is
// there; answers 0 or the errno (EEXIST when the name is taken).
int giveName(int folderFd, const std::string &temporary, const std::string &name)
{
    if (::renameat2(folderFd, temporary.c_str(), folderFd, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // File systems without RENAME_NOREPLACE (FUSE exFAT and NTFS among them):
    // a hard link also refuses an existing name.
    if (::linkat(folderFd, temporary.c_str(), folderFd, name.c_str(), 0) == 0) {
        ::unlinkat(folderFd, temporary.c_str(), 0);
        return 0;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return errno;
    // Neither (the FAT family). Checking and then renaming are two steps;
    // that is safe here only because the folder is the job's own, made by an
    // exclusive mkdir: no other job or process writes into it and the job
    // gives each name once.
    if (nameExists(folderFd, name)) return EEXIST;
    if (errno != ENOENT) return errno;
    return ::renameat(folderFd, temporary.c_str(), folderFd, name.c_str()) == 0 ? 0 : errno;
}

// The name holds exactly the copy that was written.
Result checkNamed(int folderFd, const std::string &name, Result result)
{
    struct stat named {};
    if (::fstatat(folderFd, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) return failed(result, "check copy");
    if (static_cast<uint64_t>(named.st_dev) != result.copyDevice ||
        static_cast<uint64_t>(named.st_ino) != result.copyInode)
        return failed(result, "check copy", ENOENT);
    return result;
}

// Names the flushed temporary and checks that the name now holds exactly
// what was written: a copy missing after its flush is a failed copy.
Result finish(int folderFd, TemporaryGuard &guard, const std::string &name, const struct stat &made,
              const FileCopy::Options &options, Result result)
{
    result.copyDevice = static_cast<uint64_t>(made.st_dev);
    result.copyInode = static_cast<uint64_t>(made.st_ino);
    if (options.leaveUnnamed) {
        guard.keep = true;
        return result;
    }
    if (const int error = giveName(folderFd, guard.name, name); error != 0)
        return failed(result, "name the copy", error);
    guard.keep = true;
    if (options.flush && ::fsync(folderFd) != 0 && errno != EINVAL) return failed(result, "flush folder");
    return checkNamed(folderFd, name, result);
}

Result copySymbolicLink(const std::string &source, int folderFd, const std::string &name, const struct stat &info,
                        const FileCopy::Options &options)
{
    Result result;
    result.symbolicLink = true;
    result.sourceSize = static_cast<uint64_t>(info.st_size);
    result.sourceModificationTime = nanoseconds(info.st_mtim);
    std::string target(static_cast<size_t>(info.st_size > 0 ? info.st_size : 255) + 1, '\0');
    const ssize_t n = ::readlink(source.c_str(), target.data(), target.size());
    if (n < 0) return failed(result, "read link");
    target.resize(static_cast<size_t>(n));
    if (nameExists(folderFd, name)) return failed(result, "create destination", EEXIST);
    TemporaryGuard guard{folderFd, FileCopy::temporaryNameFor(name)};
    if (::symlinkat(target.c_str(), folderFd, guard.name.c_str()) != 0) {
        guard.keep = true; // not ours: it may be an earlier run's
        return failed(result, "create link");
    }
    const struct timespec times[2] = {info.st_atim, info.st_mtim};
    ::utimensat(folderFd, guard.name.c_str(), times, AT_SYMLINK_NOFOLLOW); // best effort, as cp -a
    struct stat made {};
    if (::fstatat(folderFd, guard.name.c_str(), &made, AT_SYMLINK_NOFOLLOW) != 0) return failed(result, "create link");
    result.bytesCopied = static_cast<uint64_t>(n);
    return finish(folderFd, guard, name, made, options, result);
}

} // namespace

bool FileCopy::Result::dooms() const
{
    return error == ENOSPC || error == EROFS || error == EIO || error == EDQUOT;
}

std::string FileCopy::Result::describe() const
{
    if (ok()) return "no error";
    if (sourceChanged) return "changed during the copy";
    return std::string(step) + ": " + std::strerror(error);
}

Result FileCopy::nameCopyAt(int folderFd, const std::string &name, Result copy, bool checkName)
{
    TemporaryGuard guard{folderFd, temporaryNameFor(name)};
    if (const int error = giveName(folderFd, guard.name, name); error != 0) return failed(copy, "name the copy", error);
    guard.keep = true;
    return checkName ? checkNamed(folderFd, name, copy) : copy;
}

void FileCopy::discardCopyAt(int folderFd, const std::string &name)
{
    ::unlinkat(folderFd, temporaryNameFor(name).c_str(), 0);
}

std::string FileCopy::temporaryNameFor(const std::string &name)
{
    const size_t suffix = std::strlen(kTemporarySuffix);
    if (1 + name.size() + suffix <= NAME_MAX) return "." + name + kTemporarySuffix;
    // A name near the limit keeps its start and a hash of the whole, so two
    // long names of one folder still get two temporaries.
    char hash[20];
    std::snprintf(hash, sizeof hash, "~%016zx", std::hash<std::string>{}(name));
    return "." + name.substr(0, NAME_MAX - 1 - suffix - 17) + hash + kTemporarySuffix;
}

bool FileCopy::isTemporaryName(const std::string &name)
{
    // Copied files never begin with a dot (the source listing leaves such
    // files out), so this shape can only be a temporary.
    const size_t suffix = std::strlen(kTemporarySuffix);
    return name.size() > 1 + suffix && name[0] == '.' && name.ends_with(kTemporarySuffix);
}

Result FileCopy::copyFile(const std::string &source, const std::string &destination)
{
    return copyFile(source, destination, Options{});
}

Result FileCopy::copyFile(const std::string &source, const std::string &destination, const Options &options)
{
    const size_t slash = destination.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : destination.substr(0, slash);
    const std::string name = slash == std::string::npos ? destination : destination.substr(slash + 1);
    UniqueFd folderFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folderFd) return failure("create destination");
    return copyFileAt(source, folderFd.get(), name, options);
}

Result FileCopy::copyFileAt(const std::string &source, int folderFd, const std::string &name, const Options &options)
{
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
        return failure("create destination", EINVAL);
    struct stat info {};
    if (!options.sourceListedAsFile) {
        if (::lstat(source.c_str(), &info) != 0) return failure("read source");
        if (S_ISLNK(info.st_mode)) return copySymbolicLink(source, folderFd, name, info, options);
        // FIFOs, sockets and devices are refused before open, which could block on them.
        if (!S_ISREG(info.st_mode)) return failure("read source", EINVAL);
    }

    UniqueFd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!in) return failure("open source");
    if (::fstat(in.get(), &info) != 0) return failure("read source");
    if (!S_ISREG(info.st_mode)) return failure("read source", EINVAL);
    Result result;
    result.sourceSize = static_cast<uint64_t>(info.st_size);
    result.sourceModificationTime = nanoseconds(info.st_mtim);
    // Read-ahead's first window already covers a small file: the hint would only cost a call.
    if (info.st_size > kSequentialHintSize) ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    // Checked first so that a taken name costs no copy; the rename checks again.
    if (nameExists(folderFd, name)) return failed(result, "create destination", EEXIST);
    TemporaryGuard guard{folderFd, temporaryNameFor(name)};
    UniqueFd out(::openat(folderFd, guard.name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!out) {
        guard.keep = true; // not ours: it may be an earlier run's
        return failed(result, "create destination");
    }

    // Only a file system on a block device is trusted to know a file's size
    // exactly; over a network or FUSE the size may lag the data, and a copy
    // stopped there would pass for whole.
    const uint64_t stopAt = ::major(info.st_dev) != 0 ? result.sourceSize : 0;
    if (!copyContents(in.get(), out.get(), options, result, stopAt)) return result;

    struct stat after {};
    if (::fstat(in.get(), &after) != 0) return failed(result, "read source");
    if (static_cast<uint64_t>(after.st_size) != result.sourceSize || result.bytesCopied != result.sourceSize ||
        nanoseconds(after.st_mtim) != result.sourceModificationTime) {
        result.sourceChanged = true;
        return failed(result, "read source", EBUSY);
    }

    const struct timespec times[2] = {info.st_atim, info.st_mtim};
    if (::fchmod(out.get(), info.st_mode & 07777) != 0) return failed(result, "set permissions");
    if (::futimens(out.get(), times) != 0) return failed(result, "set timestamps");
    if (options.flush && ::fdatasync(out.get()) != 0) return failed(result, "flush");
    // Flushed pages only take room a card reader's read-ahead needs; every check of the copy
    // reads it back from the medium anyway.
    if (options.flush) ::posix_fadvise(out.get(), 0, 0, POSIX_FADV_DONTNEED);
    // A batched copy's write-back is left to the batch's one flush: started per
    // small file it cost a device round trip each (stills card 10 %, mixed card
    // 35 % slower to two local disks).
    struct stat made {};
    if (::fstat(out.get(), &made) != 0) return failed(result, "flush");
    const int fd = out.release();
    if (::close(fd) != 0 && errno != EINTR) return failed(result, "close");
    return finish(folderFd, guard, name, made, options, result);
}

UniqueFd FileCopy::openFolderBeneath(int rootFd, const std::string &relative, bool create)
{
    UniqueFd current(::fcntl(rootFd, F_DUPFD_CLOEXEC, 0));
    size_t start = 0;
    while (current && start < relative.size()) {
        size_t end = relative.find('/', start);
        if (end == std::string::npos) end = relative.size();
        const std::string part = relative.substr(start, end - start);
        start = end + 1;
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            errno = EINVAL;
            return UniqueFd();
        }
        if (create && ::mkdirat(current.get(), part.c_str(), 0777) != 0 && errno != EEXIST) return UniqueFd();
        current = UniqueFd(::openat(current.get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return current;
}

int FileCopy::removeTemporaryFiles(int folderFd)
{
    const int copy = ::fcntl(folderFd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) return -1;
    DIR *folder = ::fdopendir(copy);
    if (!folder) {
        ::close(copy);
        return -1;
    }
    int removed = 0;
    while (const dirent *entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        struct stat info {};
        if (::fstatat(folderFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (S_ISDIR(info.st_mode)) {
            UniqueFd below(::openat(folderFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            const int count = below ? removeTemporaryFiles(below.get()) : -1;
            if (count > 0) removed += count;
        } else if ((S_ISREG(info.st_mode) || S_ISLNK(info.st_mode)) && isTemporaryName(name) &&
                   ::unlinkat(folderFd, name.c_str(), 0) == 0) {
            ++removed;
        }
    }
    ::closedir(folder);
    return removed;
}

int FileCopy::removeTemporaryFiles(const std::string &folder)
{
    UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return fd ? removeTemporaryFiles(fd.get()) : -1;
}

} // namespace ferrydeck
