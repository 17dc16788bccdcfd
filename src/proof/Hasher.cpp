#include "proof/Hasher.h"

#include "fsutil/UniqueFd.h"

#include <openssl/evp.h>
#include <xxhash.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace ferrydeck {

struct Hasher::State {
    XXH64_state_t *xxh64 = nullptr;
    XXH3_state_t *xxh3 = nullptr;
    EVP_MD_CTX *evp = nullptr;
    bool failed = false;
    bool finished = false;

    ~State()
    {
        if (xxh64) XXH64_freeState(xxh64);
        if (xxh3) XXH3_freeState(xxh3);
        if (evp) EVP_MD_CTX_free(evp);
    }
};

namespace {

const EVP_MD *digestFor(HashMethod method)
{
    switch (method) {
    case HashMethod::Md5:
        return EVP_md5();
    case HashMethod::Sha1:
        return EVP_sha1();
    case HashMethod::C4:
        return EVP_sha512();
    default:
        return nullptr;
    }
}

} // namespace

Hasher::Hasher(HashMethod method)
    : m_method(method)
    , m_state(std::make_unique<State>())
{
    State &s = *m_state;
    switch (method) {
    case HashMethod::Xxh64:
        s.xxh64 = XXH64_createState();
        s.failed = !s.xxh64 || XXH64_reset(s.xxh64, 0) != XXH_OK;
        break;
    case HashMethod::Xxh3:
        s.xxh3 = XXH3_createState();
        s.failed = !s.xxh3 || XXH3_64bits_reset(s.xxh3) != XXH_OK;
        break;
    case HashMethod::Xxh128:
        s.xxh3 = XXH3_createState();
        s.failed = !s.xxh3 || XXH3_128bits_reset(s.xxh3) != XXH_OK;
        break;
    case HashMethod::Md5:
    case HashMethod::Sha1:
    case HashMethod::C4:
        s.evp = EVP_MD_CTX_new();
        s.failed = !s.evp || EVP_DigestInit_ex(s.evp, digestFor(method), nullptr) != 1;
        break;
    }
}

Hasher::~Hasher() = default;
Hasher::Hasher(Hasher &&) noexcept = default;
Hasher &Hasher::operator=(Hasher &&) noexcept = default;

bool Hasher::update(const void *data, size_t size)
{
    if (!m_state) return false; // moved from
    State &s = *m_state;
    if (s.failed || s.finished) return false;
    if (size == 0) return true;
    switch (m_method) {
    case HashMethod::Xxh64:
        s.failed = XXH64_update(s.xxh64, data, size) != XXH_OK;
        break;
    case HashMethod::Xxh3:
        s.failed = XXH3_64bits_update(s.xxh3, data, size) != XXH_OK;
        break;
    case HashMethod::Xxh128:
        s.failed = XXH3_128bits_update(s.xxh3, data, size) != XXH_OK;
        break;
    default:
        s.failed = EVP_DigestUpdate(s.evp, data, size) != 1;
        break;
    }
    return !s.failed;
}

std::optional<std::string> Hasher::finishRaw()
{
    if (!m_state) return std::nullopt;
    State &s = *m_state;
    if (s.failed || s.finished) return std::nullopt;
    s.finished = true;
    std::string raw;
    switch (m_method) {
    case HashMethod::Xxh64: {
        XXH64_canonical_t canonical;
        XXH64_canonicalFromHash(&canonical, XXH64_digest(s.xxh64));
        raw.assign(reinterpret_cast<const char *>(canonical.digest), sizeof canonical.digest);
        break;
    }
    case HashMethod::Xxh3: {
        XXH64_canonical_t canonical;
        XXH64_canonicalFromHash(&canonical, XXH3_64bits_digest(s.xxh3));
        raw.assign(reinterpret_cast<const char *>(canonical.digest), sizeof canonical.digest);
        break;
    }
    case HashMethod::Xxh128: {
        XXH128_canonical_t canonical;
        XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(s.xxh3));
        raw.assign(reinterpret_cast<const char *>(canonical.digest), sizeof canonical.digest);
        break;
    }
    default: {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        if (EVP_DigestFinal_ex(s.evp, digest, &length) != 1) return std::nullopt;
        raw.assign(reinterpret_cast<const char *>(digest), length);
        break;
    }
    }
    return raw;
}

std::optional<std::string> Hasher::finish()
{
    const std::optional<std::string> raw = finishRaw();
    if (!raw) return std::nullopt;
    return textFromRawDigest(m_method, *raw);
}

std::optional<std::string> Hasher::hashBytes(HashMethod method, std::string_view bytes)
{
    Hasher hasher(method);
    hasher.update(bytes);
    return hasher.finish();
}

FileHashResult hashDescriptor(int fd, HashMethod method, const std::atomic<bool> *cancel)
{
    FileHashResult result;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        result.error = info.st_mode != 0 && !S_ISREG(info.st_mode) ? "not a regular file" : std::strerror(errno);
        return result;
    }
    // Clean pages only: a copy must be flushed before it is read back, or
    // this reads the page cache and proves nothing about the medium.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    constexpr size_t kChunk = 1u << 20;
    std::vector<char> buffer(kChunk);
    Hasher hasher(method);
    for (;;) {
        if (cancel && cancel->load(std::memory_order_relaxed)) {
            result.error = "canceled";
            return result;
        }
        const ssize_t n = ::pread(fd, buffer.data(), kChunk, static_cast<off_t>(result.bytesRead));
        if (n < 0) {
            if (errno == EINTR) continue;
            result.error = std::strerror(errno);
            return result;
        }
        if (n == 0) break;
        if (!hasher.update(buffer.data(), static_cast<size_t>(n))) {
            result.error = "the checksum library failed";
            return result;
        }
        // Read once: what was hashed only takes room from a card reader's
        // read-ahead, which then has to read the card again.
        ::posix_fadvise(fd, static_cast<off_t>(result.bytesRead), static_cast<off_t>(n), POSIX_FADV_DONTNEED);
        result.bytesRead += static_cast<uint64_t>(n);
    }
    result.value = hasher.finish();
    if (!result.value) result.error = "the checksum library failed";
    return result;
}

FileHashResult hashFile(const std::string &path, HashMethod method, const std::atomic<bool> *cancel)
{
    // No following links, and no blocking on a FIFO someone named like a clip.
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (!fd) {
        FileHashResult result;
        result.error = errno == ELOOP ? "a symbolic link" : std::strerror(errno);
        return result;
    }
    return hashDescriptor(fd.get(), method, cancel);
}

} // namespace ferrydeck
