#pragma once

#include "fsutil/UniqueFd.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Stateless operations on folders. Paths are absolute without a trailing
// slash; nothing here throws or shows anything: failures answer false, an
// empty list or 0.
class DirectoryUtilities {
public:
    DirectoryUtilities() = delete;

    // The shell characters escaped here and removed by
    // FileUtilities::removeInvalidFileCharacters, in the order they are applied.
    static constexpr const char *kShellSetA = " '*?[]^{}~$&|<>;()";
    static constexpr const char *kNameSet = ":'*?[]^{}~$&|<>;()";
    static constexpr const char *kPathSet = ":'*?[]^{}~$&|<>\\/;()";

    // The files below a folder at every depth, in walk order (a folder before
    // its contents), skipping dot files and everything under a dot folder at
    // the top. Symbolic links are listed with their own size, never followed.
    static std::vector<std::string> sourceFilesAtDirectory(const std::string &directory, bool countDirectories,
                                                           uint64_t &numberOfFiles, uint64_t &sizeOfFiles);
    static std::vector<std::string> sourceFilesAtDirectory(const std::string &directory, uint64_t &numberOfFiles,
                                                           uint64_t &sizeOfFiles);
    // What a listing could not see: the path (absolute) and why.
    struct UnreadableEntry {
        std::string path;
        int error = 0;
    };
    // The same listing, also telling every folder or entry below `directory`
    // (or `directory` itself) that could not be opened, read to its end or
    // examined, so that a copy of what could be seen is never taken for a
    // copy of the whole source. `onFile`, when given, takes each listed file
    // with the listing's own look at it (so a caller needs no second one) in
    // place of the returned list, which then stays empty.
    using ListedFile = std::function<void(const std::string &path, const struct stat &info)>;
    static std::vector<std::string> sourceFilesAtDirectory(const std::string &directory, bool countDirectories,
                                                           uint64_t &numberOfFiles, uint64_t &sizeOfFiles,
                                                           std::vector<UnreadableEntry> &unreadable,
                                                           const ListedFile &onFile = {});
    static uint64_t numberOfBytesAtDirectory(const std::string &directory);
    static int32_t numberOfFilesAtDirectory(const std::string &directory);
    static std::vector<std::string> subDirectoriesAtDirectory(const std::string &directory);
    // Bulk walk that only adds up file sizes; no dot filter.
    static uint64_t fastFolderSizeAtFSRef(const std::string &directory);

    static bool doesPathHaveWritePermissions(const std::string &path);
    static mode_t directoryPermissionsForPath(const std::string &path);
    static bool unlockDirectory(const std::string &path);

    static std::string escapeCharachters(const std::string &text);
    static bool isDirectoryNameValid(const std::string &name);
    static std::string removeInvalidPathCharactersFromString(const std::string &text);
    static std::string createUniqueDirectoryPathForPath(const std::string &path);
    // Makes a new folder at `path`, or at "path-2", "path-3"... when taken,
    // with one exclusive mkdir per name, so that two jobs or processes never
    // get the same folder; `folder` receives it opened. The missing folders
    // above it are made as needed. none when no folder could be made.
    static std::optional<std::string> createExclusiveDirectoryForPath(const std::string &path, UniqueFd &folder);

    static bool clearDirectoryContents(const std::string &directory);
    static void removeDirectoriesAtPath(const std::string &directory);
    static bool removeContentsAtPath(const std::string &path);

    // Volumes, through VolumeService::current(). Lists are sorted by plain
    // byte comparison.
    static std::vector<std::string> localVolumes();
    static std::vector<std::string> removableDrives();
    // Only a mount path itself is removable: not a folder inside it, not the
    // path with a trailing slash.
    static bool driveIsRemovable(const std::string &path);
    // none when newName is not a valid folder name; otherwise newName, whether
    // or not the volume could be relabelled.
    static std::optional<std::string> renameDrive(const std::string &newName, const std::string &oldName);
    // true: the outcome is only logged.
    static bool ejectDrive(const std::string &volumeName);
};

} // namespace ferrydeck
