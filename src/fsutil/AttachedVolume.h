#pragma once

#include "fsutil/Guarded.h"

#include <cstdint>
#include <string>

namespace ferrydeck {

enum class MountType : int32_t {
    MountTypeRemovable = 10001,
    MountTypeLocal = 10002,
};
using enum MountType;

// One mounted volume as the volume tables show it. The name is always the
// last component of the path. The image is the name of an icon resource; the
// window turns it into a picture.
class AttachedVolume {
public:
    AttachedVolume();
    AttachedVolume(const std::string &path, MountType type);

    static constexpr const char *kRemovableImage = "removable.tif";
    static constexpr const char *kLocalImage = "harddrive.tif";

    std::string volumeName() const { return m_fields.get<&Fields::volumeName>(); }
    std::string volumePath() const { return m_fields.get<&Fields::volumePath>(); }
    // Sets the name too, so name and path never disagree.
    void setVolumePath(const std::string &path);
    std::string volumeImage() const { return m_fields.get<&Fields::volumeImage>(); }
    MountType mountType() const { return m_fields.get<&Fields::mountType>(); }
    void setMountType(MountType type) { m_fields.set<&Fields::mountType>(type); }

    // --- kept for the design, without a caller ------------------------------
    void setVolumeName(const std::string &name) { m_fields.set<&Fields::volumeName>(name); }
    void setVolumeImage(const std::string &image) { m_fields.set<&Fields::volumeImage>(image); }

private:
    // Name and image are read from any thread while the main thread replaces them.
    struct Fields {
        std::string volumeName;
        std::string volumePath;
        std::string volumeImage;
        MountType mountType = MountTypeLocal;
    };
    Guarded<Fields> m_fields;
};

} // namespace ferrydeck
