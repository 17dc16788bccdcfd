#include "fsutil/DirectoryUtilities.h"

#include "fsutil/VolumeService.h"

#include <algorithm>

namespace ferrydeck {

namespace {

std::vector<std::string> sorted(std::vector<std::string> paths)
{
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace

std::vector<std::string> DirectoryUtilities::localVolumes()
{
    return sorted(VolumeService::current()->localVolumePaths());
}

std::vector<std::string> DirectoryUtilities::removableDrives()
{
    return sorted(VolumeService::current()->removableVolumePaths());
}

bool DirectoryUtilities::driveIsRemovable(const std::string &path)
{
    const std::vector<std::string> drives = removableDrives();
    return std::find(drives.begin(), drives.end(), path) != drives.end();
}

std::optional<std::string> DirectoryUtilities::renameDrive(const std::string &newName, const std::string &oldName)
{
    if (!isDirectoryNameValid(newName)) return std::nullopt;
    // Deliberately the new name comes back even when the relabelling failed;
    // the service has already logged why.
    VolumeService::current()->renameVolume(newName, oldName);
    return newName;
}

bool DirectoryUtilities::ejectDrive(const std::string &volumeName)
{
    // Deliberately true whatever happened: callers go on with the next card
    // and the service has logged a failure.
    VolumeService::current()->ejectVolume(volumeName);
    return true;
}

} // namespace ferrydeck
