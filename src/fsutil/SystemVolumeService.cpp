#include "fsutil/SystemVolumeService.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/Process.h"
#include "fsutil/SystemLog.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace ferrydeck {

namespace {

bool startsWith(const std::string &text, const std::string &prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

// Desktop automounters put cards below these; a mount there is a card
// whatever the bus says (network shares and disk images included).
bool isUnderMediaFolder(const std::string &mountPoint)
{
    for (const char *folder : {"/media/", "/run/media/"}) {
        if (startsWith(mountPoint, folder) && mountPoint.size() > std::char_traits<char>::length(folder)) return true;
    }
    return false;
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

} // namespace

SystemVolumeService::SystemVolumeService(std::string mountinfoPath, std::string sysfsRoot)
    : m_mountinfoPath(std::move(mountinfoPath))
    , m_sysfsRoot(std::move(sysfsRoot))
{
}

std::optional<std::string> SystemVolumeService::sysfsDevicePath(const MountEntry &mount) const
{
    std::error_code error;
    const fs::path link = fs::path(m_sysfsRoot) / "dev/block" / stringWithFormat("%u:%u", mount.major, mount.minor);
    const fs::path device = fs::canonical(link, error);
    if (error) return std::nullopt;
    return device.string();
}

bool SystemVolumeService::isBlockDevice(const MountEntry &mount) const
{
    return startsWith(mount.source, "/dev/") || sysfsDevicePath(mount).has_value();
}

bool SystemVolumeService::diskIsRemovable(const MountEntry &mount) const
{
    const std::optional<std::string> device = sysfsDevicePath(mount);
    if (!device) return false;
    std::error_code error;
    fs::path disk = *device;
    if (fs::exists(disk / "partition", error)) disk = disk.parent_path();
    if (firstLine((disk / "removable").string()) == "1") return true;

    // Only the part below the sysfs root says where the device hangs; the
    // root itself may be a test folder whose name happens to contain "usb".
    const fs::path root = fs::canonical(m_sysfsRoot, error);
    const fs::path relative = error ? disk : disk.lexically_relative(root);
    for (const fs::path &component : relative) {
        const std::string name = component.string();
        if (name.size() > 3 && startsWith(name, "usb") && isDigit(name[3])) return true;
        if (startsWith(name, "mmc")) return true;
    }
    return false;
}

std::vector<SystemVolumeService::Volume> SystemVolumeService::volumes() const
{
    std::vector<MountEntry> mounts = MountTable::read(m_mountinfoPath);
    // A later mount on the same point hides the earlier one.
    std::map<std::string, size_t> topMount;
    for (size_t i = 0; i < mounts.size(); ++i) topMount[mounts[i].mountPoint] = i;

    std::vector<Volume> result;
    for (size_t i = 0; i < mounts.size(); ++i) {
        const MountEntry &mount = mounts[i];
        if (topMount[mount.mountPoint] != i) continue;
        if (mount.mountPoint == "/") {
            // The start-up volume is always listed, even on an overlay, and is
            // never offered for ejecting even when it lives on a USB disk.
            result.push_back({mount, false});
            continue;
        }
        // A bind mount of a sub-folder (a container's /etc/hosts) is not a volume.
        if (mount.root != "/") continue;
        const bool removable = isUnderMediaFolder(mount.mountPoint) || diskIsRemovable(mount);
        if (removable || isBlockDevice(mount)) result.push_back({mount, removable});
    }
    return result;
}

std::vector<std::string> SystemVolumeService::localVolumePaths() const
{
    std::vector<std::string> paths;
    for (const Volume &volume : volumes()) paths.push_back(volume.mount.mountPoint);
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
    const Process::Result result = Process::run(
        {"gdbus", "call", "--system", "--dest", "org.freedesktop.UDisks2", "--object-path",
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
