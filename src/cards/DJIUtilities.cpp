#include "cards/DJIUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool DJIUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string folder = folderNameAbove(filePath, 1);
    return folderNameAbove(filePath, 2) == "DCIM" && folder.size() > 5 && cards::endsWith(folder, "MEDIA") &&
           hasExtension(filePath, {".mov", ".mp4"});
}

bool DJIUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    std::vector<std::string> folders;
    path::listDirectory(drivePath + "/DCIM", folders);
    for (const std::string &folder : folders) {
        std::vector<std::string> names;
        const std::string media = drivePath + "/DCIM/" + folder;
        if (!cards::isRealDirectory(media)) continue;
        path::listDirectory(media, names);
        for (const std::string &name : names) {
            const std::string clip = media + "/" + name;
            if (filePathMatchesVolumeStructure(clip) && cards::isRegularFile(clip)) return true;
        }
    }
    return false;
}

} // namespace ferrydeck
