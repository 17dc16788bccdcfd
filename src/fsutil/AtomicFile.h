#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

// The one way files that must survive a crash are written: whole, under a
// temporary name beside the target, flushed, renamed, and the folder flushed.
namespace ferrydeck::fsutil {

// Every byte, retrying EINTR and short writes. False with errno set (EIO for
// a write that made no progress).
bool writeAll(int fd, std::string_view bytes);

// mkdir -p with folders that are the user's alone (0700).
bool makePrivateFolders(const std::string &folder);

struct ReplaceOptions {
    mode_t mode = 0644;
    // False: a taken name fails with EEXIST, whatever the file system offers.
    bool replaceExisting = true;
    // FUSE file systems (exFAT, NTFS drivers) may refuse renames and links:
    // then write straight to the name, not atomic but better than nothing.
    bool writeInPlaceIfRenameUnsupported = false;
    // Without replaceExisting, where neither the no-replace rename nor links
    // exist (exFAT): rename once the name is seen to be free. Only for a
    // caller that keeps every other writer out of the folder meanwhile.
    bool checkThenRenameIfUnsupported = false;
};

enum class ReplaceResult {
    Replaced,
    // The file has its new contents, but the folder could not be flushed.
    FolderNotFlushed,
    // No temporary file could be made beside the target; nothing changed.
    NoTemporary,
    // Writing, flushing or renaming failed; the target is as it was.
    Failed,
};

// errno is set whenever the result is not Replaced.
ReplaceResult replaceFileAtomically(const std::string &path, std::string_view bytes,
                                    const ReplaceOptions &options = {});

} // namespace ferrydeck::fsutil
