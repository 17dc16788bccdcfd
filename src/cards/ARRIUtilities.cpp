#include "cards/ARRIUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

namespace {

constexpr const char *kClipPattern = "A999C999_999999_XXXX";

} // namespace

bool ARRIUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string name = path::lastComponent(filePath);
    if (!followsPattern(name, kClipPattern) || !hasExtension(filePath, {".ari", ".mxf", ".mov"})) return false;
    // The reel is named by the clip's camera and reel index and its last four
    // characters: A001C003_210101_R1AB lies in A001R1AB, directly or in the
    // clip's own folder.
    const std::string reel = name.substr(0, 4) + name.substr(16, 4);
    return folderNameAbove(filePath, 1) == reel || folderNameAbove(filePath, 2) == reel;
}

bool ARRIUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    return driveHoldsFile(drivePath, [this](const std::string &file) { return filePathMatchesVolumeStructure(file); });
}

} // namespace ferrydeck
