#pragma once

#include "fsutil/FileCopy.h"
#include "fsutil/UniqueFd.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ferrydeck {

class FileCopyDetails;

// The small copies of one copy thread that wait under their temporary names
// for one flush of the destination's file system, then are named together.
// A flush per file cost more than the copy itself on cards of many small
// files; one `syncfs` covers a whole batch. Nothing is named before that
// flush has succeeded, so a name never holds data that could be lost.
//
// Only file systems whose `syncfs` writes everything out, flushes the
// device's cache and reports write-back errors (ext3, ext4, xfs, btrfs, on
// kernels from 5.8) take batches; elsewhere every copy is flushed on its own.
class FlushBatch {
public:
    static constexpr uint64_t kLargeFile = 8u << 20; // flushed on its own, where its flush costs little
    static constexpr uint64_t kMaxBytes = 32u << 20;
    static constexpr size_t kMaxFiles = 256;
    static constexpr size_t kMaxFolders = 16; // each held open until the names are flushed
    // A slow card must not hold verification back for long.
    static constexpr std::chrono::milliseconds kMaxWait{1000};

    // One file on its way: what its check needs once the copy is done.
    struct Copy {
        std::shared_ptr<FileCopyDetails> record;
        std::string sourceFile;
        std::string relative; // below the source, when it lies inside it
        std::string destination;
        std::string name;
        std::shared_ptr<const UniqueFd> parent; // the copy's folder
        FileCopy::Result copy;
        std::string sourceValue; // the source's checksum as the copy read it
        std::string reason;      // why it failed; empty while it has not
    };

    // Batches copies into the job's folder `copyFolderFd` when its file
    // system allows; -1 or any other never does.
    explicit FlushBatch(int copyFolderFd);

    static bool fileSystemTakesBatches(int folderFd);

    bool empty() const { return m_copies.empty(); }
    // Whether a file of `size` bytes may still join; false as well when the
    // batch is due, so that it is flushed first.
    bool takes(uint64_t size) const;
    // Before a copy that is to join, in `parent`: the flush reports the
    // write-back errors from its first copy on. False when it cannot join.
    bool begin(const std::shared_ptr<const UniqueFd> &parent);
    void add(Copy copy);
    bool due() const;
    // Flushes the data, names every copy, flushes the folders; answers the
    // copies in the order they joined, each failed one with its reason.
    std::vector<Copy> flush();

private:
    bool holds(const std::shared_ptr<const UniqueFd> &folder) const;

    bool m_enabled = false;
    uint64_t m_device = 0;
    int m_copyFolderFd = -1;
    UniqueFd m_fileSystem; // opened afresh for each batch: see begin()
    std::vector<Copy> m_copies;
    struct Folder {
        std::shared_ptr<const UniqueFd> fd;
        uint64_t device = 0;
        uint64_t inode = 0;
    };
    std::vector<Folder> m_folders;
    uint64_t m_bytes = 0;
    std::chrono::steady_clock::time_point m_firstCopied;
};

} // namespace ferrydeck
