#pragma once

#include "fsutil/SourceReader.h"
#include "fsutil/UniqueFd.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace ferrydeck {

// The whole-file copy an offload relies on: it never replaces an existing
// destination, copies a symbolic link as a link, keeps mode and timestamps,
// and flushes the data to the medium before anyone verifies it.
//
// A copy is written under a hidden temporary name beside its final one
// (".NAME.ferrydeck-part") and only renamed to NAME once complete and
// flushed, so a copy cut short by a failure, a signal or a power loss never
// carries a clip's name.
class FileCopy {
public:
    static constexpr const char *kTemporarySuffix = ".ferrydeck-part";

    struct Options {
        bool flush = true; // fdatasync the copy (and its folder) before the name is given
        // The copy is left whole under its temporary name for the caller to
        // flush together with others and then name with nameCopyAt.
        bool leaveUnnamed = false;
        bool useCopyFileRange = true; // false forces the read/write path
        // The caller's listing just found a regular file at the source: it
        // is opened without a look first. Whatever stands there by then is
        // still refused unless it is a regular file, and a link is not followed.
        bool sourceListedAsFile = false;
        size_t bufferSize = 1 << 20; // read/write chunk
        // Sees every chunk of the source as it is read, in order, before it
        // is written; setting it forces the read/write path, so a checksum of
        // the source costs no second read of the card.
        std::function<void(const char *data, size_t size)> onSourceData;
        // Reads the source in its place (chunks of bufferSize, in order);
        // setting it forces the read/write path too.
        SourceReader readSource;
    };

    struct Result {
        int error = 0; // errno of the first failure, 0 on success
        uint64_t bytesCopied = 0;
        const char *step = ""; // what failed: "open source", "write", ...
        // The source as the open descriptor showed it when the copy began;
        // a source whose size or time differ at the end fails the copy.
        uint64_t sourceSize = 0;
        int64_t sourceModificationTime = 0; // nanoseconds since the epoch
        bool sourceChanged = false;
        // The copy under its final name (its temporary one when left
        // unnamed), for checks that it is still there.
        uint64_t copyDevice = 0;
        uint64_t copyInode = 0;
        bool symbolicLink = false; // copied as a link: there is no content to hash
        bool ok() const { return error == 0; }
        // Errors after which no other file on the same destination can succeed.
        bool dooms() const;
        std::string describe() const;
    };

    // Path form: the copy is made in the destination's folder, which must exist.
    static Result copyFile(const std::string &source, const std::string &destination);
    static Result copyFile(const std::string &source, const std::string &destination, const Options &options);
    // `name` (one component) inside the folder open as `folderFd`: nothing is
    // reached by path on the destination side, so a folder moved, replaced or
    // unmounted meanwhile can never redirect the copy elsewhere.
    static Result copyFileAt(const std::string &source, int folderFd, const std::string &name, const Options &options);

    // Gives a copy left unnamed its name `name` (never replacing anything)
    // and checks that the name holds that very copy; the caller has flushed
    // its data and flushes the folder afterwards. A copy that cannot be named
    // is removed.
    // `checkName` false leaves the check that the name holds the copy to a
    // caller that checks the copy by its whole path afterwards anyway.
    static Result nameCopyAt(int folderFd, const std::string &name, Result copy, bool checkName = true);
    // Removes a copy left unnamed that will not be named.
    static void discardCopyAt(int folderFd, const std::string &name);

    static std::string temporaryNameFor(const std::string &name);
    static bool isTemporaryName(const std::string &name);

    // The folder at `relative` (components separated by "/", empty for the
    // root itself) below `rootFd`, never following a symbolic link; missing
    // folders are made when `create`. Empty on failure, errno set.
    static UniqueFd openFolderBeneath(int rootFd, const std::string &relative, bool create);

    // Removes the temporary files a cut-short copy left anywhere below the
    // folder, and nothing else; answers how many, or -1 when the folder could
    // not be read.
    static int removeTemporaryFiles(int folderFd);
    static int removeTemporaryFiles(const std::string &folder);
};

} // namespace ferrydeck
