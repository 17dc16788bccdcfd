#include "VolumeFixture.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace ferrydeck::test {

VolumeFixture::VolumeFixture()
{
    makeDirectory(sysfsRoot() + "/dev/block");
    const std::string usb = "devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0/block";
    const std::string sata = "devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block";
    addBlockDevice(usb, "sdb", "sdb1", "8:17", false);
    addBlockDevice("devices/platform/soc/mmc_host/mmc0/mmc0:0001/block", "mmcblk0", "mmcblk0p1", "179:1", false);
    addBlockDevice(sata, "sda", "sda1", "8:1", false);
    addBlockDevice(sata, "sda", "sda2", "8:2", false);
    addBlockDevice("devices/pci0000:00/0000:00:17.0/ata2/host1/target1:0:0/1:0:0:0/block", "sr0", "", "11:0", true);
}

void VolumeFixture::writeMountinfo(const std::string &text) const
{
    writeFile(mountinfoPath(), text);
}

void VolumeFixture::addBlockDevice(const std::string &deviceFolder, const std::string &disk,
                                   const std::string &partition, const std::string &majorMinor,
                                   bool removableFlag) const
{
    const std::string diskPath = sysfsRoot() + "/" + deviceFolder + "/" + disk;
    writeFile(diskPath + "/removable", removableFlag ? "1\n" : "0\n");
    const fs::path path = partition.empty() ? disk : partition;
    std::string target = deviceFolder + "/" + disk;
    if (!partition.empty()) {
        writeFile(diskPath + "/" + partition + "/partition", "1\n");
        target += "/" + partition;
    }
    writeFile(sysfsRoot() + "/" + target + "/dev", majorMinor + "\n");
    // Relative, as in the real tree, so the links resolve inside the fixture.
    makeDirectory(sysfsRoot() + "/class/block");
    std::error_code error;
    fs::create_symlink("../../" + target, sysfsRoot() + "/dev/block/" + majorMinor, error);
    fs::create_symlink("../../" + target, sysfsRoot() + "/class/block/" + path.filename().string(), error);
}

} // namespace ferrydeck::test
