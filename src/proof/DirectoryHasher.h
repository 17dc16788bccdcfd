#pragma once

#include "proof/HashMethod.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace ferrydeck {

// The content and structure hashes of every folder of a tree, from the
// hashes of its files, in one format.
class DirectoryHasher {
public:
    struct Pair {
        std::string content;
        std::string structure;
    };

    explicit DirectoryHasher(HashMethod method)
        : m_method(method)
    {
    }

    // `relativePath` from the root, POSIX separators, no leading slash;
    // `value` the file's hash text in this hasher's format.
    void addFile(const std::string &relativePath, const std::string &value);
    // A folder that holds no file still has hashes (of the empty input).
    void addDirectory(const std::string &relativePath);

    // Every folder's pair, keyed by relative path ("" is the root). None
    // when a file's value is not text of the format or the library failed.
    std::optional<std::map<std::string, Pair>> compute() const;

private:
    HashMethod m_method;
    std::map<std::string, std::string> m_files;
    std::set<std::string> m_directories{""};
};

} // namespace ferrydeck
