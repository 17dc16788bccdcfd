#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// What the application asks of the system about mounted volumes. Two back
// ends: SystemVolumeService (the kernel's mount table and sysfs) and
// MediaRootVolumeService (a folder whose sub-folders stand for cards).
// Lists come unsorted; DirectoryUtilities sorts them.
class VolumeService {
public:
    virtual ~VolumeService() = default;

    // Mounted local volumes: block-device mounts and "/", removable ones included.
    virtual std::vector<std::string> localVolumePaths() const = 0;
    // Mounted removable media, never "/".
    virtual std::vector<std::string> removableVolumePaths() const = 0;
    // Relabels the removable volume whose mount path ends in oldName; true
    // when the relabelling was done.
    virtual bool renameVolume(const std::string &newName, const std::string &oldName) = 0;
    // Unmounts and powers off the removable volume whose mount path ends in
    // name; true when it is gone.
    virtual bool ejectVolume(const std::string &name) = 0;

    // True only when the volume at mountPath sits on a medium that leaves its
    // drive (a card in a reader or an SD/MMC slot, ejectable media): the one
    // kind of volume a reformat may ever touch. Answers false when unsure.
    virtual bool hasRemovableMedium(const std::string &mountPath) const
    {
        (void)mountPath;
        return false;
    }
    // What identifies the file system at mountPath across renames and
    // remounts (its UUID and label where it has them); none when nothing
    // stable is known, which callers treat as "never seen before".
    virtual std::optional<std::string> volumeIdentity(const std::string &mountPath) const
    {
        (void)mountPath;
        return std::nullopt;
    }

    // The service the utilities use: the one installed with setCurrent, else
    // the media-root back end when FERRYDECK_MEDIA_ROOT names a folder, else
    // the system back end. Read afresh at every call so a changed environment
    // takes effect.
    static std::shared_ptr<VolumeService> current();
    // Installs a service for the whole process (tests, embedding); an empty
    // pointer returns to the environment's choice.
    static void setCurrent(std::shared_ptr<VolumeService> service);

    static constexpr const char *kMediaRootVariable = "FERRYDECK_MEDIA_ROOT";
};

} // namespace ferrydeck
