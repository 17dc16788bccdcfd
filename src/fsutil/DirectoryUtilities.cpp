#include "fsutil/DirectoryUtilities.h"

#include "fsutil/DirectoryWalk.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/FsHelpers.h"
#include "fsutil/SystemLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace ferrydeck {

namespace {

// The two dot tests of the source walk: a dot entry anywhere, and anything
// below a dot folder at the top. A dot folder deeper down is walked into on
// purpose: DCIM/.thumbs/a.jpg is listed.
bool isHiddenEntry(const DirectoryWalk::Entry &entry)
{
    return entry.name[0] == '.' || entry.relativePath[0] == '.';
}

// Nothing below a dot folder at the top can pass the dot tests, so it is not
// read at all; a deeper dot folder is not listed but its contents may be.
DirectoryWalk::Step descendInto(const DirectoryWalk::Entry &entry)
{
    return entry.relativePath[0] == '.' ? DirectoryWalk::Step::Skip : DirectoryWalk::Step::Descend;
}

} // namespace

std::vector<std::string> DirectoryUtilities::sourceFilesAtDirectory(const std::string &directory, bool countDirectories,
                                                                    uint64_t &numberOfFiles, uint64_t &sizeOfFiles)
{
    std::vector<UnreadableEntry> unreadable;
    return sourceFilesAtDirectory(directory, countDirectories, numberOfFiles, sizeOfFiles, unreadable);
}

std::vector<std::string> DirectoryUtilities::sourceFilesAtDirectory(const std::string &directory, bool countDirectories,
                                                                    uint64_t &numberOfFiles, uint64_t &sizeOfFiles,
                                                                    std::vector<UnreadableEntry> &unreadable,
                                                                    const ListedFile &onFile)
{
    numberOfFiles = 0;
    sizeOfFiles = 0;
    std::vector<std::string> files;
    uint64_t count = 0;
    const std::string prefix = directory + "/";
    const auto noteUnreadable = [&](const std::string &relative, int error) {
        unreadable.push_back({relative.empty() ? directory : prefix + relative, error});
    };
    const auto visit = [&](const DirectoryWalk::Entry &entry) {
        if (entry.isDirectory) {
            if (countDirectories && !isHiddenEntry(entry)) files.push_back(prefix + entry.relativePath);
            return descendInto(entry);
        }
        if (isHiddenEntry(entry)) return DirectoryWalk::Step::Skip;
        struct stat info {};
        if (::fstatat(entry.parentFd, entry.name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            // Gone since its folder was read is not a fault of the listing.
            if (errno != ENOENT) unreadable.push_back({prefix + entry.relativePath, errno});
            return DirectoryWalk::Step::Skip;
        }
        std::string path = prefix + entry.relativePath;
        if (onFile) onFile(path, info);
        else files.push_back(std::move(path));
        sizeOfFiles += static_cast<uint64_t>(info.st_size);
        ++count;
        return DirectoryWalk::Step::Skip;
    };
    if (!DirectoryWalk::walk(directory, visit, noteUnreadable)) unreadable.push_back({directory, errno});
    numberOfFiles = count;
    return files;
}

std::vector<std::string> DirectoryUtilities::sourceFilesAtDirectory(const std::string &directory,
                                                                    uint64_t &numberOfFiles, uint64_t &sizeOfFiles)
{
    return sourceFilesAtDirectory(directory, false, numberOfFiles, sizeOfFiles);
}

uint64_t DirectoryUtilities::numberOfBytesAtDirectory(const std::string &directory)
{
    uint64_t count = 0, bytes = 0;
    sourceFilesAtDirectory(directory, false, count, bytes);
    return bytes;
}

int32_t DirectoryUtilities::numberOfFilesAtDirectory(const std::string &directory)
{
    int32_t count = 0;
    DirectoryWalk::walk(directory, [&](const DirectoryWalk::Entry &entry) {
        if (entry.isDirectory) return DirectoryWalk::Step::Descend;
        struct stat info {};
        // Counted when something still exists there that is not a folder, a
        // link to a folder included, as the file manager sees it.
        if (::fstatat(entry.parentFd, entry.name, &info, AT_SYMLINK_NOFOLLOW) == 0) {
            struct stat target {};
            const bool linkToFolder = S_ISLNK(info.st_mode) && ::fstatat(entry.parentFd, entry.name, &target, 0) == 0 &&
                                      S_ISDIR(target.st_mode);
            if (!linkToFolder) ++count;
        }
        return DirectoryWalk::Step::Skip;
    });
    return count;
}

std::vector<std::string> DirectoryUtilities::subDirectoriesAtDirectory(const std::string &directory)
{
    std::vector<std::string> folders;
    const std::string prefix = directory + "/";
    DirectoryWalk::walk(directory, [&](const DirectoryWalk::Entry &entry) {
        if (!entry.isDirectory) return DirectoryWalk::Step::Skip;
        if (!isHiddenEntry(entry)) folders.push_back(prefix + entry.relativePath);
        return descendInto(entry);
    });
    return folders;
}

uint64_t DirectoryUtilities::fastFolderSizeAtFSRef(const std::string &directory)
{
    uint64_t total = 0;
    DirectoryWalk::walk(directory, [&](const DirectoryWalk::Entry &entry) {
        if (entry.isDirectory) return DirectoryWalk::Step::Descend;
        struct stat info {};
        if (::fstatat(entry.parentFd, entry.name, &info, AT_SYMLINK_NOFOLLOW) == 0) {
            total += static_cast<uint64_t>(info.st_size);
        }
        return DirectoryWalk::Step::Skip;
    });
    return total;
}

bool DirectoryUtilities::doesPathHaveWritePermissions(const std::string &path)
{
    return ::access(path.c_str(), W_OK) == 0;
}

mode_t DirectoryUtilities::directoryPermissionsForPath(const std::string &path)
{
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return 0;
    return info.st_mode & 07777;
}

bool DirectoryUtilities::unlockDirectory(const std::string &path)
{
    if (!doesPathHaveWritePermissions(path)) return false;
    return fshelpers::unlockTree(path, escapeCharachters(path));
}

std::string DirectoryUtilities::escapeCharachters(const std::string &text)
{
    return fshelpers::escapeWithSet(text, kShellSetA);
}

bool DirectoryUtilities::isDirectoryNameValid(const std::string &name)
{
    return name.find_first_of(kNameSet) == std::string::npos;
}

std::string DirectoryUtilities::removeInvalidPathCharactersFromString(const std::string &text)
{
    return fshelpers::removeSet(text, kPathSet);
}

std::string DirectoryUtilities::createUniqueDirectoryPathForPath(const std::string &path)
{
    UniqueFd folder;
    // The path is answered even when it could not be made, by design.
    return createExclusiveDirectoryForPath(path, folder).value_or(path);
}

std::optional<std::string> DirectoryUtilities::createExclusiveDirectoryForPath(const std::string &path,
                                                                               UniqueFd &folder)
{
    const std::string parentPath = path::parent(path);
    const std::string name = path::lastComponent(path);
    if (name.empty() || name == "." || name == "..") return std::nullopt;
    std::error_code error;
    std::filesystem::create_directories(parentPath, error);
    UniqueFd parent(::open(parentPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!parent) return std::nullopt;
    // Choosing the name and making the folder are one step: the mkdir that
    // succeeds is the reservation, and EEXIST moves on to the next number.
    for (int counter = 1; counter < 100000; ++counter) {
        const std::string candidate = counter == 1 ? name : stringWithFormat("%s-%d", name.c_str(), counter);
        if (::mkdirat(parent.get(), candidate.c_str(), 0777) != 0) {
            if (errno == EEXIST) continue;
            systemLog("could not make the folder %s/%s: %s", parentPath.c_str(), candidate.c_str(),
                      std::strerror(errno));
            return std::nullopt;
        }
        folder = UniqueFd(::openat(parent.get(), candidate.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder) return std::nullopt;
        return parentPath == "/" ? "/" + candidate : parentPath + "/" + candidate;
    }
    return std::nullopt;
}

bool DirectoryUtilities::clearDirectoryContents(const std::string &directory)
{
    std::vector<std::string> names;
    if (!path::listDirectory(directory, names)) return true;
    for (const std::string &name : names) {
        const std::string entry = path::join(directory, name);
        struct stat info {};
        if (::lstat(entry.c_str(), &info) != 0) return false;
        if (S_ISDIR(info.st_mode)) {
            if (!clearDirectoryContents(entry)) return false;
        } else if (::unlink(entry.c_str()) != 0) {
            return false;
        }
    }
    return true;
}

void DirectoryUtilities::removeDirectoriesAtPath(const std::string &directory)
{
    std::vector<std::string> names;
    if (!path::listDirectory(directory, names)) return;
    for (const std::string &name : names) {
        const std::string entry = path::join(directory, name);
        struct stat info {};
        if (::lstat(entry.c_str(), &info) != 0) return;
        if (S_ISDIR(info.st_mode) && name.find("CONTENTS") == std::string::npos) {
            removeDirectoriesAtPath(entry);
            if (!removeContentsAtPath(entry)) return;
        }
    }
}

bool DirectoryUtilities::removeContentsAtPath(const std::string &path)
{
    std::error_code error;
    const auto removed = std::filesystem::remove_all(path, error);
    return !error && removed != static_cast<std::uintmax_t>(-1) && removed > 0;
}

} // namespace ferrydeck
