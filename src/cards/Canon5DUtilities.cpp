#include "cards/Canon5DUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

namespace ferrydeck {

bool Canon5DUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string upperPath = cards::upper(filePath);
    return cards::contains(upperPath, "/DCIM/") && cards::endsWith(upperPath, ".MOV") &&
           BrightwaterQTUtilities::filePathMatchesVolumeStructure(filePath);
}

bool Canon5DUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    return isRemovableDrive(drivePath) && cards::exists(drivePath + "/DCIM") && cards::exists(drivePath + "/MISC");
}

bool Canon5DUtilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    for (const std::string &entry : cards::deepListing(drivePath)) {
        const std::string target = path::join(drivePath, entry);
        if (cards::exists(target) && path::isDirectory(target)) continue;
        if (!cards::contains(target, "/DCIM/")) continue;
        if (!cards::isOnDrive(drivePath, target)) {
            systemLog("reformat: %s leads off the card; stopped", target.c_str());
            return false;
        }
        if (!cards::removeItem(target)) return false;
    }
    return true;
}

} // namespace ferrydeck
