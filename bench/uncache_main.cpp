// Drops the cached pages of every file below the given folders, so that a
// comparison that follows reads the medium, without root and without
// touching other programs' cache (as /proc/sys/vm/drop_caches would).
#include "fsutil/DirectoryWalk.h"
#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench-uncache DIR...\n");
        return 2;
    }
    int status = 0;
    for (int i = 1; i < argc; ++i) {
        const bool walked = ferrydeck::DirectoryWalk::walk(argv[i], [](const ferrydeck::DirectoryWalk::Entry &entry) {
            if (entry.isDirectory) return ferrydeck::DirectoryWalk::Step::Descend;
            // Dirty pages are not dropped; the caller syncs first.
            ferrydeck::UniqueFd fd(
                ::openat(entry.parentFd, entry.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
            if (fd) ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_DONTNEED);
            return ferrydeck::DirectoryWalk::Step::Skip;
        });
        if (!walked) {
            std::fprintf(stderr, "bench-uncache: cannot open %s\n", argv[i]);
            status = 1;
        }
    }
    return status;
}
