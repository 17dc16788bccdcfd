#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace ferrydeck {

// Reads `size` bytes at `offset` of the open source `fd` into `buffer`,
// fewer only at its end; -1 with errno on failure, EBUSY meaning that the
// source changed while it was read. A copy or a comparison
// given one reads the source through it instead of by itself, so several
// copies of one card can share what one of them read.
using SourceReader = std::function<ssize_t(int fd, char *buffer, size_t size, uint64_t offset)>;

// The reader every copy uses on its own.
ssize_t preadFully(int fd, char *buffer, size_t size, uint64_t offset);

} // namespace ferrydeck
