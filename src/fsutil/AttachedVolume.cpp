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
AttachedVolume::AttachedVolume(const std::string &path, int32_t type)
    : m_volumeName(nameForPath(path))
    , m_volumePath(path)
    , m_volumeImage(kRemovableImage)
    , m_mountType(type)
{
}

AttachedVolume::AttachedVolume(const AttachedVolume &other)
{
    std::lock_guard lock(other.m_mutex);
    m_volumeName = other.m_volumeName;
    m_volumePath = other.m_volumePath;
    m_volumeImage = other.m_volumeImage;
    m_mountType = other.m_mountType;
}

AttachedVolume &AttachedVolume::operator=(const AttachedVolume &other)
{
    if (this == &other) return *this;
    std::scoped_lock lock(m_mutex, other.m_mutex);
    m_volumeName = other.m_volumeName;
    m_volumePath = other.m_volumePath;
    m_volumeImage = other.m_volumeImage;
    m_mountType = other.m_mountType;
    return *this;
}

std::string AttachedVolume::volumeName() const
{
    std::lock_guard lock(m_mutex);
    return m_volumeName;
}

void AttachedVolume::setVolumeName(const std::string &name)
{
    std::lock_guard lock(m_mutex);
    m_volumeName = name;
}

std::string AttachedVolume::volumePath() const
{
    std::lock_guard lock(m_mutex);
    return m_volumePath;
}

void AttachedVolume::setVolumePath(const std::string &path)
{
    std::lock_guard lock(m_mutex);
    m_volumePath = path;
    m_volumeName = nameForPath(path);
}

std::string AttachedVolume::volumeImage() const
{
    std::lock_guard lock(m_mutex);
    return m_volumeImage;
}

void AttachedVolume::setVolumeImage(const std::string &image)
{
    std::lock_guard lock(m_mutex);
    m_volumeImage = image;
}

int32_t AttachedVolume::mountType() const
{
    std::lock_guard lock(m_mutex);
    return m_mountType;
}

void AttachedVolume::setMountType(int32_t type)
{
    std::lock_guard lock(m_mutex);
    m_mountType = type;
}

} // namespace ferrydeck
