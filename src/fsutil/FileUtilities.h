#pragma once

#include "fsutil/SourceReader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Stateless operations on files and names; same contract as
// DirectoryUtilities: no exceptions, no messages.
class FileUtilities {
public:
    FileUtilities() = delete;

    // Shell characters escaped by escapeCharachters, in the order applied.
    static constexpr const char *kShellSetB = " !#$%&*()=[]|;'\"<>?";

    static bool compareFileSize(const std::string &source, const std::string &destination);
    // The source's size against a copy's already looked up.
    static bool compareFileSize(const std::string &source, uint64_t destinationSize);
    // Byte-for-byte comparison with cmp's outcome and report (FileComparison),
    // the destination read from the medium rather than from the page cache.
    // `readSource`, when set, reads the source in the comparison's place.
    static bool compareFileContents(const std::string &source, const std::string &destination,
                                    const SourceReader &readSource = {});
    // The cmp command line a shell would have been given; diagnostics only.
    static std::string compareCommandLine(const std::string &source, const std::string &destination);
    static uint64_t findSizeOfFile(const std::string &path);
    static bool unlockFile(const std::string &path);
    static double convertByteSizeToMegaBytes(int64_t bytes);
    static double rawSizeToMegaBytes(uint64_t bytes);
    // There is no script interpreter on this platform: always false.
    static bool runAppleScriptCommand(const std::string &script);
    static void killProcessesWithName(const std::string &name);

    static std::string escapeCharachters(const std::string &text);
    static std::string escapeFilePathCharachters(const std::string &path);
    static std::string removeInvalidFileCharacters(const std::string &text);
    static std::string ensureFilePathDoesNotExist(const std::string &path);
    static bool copyFileWithConsecutiveNumbering(const std::string &file, const std::string &directory);
    static std::string removeNonNumericsFromString(const std::string &text, bool keepDecimal);
    static std::optional<std::string> findFileMatchingPattern(const std::string &fragment,
                                                              const std::string &directory);
    static std::optional<std::string> findDirectoryPathForFile(const std::string &path);
    static std::optional<std::string> findDirectoryNameForFile(const std::string &path);
    static std::optional<std::string> findArrayEntryPreceedingIdentifier(const std::vector<std::string> &list,
                                                                         const std::string &identifier,
                                                                         bool exactMatch);
    static std::string resolvePath(const std::string &path);
    static std::vector<std::string> orderFilePathsByCreationDate(const std::vector<std::string> &paths);
    static std::vector<std::string> orderFilePathsByAscendingNumericValue(const std::vector<std::string> &paths);
};

// Path helpers shared by the utilities.
namespace path {
std::string lastComponent(const std::string &path);
std::string parent(const std::string &path);
std::string join(const std::string &directory, const std::string &name);
bool exists(const std::string &path);      // without following a final symbolic link
bool isDirectory(const std::string &path); // following symbolic links
// The path as the file system reaches it: symbolic links and ".." resolved
// through every component that exists, the rest appended as written (with
// "." and ".." folded), so that two spellings of one folder compare equal.
std::string real(const std::string &path);
// True when `inner` is the folder `outer` or lies below it as the file
// system reaches them: through links, "..", and bind mounts (a folder is
// recognised by its device and inode, not by its name).
bool sameOrInside(const std::string &inner, const std::string &outer);
std::string replaceAll(std::string text, const std::string &from, const std::string &to);
// One level of a folder, in the order the file system gives; empty when unreadable.
bool listDirectory(const std::string &directory, std::vector<std::string> &names);
} // namespace path

} // namespace ferrydeck
