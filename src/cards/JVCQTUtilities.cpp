#include "cards/JVCQTUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool JVCQTUtilities::clipSpanningSupported() const
{
    return true;
}

bool JVCQTUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::contains(filePath, "PRIVATE/JVC/CQAV/CLIP/" + path::lastComponent(filePath)) &&
           cards::endsWith(cards::upper(filePath), ".MOV");
}

bool JVCQTUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    const std::string cqav = drivePath + "/PRIVATE/JVC/CQAV";
    return isRemovableDrive(drivePath) && cards::exists(cqav + "/CLIP") && cards::exists(cqav + "/INFO") &&
           cards::exists(cqav + "/MEDIAINF.BAK") && cards::exists(cqav + "/MEDIAINF.XML");
}

bool JVCQTUtilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    return cards::reformatKeepingSkeleton(drivePath, {"PRIVATE", "JVC", "CQAV", "CLIP", "INFO"},
                                          {{"MEDIAINF.XML", "ClipInfo", false}});
}

} // namespace ferrydeck
