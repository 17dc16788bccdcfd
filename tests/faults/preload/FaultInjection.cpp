// LD_PRELOAD library that makes the copy of chosen files go wrong the way
// failing media do, for the end-to-end fault tests of ferrydeck-cli.
//
// Configured by the environment of the process it is loaded into:
//   FERRYDECK_FAULT          write-enospc | write-eio | read-eio | open-eacces |
//                            truncate-source | touch-source | grow-source |
//                            flip-byte | slow |
//                            count-reads (no fault: the bytes read from matching
//                            sources are added up and written at exit to
//                            FERRYDECK_FAULT_COUNT_FILE) | syncfs-eio |
//                            syncfs-enospc (syncfs of a matching folder fails
//                            once AFTER calls have passed)
//   FERRYDECK_FAULT_PATH     fnmatch pattern ("*" crosses "/") for the paths hit
//   FERRYDECK_FAULT_AFTER    bytes that go through before the fault (default 0)
//   FERRYDECK_FAULT_DELAY_MS pause per chunk for "slow" (default 20)
//   FERRYDECK_FAULT_NO_COPY_RANGE  "1": copy_file_range answers ENOSYS, so the
//                            read/write fallback of the copy is the one tested
//   FERRYDECK_FAULT_NO_NOREPLACE "1": renameat2 answers EINVAL, as file systems
//                            without RENAME_NOREPLACE do (FUSE exFAT, NTFS)
//   FERRYDECK_FAULT_NO_LINK  "1": linkat answers EPERM, as the FAT family does
//   FERRYDECK_FAULT_TRACE_FILE  appends one line per event, in the order they
//                            happen: "close PATH" (a matching file written),
//                            "syncfs PATH", "fsync PATH", "fdatasync PATH" (as
//                            the call starts, for any descriptor), "rename OLD
//                            NEW" (done), "read PATH" (a matching file opened
//                            read-only); fields separated by tabs
//   FERRYDECK_FAULT_PROCESS  program name the faults apply to (default
//                            ferrydeck-cli), so any program it starts reads
//                            the real bytes; its own content verification
//                            reads the copy read-only, which destination
//                            faults never touch, so it sees what was written
//
// Source faults (read-eio, open-eacces, truncate-source, touch-source: the
// source's time changes, its size does not; grow-source: its size grows, its
// time is put back) hit descriptors opened
// read-only on a matching path, destination faults (write-*, flip-byte, slow)
// those opened for writing, so one pattern such as "*/card/B.MOV" names both
// ends of one file's copy. A copy's temporary name (".B.MOV.ferrydeck-part")
// matches as its final name does.
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>

extern "C" char *program_invocation_short_name;

namespace {

// In the order of kFaultNames.
enum class Fault {
    None,
    WriteNoSpace,
    WriteIo,
    ReadIo,
    OpenDenied,
    TruncateSource,
    TouchSource,
    GrowSource,
    FlipByte,
    Slow,
    CountReads,
    SyncfsIo,
    SyncfsNoSpace
};
const char *const kFaultNames[] = {"",
                                   "write-enospc",
                                   "write-eio",
                                   "read-eio",
                                   "open-eacces",
                                   "truncate-source",
                                   "touch-source",
                                   "grow-source",
                                   "flip-byte",
                                   "slow",
                                   "count-reads",
                                   "syncfs-eio",
                                   "syncfs-enospc"};
static_assert(std::size(kFaultNames) == static_cast<size_t>(Fault::SyncfsNoSpace) + 1);

struct Config {
    Fault fault = Fault::None;
    const char *pattern = nullptr;
    uint64_t after = 0;
    long delayMs = 20;
    bool noCopyRange = false;
    bool noNoReplace = false;
    bool noLink = false;
    int traceFd = -1;
};

constexpr int kMaxFd = 4096;
constexpr size_t kChunk = 64 * 1024;

// One slot per descriptor; `bytes` counts what went through it. Plain
// atomics: the copy threads of a job each work on their own descriptors.
struct Tracked {
    std::atomic<bool> active{false};
    std::atomic<bool> faulted{false}; // the fault applies; otherwise only traced
    std::atomic<bool> writing{false};
    std::atomic<uint64_t> bytes{0};
    std::atomic<bool> flipped{false};
    char path[4096];
};

Tracked g_fds[kMaxFd];
// Guards the slots' paths. They are written and read through the C library's
// string functions, which a thread sanitizer in the process watches while this
// library's atomics are invisible to it: a lock it does see orders the threads
// that reuse one descriptor number (a card's members open and close at once).
std::mutex g_pathMutex;
std::atomic<uint64_t> g_bytesRead{0}; // of closed source descriptors, for count-reads
Config g_config;
std::atomic<bool> g_ready{false};
std::atomic<uint64_t> g_syncfsCalls{0};

template <typename T> T real(const char *name)
{
    return reinterpret_cast<T>(dlsym(RTLD_NEXT, name));
}

// The next definition of `function` past this library, typed as the C library declares it.
#define FERRYDECK_NEXT(function) real<decltype(&::function)>(#function)

Fault parseFault(const char *text)
{
    for (size_t i = 1; text && i < std::size(kFaultNames); ++i)
        if (std::strcmp(text, kFaultNames[i]) == 0) return static_cast<Fault>(i);
    return Fault::None;
}

__attribute__((constructor)) void configure()
{
    const char *process = std::getenv("FERRYDECK_FAULT_PROCESS");
    if (std::strcmp(program_invocation_short_name, process ? process : "ferrydeck-cli") != 0) return;
    g_config.fault = parseFault(std::getenv("FERRYDECK_FAULT"));
    g_config.pattern = std::getenv("FERRYDECK_FAULT_PATH");
    if (const char *after = std::getenv("FERRYDECK_FAULT_AFTER")) g_config.after = std::strtoull(after, nullptr, 10);
    if (const char *delay = std::getenv("FERRYDECK_FAULT_DELAY_MS")) g_config.delayMs = std::atol(delay);
    const auto flag = [](const char *name) {
        const char *value = std::getenv(name);
        return value && std::strcmp(value, "1") == 0;
    };
    g_config.noCopyRange = flag("FERRYDECK_FAULT_NO_COPY_RANGE");
    g_config.noNoReplace = flag("FERRYDECK_FAULT_NO_NOREPLACE");
    g_config.noLink = flag("FERRYDECK_FAULT_NO_LINK");
    if (const char *trace = std::getenv("FERRYDECK_FAULT_TRACE_FILE"))
        g_config.traceFd = FERRYDECK_NEXT(open)(trace, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    g_ready = g_config.fault != Fault::None || g_config.noCopyRange || g_config.noNoReplace || g_config.noLink ||
              g_config.traceFd >= 0;
}

__attribute__((destructor)) void reportCount()
{
    const char *path = std::getenv("FERRYDECK_FAULT_COUNT_FILE");
    if (g_config.fault != Fault::CountReads || !path) return;
    uint64_t total = g_bytesRead;
    for (Tracked &slot : g_fds)
        if (slot.active) total += slot.bytes;
    if (FILE *out = std::fopen(path, "w")) {
        std::fprintf(out, "%llu\n", static_cast<unsigned long long>(total));
        std::fclose(out);
    }
}

bool changesSource(Fault fault)
{
    return fault == Fault::TruncateSource || fault == Fault::TouchSource || fault == Fault::GrowSource;
}

bool isSourceFault(Fault fault)
{
    return fault == Fault::ReadIo || fault == Fault::OpenDenied || changesSource(fault) || fault == Fault::CountReads;
}

bool matches(const char *path)
{
    if (!g_config.pattern || !path) return false;
    if (fnmatch(g_config.pattern, path, 0) == 0) return true;
    // "/dir/.NAME.ferrydeck-part" is matched as "/dir/NAME".
    static const char suffix[] = ".ferrydeck-part";
    const char *slash = std::strrchr(path, '/');
    const char *name = slash ? slash + 1 : path;
    const size_t length = std::strlen(name), suffixLength = sizeof suffix - 1;
    if (name[0] != '.' || length <= 1 + suffixLength || std::strcmp(name + length - suffixLength, suffix) != 0)
        return false;
    char final[4096];
    const int prefix = static_cast<int>(name - path);
    std::snprintf(final, sizeof final, "%.*s%.*s", prefix, path, static_cast<int>(length - 1 - suffixLength), name + 1);
    return fnmatch(g_config.pattern, final, 0) == 0;
}

// The path a descriptor was opened by.
bool pathOf(int fd, char *out, size_t size)
{
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, out, size - 1);
    if (n < 0) return false;
    out[n] = '\0';
    return true;
}

// The absolute form of an openat() path, for the pattern.
bool resolve(int dirfd, const char *path, char *out, size_t size)
{
    if (!path) return false;
    if (path[0] == '/' || dirfd == AT_FDCWD) {
        if (path[0] == '/') return std::snprintf(out, size, "%s", path) < static_cast<int>(size);
        char cwd[4096];
        if (!getcwd(cwd, sizeof cwd)) return false;
        return std::snprintf(out, size, "%s/%s", cwd, path) < static_cast<int>(size);
    }
    char dir[4096];
    return pathOf(dirfd, dir, sizeof dir) && std::snprintf(out, size, "%s/%s", dir, path) < static_cast<int>(size);
}

// One line, one write: O_APPEND keeps the lines of threads whole and in order.
void trace(const char *event, const char *path, const char *second = nullptr)
{
    if (g_config.traceFd < 0) return;
    char line[8300];
    const int n = second ? std::snprintf(line, sizeof line, "%s\t%s\t%s\n", event, path, second)
                         : std::snprintf(line, sizeof line, "%s\t%s\n", event, path);
    static const auto next = FERRYDECK_NEXT(write);
    if (n > 0)
        next(g_config.traceFd, line, static_cast<size_t>(n) < sizeof line ? static_cast<size_t>(n) : sizeof line);
}

bool wantsFault(const char *absolute, int flags)
{
    if (!g_ready || g_config.fault == Fault::None || g_config.fault == Fault::SyncfsIo ||
        g_config.fault == Fault::SyncfsNoSpace || !matches(absolute))
        return false;
    const bool writing = (flags & O_ACCMODE) != O_RDONLY;
    return isSourceFault(g_config.fault) ? !writing : writing;
}

void track(int fd, const char *absolute, bool faulted, bool writing)
{
    if (fd < 0 || fd >= kMaxFd) return;
    Tracked &slot = g_fds[fd];
    const std::lock_guard lock(g_pathMutex);
    slot.active.exchange(false);
    std::snprintf(slot.path, sizeof slot.path, "%s", absolute);
    slot.bytes = 0;
    slot.flipped = false;
    slot.faulted = faulted;
    slot.writing = writing;
    slot.active = true;
}

Tracked *tracked(int fd)
{
    if (!g_ready || fd < 0 || fd >= kMaxFd || !g_fds[fd].active || !g_fds[fd].faulted) return nullptr;
    return &g_fds[fd];
}

void slowDown()
{
    const struct timespec delay = {g_config.delayMs / 1000, (g_config.delayMs % 1000) * 1000000L};
    nanosleep(&delay, nullptr);
}

// The source changes under the reader: cut short, grown with its old time
// put back, or given a new time at the same size.
void changeSource(Tracked &slot)
{
    if (g_config.fault == Fault::TruncateSource) {
        truncate(slot.path, static_cast<off_t>(g_config.after));
    } else if (g_config.fault == Fault::GrowSource) {
        struct stat before {};
        if (stat(slot.path, &before) == 0 && truncate(slot.path, before.st_size + 4096) == 0) {
            const struct timespec times[2] = {{0, UTIME_OMIT}, before.st_mtim};
            utimensat(AT_FDCWD, slot.path, times, 0);
        }
    } else {
        const struct timespec times[2] = {{0, UTIME_OMIT}, {1234567890, 0}};
        utimensat(AT_FDCWD, slot.path, times, 0);
    }
    slot.active = false;
}

// How many of `wanted` bytes may still pass before the fault; 0 means fail now.
size_t allowance(const Tracked &slot, size_t wanted)
{
    const uint64_t done = slot.bytes;
    if (done >= g_config.after) return 0;
    const uint64_t left = g_config.after - done;
    return wanted < left ? wanted : static_cast<size_t>(left);
}

enum class Passage { Limited, Failed, SourceChanged };

// Limits `size` to what may still pass before the fault. At the fault the
// call fails with the fault's errno, or, for the source faults that rewrite
// the file under the reader (as a camera or another program might), the
// source changes and the call goes on whole.
Passage passage(Tracked &slot, size_t &size)
{
    if (const size_t allowed = allowance(slot, size)) {
        size = allowed;
        return Passage::Limited;
    }
    if (changesSource(g_config.fault)) {
        changeSource(slot);
        return Passage::SourceChanged;
    }
    errno = g_config.fault == Fault::WriteNoSpace ? ENOSPC : EIO;
    return Passage::Failed;
}

int openTracked(int dirfd, const char *path, int flags, mode_t mode, bool at)
{
    char absolute[4096];
    const bool resolved = g_ready && resolve(dirfd, path, absolute, sizeof absolute);
    const bool fault = resolved && wantsFault(absolute, flags);
    const bool traced = resolved && g_config.traceFd >= 0 && matches(absolute);
    if (fault && g_config.fault == Fault::OpenDenied) {
        errno = EACCES;
        return -1;
    }
    static const auto nextOpenat = FERRYDECK_NEXT(openat);
    static const auto nextOpen = FERRYDECK_NEXT(open);
    const int fd = at ? nextOpenat(dirfd, path, flags, mode) : nextOpen(path, flags, mode);
    struct stat opened {};
    // Folders are read with getdents and closed inside closedir, past close()
    // here; only files are followed.
    const bool file = (fault || traced) && fd >= 0 && fstat(fd, &opened) == 0 && !S_ISDIR(opened.st_mode);
    const bool writing = (flags & O_ACCMODE) != O_RDONLY;
    if (file && traced && !writing) trace("read", absolute);
    if (file && (fault || writing)) track(fd, absolute, fault, writing);
    // A descriptor closed inside libc (closedir, fclose) never passed through
    // close() here: its number, reused, must not inherit the old slot.
    else if (fd >= 0 && fd < kMaxFd) g_fds[fd].active.exchange(false);
    return fd;
}

mode_t modeArgument(int flags, va_list args)
{
    const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return hasMode ? static_cast<mode_t>(va_arg(args, int)) : 0;
}

} // namespace

// The source faults of read, pread and pread64 alike: `next` does the real read.
template <typename Next> ssize_t faultedRead(int fd, size_t size, Next next)
{
    Tracked *slot = tracked(fd);
    if (!slot) return next(size);
    if (g_config.fault == Fault::ReadIo || changesSource(g_config.fault)) {
        const Passage passed = passage(*slot, size);
        if (passed == Passage::Failed) return -1;
        if (passed == Passage::SourceChanged) return next(size);
    }
    const ssize_t n = next(size);
    if (n > 0) slot->bytes += static_cast<uint64_t>(n);
    return n;
}

extern "C" {

// open, open64, openat and openat64 differ only in their directory argument.
#define FERRYDECK_OPEN_WRAPPER(name, params, dirfd, at)                                                                \
    int name params                                                                                                    \
    {                                                                                                                  \
        va_list args;                                                                                                  \
        va_start(args, flags);                                                                                         \
        const mode_t mode = modeArgument(flags, args);                                                                 \
        va_end(args);                                                                                                  \
        return openTracked(dirfd, path, flags, mode, at);                                                              \
    }
FERRYDECK_OPEN_WRAPPER(open, (const char *path, int flags, ...), AT_FDCWD, false)
FERRYDECK_OPEN_WRAPPER(open64, (const char *path, int flags, ...), AT_FDCWD, false)
FERRYDECK_OPEN_WRAPPER(openat, (int dirfd, const char *path, int flags, ...), dirfd, true)
FERRYDECK_OPEN_WRAPPER(openat64, (int dirfd, const char *path, int flags, ...), dirfd, true)

int close(int fd)
{
    static const auto next = FERRYDECK_NEXT(close);
    if (fd < 0 || fd >= kMaxFd || !g_fds[fd].active) return next(fd);
    Tracked &slot = g_fds[fd];
    char path[sizeof slot.path];
    bool written = false;
    {
        const std::lock_guard lock(g_pathMutex);
        if (slot.active.exchange(false)) {
            if (slot.faulted) g_bytesRead += slot.bytes;
            std::memcpy(path, slot.path, sizeof path);
            written = slot.writing;
        }
    }
    const int result = next(fd);
    if (written) trace("close", path);
    return result;
}

ssize_t read(int fd, void *buffer, size_t size)
{
    static const auto next = FERRYDECK_NEXT(read);
    return faultedRead(fd, size, [&](size_t allowed) { return next(fd, buffer, allowed); });
}

ssize_t pread(int fd, void *buffer, size_t size, off_t offset)
{
    static const auto next = FERRYDECK_NEXT(pread);
    return faultedRead(fd, size, [&](size_t allowed) { return next(fd, buffer, allowed, offset); });
}

ssize_t pread64(int fd, void *buffer, size_t size, off64_t offset)
{
    static const auto next = FERRYDECK_NEXT(pread64);
    return faultedRead(fd, size, [&](size_t allowed) { return next(fd, buffer, allowed, offset); });
}

ssize_t write(int fd, const void *buffer, size_t size)
{
    static const auto next = FERRYDECK_NEXT(write);
    Tracked *slot = tracked(fd);
    if (!slot) return next(fd, buffer, size);
    switch (g_config.fault) {
    case Fault::WriteNoSpace:
    case Fault::WriteIo:
        if (passage(*slot, size) == Passage::Failed) return -1;
        break;
    case Fault::FlipByte: {
        const uint64_t at = slot->bytes;
        if (!slot->flipped && g_config.after >= at && g_config.after < at + size) {
            // The caller's buffer is const: write a copy with the one byte changed.
            // A byte past what the copy holds is flipped by a later write: this one is cut short.
            static thread_local char copy[kChunk];
            if (size > sizeof copy) size = sizeof copy;
            if (g_config.after - at < size) {
                std::memcpy(copy, buffer, size);
                copy[g_config.after - at] ^= 0x20;
                slot->flipped = true;
                buffer = copy;
            }
        }
        break;
    }
    case Fault::Slow:
        if (size > kChunk) size = kChunk;
        slowDown();
        break;
    default:
        break;
    }
    const ssize_t n = next(fd, buffer, size);
    if (n > 0) slot->bytes += static_cast<uint64_t>(n);
    return n;
}

ssize_t copy_file_range(int in, off64_t *inOffset, int out, off64_t *outOffset, size_t size, unsigned flags)
{
    static const auto next = FERRYDECK_NEXT(copy_file_range);
    if (g_ready && g_config.noCopyRange) {
        errno = ENOSYS;
        return -1;
    }
    Tracked *source = tracked(in);
    Tracked *destination = tracked(out);
    if (!source && !destination) return next(in, inOffset, out, outOffset, size, flags);
    // In-kernel copies cannot be corrupted on the way, so a flipped byte goes
    // through read and write while still answering as copy_file_range.
    if (destination && g_config.fault == Fault::FlipByte && !inOffset && !outOffset) {
        static thread_local char buffer[kChunk];
        const ssize_t n = read(in, buffer, size < sizeof buffer ? size : sizeof buffer);
        if (n <= 0) return n;
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = write(out, buffer + done, static_cast<size_t>(n - done));
            if (w < 0) return -1;
            done += w;
        }
        return n;
    }
    Tracked *slot = source ? source : destination;
    if (g_config.fault == Fault::Slow) {
        if (size > kChunk) size = kChunk;
        slowDown();
    } else if (g_config.fault != Fault::FlipByte && g_config.fault != Fault::CountReads) {
        const Passage passed = passage(*slot, size);
        if (passed == Passage::Failed) return -1;
        if (passed == Passage::SourceChanged) return next(in, inOffset, out, outOffset, size, flags);
    }
    const ssize_t n = next(in, inOffset, out, outOffset, size, flags);
    if (n > 0) slot->bytes += static_cast<uint64_t>(n);
    return n;
}
} // extern "C"

namespace {

void traceRename(int olddirfd, const char *oldpath, int newdirfd, const char *newpath)
{
    char from[4096], to[4096];
    if (g_config.traceFd < 0 || !resolve(olddirfd, oldpath, from, sizeof from) ||
        !resolve(newdirfd, newpath, to, sizeof to) || !matches(to))
        return;
    trace("rename", from, to);
}

int traceFlush(const char *name, int fd)
{
    char path[4096];
    if (g_config.traceFd >= 0 && pathOf(fd, path, sizeof path)) trace(name, path);
    static const auto next = real<int (*)(int)>(name);
    return next(fd);
}

} // namespace

extern "C" {

int renameat2(int olddirfd, const char *oldpath, int newdirfd, const char *newpath, unsigned flags)
{
    static const auto next = FERRYDECK_NEXT(renameat2);
    if (g_ready && g_config.noNoReplace && (flags & RENAME_NOREPLACE) != 0) {
        errno = EINVAL;
        return -1;
    }
    const int result = next(olddirfd, oldpath, newdirfd, newpath, flags);
    if (result == 0) traceRename(olddirfd, oldpath, newdirfd, newpath);
    return result;
}

int renameat(int olddirfd, const char *oldpath, int newdirfd, const char *newpath)
{
    static const auto next = FERRYDECK_NEXT(renameat);
    const int result = next(olddirfd, oldpath, newdirfd, newpath);
    if (result == 0) traceRename(olddirfd, oldpath, newdirfd, newpath);
    return result;
}

int fsync(int fd)
{
    return traceFlush("fsync", fd);
}

int fdatasync(int fd)
{
    return traceFlush("fdatasync", fd);
}

int syncfs(int fd)
{
    char path[4096];
    if ((g_config.fault == Fault::SyncfsIo || g_config.fault == Fault::SyncfsNoSpace) &&
        pathOf(fd, path, sizeof path) && matches(path) && g_syncfsCalls++ >= g_config.after) {
        errno = g_config.fault == Fault::SyncfsIo ? EIO : ENOSPC;
        return -1;
    }
    return traceFlush("syncfs", fd);
}

int linkat(int olddirfd, const char *oldpath, int newdirfd, const char *newpath, int flags)
{
    static const auto next = FERRYDECK_NEXT(linkat);
    if (g_ready && g_config.noLink) {
        errno = EPERM;
        return -1;
    }
    return next(olddirfd, oldpath, newdirfd, newpath, flags);
}

} // extern "C"
