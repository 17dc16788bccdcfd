#include "cards/SonyXAVCUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool SonyXAVCUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::endsWith(filePath, "/PRIVATE/M4ROOT/CLIP/" + path::lastComponent(filePath)) &&
           hasExtension(filePath, {".mp4"});
}

bool SonyXAVCUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    return isRemovableDrive(drivePath) && cards::isRealDirectory(drivePath + "/PRIVATE/M4ROOT/CLIP");
}

} // namespace ferrydeck
