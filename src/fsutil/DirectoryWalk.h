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
    // A folder that could not be opened or read to its end, or an entry that
    // could not be examined, with the errno that stopped it. Entries gone
    // between the read of their folder and their examination are not reported.
    using ErrorVisitor = std::function<void(const std::string &relativePath, int error)>;

    // False when the folder cannot be opened; past that, whatever cannot be
    // read is told to `onError` and the walk goes on with the rest.
    static bool walk(const std::string &directory, const Visitor &visitor, const ErrorVisitor &onError = {});
};

} // namespace ferrydeck
