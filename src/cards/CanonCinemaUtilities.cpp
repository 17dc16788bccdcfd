#include "cards/CanonCinemaUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

namespace {

bool isClipsFolderName(const std::string &name)
{
    return name.size() == 8 && name.starts_with("CLIPS") &&
           name.find_first_not_of("0123456789", 5) == std::string::npos;
}

} // namespace

bool CanonCinemaUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return folderNameAbove(filePath, 2) == "CONTENTS" && isClipsFolderName(folderNameAbove(filePath, 1)) &&
           hasExtension(filePath, {".mxf", ".mp4", ".mov", ".crm"});
}

bool CanonCinemaUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    std::vector<std::string> names;
    path::listDirectory(drivePath + "/CONTENTS", names);
    for (const std::string &name : names) {
        if (isClipsFolderName(name) && cards::isRealDirectory(drivePath + "/CONTENTS/" + name)) return true;
    }
    return false;
}

} // namespace ferrydeck
