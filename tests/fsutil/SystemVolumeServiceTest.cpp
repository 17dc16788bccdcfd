#include "VolumeFixture.h"

#include "fsutil/DirectoryUtilities.h"
#include "fsutil/Process.h"
#include "fsutil/SystemVolumeService.h"

#include <gtest/gtest.h>

#include <memory>

using namespace ferrydeck;
using ferrydeck::test::VolumeFixture;

namespace {

// A desktop with an internal disk, a USB stick with a space in its name, an
// SD card, a DVD, a network share automounted under /media, and the mounts
// that must not count: pseudo file systems, a bind mount of one file, /media
// itself, and a mount point mounted over.
const char *kDesktopMounts =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
    "30 27 8:1 / /boot/efi rw shared:2 - vfat /dev/sda1 rw\n"
    "40 27 8:17 / /mnt/USB\\040STICK rw,nosuid shared:5 - exfat /dev/sdb1 rw\n"
    "41 27 179:1 / /srv/sd rw - vfat /dev/mmcblk0p1 rw\n"
    "42 27 11:0 / /mnt/dvd ro - iso9660 /dev/sr0 ro\n"
    "43 27 0:50 / /media/tester/NETSHARE rw - cifs //server/share rw\n"
    "45 27 8:2 /var/lib/containers/hosts /etc/hosts rw - ext4 /dev/sda2 rw\n"
    "46 27 0:51 / /run/user/1000 rw - tmpfs tmpfs rw\n"
    "47 27 0:52 / /media rw - tmpfs tmpfs rw\n"
    "48 27 8:1 / /mnt/over rw - vfat /dev/sda1 rw\n"
    "49 27 8:17 / /mnt/over rw - exfat /dev/sdb1 rw\n";

// Installs a service for the utilities and takes it away again.
class CurrentService {
public:
    explicit CurrentService(std::shared_ptr<VolumeService> service) { VolumeService::setCurrent(std::move(service)); }
    ~CurrentService() { VolumeService::setCurrent(nullptr); }
};

std::string readLabel(const std::string &image)
{
    std::string label = Process::run({"fatlabel", image}, Process::Output::Capture).output;
    while (!label.empty() && (label.back() == '\n' || label.back() == ' ')) label.pop_back();
    return label;
}

} // namespace

TEST(SystemVolumeService, SortsRemovableAndLocalListsFromTheMountTableAndSysfs)
{
    VolumeFixture fixture;
    fixture.writeMountinfo(kDesktopMounts);
    CurrentService current(std::make_shared<SystemVolumeService>(fixture.mountinfoPath(), fixture.sysfsRoot()));

    // Plain byte order: "/mnt/USB STICK" before "/mnt/dvd"; the over-mounted
    // /mnt/over is now the USB stick.
    EXPECT_EQ(DirectoryUtilities::removableDrives(),
              (std::vector<std::string>{"/media/tester/NETSHARE", "/mnt/USB STICK", "/mnt/dvd", "/mnt/over",
                                        "/srv/sd"}));
    EXPECT_EQ(DirectoryUtilities::localVolumes(),
              (std::vector<std::string>{"/", "/boot/efi", "/media/tester/NETSHARE", "/mnt/USB STICK", "/mnt/dvd",
                                        "/mnt/over", "/srv/sd"}));
}

TEST(SystemVolumeService, OnlyTheExactMountPathIsRemovable)
{
    VolumeFixture fixture;
    fixture.writeMountinfo(kDesktopMounts);
    CurrentService current(std::make_shared<SystemVolumeService>(fixture.mountinfoPath(), fixture.sysfsRoot()));

    EXPECT_TRUE(DirectoryUtilities::driveIsRemovable("/mnt/USB STICK"));
    EXPECT_TRUE(DirectoryUtilities::driveIsRemovable("/srv/sd"));
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable("/mnt/USB STICK/"));
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable("/mnt/USB STICK/DCIM"));
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable("/mnt/USB\\040STICK"));
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable("/boot/efi"));
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable("/media"));
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable("/"));
}

TEST(SystemVolumeService, StartUpVolumeIsAlwaysLocalAndNeverRemovable)
{
    VolumeFixture fixture;
    // Booted from the USB stick: "/" lives on a removable disk.
    fixture.writeMountinfo("27 1 8:17 / / rw - ext4 /dev/sdb1 rw\n");
    SystemVolumeService onStick(fixture.mountinfoPath(), fixture.sysfsRoot());
    EXPECT_EQ(onStick.localVolumePaths(), std::vector<std::string>{"/"});
    EXPECT_TRUE(onStick.removableVolumePaths().empty());

    // A container's overlay root is no block device and still listed.
    fixture.writeMountinfo("500 400 0:99 / / rw - overlay overlay rw,lowerdir=/a\n");
    SystemVolumeService overlay(fixture.mountinfoPath(), fixture.sysfsRoot());
    EXPECT_EQ(overlay.localVolumePaths(), std::vector<std::string>{"/"});

    SystemVolumeService noTable(fixture.dir() / "missing", fixture.sysfsRoot());
    EXPECT_TRUE(noTable.localVolumePaths().empty());
}

TEST(SystemVolumeService, SysfsRootNameDoesNotMakeDisksRemovable)
{
    // The fixture lives below a folder named like a USB bus; only the part
    // below the sysfs root may decide.
    ferrydeck::test::TempDir outer;
    VolumeFixture fixture;
    const std::string sysfs = outer / "usb3" + "/sys";
    ferrydeck::test::makeDirectory(outer / "usb3");
    ASSERT_EQ(Process::run({"cp", "-a", fixture.sysfsRoot(), sysfs}).exitCode, 0);
    fixture.writeMountinfo("30 27 8:1 / /boot/efi rw - vfat /dev/sda1 rw\n");
    SystemVolumeService service(fixture.mountinfoPath(), sysfs);
    EXPECT_EQ(service.localVolumePaths(), std::vector<std::string>{"/boot/efi"});
    EXPECT_TRUE(service.removableVolumePaths().empty());
}

TEST(SystemVolumeService, RelabelsAFatImageWithTheLabelTool)
{
    if (!Process::run({"mkfs.fat", "--help"}, Process::Output::Discard).started) GTEST_SKIP() << "no mkfs.fat";
    VolumeFixture fixture;
    const std::string image = fixture.dir() / "camera card.img";
    ASSERT_TRUE(Process::run({"mkfs.fat", "-C", "-n", "OLDCARD", image, "2048"}, Process::Output::Discard)
                    .succeeded());
    // The image stands in for the device; its name reaches the tool through
    // the table's escapes and an argument vector, space and all.
    fixture.writeMountinfo("27 1 8:2 / / rw - ext4 /dev/sda2 rw\n"
                           "60 27 7:9 / /media/tester/OLDCARD rw - vfat "
                           + fixture.dir().path() + "/camera\\040card.img rw\n");
    auto service = std::make_shared<SystemVolumeService>(fixture.mountinfoPath(), fixture.sysfsRoot());
    CurrentService current(service);
    ASSERT_EQ(readLabel(image), "OLDCARD");

    EXPECT_EQ(DirectoryUtilities::renameDrive("NEWCARD", "OLDCARD"), std::optional<std::string>("NEWCARD"));
    EXPECT_EQ(readLabel(image), "NEWCARD");

    // A leading dash is a label, not an option.
    EXPECT_TRUE(service->renameVolume("-DASH", "OLDCARD"));
    EXPECT_EQ(readLabel(image), "-DASH");

    // An invalid name is refused before anything runs.
    EXPECT_EQ(DirectoryUtilities::renameDrive("A:B", "OLDCARD"), std::nullopt);
    EXPECT_EQ(readLabel(image), "-DASH");

    // No such card: the new name comes back all the same.
    EXPECT_FALSE(service->renameVolume("OTHER", "NOSUCHCARD"));
    EXPECT_EQ(DirectoryUtilities::renameDrive("OTHER", "NOSUCHCARD"), std::optional<std::string>("OTHER"));
    EXPECT_EQ(readLabel(image), "-DASH");
}

TEST(SystemVolumeService, RefusesToRelabelWithoutAToolOrADevicePath)
{
    VolumeFixture fixture;
    fixture.writeMountinfo("43 27 0:50 / /media/tester/NETSHARE rw - cifs //server/share rw\n"
                           "44 27 0:51 / /media/tester/ODD rw - ntfs3 /dev/sdq1 rw\n");
    SystemVolumeService service(fixture.mountinfoPath(), fixture.sysfsRoot());
    EXPECT_FALSE(service.renameVolume("X", "NETSHARE"));
    EXPECT_FALSE(service.renameVolume("X", "ODD"));
    EXPECT_FALSE(service.ejectVolume("NOSUCHCARD"));
}

TEST(SystemVolumeService, QuotesNamesForTheBusSoNoNameEndsTheLiteral)
{
    EXPECT_EQ(SystemVolumeService::gvariantString("CARD"), "'CARD'");
    EXPECT_EQ(SystemVolumeService::gvariantString("it's \\ \"x\"\n"), "'it\\'s \\\\ \"x\"\\u000a'");
    EXPECT_EQ(SystemVolumeService::udisksObjectPath("sdb1"), "/org/freedesktop/UDisks2/block_devices/sdb1");
    EXPECT_EQ(SystemVolumeService::udisksObjectPath("dm-0"), "/org/freedesktop/UDisks2/block_devices/dm_2d0");
}
