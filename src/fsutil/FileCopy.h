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
        bool flush = true;            // fdatasync the destination before returning
        bool useCopyFileRange = true; // false forces the read/write path
        size_t bufferSize = 1 << 20;  // read/write chunk
        // Files of at least this size are written past the page cache
        // (O_DIRECT, in chunks of directBufferSize) where the file system
        // allows it; 0 never does.
        uint64_t directFrom = uint64_t{4} << 20;
        size_t directBufferSize = size_t{4} << 20; // a multiple of 4096
    };

    struct Result {
        int error = 0; // errno of the first failure, 0 on success
        uint64_t bytesCopied = 0;
        const char *step = ""; // what failed: "open source", "write", ...
        bool ok() const { return error == 0; }
        // Errors after which no other file on the same destination can succeed.
        bool dooms() const;
        std::string describe() const;
    };

    static Result copyFile(const std::string &source, const std::string &destination);
    static Result copyFile(const std::string &source, const std::string &destination, const Options &options);
};

} // namespace ferrydeck
