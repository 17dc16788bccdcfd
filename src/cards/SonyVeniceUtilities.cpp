#include "cards/SonyVeniceUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

namespace {

// A reel folder "A001..." and a clip in it named after it, "A001C001...".
bool isReelClip(const std::string &reel, const std::string &name)
{
    return reel.size() >= 4 && name.size() > 5 && name.compare(0, 4, reel, 0, 4) == 0 && name[4] == 'C';
}

} // namespace

bool SonyVeniceUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    if (!hasExtension(filePath, {".mxf"})) return false;
    const std::string reel = folderNameAbove(filePath, 1);
    return cards::contains(filePath, "/XDROOT/") ||
           (followsPattern(reel, "A999") && isReelClip(reel, path::lastComponent(filePath)));
}

bool SonyVeniceUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    if (cards::isRealDirectory(drivePath + "/XDROOT")) return true;
    // Reels only at the top of the card, so that an MXF file somewhere deep
    // in a copied folder does not make a card of it.
    return driveHoldsFile(drivePath, [this, &drivePath](const std::string &file) {
        return path::parent(path::parent(file)) == drivePath && !cards::contains(file, "/XDROOT/") &&
               filePathMatchesVolumeStructure(file);
    });
}

} // namespace ferrydeck
