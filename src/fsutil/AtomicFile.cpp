#include "fsutil/AtomicFile.h"

#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ferrydeck::fsutil {

namespace {

bool isDirectory(const std::string &path)
{
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string parentOf(const std::string &path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool renameUnsupported(int error)
{
    return error == EINVAL || error == ENOTSUP || error == EPERM || error == ENOSYS || error == EXDEV;
}

// Moves the finished temporary to its name; `unsupported` tells a file system
// that offers no way to do it from a refusal.
bool moveIntoPlace(const std::string &temporary, const std::string &path, const ReplaceOptions &options,
                   bool &unsupported)
{
    if (options.replaceExisting) {
        if (::rename(temporary.c_str(), path.c_str()) == 0) return true;
        unsupported = renameUnsupported(errno);
        return false;
    }
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (!renameUnsupported(errno)) return false;
    // Without the no-replace rename a link still refuses a taken name.
    if (::link(temporary.c_str(), path.c_str()) == 0) {
        ::unlink(temporary.c_str());
        return true;
    }
    unsupported = renameUnsupported(errno);
    if (!unsupported || !options.checkThenRenameIfUnsupported) return false;
    struct stat existing {};
    if (::lstat(path.c_str(), &existing) == 0) {
        errno = EEXIST;
        return false;
    }
    unsupported = false;
    return ::rename(temporary.c_str(), path.c_str()) == 0;
}

bool writeInPlace(const std::string &path, std::string_view bytes, const ReplaceOptions &options)
{
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (options.replaceExisting ? O_TRUNC : O_EXCL);
    UniqueFd fd(::open(path.c_str(), flags, options.mode));
    if (!fd) return false;
    if (writeAll(fd.get(), bytes) && ::fsync(fd.get()) == 0 && ::close(fd.release()) == 0) return true;
    const int error = errno;
    // Only a file this call made is taken away again.
    if (!options.replaceExisting) ::unlink(path.c_str());
    errno = error;
    return false;
}

} // namespace

bool writeAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) {
            errno = EIO;
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

bool makePrivateFolders(const std::string &folder)
{
    if (folder.empty() || isDirectory(folder)) return true;
    const std::string parent = parentOf(folder);
    if (parent != folder && !makePrivateFolders(parent)) return false;
    return ::mkdir(folder.c_str(), 0700) == 0 || (errno == EEXIST && isDirectory(folder));
}

ReplaceResult replaceFileAtomically(const std::string &path, std::string_view bytes, const ReplaceOptions &options)
{
    std::string temporary = path + ".XXXXXX";
    UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!fd) return ReplaceResult::NoTemporary;
    const bool written = ::fchmod(fd.get(), options.mode) == 0 && writeAll(fd.get(), bytes) && ::fsync(fd.get()) == 0;
    int error = errno;
    const bool closed = ::close(fd.release()) == 0;
    if (written && !closed) error = errno;
    bool unsupported = false;
    const bool moved = written && closed && moveIntoPlace(temporary, path, options, unsupported);
    if (!moved) {
        if (written && closed) error = errno;
        ::unlink(temporary.c_str());
        if (unsupported && options.writeInPlaceIfRenameUnsupported)
            return writeInPlace(path, bytes, options) ? ReplaceResult::Replaced : ReplaceResult::Failed;
        errno = error;
        return ReplaceResult::Failed;
    }
    // The rename itself must reach the disk too.
    UniqueFd folder(::open(parentOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || ::fsync(folder.get()) != 0) return ReplaceResult::FolderNotFlushed;
    return ReplaceResult::Replaced;
}

} // namespace ferrydeck::fsutil
