#include "fsutil/SystemVolumeService.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/Process.h"
#include "fsutil/SystemLog.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace ferrydeck {

namespace {

bool startsWith(const std::string &text, const std::string &prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// File systems that never sit on a local disk, wherever they are mounted
// (an automounter puts shares below /run/media just as it puts cards).
bool isNetworkOrVirtual(const std::string &fsType)
{
    static const char *const kTypes[] = {
        "nfs",     "nfs4",      "cifs",     "smb3",        "smbfs",  "ncpfs",     "9p",      "afs",
        "ceph",    "glusterfs", "lustre",   "davfs",       "coda",   "overlay",   "tmpfs",   "ramfs",
        "proc",    "sysfs",     "devtmpfs", "devpts",      "autofs", "cgroup",    "cgroup2", "securityfs",
        "debugfs", "tracefs",   "configfs", "binfmt_misc", "mqueue", "hugetlbfs", "pstore",  "efivarfs",
        "bpf",     "fusectl",   "nsfs",     "virtiofs",    "vboxsf"};
    for (const char *type : kTypes) {
        if (fsType == type) return true;
    }
    return false;
}

// A FUSE mount is a disk only when the kernel opened a block device for it
// (ntfs-3g, exfat-fuse: "fuseblk"); sshfs, rclone and the like are not.
bool isFuse(const std::string &fsType)
{
    return fsType == "fuse" || startsWith(fsType, "fuse.");
}

std::string firstLine(const std::string &path)
{
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isNameFollowedByNumber(const std::string &name, const std::string &prefix)
{
    return name.size() > prefix.size() && startsWith(name, prefix) && isDigit(name[prefix.size()]);
}

// What the system itself runs from; the disks under these are never offered
// as removable, even when they hang on USB.
const char *const kSystemFolders[] = {"/", "/home", "/boot", "/boot/efi", "/usr", "/var"};

} // namespace

SystemVolumeService::SystemVolumeService(std::string mountinfoPath, std::string sysfsRoot, std::string udevRoot,
                                         std::string devRoot)
    : m_mountinfoPath(std::move(mountinfoPath))
    , m_sysfsRoot(std::move(sysfsRoot))
    , m_udevRoot(std::move(udevRoot))
    , m_devRoot(std::move(devRoot))
{
}

std::optional<std::string> SystemVolumeService::sysfsDevicePath(const MountEntry &mount) const
{
    if (isNetworkOrVirtual(mount.fsType)) return std::nullopt;
    std::error_code error;
    if (!isFuse(mount.fsType) && mount.major != 0) {
        const fs::path link = fs::path(m_sysfsRoot) / "dev/block" / stringWithFormat("%u:%u", mount.major, mount.minor);
        const fs::path device = fs::canonical(link, error);
        if (!error) return device.string();
    }
    // File systems on anonymous device numbers (FUSE, btrfs) name their
    // device only as the source.
    if (!startsWith(mount.source, "/dev/")) return std::nullopt;
    std::string kernelName = path::lastComponent(mount.source);
    if (m_devRoot == "/dev") {
        const fs::path node = fs::canonical(mount.source, error);
        if (!error) kernelName = node.filename().string();
    }
    if (kernelName.empty() || kernelName == "." || kernelName == "..") return std::nullopt;
    const fs::path device = fs::canonical(fs::path(m_sysfsRoot) / "class/block" / kernelName, error);
    if (error) return std::nullopt;
    return device.string();
}

// The whole disks a block device lives on: a partition's disk, and the disks
// below a device-mapper or RAID device (an encrypted card, say).
std::vector<std::string> SystemVolumeService::underlyingDisks(const std::string &device) const
{
    std::vector<std::string> disks;
    std::vector<std::pair<fs::path, int>> pending = {{device, 0}};
    while (!pending.empty()) {
        auto [current, depth] = pending.back();
        pending.pop_back();
        std::error_code error;
        if (fs::exists(current / "partition", error)) current = current.parent_path();
        std::vector<fs::path> slaves;
        for (fs::directory_iterator it(current / "slaves", error), end; !error && it != end; it.increment(error)) {
            std::error_code resolveError;
            const fs::path slave = fs::canonical(it->path(), resolveError);
            if (!resolveError) slaves.push_back(slave);
        }
        if (slaves.empty() || depth >= 8) {
            disks.push_back(current.string());
            continue;
        }
        for (const fs::path &slave : slaves)
            pending.push_back({slave, depth + 1});
    }
    std::sort(disks.begin(), disks.end());
    disks.erase(std::unique(disks.begin(), disks.end()), disks.end());
    return disks;
}

SystemVolumeService::DiskKind SystemVolumeService::diskKind(const std::string &disk) const
{
    DiskKind kind;
    const fs::path diskPath = disk;
    const bool mediumFlagged = firstLine((diskPath / "removable").string()) == "1";
    bool mmc = startsWith(diskPath.filename().string(), "mmcblk");
    bool bus = false;

    // Only the part below the sysfs root says where the device hangs; the
    // root itself may be a test folder whose name happens to contain "usb".
    std::error_code error;
    const fs::path root = fs::canonical(m_sysfsRoot, error);
    if (error) return kind;
    const fs::path relative = diskPath.lexically_relative(root);
    if (relative.empty() || *relative.begin() == "..") return kind;
    // Loop, device-mapper without disks below, zram, nbd: local at best.
    if (startsWith(relative.string(), "devices/virtual/")) return kind;
    for (const fs::path &component : relative) {
        const std::string name = component.string();
        if (isNameFollowedByNumber(name, "usb") || isNameFollowedByNumber(name, "fw") || contains(name, "firewire") ||
            contains(name, "ieee1394") || contains(name, "thunderbolt")) {
            bus = true;
        }
        if (startsWith(name, "mmc")) mmc = true;
    }
    // The kernel marks devices behind an external port (Thunderbolt, USB4)
    // "removable" on the device itself, above the block layer.
    for (fs::path up = diskPath.parent_path(); !bus && up != root && up.has_relative_path() && up != up.parent_path();
         up = up.parent_path()) {
        if (firstLine((up / "removable").string()) == "removable") bus = true;
    }
    // Soldered eMMC reports itself "MMC" (cards in slots say "SD"); it is
    // the machine's own storage, never a card.
    if (mmc && firstLine((diskPath / "device/type").string()) == "MMC") return kind;
    kind.removableMedium = mediumFlagged || mmc;
    kind.hotPluggable = kind.removableMedium || bus;
    return kind;
}

std::vector<SystemVolumeService::Volume> SystemVolumeService::volumes() const
{
    std::vector<MountEntry> mounts = MountTable::read(m_mountinfoPath);
    // A later mount on the same point hides the earlier one.
    std::map<std::string, size_t> topMount;
    for (size_t i = 0; i < mounts.size(); ++i)
        topMount[mounts[i].mountPoint] = i;

    std::vector<std::string> systemDisks;
    for (const char *folder : kSystemFolders) {
        const auto top = topMount.find(folder);
        if (top == topMount.end()) continue;
        const std::optional<std::string> device = sysfsDevicePath(mounts[top->second]);
        if (!device) continue;
        for (std::string &disk : underlyingDisks(*device))
            systemDisks.push_back(std::move(disk));
    }
    const auto isSystemDisk = [&](const std::string &disk) {
        return std::find(systemDisks.begin(), systemDisks.end(), disk) != systemDisks.end();
    };

    std::vector<Volume> result;
    for (size_t i = 0; i < mounts.size(); ++i) {
        const MountEntry &mount = mounts[i];
        if (topMount[mount.mountPoint] != i) continue;
        const std::optional<std::string> device = sysfsDevicePath(mount);
        if (mount.mountPoint == "/") {
            // The start-up volume is always listed, even on an overlay, and is
            // never offered for ejecting even when it lives on a USB disk.
            result.push_back({mount, false, false, device.value_or("")});
            continue;
        }
        // A bind mount of a sub-folder (a container's /etc/hosts) is not a volume.
        if (mount.root != "/") continue;
        if (!device) {
            // No sysfs to ask (a chroot): a device source still counts as local.
            const bool plainDevice =
                startsWith(mount.source, "/dev/") && !isNetworkOrVirtual(mount.fsType) && !isFuse(mount.fsType);
            if (plainDevice) result.push_back({mount, false, false, ""});
            continue;
        }
        Volume volume{mount, false, false, *device};
        const std::vector<std::string> disks = underlyingDisks(*device);
        volume.removable = !disks.empty();
        volume.removableMedium = !disks.empty();
        for (const std::string &disk : disks) {
            const DiskKind kind = diskKind(disk);
            if (!kind.hotPluggable || isSystemDisk(disk)) volume.removable = false;
            if (!kind.removableMedium) volume.removableMedium = false;
        }
        volume.removableMedium = volume.removableMedium && volume.removable;
        result.push_back(std::move(volume));
    }
    return result;
}

std::vector<std::string> SystemVolumeService::localVolumePaths() const
{
    std::vector<std::string> paths;
    for (const Volume &volume : volumes())
        paths.push_back(volume.mount.mountPoint);
    return paths;
}

std::vector<std::string> SystemVolumeService::removableVolumePaths() const
{
    std::vector<std::string> paths;
    for (const Volume &volume : volumes()) {
        if (volume.removable) paths.push_back(volume.mount.mountPoint);
    }
    return paths;
}

std::optional<SystemVolumeService::Volume> SystemVolumeService::volumeAt(const std::string &mountPath) const
{
    for (Volume &volume : volumes()) {
        if (volume.mount.mountPoint == mountPath) return std::move(volume);
    }
    return std::nullopt;
}

bool SystemVolumeService::hasRemovableMedium(const std::string &mountPath) const
{
    const std::optional<Volume> volume = volumeAt(mountPath);
    return volume && volume->removableMedium;
}

namespace {

// A UUID worth the name: printable ASCII without spaces.
std::optional<std::string> cleanUuid(std::string text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.pop_back();
    if (text.empty() || text.size() > 128) return std::nullopt;
    for (unsigned char c : text) {
        if (c <= 0x20 || c >= 0x7f) return std::nullopt;
    }
    return text;
}

} // namespace

std::optional<std::string> SystemVolumeService::uuidOf(const std::string &device) const
{
    const std::string kernelName = fs::path(device).filename().string();
    // udev's database, keyed by the device number.
    const std::string number = firstLine((fs::path(device) / "dev").string());
    if (!number.empty()) {
        std::ifstream in(fs::path(m_udevRoot) / "data" / ("b" + number));
        for (std::string line; std::getline(in, line);) {
            if (startsWith(line, "E:ID_FS_UUID=")) return cleanUuid(line.substr(13));
        }
    }
    // The links udev made, when its database is elsewhere.
    std::error_code error;
    for (fs::directory_iterator it(fs::path(m_devRoot) / "disk/by-uuid", error), end; !error && it != end;
         it.increment(error)) {
        // udev points each link straight at the node ("../../sdb1").
        std::error_code linkError;
        const fs::path target = fs::read_symlink(it->path(), linkError);
        if (!linkError && target.filename() == kernelName) return cleanUuid(it->path().filename().string());
    }
    // Last, ask the probe itself, on a real device node only.
    struct stat info {};
    const std::string node = (fs::path(m_devRoot) / kernelName).string();
    if (::stat(node.c_str(), &info) != 0 || !S_ISBLK(info.st_mode)) return std::nullopt;
    const Process::Result probe =
        Process::run({"blkid", "-o", "value", "-s", "UUID", "--", node}, Process::Output::Capture);
    if (!probe.succeeded()) return std::nullopt;
    return cleanUuid(probe.output);
}

std::optional<std::string> SystemVolumeService::volumeIdentity(const std::string &mountPath) const
{
    const std::optional<Volume> volume = volumeAt(mountPath);
    if (!volume || volume->device.empty()) return std::nullopt;
    const std::optional<std::string> uuid = uuidOf(volume->device);
    if (!uuid) return std::nullopt;
    return "uuid:" + *uuid;
}

std::optional<MountEntry> SystemVolumeService::removableMountNamed(const std::string &name) const
{
    std::vector<Volume> candidates = volumes();
    std::sort(candidates.begin(), candidates.end(),
              [](const Volume &a, const Volume &b) { return a.mount.mountPoint < b.mount.mountPoint; });
    for (const Volume &volume : candidates) {
        if (volume.removable && path::lastComponent(volume.mount.mountPoint) == name) return volume.mount;
    }
    return std::nullopt;
}

std::string SystemVolumeService::udisksObjectPath(const std::string &kernelName)
{
    std::string objectPath = "/org/freedesktop/UDisks2/block_devices/";
    for (unsigned char c : kernelName) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        if (plain) objectPath.push_back(static_cast<char>(c));
        else objectPath += stringWithFormat("_%02x", c);
    }
    return objectPath;
}

std::string SystemVolumeService::gvariantString(const std::string &text)
{
    std::string literal = "'";
    for (unsigned char c : text) {
        if (c == '\\' || c == '\'') {
            literal.push_back('\\');
            literal.push_back(static_cast<char>(c));
        } else if (c < 0x20 || c == 0x7f) {
            literal += stringWithFormat("\\u%04x", c);
        } else {
            literal.push_back(static_cast<char>(c));
        }
    }
    literal.push_back('\'');
    return literal;
}

bool SystemVolumeService::setLabelThroughUdisks(const MountEntry &mount, const std::string &label) const
{
    if (!startsWith(mount.source, "/dev/")) return false;
    const std::optional<std::string> device = sysfsDevicePath(mount);
    const std::string kernelName = path::lastComponent(device ? *device : mount.source);
    const Process::Result result =
        Process::run({"gdbus", "call", "--system", "--dest", "org.freedesktop.UDisks2", "--object-path",
                      udisksObjectPath(kernelName), "--method", "org.freedesktop.UDisks2.Filesystem.SetLabel",
                      gvariantString(label), "@a{sv} {}"},
                     Process::Output::Discard);
    return result.succeeded();
}

bool SystemVolumeService::setLabelWithTool(const MountEntry &mount, const std::string &label) const
{
    // The tool gets the device or image file; anything else is not ours to touch.
    if (!startsWith(mount.source, "/")) return false;
    std::vector<std::string> argv;
    if (mount.fsType == "vfat" || mount.fsType == "msdos") {
        argv = {"fatlabel", "--", mount.source, label};
    } else if (mount.fsType == "exfat") {
        argv = {"exfatlabel", "--", mount.source, label};
    } else if (mount.fsType == "ext2" || mount.fsType == "ext3" || mount.fsType == "ext4") {
        // e2label reads its two arguments by position and knows no "--"; a
        // label starting with a dash is safe with it as it is.
        argv = {"e2label", mount.source, label};
    } else {
        systemLog("rename: no label tool for file system %s of %s", mount.fsType.c_str(), mount.mountPoint.c_str());
        return false;
    }
    const Process::Result result = Process::run(argv, Process::Output::ToStandardError);
    if (!result.succeeded()) {
        systemLog("rename: %s failed (status %d)", Process::displayCommand(argv).c_str(), result.status);
    }
    return result.succeeded();
}

bool SystemVolumeService::renameVolume(const std::string &newName, const std::string &oldName)
{
    const std::optional<MountEntry> mount = removableMountNamed(oldName);
    if (!mount) {
        systemLog("rename: no removable volume named \"%s\"", oldName.c_str());
        return false;
    }
    return setLabelThroughUdisks(*mount, newName) || setLabelWithTool(*mount, newName);
}

bool SystemVolumeService::ejectVolume(const std::string &name)
{
    const std::optional<MountEntry> mount = removableMountNamed(name);
    if (!mount) {
        systemLog("eject: no removable volume named \"%s\"", name.c_str());
        return false;
    }
    // udisks lets an ordinary user unmount and power off a card; umount is
    // what is left without it (and as root).
    if (startsWith(mount->source, "/dev/")) {
        const Process::Result unmounted =
            Process::run({"udisksctl", "unmount", "--no-user-interaction", "--block-device", mount->source},
                         Process::Output::ToStandardError);
        if (unmounted.succeeded()) {
            const Process::Result poweredOff =
                Process::run({"udisksctl", "power-off", "--no-user-interaction", "--block-device", mount->source},
                             Process::Output::ToStandardError);
            if (!poweredOff.succeeded()) {
                systemLog("eject: %s is unmounted but could not be powered off", mount->source.c_str());
            }
            return true;
        }
    }
    const std::vector<std::string> argv = {"umount", mount->mountPoint};
    const Process::Result unmounted = Process::run(argv, Process::Output::ToStandardError);
    if (!unmounted.succeeded()) {
        systemLog("eject: %s failed (status %d)", Process::displayCommand(argv).c_str(), unmounted.status);
    }
    return unmounted.succeeded();
}

} // namespace ferrydeck
