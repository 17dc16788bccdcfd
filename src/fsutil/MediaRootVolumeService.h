#pragma once

#include "fsutil/VolumeService.h"

#include <memory>
#include <string>
#include <vector>

namespace ferrydeck {

// A simulated card reader: every visible sub-folder of the root is a mounted
// removable volume. Ejecting moves the folder into root/.ejected, renaming
// renames the folder. Local volumes are the system's plus these.
class MediaRootVolumeService : public VolumeService {
public:
    explicit MediaRootVolumeService(std::string root, std::shared_ptr<const VolumeService> system = nullptr);

    const std::string &root() const { return m_root; }
    std::string ejectedFolder() const { return m_root + "/.ejected"; }

    std::vector<std::string> localVolumePaths() const override;
    std::vector<std::string> removableVolumePaths() const override;
    bool renameVolume(const std::string &newName, const std::string &oldName) override;
    bool ejectVolume(const std::string &name) override;
    // A simulated card is a card: removable medium, identified by its
    // folder's device and inode, which a rename keeps.
    bool hasRemovableMedium(const std::string &mountPath) const override;
    std::optional<std::string> volumeIdentity(const std::string &mountPath) const override;

private:
    std::string m_root;
    std::shared_ptr<const VolumeService> m_system;
};

} // namespace ferrydeck
