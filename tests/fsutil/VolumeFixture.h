#pragma once

#include "support/TestFiles.h"

#include <string>

namespace ferrydeck::test {

// A captured mount table and a fake sysfs tree in a temporary folder. Disks
// hang where the kernel would put them: a USB stick below usb2, an SD card
// below an mmc host, an internal SATA disk, an optical drive flagged
// removable.
class VolumeFixture {
public:
    VolumeFixture();

    std::string mountinfoPath() const { return m_dir / "mountinfo"; }
    std::string sysfsRoot() const { return m_dir / "sys"; }
    void writeMountinfo(const std::string &text) const;
    // Adds disk (and, when partition is not empty, its partition) under the
    // given device folder, linked from dev/block/<majorMinor>.
    void addBlockDevice(const std::string &deviceFolder, const std::string &disk, const std::string &partition,
                        const std::string &majorMinor, bool removableFlag) const;
    const TempDir &dir() const { return m_dir; }

private:
    TempDir m_dir;
};

} // namespace ferrydeck::test
