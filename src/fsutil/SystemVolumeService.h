#pragma once

#include "fsutil/MountTable.h"
#include "fsutil/VolumeService.h"

#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Volumes as the kernel sees them. The mount table, the sysfs root, the udev
// database and the device folder are constructor arguments so tests can hand
// in captured tables and fake trees.
//
// The device decides what is removable, never the mount point: a removable
// drive is a block device whose every underlying disk is hot-pluggable (its
// medium is flagged removable, it sits in an SD/MMC slot, or it hangs on a
// USB, FireWire or Thunderbolt bus) and holds none of the system's folders.
// Network and virtual file systems are neither local nor removable.
class SystemVolumeService : public VolumeService {
public:
    explicit SystemVolumeService(std::string mountinfoPath = MountTable::kDefaultPath, std::string sysfsRoot = "/sys",
                                 std::string udevRoot = "/run/udev", std::string devRoot = "/dev");

    struct Volume {
        MountEntry mount;
        bool removable = false;       // a removable drive
        bool removableMedium = false; // ...whose medium leaves it (a card, a disc)
        std::string device;           // sysfs path of the mounted block device; empty for none
    };
    // Every mount that counts as a volume, in table order; a mount point
    // mounted over keeps only its top mount.
    std::vector<Volume> volumes() const;

    std::vector<std::string> localVolumePaths() const override;
    std::vector<std::string> removableVolumePaths() const override;
    bool renameVolume(const std::string &newName, const std::string &oldName) override;
    bool ejectVolume(const std::string &name) override;
    bool hasRemovableMedium(const std::string &mountPath) const override;
    // "uuid:<ID_FS_UUID>" of the mounted block device. The label is left out
    // on purpose: a rename changes it, and two cards may share one.
    std::optional<std::string> volumeIdentity(const std::string &mountPath) const override;

    // The udisks2 object of a kernel block device name: every byte outside
    // [A-Za-z0-9_] becomes _xx, as the daemon names its objects.
    static std::string udisksObjectPath(const std::string &kernelName);
    // A GVariant text literal of `text` for gdbus, quoted so that no name can
    // end the literal early.
    static std::string gvariantString(const std::string &text);

private:
    struct DiskKind {
        bool hotPluggable = false;
        bool removableMedium = false;
    };
    std::optional<std::string> sysfsDevicePath(const MountEntry &mount) const;
    std::vector<std::string> underlyingDisks(const std::string &device) const;
    DiskKind diskKind(const std::string &disk) const;
    std::optional<Volume> volumeAt(const std::string &mountPath) const;
    std::optional<std::string> uuidOf(const std::string &device) const;
    std::optional<MountEntry> removableMountNamed(const std::string &name) const;
    bool setLabelThroughUdisks(const MountEntry &mount, const std::string &label) const;
    bool setLabelWithTool(const MountEntry &mount, const std::string &label) const;

    std::string m_mountinfoPath;
    std::string m_sysfsRoot;
    std::string m_udevRoot;
    std::string m_devRoot;
};

} // namespace ferrydeck
