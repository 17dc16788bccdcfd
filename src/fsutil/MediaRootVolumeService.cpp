#include "fsutil/MediaRootVolumeService.h"

#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/SystemVolumeService.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ferrydeck {

namespace {

// A volume name must stay one visible entry of the root: no separators, no
// way up, and no leading dot, which would hide the card as if ejected.
bool isVolumeName(const std::string &name)
{
    return !name.empty() && name[0] != '.' && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

// Moves without ever replacing what is already at the target.
bool moveWithoutReplacing(const std::string &from, const std::string &to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // File systems without RENAME_NOREPLACE: check, then rename.
    if (path::exists(to)) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.c_str(), to.c_str()) == 0;
}

} // namespace

MediaRootVolumeService::MediaRootVolumeService(std::string root, std::shared_ptr<const VolumeService> system)
    : m_root(std::move(root))
    , m_system(system ? std::move(system) : std::make_shared<SystemVolumeService>())
{
    while (m_root.size() > 1 && m_root.back() == '/')
        m_root.pop_back();
}

std::vector<std::string> MediaRootVolumeService::removableVolumePaths() const
{
    std::vector<std::string> names;
    if (!path::listDirectory(m_root, names)) {
        systemLog("volumes: cannot read the media root %s: %s", m_root.c_str(), std::strerror(errno));
        return {};
    }
    std::vector<std::string> paths;
    for (const std::string &name : names) {
        const std::string volume = path::join(m_root, name);
        if (name[0] != '.' && path::isDirectory(volume)) paths.push_back(volume);
    }
    return paths;
}

std::vector<std::string> MediaRootVolumeService::localVolumePaths() const
{
    std::vector<std::string> paths = m_system->localVolumePaths();
    for (std::string &volume : removableVolumePaths())
        paths.push_back(std::move(volume));
    return paths;
}

bool MediaRootVolumeService::hasRemovableMedium(const std::string &mountPath) const
{
    const std::vector<std::string> volumes = removableVolumePaths();
    return std::find(volumes.begin(), volumes.end(), mountPath) != volumes.end();
}

std::optional<std::string> MediaRootVolumeService::volumeIdentity(const std::string &mountPath) const
{
    if (!hasRemovableMedium(mountPath)) return std::nullopt;
    struct stat info {};
    if (::stat(mountPath.c_str(), &info) != 0) return std::nullopt;
    return stringWithFormat("dev:ino:%llu:%llu", static_cast<unsigned long long>(info.st_dev),
                            static_cast<unsigned long long>(info.st_ino));
}

bool MediaRootVolumeService::renameVolume(const std::string &newName, const std::string &oldName)
{
    if (!isVolumeName(oldName) || !isVolumeName(newName)) {
        systemLog("rename: \"%s\" to \"%s\" is not a rename of one volume", oldName.c_str(), newName.c_str());
        return false;
    }
    const std::string from = path::join(m_root, oldName);
    if (!path::isDirectory(from)) {
        systemLog("rename: no volume %s", from.c_str());
        return false;
    }
    const std::string to = path::join(m_root, newName);
    if (!moveWithoutReplacing(from, to)) {
        systemLog("rename: %s to %s: %s", from.c_str(), to.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

bool MediaRootVolumeService::ejectVolume(const std::string &name)
{
    const std::string from = path::join(m_root, name);
    if (!isVolumeName(name) || !path::isDirectory(from)) {
        systemLog("eject: no volume named \"%s\" in %s", name.c_str(), m_root.c_str());
        return false;
    }
    const std::string ejected = ejectedFolder();
    if (::mkdir(ejected.c_str(), 0755) != 0 && errno != EEXIST) {
        systemLog("eject: cannot make %s: %s", ejected.c_str(), std::strerror(errno));
        return false;
    }
    // A card ejected twice under one name keeps both copies.
    std::string target = path::join(ejected, name);
    for (int counter = 2;; ++counter) {
        if (moveWithoutReplacing(from, target)) return true;
        if (errno != EEXIST && errno != ENOTEMPTY) break;
        target = stringWithFormat("%s/%s-%d", ejected.c_str(), name.c_str(), counter);
    }
    systemLog("eject: %s to %s: %s", from.c_str(), target.c_str(), std::strerror(errno));
    return false;
}

} // namespace ferrydeck
