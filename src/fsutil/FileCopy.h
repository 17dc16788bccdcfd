#pragma once

#include <cstdint>
#include <string>

namespace ferrydeck {

// The whole-file copy an offload relies on: it never replaces an existing
// destination, copies a symbolic link as a link, keeps mode and timestamps,
// and can flush the data to the medium before anyone verifies it.
class FileCopy {
public:
    struct Options {
        bool flush = true;             // fdatasync the destination before returning
        bool useCopyFileRange = true;  // false forces the read/write path
        size_t bufferSize = 1 << 20;   // read/write chunk
    };

    struct Result {
        int error = 0;          // errno of the first failure, 0 on success
        uint64_t bytesCopied = 0;
        const char *step = "";  // what failed: "open source", "write", ...
        bool ok() const { return error == 0; }
        // Errors after which no other file on the same destination can succeed.
        bool dooms() const;
        std::string describe() const;
    };

    static Result copyFile(const std::string &source, const std::string &destination);
    static Result copyFile(const std::string &source, const std::string &destination, const Options &options);
};

} // namespace ferrydeck
