#pragma once

#include "fsutil/MountTable.h"
#include "fsutil/VolumeService.h"

#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Volumes as the kernel sees them. The mount table and the sysfs root are
// constructor arguments so tests can hand in captured tables and fake trees.
class SystemVolumeService : public VolumeService {
public:
    explicit SystemVolumeService(std::string mountinfoPath = MountTable::kDefaultPath,
                                 std::string sysfsRoot = "/sys");

    struct Volume {
        MountEntry mount;
        bool removable = false;
    };
    // Every mount that counts as a volume, in table order; a mount point
    // mounted over keeps only its top mount.
    std::vector<Volume> volumes() const;

    std::vector<std::string> localVolumePaths() const override;
    std::vector<std::string> removableVolumePaths() const override;
    bool renameVolume(const std::string &newName, const std::string &oldName) override;
    bool ejectVolume(const std::string &name) override;

    // The udisks2 object of a kernel block device name: every byte outside
    // [A-Za-z0-9_] becomes _xx, as the daemon names its objects.
    static std::string udisksObjectPath(const std::string &kernelName);
    // A GVariant text literal of `text` for gdbus, quoted so that no name can
    // end the literal early.
    static std::string gvariantString(const std::string &text);

private:
    bool isBlockDevice(const MountEntry &mount) const;
    bool diskIsRemovable(const MountEntry &mount) const;
    std::optional<std::string> sysfsDevicePath(const MountEntry &mount) const;
    std::optional<MountEntry> removableMountNamed(const std::string &name) const;
    bool setLabelThroughUdisks(const MountEntry &mount, const std::string &label) const;
    bool setLabelWithTool(const MountEntry &mount, const std::string &label) const;

    std::string m_mountinfoPath;
    std::string m_sysfsRoot;
};

} // namespace ferrydeck
