#include "fsutil/AttachedVolume.h"

#include "fsutil/FileUtilities.h"

namespace ferrydeck {

namespace {

// The start-up volume has no last component; it goes by "/" itself.
std::string nameForPath(const std::string &path)
{
    const std::string name = path::lastComponent(path);
    return name.empty() && !path.empty() ? path : name;
}

} // namespace

AttachedVolume::AttachedVolume()
    : AttachedVolume("", MountTypeLocal)
{
}

// Both kinds start with the removable icon; the controller picks the final one.
AttachedVolume::AttachedVolume(const std::string &path, MountType type)
    : m_fields(Fields{nameForPath(path), path, kRemovableImage, type})
{
}

void AttachedVolume::setVolumePath(const std::string &path)
{
    m_fields.update([&](Fields &fields) {
        fields.volumePath = path;
        fields.volumeName = nameForPath(path);
    });
}

} // namespace ferrydeck
