// Lists a folder with the offload's source walk and prints the count and the
// byte total, so that the walk can be timed against find.
#include "fsutil/DirectoryUtilities.h"

#include <cinttypes>
#include <cstdio>

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench-walk DIR\n");
        return 2;
    }
    uint64_t count = 0, bytes = 0;
    const auto files = ferrydeck::DirectoryUtilities::sourceFilesAtDirectory(argv[1], count, bytes);
    std::printf("%zu files, %" PRIu64 " counted, %" PRIu64 " bytes\n", files.size(), count, bytes);
    return 0;
}
