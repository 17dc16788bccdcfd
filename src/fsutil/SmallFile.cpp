#include "fsutil/SmallFile.h"

#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ferrydeck::fsutil {

SmallFileRead readSmallFile(const std::string &filePath, uint64_t maximumBytes, std::string &text, int &error)
{
    UniqueFd fd(::open(filePath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info {};
    if (!fd || ::fstat(fd.get(), &info) != 0) {
        error = errno;
        return SmallFileRead::Failed;
    }
    if (!S_ISREG(info.st_mode)) return SmallFileRead::NotAFile;
    if (static_cast<uint64_t>(info.st_size) > maximumBytes) return SmallFileRead::TooLarge;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n > 0) {
            text.append(buffer, static_cast<size_t>(n));
            // The file may grow while it is read.
            if (text.size() > maximumBytes) return SmallFileRead::TooLarge;
        } else if (n == 0) {
            return SmallFileRead::Read;
        } else if (errno != EINTR) {
            error = errno;
            return SmallFileRead::Failed;
        }
    }
}

} // namespace ferrydeck::fsutil
