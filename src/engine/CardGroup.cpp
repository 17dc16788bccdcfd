#include "engine/CardGroup.h"

#include "fsutil/SourceReader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace ferrydeck {

CardGroup::CardGroup(int members, size_t limit, std::chrono::milliseconds stallLimit)
    : m_members(members > 0 ? members : 1)
    , m_limit(limit)
    , m_stallLimit(stallLimit)
    , m_gone(static_cast<size_t>(m_members), false)
    , m_lagging(static_cast<size_t>(m_members), false)
{
}

CardGroup::File &CardGroup::fileFor(const std::string &key)
{
    File &file = m_files[key];
    if (file.progress.empty()) {
        file.progress.assign(static_cast<size_t>(m_members), 0);
        file.done.assign(static_cast<size_t>(m_members), false);
    }
    return file;
}

// The other members that will still read this piece of the file: not gone,
// not lagging, not done with it, and not past it already.
std::vector<bool> CardGroup::owingFor(const File &file, int member, uint64_t offset, int &count) const
{
    std::vector<bool> owing(static_cast<size_t>(m_members), false);
    count = 0;
    for (size_t i = 0; i < owing.size(); ++i) {
        if (static_cast<int>(i) == member || m_gone[i] || m_lagging[i] || file.done[i] || file.progress[i] > offset)
            continue;
        owing[i] = true;
        ++count;
    }
    return owing;
}

ssize_t CardGroup::readAlone(std::unique_lock<std::mutex> &lock, const std::string &key, int member, int fd,
                             char *buffer, size_t size, uint64_t offset, std::optional<HashMethod> method)
{
    lock.unlock();
    const ssize_t got = preadFully(fd, buffer, size, offset);
    const int error = errno;
    lock.lock();
    if (got > 0) {
        m_bytesRead += static_cast<uint64_t>(got);
        const auto found = m_files.find(key);
        if (found != m_files.end()) {
            found->second.progress[static_cast<size_t>(member)] = offset + static_cast<uint64_t>(got);
            hash(found->second, method, buffer, got, offset);
        }
    }
    errno = error;
    return got;
}

// Only the next bytes of the unbroken pass count; what was hashed already
// (a member catching up on its own) is not hashed again. A gap can only
// leave the pass short, never wrong: the file then has no checksum.
void CardGroup::hash(File &file, std::optional<HashMethod> method, const char *data, ssize_t got, uint64_t offset)
{
    if (!method || got <= 0 || offset != file.hashedTo || file.checksum) return;
    if (!file.hasher) file.hasher.emplace(*method);
    if (file.hasher->method() != *method || !file.hasher->update(data, static_cast<size_t>(got))) {
        file.hashFailed = true;
        return;
    }
    file.hashedTo += static_cast<uint64_t>(got);
    m_bytesHashed += static_cast<uint64_t>(got);
}

std::optional<std::string> CardGroup::checksum(int member, const std::string &key)
{
    if (member < 0 || member >= m_members) return std::nullopt;
    std::lock_guard lock(m_mutex);
    const auto found = m_files.find(key);
    if (found == m_files.end()) return std::nullopt;
    File &file = found->second;
    if (!file.identity || file.progress[static_cast<size_t>(member)] != file.identity->size) return std::nullopt;
    if (file.checksum) return file.checksum;
    if (!file.hasher || file.hashFailed || file.hashedTo != file.identity->size) return std::nullopt;
    file.checksum = file.hasher->finish();
    return file.checksum;
}

ssize_t CardGroup::read(int member, const std::string &key, int fd, char *buffer, size_t size, uint64_t offset,
                        std::optional<HashMethod> method)
{
    struct stat info {};
    if (::fstat(fd, &info) != 0) return -1;
    const Identity identity{static_cast<uint64_t>(info.st_dev), static_cast<uint64_t>(info.st_ino),
                            static_cast<uint64_t>(info.st_size),
                            static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec};
    const auto index = static_cast<size_t>(member);
    // At or past the end there is nothing to share: a file grown since shows
    // in the reader's own check of its size and time.
    if (member < 0 || member >= m_members || offset >= identity.size) return preadFully(fd, buffer, size, offset);
    const auto waitingSince = std::chrono::steady_clock::now();
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (m_gone[index]) {
            // A job that ended finishes the file it was copying on its own;
            // its bytes still count towards the file's one checksum.
            const auto found = m_files.find(key);
            const bool same = found != m_files.end() && found->second.identity == identity;
            return readAlone(lock, key, member, fd, buffer, size, offset, same ? method : std::nullopt);
        }
        File &file = fileFor(key);
        if (!file.identity) file.identity = identity;
        if (*file.identity != identity) {
            errno = EBUSY;
            return -1;
        }
        const auto found = file.pieces.find(offset);
        if (found != file.pieces.end()) {
            Piece &piece = found->second;
            if (!piece.owing[index] || piece.identity != identity || piece.requested != size)
                return readAlone(lock, key, member, fd, buffer, size, offset, method);
            if (!piece.ready) {
                m_changed.wait(lock);
                continue;
            }
            piece.owing[index] = false;
            --piece.owingCount;
            m_lagging[index] = false;
            const ssize_t got = piece.got;
            if (got > 0) {
                std::memcpy(buffer, piece.data.get(), static_cast<size_t>(got));
                m_bytesShared += static_cast<uint64_t>(got);
                file.progress[index] = offset + static_cast<uint64_t>(got);
            }
            m_lastTaken = std::chrono::steady_clock::now();
            if (piece.owingCount == 0) {
                m_held -= piece.capacity;
                file.pieces.erase(found);
                m_changed.notify_all();
            }
            if (got >= 0) return got;
            // The reader's failure is its own; this member tries for itself.
            return readAlone(lock, key, member, fd, buffer, size, offset, method);
        }

        int count = 0;
        std::vector<bool> owing = owingFor(file, member, offset, count);
        if (count == 0) return readAlone(lock, key, member, fd, buffer, size, offset, method);
        const size_t capacity =
            static_cast<size_t>(std::min<uint64_t>(size, identity.size > offset ? identity.size - offset + 1 : 1));
        if (m_held + capacity > m_limit) {
            // Ahead of the others with nothing left to keep the piece in:
            // wait for them to catch up. Pieces being taken, however slowly,
            // is progress; only a group where nothing is taken for the
            // whole limit is stuck.
            const auto since = std::max(m_lastTaken, waitingSince);
            if (m_changed.wait_until(lock, since + m_stallLimit) == std::cv_status::timeout &&
                std::chrono::steady_clock::now() >= std::max(m_lastTaken, waitingSince) + m_stallLimit) {
                markLagging();
                return readAlone(lock, key, member, fd, buffer, size, offset, method);
            }
            continue;
        }

        Piece &piece = file.pieces[offset];
        piece.identity = identity;
        piece.requested = size;
        piece.owing = std::move(owing);
        piece.owingCount = count;
        piece.capacity = capacity;
        piece.data = std::make_unique_for_overwrite<char[]>(capacity);
        m_held += capacity;
        // The piece (and so its file) stays while it is not ready.
        lock.unlock();
        const ssize_t got = preadFully(fd, piece.data.get(), capacity, offset);
        const int error = errno;
        lock.lock();
        piece.got = got < 0 ? -1 : got;
        piece.ready = true;
        if (got > 0) {
            std::memcpy(buffer, piece.data.get(), static_cast<size_t>(got));
            m_bytesRead += static_cast<uint64_t>(got);
            file.progress[index] = offset + static_cast<uint64_t>(got);
            hash(file, method, piece.data.get(), got, offset);
        }
        // Everyone it was kept for may have gone meanwhile.
        if (piece.owingCount == 0) {
            m_held -= piece.capacity;
            file.pieces.erase(offset);
        }
        m_changed.notify_all();
        errno = error;
        return got;
    }
}

// Lets go of what is kept for `member` in `file`; pieces still being read
// are left to their reader, which frees them if nobody is owed any more.
void CardGroup::release(File &file, int member)
{
    const auto index = static_cast<size_t>(member);
    for (auto it = file.pieces.begin(); it != file.pieces.end();) {
        Piece &piece = it->second;
        if (piece.owing[index]) {
            piece.owing[index] = false;
            --piece.owingCount;
        }
        if (piece.ready && piece.owingCount == 0) {
            m_held -= piece.capacity;
            it = file.pieces.erase(it);
        } else {
            ++it;
        }
    }
}

// Whoever is owed what is kept took nothing for the whole wait.
void CardGroup::markLagging()
{
    for (const auto &[key, file] : m_files)
        for (const auto &[offset, piece] : file.pieces)
            for (size_t i = 0; i < piece.owing.size(); ++i)
                if (piece.owing[i]) m_lagging[i] = true;
}

void CardGroup::forgetIfFinished(const std::string &key)
{
    const auto found = m_files.find(key);
    if (found == m_files.end() || !found->second.pieces.empty()) return;
    // A member that left mid-file still finishes it and asks for its checksum.
    for (size_t i = 0; i < static_cast<size_t>(m_members); ++i)
        if (!found->second.done[i] && (!m_gone[i] || found->second.progress[i] != 0)) return;
    m_files.erase(found);
}

void CardGroup::doneWith(int member, const std::string &key)
{
    if (member < 0 || member >= m_members) return;
    std::lock_guard lock(m_mutex);
    File &file = fileFor(key);
    file.done[static_cast<size_t>(member)] = true;
    m_lagging[static_cast<size_t>(member)] = false;
    release(file, member);
    forgetIfFinished(key);
    m_lastTaken = std::chrono::steady_clock::now();
    m_changed.notify_all();
}

void CardGroup::leave(int member)
{
    if (member < 0 || member >= m_members) return;
    std::lock_guard lock(m_mutex);
    m_gone[static_cast<size_t>(member)] = true;
    std::vector<std::string> keys;
    for (auto &[key, file] : m_files) {
        release(file, member);
        keys.push_back(key);
    }
    for (const std::string &key : keys)
        forgetIfFinished(key);
    m_lastTaken = std::chrono::steady_clock::now();
    m_changed.notify_all();
}

uint64_t CardGroup::bytesRead() const
{
    std::lock_guard lock(m_mutex);
    return m_bytesRead;
}

uint64_t CardGroup::bytesShared() const
{
    std::lock_guard lock(m_mutex);
    return m_bytesShared;
}

uint64_t CardGroup::bytesHashed() const
{
    std::lock_guard lock(m_mutex);
    return m_bytesHashed;
}

size_t CardGroup::bytesHeld() const
{
    std::lock_guard lock(m_mutex);
    return m_held;
}

} // namespace ferrydeck
