#pragma once

#include "support/TestFiles.h"

#include <string>

namespace ferrydeck::test {

// A captured mount table, a fake sysfs tree, udev database and device folder
// in a temporary folder. Disks hang where the kernel would put them: a USB
// stick below usb2, an SD card below an mmc host, an internal SATA disk, an
// optical drive flagged removable.
class VolumeFixture {
public:
    VolumeFixture();

    std::string mountinfoPath() const { return m_dir / "mountinfo"; }
    std::string sysfsRoot() const { return m_dir / "sys"; }
    std::string udevRoot() const { return m_dir / "udev"; }
    std::string devRoot() const { return m_dir / "dev"; }
    void writeMountinfo(const std::string &text) const;
    // Adds disk (and, when partition is not empty, its partition) under the
    // given device folder, linked from dev/block/<majorMinor> and
    // class/block/<name>.
    void addBlockDevice(const std::string &deviceFolder, const std::string &disk, const std::string &partition,
                        const std::string &majorMinor, bool removableFlag) const;
    const TempDir &dir() const { return m_dir; }

private:
    TempDir m_dir;
};

} // namespace ferrydeck::test
