#include "cards/AVCHDUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool AVCHDUtilities::requiresFFmpegToConvert() const
{
    return true;
}

bool AVCHDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string upperPath = cards::upper(filePath);
    return cards::contains(upperPath, "/AVCHD/BDMV/STREAM/" + path::lastComponent(filePath)) &&
           (cards::endsWith(upperPath, ".mts") || cards::endsWith(upperPath, ".MTS"));
}

bool AVCHDUtilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    std::vector<std::string> names;
    if (!path::listDirectory(drivePath, names)) return false;
    for (const std::string &name : names) {
        if (!cards::removeItem(path::join(drivePath, name))) return false;
    }
    return true;
}

} // namespace ferrydeck
