#include "fsutil/FsHelpers.h"

#include "fsutil/DirectoryWalk.h"
#include "fsutil/SystemLog.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace ferrydeck::fshelpers {

std::string escapeWithSet(const std::string &text, const char *set)
{
    std::string result = text;
    for (const char *c = set; *c; ++c) {
        std::string escaped;
        escaped.reserve(result.size() + 8);
        for (char ch : result) {
            if (ch == *c) escaped.push_back('\\');
            escaped.push_back(ch);
        }
        result.swap(escaped);
    }
    return result;
}

std::string removeSet(const std::string &text, const char *set)
{
    std::string result;
    result.reserve(text.size());
    for (char ch : text) {
        if (std::strchr(set, ch) == nullptr || ch == '\0') result.push_back(ch);
    }
    return result;
}

namespace {

bool addOwnerWrite(int parentFd, const char *name, int &error)
{
    struct stat info {};
    if (::fstatat(parentFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        error = errno;
        return false;
    }
    if (S_ISLNK(info.st_mode) || (info.st_mode & S_IWUSR)) return true;
    if (::fchmodat(parentFd, name, (info.st_mode & 07777) | S_IWUSR, 0) != 0) {
        error = errno;
        return false;
    }
    return true;
}

} // namespace

bool unlockTree(const std::string &path, const std::string &escapedForDiagnostics)
{
    int error = 0;
    bool ok = addOwnerWrite(AT_FDCWD, path.c_str(), error);
    struct stat info {};
    if (ok && ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        // A folder is made writable before it is walked, so its entries can be changed.
        DirectoryWalk::walk(path, [&](const DirectoryWalk::Entry &entry) {
            if (!addOwnerWrite(entry.parentFd, entry.name, error)) ok = false;
            return DirectoryWalk::Step::Descend;
        });
    }
    if (ok) return true;
    // A failed "chflags -R" exits with 1, which the shell reports as status word 256.
    systemLog("Message: %d", 1 << 8);
    systemLog("could not unlock %s: %s", escapedForDiagnostics.c_str(), std::strerror(error));
    return false;
}

} // namespace ferrydeck::fshelpers
