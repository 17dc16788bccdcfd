#include "cards/JVCMP4Utilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

namespace {

std::string spanPrefix(const std::string &filePath)
{
    const std::string name = path::lastComponent(filePath);
    return name.substr(0, name.find('_'));
}

} // namespace

bool JVCMP4Utilities::clipSpanningSupported() const
{
    return true;
}

bool JVCMP4Utilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::contains(filePath, "PRIVATE/JVC/BPAV/CLPR/" + path::lastComponent(path::parent(filePath)) + "/") &&
           cards::endsWith(cards::upper(filePath), ".MP4");
}

bool JVCMP4Utilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    const std::string bpav = drivePath + "/PRIVATE/JVC/BPAV";
    return isRemovableDrive(drivePath) && cards::exists(bpav + "/CLPR") && cards::exists(bpav + "/TAKR") &&
           cards::exists(bpav + "/CUEUP.XML") && cards::exists(bpav + "/MEDIAPRO.XML");
}

bool JVCMP4Utilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    return cards::reformatKeepingSkeleton(drivePath, {"PRIVATE", "JVC", "BPAV", "CLPR", "TAKR"},
                                          {{"CUEUP.XML", "history", false}, {"MEDIAPRO.XML", "Contents", true}});
}

std::optional<std::string> JVCMP4Utilities::spanPartnerIdentifierForPath(const std::string &filePath) const
{
    return spanPrefix(filePath);
}

bool JVCMP4Utilities::filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const
{
    if (!cards::exists(path1) || !cards::exists(path2)) return false;
    if (!filePathMatchesVolumeStructure(path1) || !filePathMatchesVolumeStructure(path2)) return false;
    return spanPrefix(path1) == spanPrefix(path2);
}

std::string JVCMP4Utilities::volumePartnerIdentifierForFilePath(const std::string &filePath) const
{
    return path::parent(path::parent(filePath));
}

bool JVCMP4Utilities::filesArePartOfTheSameVolume(const std::string &path1, const std::string &path2) const
{
    return volumePartnerIdentifierForFilePath(path1) == volumePartnerIdentifierForFilePath(path2);
}

} // namespace ferrydeck
