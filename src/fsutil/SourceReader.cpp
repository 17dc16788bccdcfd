#include "fsutil/SourceReader.h"

#include <unistd.h>

#include <cerrno>

namespace ferrydeck {

ssize_t preadFully(int fd, char *buffer, size_t size, uint64_t offset)
{
    size_t filled = 0;
    while (filled < size) {
        const ssize_t n = ::pread(fd, buffer + filled, size - filled, static_cast<off_t>(offset + filled));
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        filled += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(filled);
}

} // namespace ferrydeck
