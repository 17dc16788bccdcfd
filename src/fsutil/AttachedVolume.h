#pragma once

#include <cstdint>
#include <mutex>
#include <string>

namespace ferrydeck {

constexpr int32_t MountTypeRemovable = 10001;
constexpr int32_t MountTypeLocal = 10002;

// One mounted volume as the volume tables show it. The name is always the
// last component of the path. The image is the name of an icon resource; the
// window turns it into a picture.
class AttachedVolume {
public:
    AttachedVolume();
    AttachedVolume(const std::string &path, int32_t type);
    AttachedVolume(const AttachedVolume &other);
    AttachedVolume &operator=(const AttachedVolume &other);

    static constexpr const char *kRemovableImage = "removable.tif";
    static constexpr const char *kLocalImage = "harddrive.tif";

    std::string volumeName() const;
    void setVolumeName(const std::string &name);
    std::string volumePath() const;
    // Sets the name too, so name and path never disagree.
    void setVolumePath(const std::string &path);
    std::string volumeImage() const;
    void setVolumeImage(const std::string &image);
    int32_t mountType() const;
    void setMountType(int32_t type);

private:
    // Name and image are read from any thread while the main thread replaces them.
    mutable std::mutex m_mutex;
    std::string m_volumeName;
    std::string m_volumePath;
    std::string m_volumeImage;
    int32_t m_mountType = MountTypeLocal;
};

} // namespace ferrydeck
