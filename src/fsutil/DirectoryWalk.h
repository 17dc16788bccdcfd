#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace ferrydeck {

// Depth-first, pre-order walk of a folder with *at() calls relative to open
// folder descriptors: a folder is reported before its contents, entries in
// the order the file system returns them, symbolic links never followed.
class DirectoryWalk {
public:
    struct Entry {
        const std::string &relativePath; // from the walked folder, no leading slash
        size_t nameOffset;               // where the last component starts in relativePath
        bool isDirectory;
        int parentFd; // the folder holding the entry, for fstatat
        const char *name;
    };
    enum class Step { Descend, Skip };
    using Visitor = std::function<Step(const Entry &)>;

    // False when the folder cannot be opened; an entry that cannot be read is
    // skipped and the walk goes on.
    static bool walk(const std::string &directory, const Visitor &visitor);
};

} // namespace ferrydeck
