#include "fsutil/FileUtilities.h"

#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileComparison.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FsHelpers.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace ferrydeck {

bool FileUtilities::compareFileSize(const std::string &source, const std::string &destination)
{
    struct stat copy {};
    return ::lstat(destination.c_str(), &copy) == 0 && compareFileSize(source, static_cast<uint64_t>(copy.st_size));
}

bool FileUtilities::compareFileSize(const std::string &source, uint64_t destinationSize)
{
    struct stat info {};
    return ::lstat(source.c_str(), &info) == 0 && static_cast<uint64_t>(info.st_size) == destinationSize;
}

std::string FileUtilities::compareCommandLine(const std::string &source, const std::string &destination)
{
    return "cmp " + escapeCharachters(source) + " " + escapeCharachters(destination);
}

namespace {

std::optional<std::string> linkTarget(const std::string &path)
{
    char target[PATH_MAX];
    const ssize_t n = ::readlink(path.c_str(), target, sizeof target);
    if (n < 0 || static_cast<size_t>(n) >= sizeof target) return std::nullopt;
    return std::string(target, static_cast<size_t>(n));
}

} // namespace

bool FileUtilities::compareFileContents(const std::string &source, const std::string &destination,
                                        const SourceReader &readSource)
{
    // A link is copied as a link, so what it holds is its target text; cmp
    // would follow it instead, and fail on a loop or a folder.
    struct stat info {};
    if (::lstat(source.c_str(), &info) == 0 && S_ISLNK(info.st_mode)) {
        const auto target = linkTarget(source);
        return target && linkTarget(destination) == target;
    }
    // Without this the comparison could read the copy back from memory and
    // never see what actually reached the medium.
    if (UniqueFd fd(::open(destination.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)); fd) {
        ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_DONTNEED);
    }
    // cmp's own comparison, done here: starting one program per file cost more
    // than comparing a small file. Its report goes to standard error, where
    // the program's went, so that standard output stays machine-readable.
    std::string report;
    const FileComparison::Outcome outcome = FileComparison::compare(source, destination, report, readSource);
    if (!report.empty()) std::fputs(report.c_str(), stderr);
    return outcome == FileComparison::Outcome::Same;
}

uint64_t FileUtilities::findSizeOfFile(const std::string &path)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return 0;
    return static_cast<uint64_t>(info.st_size);
}

bool FileUtilities::unlockFile(const std::string &path)
{
    return fshelpers::unlockTree(path, escapeFilePathCharachters(path));
}

double FileUtilities::convertByteSizeToMegaBytes(int64_t bytes)
{
    return static_cast<double>(bytes) / 1000000.0;
}

double FileUtilities::rawSizeToMegaBytes(uint64_t bytes)
{
    return static_cast<double>(bytes) / 1000000.0;
}

bool FileUtilities::runAppleScriptCommand(const std::string &)
{
    return false;
}

void FileUtilities::killProcessesWithName(const std::string &) {}

std::string FileUtilities::escapeCharachters(const std::string &text)
{
    return fshelpers::escapeWithSet(text, kShellSetB);
}

std::string FileUtilities::escapeFilePathCharachters(const std::string &path)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return escapeCharachters(path);
    const std::string last = path::replaceAll(escapeCharachters(path::lastComponent(path)), "/", ":");
    return escapeCharachters(path::parent(path)) + "/" + last;
}

std::string FileUtilities::removeInvalidFileCharacters(const std::string &text)
{
    return fshelpers::removeSet(text, DirectoryUtilities::kShellSetA);
}

namespace {

struct SplitName {
    std::string parent, base, extension;
};

// A leading dot starts a hidden name, not an extension.
SplitName splitName(const std::string &filePath)
{
    SplitName split{path::parent(filePath), path::lastComponent(filePath), ""};
    const size_t dot = split.base.rfind('.');
    if (dot != std::string::npos && dot != 0) {
        split.extension = split.base.substr(dot + 1);
        split.base.resize(dot);
    }
    return split;
}

} // namespace

std::string FileUtilities::ensureFilePathDoesNotExist(const std::string &wanted)
{
    const SplitName n = splitName(wanted);
    // The dot is always written, even for a name without extension: intended.
    std::string candidate = stringWithFormat("%s/%s.%s", n.parent.c_str(), n.base.c_str(), n.extension.c_str());
    for (int counter = 2; path::exists(candidate); ++counter) {
        candidate = stringWithFormat("%s/%s-%d.%s", n.parent.c_str(), n.base.c_str(), counter, n.extension.c_str());
    }
    return candidate;
}

bool FileUtilities::copyFileWithConsecutiveNumbering(const std::string &file, const std::string &directory)
{
    const SplitName n = splitName(file);
    std::string candidate = stringWithFormat("%s/%s.%s", directory.c_str(), n.base.c_str(), n.extension.c_str());
    for (int counter = 1; path::exists(candidate); ++counter) {
        candidate = stringWithFormat("%s/%s(%d).%s", directory.c_str(), n.base.c_str(), counter, n.extension.c_str());
    }
    return FileCopy::copyFile(file, candidate).ok();
}

std::string FileUtilities::removeNonNumericsFromString(const std::string &text, bool keepDecimal)
{
    // Each UTF-16 unit is narrowed to its low byte before the test, and that
    // byte is what is kept: U+0130 counts as "0". Kept on purpose.
    std::string digits;
    auto consider = [&](uint32_t unit) {
        const char c = static_cast<char>(unit & 0xFF);
        if ((c >= '0' && c <= '9') || (keepDecimal && c == '.')) digits.push_back(c);
    };
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.data());
    const size_t size = text.size();
    for (size_t i = 0; i < size;) {
        const unsigned char lead = bytes[i];
        int length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
        bool valid = length > 0 && i + static_cast<size_t>(length) <= size;
        for (int k = 1; valid && k < length; ++k)
            valid = (bytes[i + static_cast<size_t>(k)] & 0xC0) == 0x80;
        if (!valid) { // a stray byte stands for itself
            consider(lead);
            ++i;
            continue;
        }
        uint32_t cp = length == 1 ? lead : lead & (0x7Fu >> length);
        for (int k = 1; k < length; ++k)
            cp = (cp << 6) | (bytes[i + static_cast<size_t>(k)] & 0x3Fu);
        if (cp > 0xFFFF) {
            cp -= 0x10000;
            consider(0xD800 + (cp >> 10));
            consider(0xDC00 + (cp & 0x3FF));
        } else {
            consider(cp);
        }
        i += static_cast<size_t>(length);
    }
    return digits;
}

std::optional<std::string> FileUtilities::findFileMatchingPattern(const std::string &fragment,
                                                                  const std::string &directory)
{
    std::vector<std::string> names;
    if (!path::listDirectory(directory, names)) return std::nullopt;
    for (const std::string &name : names) {
        if (name.find(fragment) != std::string::npos) return path::join(directory, name);
    }
    return std::nullopt;
}

std::optional<std::string> FileUtilities::findDirectoryPathForFile(const std::string &filePath)
{
    struct stat info {};
    if (::stat(filePath.c_str(), &info) != 0) return std::nullopt;
    if (S_ISDIR(info.st_mode)) return filePath;
    return path::parent(filePath);
}

std::optional<std::string> FileUtilities::findDirectoryNameForFile(const std::string &filePath)
{
    const auto folder = findDirectoryPathForFile(filePath);
    if (!folder) return std::nullopt;
    return path::lastComponent(*folder);
}

std::optional<std::string> FileUtilities::findArrayEntryPreceedingIdentifier(const std::vector<std::string> &list,
                                                                             const std::string &identifier,
                                                                             bool exactMatch)
{
    // The first entry has nothing before it and is never tested.
    for (size_t i = 1; i < list.size(); ++i) {
        const bool match = exactMatch ? list[i] == identifier : list[i].find(identifier) != std::string::npos;
        if (match) return list[i - 1];
    }
    return std::nullopt;
}

std::string FileUtilities::resolvePath(const std::string &filePath)
{
    struct stat info {};
    if (::lstat(filePath.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return filePath;
    char *resolved = ::realpath(filePath.c_str(), nullptr);
    if (!resolved) return filePath;
    std::string result(resolved);
    std::free(resolved);
    return result;
}

namespace {

// An insertion sort that lets a new entry pass every entry whose key is not
// greater, so equal keys keep their input order.
template <typename Key>
std::vector<std::string> insertionSort(const std::vector<std::string> &paths, const std::vector<Key> &keys)
{
    std::vector<std::string> sorted;
    std::vector<Key> sortedKeys;
    for (size_t i = 0; i < paths.size(); ++i) {
        size_t at = 0;
        while (at < sorted.size() && !(keys[i] < sortedKeys[at]))
            ++at;
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(at), paths[i]);
        sortedKeys.insert(sortedKeys.begin() + static_cast<std::ptrdiff_t>(at), keys[i]);
    }
    return sorted;
}

bool creationTime(const std::string &filePath, std::pair<int64_t, uint32_t> &time)
{
    struct statx info {};
    if (::statx(AT_FDCWD, filePath.c_str(), 0, STATX_BTIME | STATX_MTIME, &info) != 0) return false;
    // File systems without a birth time answer with the modification time.
    const struct statx_timestamp &stamp = (info.stx_mask & STATX_BTIME) ? info.stx_btime : info.stx_mtime;
    time = {stamp.tv_sec, stamp.tv_nsec};
    return true;
}

int32_t numericKey(const std::string &filePath)
{
    const std::string digits = FileUtilities::removeNonNumericsFromString(path::lastComponent(filePath), false);
    // Read as a 32-bit integer that saturates, as a string's intValue does.
    long long value = 0;
    for (char c : digits) {
        value = value * 10 + (c - '0');
        if (value > INT32_MAX) return INT32_MAX;
    }
    return static_cast<int32_t>(value);
}

} // namespace

std::vector<std::string> FileUtilities::orderFilePathsByCreationDate(const std::vector<std::string> &paths)
{
    std::vector<std::pair<int64_t, uint32_t>> keys(paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
        if (!creationTime(paths[i], keys[i])) return paths;
    }
    return insertionSort(paths, keys);
}

std::vector<std::string> FileUtilities::orderFilePathsByAscendingNumericValue(const std::vector<std::string> &paths)
{
    std::vector<int32_t> keys;
    keys.reserve(paths.size());
    for (const std::string &p : paths)
        keys.push_back(numericKey(p));
    return insertionSort(paths, keys);
}

} // namespace ferrydeck
