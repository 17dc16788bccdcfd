#include "fsutil/DirectoryUtilities.h"
#include "fsutil/MountTable.h"
#include "fsutil/Process.h"
#include "fsutil/SystemVolumeService.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace ferrydeck;
using namespace ferrydeck::test;
namespace fs = std::filesystem;

namespace {

std::string madeFolder(const std::string &path)
{
    makeDirectory(path);
    return path;
}

// A captured mount table, a fake sysfs tree, udev database and device folder.
// Disks hang where the kernel would put them: a USB stick below usb2, an SD
// card below an mmc host, an internal SATA disk, an optical drive flagged
// removable. All of it lies below a folder named like a USB bus, so that every
// test checks that only the part below the sysfs root decides.
class VolumeFixture {
public:
    VolumeFixture()
    {
        makeDirectory(sysfsRoot() + "/class/block");
        makeDirectory(sysfsRoot() + "/dev/block");
        const std::string sata = "devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block";
        addBlockDevice("devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0/block", "sdb",
                       "sdb1", "8:17", false);
        addBlockDevice("devices/platform/soc/mmc_host/mmc0/mmc0:0001/block", "mmcblk0", "mmcblk0p1", "179:1", false);
        addBlockDevice(sata, "sda", "sda1", "8:1", false);
        addBlockDevice(sata, "sda", "sda2", "8:2", false);
        addBlockDevice("devices/pci0000:00/0000:00:17.0/ata2/host1/target1:0:0/1:0:0:0/block", "sr0", "", "11:0", true);
    }
    std::string mountinfoPath() const { return m_dir / "mountinfo"; }
    std::string sysfsRoot() const { return m_dir / "sys"; }
    std::string udevRoot() const { return m_dir / "udev"; }
    std::string devRoot() const { return m_dir / "dev"; }
    const TempDir &dir() const { return m_dir; }
    void writeMountinfo(const std::string &text) const { writeFile(mountinfoPath(), text); }
    // The disk (and its partition, when named) below `deviceFolder`, linked
    // relatively from dev/block/<majorMinor> and class/block/<name> as in the real tree.
    void addBlockDevice(const std::string &deviceFolder, const std::string &disk, const std::string &partition,
                        const std::string &majorMinor, bool removableFlag) const
    {
        const std::string target = deviceFolder + "/" + disk + (partition.empty() ? "" : "/" + partition);
        writeFile(sysfsRoot() + "/" + deviceFolder + "/" + disk + "/removable", removableFlag ? "1\n" : "0\n");
        if (!partition.empty()) writeFile(sysfsRoot() + "/" + target + "/partition", "1\n");
        writeFile(sysfsRoot() + "/" + target + "/dev", majorMinor + "\n");
        std::error_code error;
        fs::create_symlink("../../" + target, sysfsRoot() + "/dev/block/" + majorMinor, error);
        fs::create_symlink("../../" + target, sysfsRoot() + "/class/block/" + (partition.empty() ? disk : partition),
                           error);
    }

private:
    TempDir m_outer;
    TempDir m_dir{madeFolder(m_outer / "usb3")};
};

// Installs a service for the utilities and takes it away again.
class CurrentService {
public:
    explicit CurrentService(std::shared_ptr<VolumeService> service) { VolumeService::setCurrent(std::move(service)); }
    ~CurrentService() { VolumeService::setCurrent(nullptr); }
};

std::string readLabel(const std::string &image)
{
    std::string label = Process::run({"fatlabel", image}, Process::Output::Capture).output;
    while (!label.empty() && (label.back() == '\n' || label.back() == ' '))
        label.pop_back();
    return label;
}

} // namespace

// Booted from the USB stick, or a container's overlay root that is no block
// device: "/" is still the one local volume. No table: nothing.
TEST(SystemVolumeService, StartUpVolumeIsAlwaysLocalAndNeverRemovable)
{
    VolumeFixture fixture;
    for (const char *table : {"27 1 8:17 / / rw - ext4 /dev/sdb1 rw\n", "500 400 0:99 / / rw - overlay overlay rw\n"}) {
        fixture.writeMountinfo(table);
        SystemVolumeService service(fixture.mountinfoPath(), fixture.sysfsRoot());
        EXPECT_EQ(service.localVolumePaths(), std::vector<std::string>{"/"}) << table;
        EXPECT_TRUE(service.removableVolumePaths().empty()) << table;
    }
    EXPECT_TRUE(SystemVolumeService(fixture.dir() / "missing", fixture.sysfsRoot()).localVolumePaths().empty());
}

// The device decides, never the mount point: a USB stick with a space in its
// name, SD cards, a DVD and a Thunderbolt disk are removable wherever they are
// mounted; an internal disk, soldered eMMC, a loop image and the disk holding
// /home are not, even below /media. Shares, pseudo file systems, a bind mount
// of one file and /media itself are no volumes, and a later mount on a point
// hides the earlier one. Identities are file-system UUIDs: from udev's
// database, else a by-uuid link; a label (two cards both NO_NAME) is none.
TEST(SystemVolumeService, TheDeviceDecidesWhatIsLocalRemovableACardAndItsIdentity)
{
    VolumeFixture fixture;
    const std::string usb = "devices/pci0000:00/0000:00:14.0/usb2/2-2/2-2:1.0/host7/target7:0:0/7:0:0:0/block";
    const std::string usbHome = "devices/pci0000:00/0000:00:14.0/usb3/3-1/3-1:1.0/host8/target8:0:0/8:0:0:0/block";
    const std::string pciPort = "devices/pci0000:00/0000:00:07.0/0000:05:00.0";
    const std::string emmc = "devices/platform/soc/mmc_host/mmc2/mmc2:0001/block";
    fixture.addBlockDevice(usb, "sdc", "sdc1", "8:33", true);      // USB SD reader
    fixture.addBlockDevice(usb, "sdf", "sdf1", "8:81", true);      // USB reader, exFAT through FUSE
    fixture.addBlockDevice(usbHome, "sde", "sde1", "8:65", false); // USB disk holding /home...
    fixture.addBlockDevice(usbHome, "sde", "sde2", "8:66", false); // ...and a second partition
    fixture.addBlockDevice("devices/pci0000:00/0000:00:1e.6/mmc_host/mmc1/mmc1:aaaa/block", "mmcblk1", "mmcblk1p1",
                           "179:9", false); // laptop SD slot on PCI
    fixture.addBlockDevice("devices/pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0", "nvme0n1", "nvme0n1p1", "259:1",
                           false); // internal NVMe
    fixture.addBlockDevice(pciPort + "/0000:06:00.0/nvme/nvme1", "nvme1n1", "nvme1n1p1", "259:5", false);
    writeFile(fixture.sysfsRoot() + "/" + pciPort + "/removable", "removable\n"); // Thunderbolt
    fixture.addBlockDevice(emmc, "mmcblk2", "mmcblk2p1", "179:17", false);
    writeFile(fixture.sysfsRoot() + "/" + emmc + "/mmcblk2/device/type", "MMC\n");
    fixture.addBlockDevice("devices/virtual/block", "loop0", "", "7:0", false);
    writeFile(fixture.udevRoot() + "/data/b8:33", "E:ID_FS_LABEL=NO_NAME\nE:ID_FS_UUID_ENC=x\n"
                                                  "E:ID_FS_UUID=1A2B-3C4D\n");
    writeFile(fixture.udevRoot() + "/data/b179:1", "E:ID_FS_LABEL=NO_NAME\n");
    makeDirectory(fixture.devRoot() + "/disk/by-uuid");
    std::filesystem::create_symlink("../../sdf1", fixture.devRoot() + "/disk/by-uuid/5E6F-7A8B");
    fixture.writeMountinfo("22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                           "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
                           "28 27 8:65 / /home rw - ext4 /dev/sde1 rw\n"
                           "30 27 8:1 / /boot/efi rw shared:2 - vfat /dev/sda1 rw\n"
                           "40 27 8:17 / /mnt/USB\\040STICK rw,nosuid shared:5 - exfat /dev/sdb1 rw\n"
                           "41 27 179:1 / /srv/sd rw - vfat /dev/mmcblk0p1 rw\n"
                           "42 27 11:0 / /mnt/dvd ro - iso9660 /dev/sr0 ro\n"
                           "45 27 8:2 /var/lib/containers/hosts /etc/hosts rw - ext4 /dev/sda2 rw\n"
                           "46 27 0:51 / /run/user/1000 rw - tmpfs tmpfs rw\n"
                           "47 27 0:52 / /media rw - tmpfs tmpfs rw\n"
                           "48 27 8:1 / /mnt/over rw - vfat /dev/sda1 rw\n"
                           "49 27 8:17 / /mnt/over rw - exfat /dev/sdb1 rw\n"
                           "50 47 8:33 / /media/me/EOS_DIGITAL rw - exfat /dev/sdc1 rw\n"
                           "52 27 179:9 / /run/media/me/SLOT rw - vfat /dev/mmcblk1p1 rw\n"
                           "54 47 259:1 / /media/me/DATA rw - ext4 /dev/nvme0n1p1 rw\n"
                           "55 47 259:5 / /media/me/TB_SSD rw - apfs /dev/nvme1n1p1 rw\n"
                           "56 27 0:60 / /run/media/me/NFS rw - nfs4 server:/export rw\n"
                           "58 47 0:62 / /media/me/SSH rw - fuse.sshfs me@host:/ rw\n"
                           "59 47 7:0 / /media/me/IMAGE ro - squashfs /dev/loop0 ro\n"
                           "60 47 8:66 / /media/me/HOME_TOO rw - ext4 /dev/sde2 rw\n"
                           "61 47 0:63 / /media/me/EXFAT rw - fuseblk /dev/sdf1 rw\n"
                           "62 47 179:17 / /media/me/EMMC rw - ext4 /dev/mmcblk2p1 rw\n");
    auto service = std::make_shared<SystemVolumeService>(fixture.mountinfoPath(), fixture.sysfsRoot(),
                                                         fixture.udevRoot(), fixture.devRoot());
    CurrentService current(service);
    struct Case {
        const char *path;
        bool local, removable, medium;
        const char *identity;
    };
    const Case cases[] = {
        {"/", true, false, false, nullptr},
        {"/boot/efi", true, false, false, nullptr},
        {"/home", true, false, false, nullptr},
        {"/mnt/USB STICK", true, true, false, nullptr},
        {"/srv/sd", true, true, true, nullptr},
        {"/mnt/dvd", true, true, true, nullptr},
        {"/mnt/over", true, true, false, nullptr},
        {"/media/me/EOS_DIGITAL", true, true, true, "uuid:1A2B-3C4D"},
        {"/run/media/me/SLOT", true, true, true, nullptr},
        {"/media/me/EXFAT", true, true, true, "uuid:5E6F-7A8B"},
        {"/media/me/TB_SSD", true, true, false, nullptr},
        {"/media/me/DATA", true, false, false, nullptr},
        {"/media/me/EMMC", true, false, false, nullptr},
        {"/media/me/IMAGE", true, false, false, nullptr},
        {"/media/me/HOME_TOO", true, false, false, nullptr},
        {"/run/media/me/NFS", false, false, false, nullptr},
        {"/media/me/SSH", false, false, false, nullptr},
        // Only the exact mount path is the volume; the lists hold nothing that is not one.
        {"/mnt/USB STICK/", false, false, false, nullptr},
        {"/mnt/USB STICK/DCIM", false, false, false, nullptr},
        {"/mnt/USB\\040STICK", false, false, false, nullptr},
    };
    // The utilities' lists come in plain byte order ("/mnt/USB STICK" before "/mnt/dvd"), each point once.
    std::vector<std::string> local, removable;
    for (const Case &c : cases) {
        if (c.local) local.push_back(c.path);
        if (c.removable) removable.push_back(c.path);
    }
    std::sort(local.begin(), local.end());
    std::sort(removable.begin(), removable.end());
    EXPECT_EQ(DirectoryUtilities::localVolumes(), local);
    EXPECT_EQ(DirectoryUtilities::removableDrives(), removable);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(DirectoryUtilities::driveIsRemovable(c.path), c.removable);
        EXPECT_EQ(service->hasRemovableMedium(c.path), c.medium);
        EXPECT_EQ(service->volumeIdentity(c.path), c.identity ? std::optional<std::string>(c.identity) : std::nullopt);
    }
}

TEST(SystemVolumeService, RelabelsAFatImageWithTheLabelTool)
{
    if (!Process::run({"mkfs.fat", "--help"}, Process::Output::Discard).started) GTEST_SKIP() << "no mkfs.fat";
    VolumeFixture fixture;
    const std::string image = fixture.dir() / "camera card.img";
    ASSERT_TRUE(Process::run({"mkfs.fat", "-C", "-n", "OLDCARD", image, "2048"}, Process::Output::Discard).succeeded());
    // The image stands in for the device of the USB stick; its name reaches
    // the tool through the table's escapes and an argument vector, space and all.
    fixture.writeMountinfo("27 1 8:2 / / rw - ext4 /dev/sda2 rw\n"
                           "60 27 8:17 / /media/tester/OLDCARD rw - vfat " +
                           fixture.dir().path() + "/camera\\040card.img rw\n");
    auto service = std::make_shared<SystemVolumeService>(fixture.mountinfoPath(), fixture.sysfsRoot());
    CurrentService current(service);
    ASSERT_EQ(readLabel(image), "OLDCARD");
    // A leading dash is a label, not an option; an invalid name is refused
    // before anything runs; for no such card the new name comes back all the same.
    const std::tuple<const char *, const char *, std::optional<std::string>, const char *> steps[] = {
        {"NEWCARD", "OLDCARD", "NEWCARD", "NEWCARD"},
        {"-DASH", "OLDCARD", "-DASH", "-DASH"},
        {"A:B", "OLDCARD", std::nullopt, "-DASH"},
        {"OTHER", "NOSUCHCARD", "OTHER", "-DASH"},
    };
    for (const auto &[name, card, answer, label] : steps) {
        EXPECT_EQ(DirectoryUtilities::renameDrive(name, card), answer) << name;
        EXPECT_EQ(readLabel(image), label) << name;
    }
    EXPECT_TRUE(service->renameVolume("-DASH", "OLDCARD"));
    EXPECT_FALSE(service->renameVolume("OTHER", "NOSUCHCARD"));
}

TEST(SystemVolumeService, RefusesToRelabelWithoutAToolOrADevicePathAndQuotesNamesForTheBus)
{
    VolumeFixture fixture;
    fixture.writeMountinfo("43 27 0:50 / /media/tester/NETSHARE rw - cifs //server/share rw\n"
                           "44 27 0:51 / /media/tester/ODD rw - ntfs3 /dev/sdq1 rw\n");
    SystemVolumeService service(fixture.mountinfoPath(), fixture.sysfsRoot());
    EXPECT_FALSE(service.renameVolume("X", "NETSHARE"));
    EXPECT_FALSE(service.renameVolume("X", "ODD"));
    EXPECT_FALSE(service.ejectVolume("NOSUCHCARD"));
    // Names reach the bus quoted, so that no name ends the literal.
    EXPECT_EQ(SystemVolumeService::gvariantString("it's \\ \"x\"\n"), "'it\\'s \\\\ \"x\"\\u000a'");
    EXPECT_EQ(SystemVolumeService::udisksObjectPath("dm-0"), "/org/freedesktop/UDisks2/block_devices/dm_2d0");
}

TEST(MountTable, DecodesOctalEscapesReadsFieldsAroundOptionalTagsAndSkipsMalformedLines)
{
    EXPECT_EQ(MountTable::decodeOctalEscapes("a\\011b\\012c\\134d"), "a\tb\nc\\d");
    EXPECT_EQ(MountTable::decodeOctalEscapes("\\377"), "\xff");
    // Not three octal digits: kept as written.
    EXPECT_EQ(MountTable::decodeOctalEscapes("x\\08y\\04"), "x\\08y\\04");
    EXPECT_EQ(MountTable::decodeOctalEscapes("trailing\\"), "trailing\\");

    // Fields are read around the optional tags; malformed lines are skipped.
    const std::string text = "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
                             "40 27 8:17 / /mnt/USB\\040STICK rw,nosuid shared:5 master:3 - exfat /dev/sdb1 rw\n"
                             "41 27 0:50 /sub /srv/bind rw - cifs //server/share rw\n"
                             "garbage line\n"
                             "42 27 x:y / /bad rw - ext4 /dev/sdz rw\n"
                             "43 27 8:3 / relative rw - ext4 /dev/sda3 rw\n"
                             "44 27 8:4 / /no-separator rw ext4 /dev/sda4 rw\n"
                             "45 27 8:5 / /no-source rw -\n";
    std::vector<std::string> entries;
    for (const auto &e : MountTable::parse(text))
        entries.push_back(std::to_string(e.major) + ":" + std::to_string(e.minor) + " " + e.root + " " + e.mountPoint +
                          " " + e.fsType + " " + e.source);
    EXPECT_EQ(entries, (std::vector<std::string>{"8:2 / / ext4 /dev/sda2", "8:17 / /mnt/USB STICK exfat /dev/sdb1",
                                                 "0:50 /sub /srv/bind cifs //server/share"}));
}
