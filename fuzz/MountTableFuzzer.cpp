#include "fsutil/MountTable.h"
#include "fsutil/SystemVolumeService.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

using namespace ferrydeck;

// /proc/self/mountinfo as the volume lists read it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    for (const MountEntry &entry : MountTable::parse(text)) {
        // Decoding only ever shortens a field.
        if (MountTable::decodeOctalEscapes(entry.mountPoint).size() > entry.mountPoint.size()) __builtin_trap();
    }

    static const int fd = ::memfd_create("mountinfo", 0);
    if (fd < 0 || ::ftruncate(fd, 0) != 0) return 0;
    if (size > 0 && ::pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) return 0;
    // A sysfs root that does not exist: the lists must come from the table
    // alone without touching the machine's disks.
    const SystemVolumeService service("/proc/self/fd/" + std::to_string(fd), "/nonexistent-sysfs");
    service.volumes();
    service.localVolumePaths();
    service.removableVolumePaths();
    return 0;
}
