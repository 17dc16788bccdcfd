#pragma once

#include "proof/HashMethod.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ferrydeck {

// One running checksum of one byte stream. Not shared between threads: a
// copy thread keeps its own for the file it copies.
class Hasher {
public:
    explicit Hasher(HashMethod method);
    ~Hasher();
    Hasher(Hasher &&) noexcept;
    Hasher &operator=(Hasher &&) noexcept;
    Hasher(const Hasher &) = delete;
    Hasher &operator=(const Hasher &) = delete;

    HashMethod method() const { return m_method; }
    // False once the library refused (a crypto provider without the digest);
    // the hasher then stays failed and finish() answers none.
    bool update(const void *data, size_t size);
    bool update(std::string_view bytes) { return update(bytes.data(), bytes.size()); }
    // The text form of the value; the hasher is spent afterwards.
    std::optional<std::string> finish();

    // The raw digest instead of its text.
    std::optional<std::string> finishRaw();

    static std::optional<std::string> hashBytes(HashMethod method, std::string_view bytes);

private:
    struct State;
    HashMethod m_method;
    std::unique_ptr<State> m_state;
};

struct FileHashResult {
    std::optional<std::string> value; // none on failure
    uint64_t bytesRead = 0;
    std::string error; // why there is no value, for a person
};

// Hashes what the medium holds: the file's cached pages are dropped first,
// so a copy is read back from the disk rather than from memory. Reads are
// bounded chunks; `cancel` is polled between them. Only regular files are
// read (a link, FIFO or device answers an error without blocking).
FileHashResult hashFile(const std::string &path, HashMethod method, const std::atomic<bool> *cancel = nullptr);
// The same for a file the caller opened (a job reaches its copies through
// its folder's descriptor); read from offset 0 with pread, the offset of
// `fd` is left alone.
FileHashResult hashDescriptor(int fd, HashMethod method, const std::atomic<bool> *cancel = nullptr);

} // namespace ferrydeck
