#include "engine/OffloadJournal.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/FileUtilities.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

namespace ferrydeck {

namespace {

constexpr std::string_view kMagic = "ferrydeck-journal 1";

std::string escaped(const std::string &text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || c == '%') {
            char code[4];
            std::snprintf(code, sizeof code, "%%%02X", byte);
            out += code;
        } else {
            out += c;
        }
    }
    return out;
}

std::optional<std::string> unescaped(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        unsigned value = 0;
        if (i + 2 >= text.size()) return std::nullopt;
        const auto [end, error] = std::from_chars(text.data() + i + 1, text.data() + i + 3, value, 16);
        if (error != std::errc() || end != text.data() + i + 3) return std::nullopt;
        out += static_cast<char>(value);
        i += 2;
    }
    return out;
}

std::vector<std::string_view> fields(std::string_view line)
{
    std::vector<std::string_view> out;
    size_t start = 0;
    for (size_t tab; (tab = line.find('\t', start)) != std::string_view::npos; start = tab + 1)
        out.push_back(line.substr(start, tab - start));
    out.push_back(line.substr(start));
    return out;
}

template <typename T> bool number(std::string_view text, T &value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool readAll(int fd, std::string &text)
{
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        text.append(buffer, static_cast<size_t>(n));
    }
}

} // namespace

std::string OffloadJournal::headerLine(const std::string &source, const std::string &method)
{
    return std::string(kMagic) + "\t" + escaped(source) + "\t" + escaped(method) + "\n";
}

std::string OffloadJournal::entryLine(const Entry &entry)
{
    return escaped(entry.path) + "\t" + std::to_string(entry.size) + "\t" + std::to_string(entry.modificationTime) +
           "\t" + (entry.hash.empty() ? std::string("-") : escaped(entry.hash)) + "\t" +
           std::to_string(entry.verifiedAt) + "\n";
}

std::optional<OffloadJournal::Contents> OffloadJournal::parse(std::string_view text, std::string &error)
{
    // Whatever follows the last line break was cut off mid-write.
    text = text.substr(0, text.rfind('\n') == std::string_view::npos ? 0 : text.rfind('\n') + 1);
    const size_t headerEnd = text.find('\n');
    if (headerEnd == std::string_view::npos) {
        error = "it is empty or cut off before its first line";
        return std::nullopt;
    }
    const std::vector<std::string_view> header = fields(text.substr(0, headerEnd));
    Contents contents;
    std::optional<std::string> source, method;
    if (header.size() != 3 || header[0] != kMagic || !(source = unescaped(header[1])) ||
        !(method = unescaped(header[2]))) {
        error = "it is not an offload journal this version can read";
        return std::nullopt;
    }
    contents.source = *source;
    contents.method = *method;
    for (size_t start = headerEnd + 1; start < text.size();) {
        const size_t end = text.find('\n', start);
        const std::vector<std::string_view> parts = fields(text.substr(start, end - start));
        start = end + 1;
        Entry entry;
        std::optional<std::string> path, hash;
        // A damaged line only costs its file a fresh copy.
        if (parts.size() != 5 || !(path = unescaped(parts[0])) || path->empty() || !number(parts[1], entry.size) ||
            !number(parts[2], entry.modificationTime) || !(hash = unescaped(parts[3])) ||
            !number(parts[4], entry.verifiedAt))
            continue;
        entry.path = *path;
        entry.hash = *hash == "-" ? std::string() : *hash;
        contents.entries[entry.path] = std::move(entry);
    }
    return contents;
}

std::optional<OffloadJournal::Contents> OffloadJournal::read(int folderFd, std::string &error)
{
    const UniqueFd file(::openat(folderFd, kFileName, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::string text;
    if (!file || !readAll(file.get(), text)) {
        error = errno == ENOENT ? "it has no journal of an interrupted offload"
                                : std::string("its journal cannot be read: ") + std::strerror(errno);
        return std::nullopt;
    }
    return parse(text, error);
}

bool OffloadJournal::open(int folderFd, const std::string &source, const std::string &method, bool resume,
                          std::string &error)
{
    std::lock_guard lock(m_lock);
    const int flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | (resume ? 0 : O_CREAT | O_TRUNC);
    m_file = UniqueFd(::openat(folderFd, kFileName, flags, 0644));
    if (m_file && !resume &&
        (!fsutil::writeAll(m_file.get(), headerLine(source, method)) || ::fdatasync(m_file.get()) != 0))
        m_file = UniqueFd();
    if (!m_file) error = std::strerror(errno);
    m_lastFlush = std::chrono::steady_clock::now();
    return static_cast<bool>(m_file);
}

void OffloadJournal::append(const Entry &entry)
{
    std::lock_guard lock(m_lock);
    if (!m_file) return;
    // A line that cannot be written leaves its file to be copied again by a
    // rerun; the copy itself is not in doubt.
    if (!fsutil::writeAll(m_file.get(), entryLine(entry))) return;
    m_dirty = true;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastFlush >= kFlushEvery) {
        ::fdatasync(m_file.get());
        m_dirty = false;
        m_lastFlush = now;
    }
}

void OffloadJournal::close()
{
    std::lock_guard lock(m_lock);
    if (m_file && m_dirty) ::fdatasync(m_file.get());
    m_file = UniqueFd();
    m_dirty = false;
}

void OffloadJournal::remove(int folderFd)
{
    close();
    ::unlinkat(folderFd, kFileName, 0);
}

bool unchangedAtSource(const std::string &source, const OffloadJournal::Entry &entry)
{
    struct stat info {};
    if (::lstat((source + "/" + entry.path).c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    const int64_t time = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    return static_cast<uint64_t>(info.st_size) == entry.size && time == entry.modificationTime;
}

ResumePlan planResume(const std::string &wanted, const std::string &source, const std::string &method)
{
    const std::string parent = path::parent(wanted);
    const std::string name = path::lastComponent(wanted);
    // The latest run made the highest-numbered folder.
    int latest = 0;
    std::vector<std::string> names;
    path::listDirectory(parent, names);
    for (const std::string &entry : names) {
        const std::string suffix = entry.starts_with(name + "-") ? entry.substr(name.size() + 1) : std::string();
        int counter = 1;
        if (entry != name &&
            (!number(std::string_view(suffix), counter) || std::to_string(counter) != suffix || counter < 2))
            continue;
        latest = std::max(latest, counter);
    }
    if (latest == 0) return ResumePlan{{}, {}, {}, "there is no earlier copy of this source in " + parent};
    return planResumeInto(latest == 1 ? wanted : wanted + "-" + std::to_string(latest), source, method);
}

ResumePlan planResumeInto(const std::string &folder, const std::string &source, const std::string &method)
{
    ResumePlan plan;
    plan.folder = folder;
    auto fd = std::make_shared<UniqueFd>(::open(plan.folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!*fd) {
        plan.refusal = plan.folder + " cannot be opened: " + std::strerror(errno);
        return plan;
    }
    std::string error;
    std::optional<OffloadJournal::Contents> journal = OffloadJournal::read(fd->get(), error);
    if (!journal) {
        plan.refusal = plan.folder + ": " + error;
        return plan;
    }
    if (journal->source != source) {
        plan.refusal = plan.folder + " holds a copy of another source (" + journal->source + ")";
    } else if (journal->method != method) {
        plan.refusal = plan.folder + " was verified by " + journal->method + ", not " + method;
    } else if (!journal->entries.empty()) {
        bool any = false;
        for (const auto &[path, entry] : journal->entries)
            if ((any = unchangedAtSource(source, entry))) break;
        // Another card mounted at the same place shares no file with it.
        if (!any)
            plan.refusal = plan.folder + "'s journal does not match the source: none of its " +
                           std::to_string(journal->entries.size()) + " files is on the source as it was copied";
    }
    if (!plan.refusal.empty()) return plan;
    plan.folderFd = std::move(fd);
    plan.journal = std::make_shared<const OffloadJournal::Contents>(std::move(*journal));
    return plan;
}

} // namespace ferrydeck
