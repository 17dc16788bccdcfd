#pragma once

#include "proof/Hasher.h"

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// The jobs of one card that start together (one per destination) read the
// card once between them: the first member to need a piece of a file reads
// it and keeps it until every other member still on its way to that piece
// has taken it. A card reader is the slowest link of an offload, so this
// turns N reads of the card into one.
//
// Sharing never changes what a copy gets: a piece is only handed over for
// the same file (device, inode, size and modification time as the taker's
// own open descriptor shows them), offset and length. A member that finds
// the file no longer the one another member read fails with EBUSY: the file
// changed while the group read it, and no destination may get a version
// the others did not. What is kept is bounded; a member that runs ahead
// waits for the others while they take what is kept, but not once nobody
// took anything for the stall limit: whoever is owed what is kept then
// reads alone until it finishes a file,
// so a stuck destination costs a second read, never a hang. A member that
// ends (Completed, Error, Canceled) leaves, and nobody waits for it again.
//
// With a checksum method the group also hashes each shared file once, as
// its bytes first come off the card, in order; every member's copy is then
// read back and checked against that one value. A member whose own bytes
// differed (a card that reads differently twice) fails its check; it is
// never called verified.
class CardGroup {
public:
    static constexpr size_t kDefaultLimit = size_t{64} << 20;
    // Long enough for a destination to flush a large clip before it reads
    // on (the members' flushes of one clip rarely end together).
    static constexpr std::chrono::milliseconds kDefaultStallLimit{10000};

    // Smaller files are read by each member on its own: for them the
    // bookkeeping cost more than a second read saved (a card of 30 KB
    // photos offloaded 10 % slower to two local disks).
    static constexpr uint64_t kSmallestShared = 128 << 10;
    static bool shares(uint64_t fileSize) { return fileSize >= kSmallestShared; }

    explicit CardGroup(int members, size_t limit = kDefaultLimit,
                       std::chrono::milliseconds stallLimit = kDefaultStallLimit);

    int members() const { return m_members; }
    // `key` names the file and the pass (a copy and a later comparison read
    // the same file twice, and are shared separately).
    // `method`: the checksum the reader's job takes of the source.
    ssize_t read(int member, const std::string &key, int fd, char *buffer, size_t size, uint64_t offset,
                 std::optional<HashMethod> method = std::nullopt);
    // The checksum of the whole file as the group read it, once `member` has
    // read all of it (also after leaving mid-file); none when the group could
    // not take it in one unbroken pass (the job then cannot verify the file,
    // and says so).
    std::optional<std::string> checksum(int member, const std::string &key);
    // The member will read no more of `key` (copied, failed, carried over,
    // skipped): what is kept for it is let go.
    void doneWith(int member, const std::string &key);
    void leave(int member);

    // Bytes read from the source by members, and bytes handed over instead.
    uint64_t bytesRead() const;
    uint64_t bytesShared() const;
    size_t bytesHeld() const;
    uint64_t bytesHashed() const;

private:
    struct Identity {
        uint64_t device = 0, inode = 0, size = 0;
        int64_t modified = 0;
        bool operator==(const Identity &) const = default;
    };
    struct Piece {
        Identity identity;
        size_t requested = 0;
        // What the file can give from the offset (and a byte more, so that a
        // file grown since shows as changed): a photo does not cost a whole
        // piece of memory, nor its zeroing.
        size_t capacity = 0;
        std::unique_ptr<char[]> data;
        ssize_t got = 0;
        bool ready = false;
        std::vector<bool> owing;
        int owingCount = 0;
    };
    struct File {
        std::vector<uint64_t> progress; // the next offset each member will read
        std::vector<bool> done;
        std::map<uint64_t, Piece> pieces;
        std::optional<Identity> identity; // as the first member to read it saw it
        // The checksum, fed the bytes below `hashedTo` in order as they came off the card.
        std::optional<Hasher> hasher;
        uint64_t hashedTo = 0;
        bool hashFailed = false;
        std::optional<std::string> checksum;
    };

    File &fileFor(const std::string &key);
    std::vector<bool> owingFor(const File &file, int member, uint64_t offset, int &count) const;
    void release(File &file, int member);
    void markLagging();
    void forgetIfFinished(const std::string &key);
    // `method` none: what is read is not hashed.
    ssize_t readAlone(std::unique_lock<std::mutex> &lock, const std::string &key, int member, int fd, char *buffer,
                      size_t size, uint64_t offset, std::optional<HashMethod> method);
    void hash(File &file, std::optional<HashMethod> method, const char *data, ssize_t got, uint64_t offset);

    const int m_members;
    const size_t m_limit;
    const std::chrono::milliseconds m_stallLimit;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, File> m_files;
    std::vector<bool> m_gone;
    std::vector<bool> m_lagging;                       // kept nothing for until it finishes a file
    std::chrono::steady_clock::time_point m_lastTaken; // a piece taken or let go
    size_t m_held = 0;
    uint64_t m_bytesRead = 0;
    uint64_t m_bytesShared = 0;
    uint64_t m_bytesHashed = 0;
};

} // namespace ferrydeck
