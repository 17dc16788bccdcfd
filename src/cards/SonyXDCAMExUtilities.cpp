#include "cards/SonyXDCAMExUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/XmlUtilities.h"

#include <sys/stat.h>

namespace ferrydeck {

namespace {

constexpr size_t kSpanPrefixLength = 8;

std::optional<std::string> spanPrefix(const std::string &filePath)
{
    const std::string name = path::lastComponent(filePath);
    if (name.size() < kSpanPrefixLength) return std::nullopt;
    return name.substr(0, kSpanPrefixLength);
}

// Empties one BPAV folder, making it again when the removal took it.
bool emptyFolder(const std::string &drivePath, const std::string &folder)
{
    if (!cards::isOnDrive(drivePath, folder)) {
        systemLog("reformat: %s leads off the card; stopped", folder.c_str());
        return false;
    }
    if (!DirectoryUtilities::removeContentsAtPath(folder)) return false;
    if (!cards::exists(folder) && ::mkdir(folder.c_str(), 0777) != 0) return false;
    return true;
}

// Index files are rewritten in place, so a link must not take the write off
// the card.
bool removeIndexElement(const std::string &drivePath, const std::string &file, const char *element, bool header)
{
    if (cards::exists(file) && (!cards::isRegularFile(file) || !cards::isOnDrive(drivePath, file))) {
        systemLog("reformat: %s is not an index file on the card; stopped", file.c_str());
        return false;
    }
    return XmlUtilities::removeXMLNode(element, file, header);
}

} // namespace

bool SonyXDCAMExUtilities::clipSpanningSupported() const
{
    return true;
}

bool SonyXDCAMExUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::contains(filePath, "/BPAV/CLPR/" + path::lastComponent(path::parent(filePath)) + "/") &&
           cards::endsWith(cards::upper(filePath), ".MP4");
}

bool SonyXDCAMExUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    return isRemovableDrive(drivePath) && cards::exists(drivePath + "/BPAV/CLPR") &&
           cards::exists(drivePath + "/BPAV/TAKR") && cards::exists(drivePath + "/BPAV/CUEUP.XML") &&
           cards::exists(drivePath + "/BPAV/MEDIAPRO.XML");
}

bool SonyXDCAMExUtilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!isRemovableDrive(drivePath)) return false;
    const std::string bpav = drivePath + "/BPAV";
    if (!emptyFolder(drivePath, bpav + "/CLPR")) return false;
    if (!emptyFolder(drivePath, bpav + "/TAKR")) return false;
    const std::string backup = bpav + "/MEDIAPRO.BAK";
    if (cards::exists(backup)) cards::removeItem(backup);
    if (!removeIndexElement(drivePath, bpav + "/CUEUP.XML", "history", false)) return false;
    return removeIndexElement(drivePath, bpav + "/MEDIAPRO.XML", "Contents", true);
}

std::optional<std::string> SonyXDCAMExUtilities::spanPartnerIdentifierForPath(const std::string &filePath) const
{
    return spanPrefix(filePath);
}

bool SonyXDCAMExUtilities::filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const
{
    if (!cards::exists(path1) || !cards::exists(path2)) return false;
    if (!filePathMatchesVolumeStructure(path1) || !filePathMatchesVolumeStructure(path2)) return false;
    const auto prefix1 = spanPrefix(path1);
    const auto prefix2 = spanPrefix(path2);
    return prefix1 && prefix2 && *prefix1 == *prefix2;
}

std::string SonyXDCAMExUtilities::volumePartnerIdentifierForFilePath(const std::string &filePath) const
{
    return path::parent(path::parent(filePath));
}

bool SonyXDCAMExUtilities::filesArePartOfTheSameVolume(const std::string &path1, const std::string &path2) const
{
    return volumePartnerIdentifierForFilePath(path1) == volumePartnerIdentifierForFilePath(path2);
}

} // namespace ferrydeck
