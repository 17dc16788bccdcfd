#pragma once

#include <string>
#include <vector>

namespace ferrydeck {

// One line of /proc/self/mountinfo, with the kernel's octal escapes (\040 for
// a space, \011, \012, \134) already decoded.
struct MountEntry {
    unsigned major = 0;
    unsigned minor = 0;
    std::string root; // the part of the file system seen at the mount point
    std::string mountPoint;
    std::string fsType;
    std::string source; // "/dev/sdb1", an image file, or a name such as "tmpfs"
};

// Reads the kernel's mount table. Nothing here throws: a missing or unreadable
// table is an empty list, a malformed line is skipped.
class MountTable {
public:
    MountTable() = delete;

    static constexpr const char *kDefaultPath = "/proc/self/mountinfo";

    static std::vector<MountEntry> read(const std::string &mountinfoPath);
    static std::vector<MountEntry> parse(const std::string &text);
    static std::string decodeOctalEscapes(const std::string &field);
};

} // namespace ferrydeck
