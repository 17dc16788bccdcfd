#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

// String and folder helpers the card types share. Card rules work on path
// strings, and which test (contains, ends with, exists) a rule uses is part
// of the rule, so these stay literal: no normalisation, no case folding
// unless asked for.
namespace ferrydeck::cards {

std::string upper(std::string text);
std::string lower(std::string text);
bool contains(const std::string &text, const std::string &part);
bool endsWith(const std::string &text, const std::string &suffix);
// The number a text begins with, after blanks, as a string's doubleValue
// reads it: 0 when it begins with none.
double leadingDouble(const std::string &text);
// The last path component without its extension.
std::string fileStem(const std::string &path);
// Whether anything (even a dangling link) is at the path.
bool exists(const std::string &path);
// A real folder, not a link to one.
bool isRealDirectory(const std::string &path);
bool isRegularFile(const std::string &path);

// Every entry below a folder at every depth, relative to it, a folder before
// its contents; links are listed, never followed. Empty when unreadable.
std::vector<std::string> deepListing(const std::string &directory);

// The path with every link and "." or ".." resolved; none when it does not exist.
std::optional<std::string> resolved(const std::string &path);

// True when `path` lies on the drive once every folder above it is resolved,
// so that no link on a card leads a removal or rewrite off it. The last
// component is not resolved: removing a link removes the link.
bool isOnDrive(const std::string &drivePath, const std::string &path);

// Removes a file, a link or a folder with all it holds; links are never
// followed. True when something was removed and nothing failed.
bool removeItem(const std::string &path);

// An index file a reformat empties instead of deleting: the file name, the
// element whose content goes, and whether the element itself goes too.
struct RebuiltIndexFile {
    const char *fileName;
    const char *element;
    bool tagIsHeader;
};

// The JVC reformat: a listing of the whole drive taken before anything is
// deleted, then for each entry still there, folders named in `keptFolders`
// stay (at any depth), other folders go with their contents, the named index
// files are emptied of their element, and every other file goes. The first
// failure answers false.
bool reformatKeepingSkeleton(const std::string &drivePath, const std::vector<std::string> &keptFolders,
                             const std::vector<RebuiltIndexFile> &indexFiles);

} // namespace ferrydeck::cards
