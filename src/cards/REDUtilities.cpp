#include "cards/REDUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool REDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string clipFolder = path::parent(filePath);
    return cards::endsWith(cards::lower(filePath), ".mov") && cards::endsWith(cards::lower(clipFolder), ".rdc") &&
           cards::endsWith(cards::lower(path::parent(clipFolder)), ".rdm");
}

bool REDUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    for (const std::string &entry : cards::deepListing(drivePath)) {
        const std::string file = path::join(drivePath, entry);
        if (!cards::endsWith(file, ".R3D")) continue;
        const std::string clipFolder = path::parent(file);
        if (!cards::endsWith(clipFolder, ".RDC")) continue;
        const std::string reel = path::parent(clipFolder);
        if (!cards::endsWith(reel, ".RDM")) continue;
        // The reel must lie one folder below the top: one at the top itself
        // does not count. Kept exactly so.
        if (path::parent(path::parent(reel)) == drivePath) return true;
    }
    return false;
}

bool REDUtilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    // Removing the top folder with all it holds ends in a failure on the
    // mount point itself. That removal is not tried at all, so that a card
    // folder of a simulated reader stays a volume too; the mount path is
    // used as it is, never run through a formatter.
    std::vector<std::string> names;
    path::listDirectory(drivePath, names);
    for (const std::string &name : names) {
        if (!cards::removeItem(path::join(drivePath, name))) break;
    }
    return cards::exists(drivePath);
}

} // namespace ferrydeck
