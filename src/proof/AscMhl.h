#pragma once

#include "proof/HashMethod.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct _xmlDoc;
struct _xmlNode;

// Shared vocabulary of ASC MHL hash lists: names, dates, ignore patterns,
// the chain file and the small file operations writer and reader share.
namespace ferrydeck::mhl {

inline constexpr const char *kFolderName = "ascmhl";
inline constexpr const char *kChainFileName = "ascmhl_chain.xml";
inline constexpr const char *kNamespace = "urn:ASC:MHL:v2.0";
inline constexpr const char *kChainNamespace = "urn:ASC:MHL:DIRECTORY:v2.0";
// Far beyond a hash list of any card; a larger file is not read at all.
inline constexpr uint64_t kMaximumFileSize = 512u << 20;

enum class Action { Original, Verified, Failed };
enum class Process { InPlace, Transfer, Flatten };

std::string_view actionName(Action action);
std::optional<Action> actionFromName(std::string_view name);
std::string_view processName(Process process);

// One file's value in one format, as a generation records it.
struct FileHash {
    std::string relativePath; // POSIX separators, no leading slash
    uint64_t size = 0;
    std::optional<int64_t> modificationTime; // seconds since the epoch
    HashMethod method = HashMethod::Xxh64;
    std::string value; // text form
    Action action = Action::Original;
    int64_t hashDate = 0; // seconds since the epoch
};

// xs:dateTime in UTC ("2026-11-23T07:30:00Z").
std::string dateTime(int64_t secondsSinceEpoch);
// "NNNN_ROOTNAME_YYYY-MM-DD_HHMMSSZ.mhl".
std::string generationFileName(int number, const std::string &rootName, int64_t secondsSinceEpoch);
// The number a generation file name starts with; none for other names.
std::optional<int> generationNumber(std::string_view fileName);

// Patterns every generation carries: the history's own folder and Finder litter.
std::vector<std::string> defaultIgnorePatterns();
// The logs Ferrydeck saves into a copy folder called `rootName` ("NAME.txt",
// "NAME-2.txt", ...), anchored at the top so no clip deeper down is hidden.
std::vector<std::string> logIgnorePatterns(const std::string &rootName);
// Gitignore-style matching as hash-list tools use it: a pattern without a
// slash matches a name at any depth, one with a slash the path from the
// root, a trailing slash only folders; whatever lies in a matched folder
// is matched too. Wildcards are fnmatch's.
bool isIgnored(const std::string &relativePath, bool isDirectory, const std::vector<std::string> &patterns);
// False for paths a hash list must never lead us to: absolute, empty
// components, "." or "..", NUL.
bool isSafeRelativePath(std::string_view relativePath);
// False for names XML cannot carry unchanged: bytes that are not UTF-8 and
// control characters (a list holding them could not be read back).
bool isWritablePath(std::string_view relativePath);

struct ChainEntry {
    int sequence = 0;
    std::string path; // the generation's file name inside the ascmhl folder
    std::string c4;
};
// Entries of a chain file; an empty list when there is no file, none when it
// cannot be read or parsed (`error` says why).
std::optional<std::vector<ChainEntry>> readChain(const std::string &chainPath, std::string *error);
std::string chainXml(const std::vector<ChainEntry> &entries);

// Whole small files, bounded by kMaximumFileSize; only regular files.
std::optional<std::string> readSmallFile(const std::string &path, std::string *error);
// Writes `bytes` under a temporary name in the same folder, flushes it, then
// renames it into place and flushes the folder. With `mayReplace` false an
// existing file is never replaced (the write fails with EEXIST).
bool writeFileAtomically(const std::string &path, std::string_view bytes, bool mayReplace, std::string *error);

struct XmlDocFree {
    void operator()(_xmlDoc *doc) const;
};
using XmlDocPtr = std::unique_ptr<_xmlDoc, XmlDocFree>;
// Strict parse: a hash list that is not well-formed is refused rather than
// repaired, since a repaired list could silently lose files. No network, no
// DTD, no entity substitution.
XmlDocPtr parseXml(std::string_view bytes);
// Element children by local name, whatever namespace prefix a tool chose.
std::vector<_xmlNode *> childElements(_xmlNode *parent, std::string_view name = {});
std::string localName(_xmlNode *node);
// The text inside an element, trimmed of surrounding blanks unless it is a
// name, where a blank may belong to the file's name.
std::string textOf(_xmlNode *node, bool trim = true);
std::optional<std::string> attributeOf(_xmlNode *node, const char *name);

} // namespace ferrydeck::mhl
