#include "fsutil/FileComparison.h"

#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>

namespace ferrydeck {

namespace {

using Outcome = FileComparison::Outcome;

// Large enough to keep the disk streaming, and sized down for small files so
// that a card of photos does not allocate a big block per file.
constexpr size_t kChunk = size_t{256} << 10;

uint64_t newlines(const char *data, size_t size)
{
    return static_cast<uint64_t>(std::count(data, data + size, '\n'));
}

Outcome trouble(const std::string &name, int error, std::string &report)
{
    report = "cmp: " + name + ": " + std::strerror(error) + "\n";
    return Outcome::Trouble;
}

std::string numbered(const char *format, const std::string &a, const std::string &b, uint64_t x, uint64_t y)
{
    const int length = std::snprintf(nullptr, 0, format, a.c_str(), b.c_str(), x, y);
    std::string text(static_cast<size_t>(length > 0 ? length : 0), '\0');
    std::snprintf(text.data(), text.size() + 1, format, a.c_str(), b.c_str(), x, y);
    return text;
}

} // namespace

Outcome FileComparison::compare(const std::string &first, const std::string &second, std::string &report,
                                const SourceReader &readFirst)
{
    report.clear();
    const std::string *names[2] = {&first, &second};
    UniqueFd fds[2];
    struct stat info[2]{};
    for (int i = 0; i < 2; ++i) {
        // Links are followed, as cmp follows them.
        const int fd = ::open(names[i]->c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return trouble(*names[i], errno, report);
        fds[i].reset(fd);
        if (::fstat(fd, &info[i]) != 0) return trouble(*names[i], errno, report);
    }
    if (info[0].st_dev == info[1].st_dev && info[0].st_ino == info[1].st_ino) return Outcome::Same;
    for (const UniqueFd &fd : fds)
        ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    const auto largest = static_cast<uint64_t>(std::max<off_t>(std::max(info[0].st_size, info[1].st_size), 0));
    const size_t chunk = largest < kChunk ? static_cast<size_t>(largest) + 1 : kChunk;
    std::unique_ptr<char[]> buffers[2] = {std::make_unique<char[]>(chunk), std::make_unique<char[]>(chunk)};

    uint64_t offset = 0, lines = 0;
    char last = '\n';
    for (;;) {
        ssize_t got[2];
        for (int i = 0; i < 2; ++i) {
            // Both files advance by the same amount, so one offset serves both.
            got[i] = i == 0 && readFirst ? readFirst(fds[i].get(), buffers[i].get(), chunk, offset)
                                         : preadFully(fds[i].get(), buffers[i].get(), chunk, offset);
            if (got[i] < 0) return trouble(*names[i], errno, report);
        }
        const auto common = static_cast<size_t>(std::min(got[0], got[1]));
        // The copy is read once: what has been compared only takes room from the source's read-ahead.
        ::posix_fadvise(fds[1].get(), static_cast<off_t>(offset), static_cast<off_t>(got[1]), POSIX_FADV_DONTNEED);
        const char *a = buffers[0].get();
        const char *b = buffers[1].get();
        if (std::memcmp(a, b, common) != 0) {
            const size_t at = static_cast<size_t>(std::mismatch(a, a + common, b).first - a);
            report = numbered("%s %s differ: byte %" PRIu64 ", line %" PRIu64 "\n", first, second, offset + at + 1,
                              lines + newlines(a, at) + 1);
            return Outcome::Differ;
        }
        lines += newlines(a, common);
        offset += common;
        if (common > 0) last = a[common - 1];
        if (got[0] == got[1]) {
            if (got[0] == 0) return Outcome::Same;
            continue;
        }
        // The shorter file ended where the other goes on.
        const std::string &shorter = got[0] < got[1] ? first : second;
        if (offset == 0) {
            report = "cmp: EOF on " + shorter + " which is empty\n";
        } else if (last == '\n') {
            report =
                numbered("cmp: EOF on %s%s after byte %" PRIu64 ", line %" PRIu64 "\n", shorter, "", offset, lines);
        } else {
            report = numbered("cmp: EOF on %s%s after byte %" PRIu64 ", in line %" PRIu64 "\n", shorter, "", offset,
                              lines + 1);
        }
        return Outcome::Differ;
    }
}

} // namespace ferrydeck
