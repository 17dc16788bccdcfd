#include "cards/AVCHDUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

std::shared_ptr<const AVCHDUtilities> AVCHDUtilities::utility()
{
    static const auto instance = std::make_shared<const AVCHDUtilities>();
    return instance;
}

std::optional<std::string> AVCHDUtilities::rootOfUniquePathIdenifier() const
{
    return "PRIVATE";
}

std::string AVCHDUtilities::volumeTitle() const
{
    return "AVCHD";
}

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
