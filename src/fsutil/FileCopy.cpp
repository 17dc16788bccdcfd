#include "fsutil/FileCopy.h"

#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
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

bool writeAll(int fd, const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (n == 0) {
            errno = EIO;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Copies until the source reports its end, so a file that grew or shrank
// since it was listed is copied as it is now; the caller compares sizes.
bool copyContents(int in, int out, const FileCopy::Options &options, Result &result)
{
    bool tryRange = options.useCopyFileRange;
    while (tryRange) {
        const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, 1u << 30, 0);
        if (n > 0) {
            result.bytesCopied += static_cast<uint64_t>(n);
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
        result = failure("copy");
        return false;
    }

    std::unique_ptr<char[]> buffer(new char[options.bufferSize]);
    for (;;) {
        const ssize_t n = ::read(in, buffer.get(), options.bufferSize);
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
            const uint64_t copied = result.bytesCopied;
            result = failure("read");
            result.bytesCopied = copied;
            return false;
        }
        if (!writeAll(out, buffer.get(), static_cast<size_t>(n))) {
            const uint64_t copied = result.bytesCopied;
            result = failure("write");
            result.bytesCopied = copied;
            return false;
        }
        result.bytesCopied += static_cast<uint64_t>(n);
    }
}

Result copySymbolicLink(const std::string &source, const std::string &destination, const struct stat &info)
{
    std::string target(static_cast<size_t>(info.st_size > 0 ? info.st_size : 255) + 1, '\0');
    const ssize_t n = ::readlink(source.c_str(), target.data(), target.size());
    if (n < 0) return failure("read link");
    target.resize(static_cast<size_t>(n));
    if (::symlink(target.c_str(), destination.c_str()) != 0) return failure("create link");
    const struct timespec times[2] = {info.st_atim, info.st_mtim};
    ::utimensat(AT_FDCWD, destination.c_str(), times, AT_SYMLINK_NOFOLLOW); // best effort, as cp -a
    Result result;
    result.bytesCopied = static_cast<uint64_t>(n);
    return result;
}

} // namespace

bool FileCopy::Result::dooms() const
{
    return error == ENOSPC || error == EROFS || error == EIO || error == EDQUOT;
}

std::string FileCopy::Result::describe() const
{
    if (ok()) return "no error";
    return std::string(step) + ": " + std::strerror(error);
}

Result FileCopy::copyFile(const std::string &source, const std::string &destination)
{
    return copyFile(source, destination, Options{});
}

Result FileCopy::copyFile(const std::string &source, const std::string &destination, const Options &options)
{
    struct stat info {};
    if (::lstat(source.c_str(), &info) != 0) return failure("read source");
    if (S_ISLNK(info.st_mode)) return copySymbolicLink(source, destination, info);
    // FIFOs, sockets and devices are refused before open, which could block on them.
    if (!S_ISREG(info.st_mode)) return failure("read source", EINVAL);

    UniqueFd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!in) return failure("open source");
    if (::fstat(in.get(), &info) != 0) return failure("read source");
    if (!S_ISREG(info.st_mode)) return failure("read source", EINVAL);
    ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    UniqueFd out(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!out) return failure("create destination");

    Result result;
    if (!copyContents(in.get(), out.get(), options, result)) return result;

    const struct timespec times[2] = {info.st_atim, info.st_mtim};
    if (::fchmod(out.get(), info.st_mode & 07777) != 0) return failure("set permissions");
    if (::futimens(out.get(), times) != 0) return failure("set timestamps");
    if (options.flush && ::fdatasync(out.get()) != 0) return failure("flush");
    const int fd = out.release();
    if (::close(fd) != 0 && errno != EINTR) return failure("close");
    return result;
}

} // namespace ferrydeck
