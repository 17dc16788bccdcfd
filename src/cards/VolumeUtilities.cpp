#include "cards/VolumeUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool VolumeUtilities::filePathMatchesVolumeStructure(const std::string &) const
{
    return false;
}

bool VolumeUtilities::drivePathMatchesVolumeStructure(const std::string &) const
{
    return false;
}

bool VolumeUtilities::clipSpanningSupported() const
{
    return false;
}

bool VolumeUtilities::fileIsInASpannedSeries(const std::string &) const
{
    return false;
}

std::optional<std::string> VolumeUtilities::spanPartnerIdentifierForPath(const std::string &) const
{
    return std::nullopt;
}

bool VolumeUtilities::filesArePartOfTheSameSpanSeries(const std::string &, const std::string &) const
{
    return false;
}

bool VolumeUtilities::requiresFFmpegToConvert() const
{
    return false;
}

bool VolumeUtilities::reformatDrivePath(const std::string &) const
{
    return false;
}

std::optional<std::vector<std::string>> VolumeUtilities::audioFilesForMoviePath(const std::string &) const
{
    return std::nullopt;
}

std::optional<std::string> VolumeUtilities::dataFilePathForVideoFile(const std::string &) const
{
    return std::nullopt;
}

std::optional<std::string> VolumeUtilities::xmlFileForPath(const std::string &) const
{
    return std::nullopt;
}

bool VolumeUtilities::videoFileIsDropFrame(const std::string &) const
{
    return false;
}

bool VolumeUtilities::filesArePartOfTheSameVolume(const std::string &path1, const std::string &path2) const
{
    return path::parent(path1) == path::parent(path2);
}

std::string VolumeUtilities::volumePartnerIdentifierForFilePath(const std::string &filePath) const
{
    return path::parent(filePath);
}

std::vector<std::string> VolumeUtilities::orderVolumeVideoFiles(const std::vector<std::string> &videoPaths) const
{
    return FileUtilities::orderFilePathsByCreationDate(videoPaths);
}

std::optional<std::string> VolumeUtilities::uniqueIdentifierForVideoFile(const std::string &videoPath) const
{
    return cards::fileStem(videoPath);
}

std::string VolumeUtilities::sourceFilePathForReferenceFile(const std::string &filePath) const
{
    return filePath;
}

std::string VolumeUtilities::startTimecodeForVideoFile(const std::string &) const
{
    return defaultTimecode();
}

std::string VolumeUtilities::framerateForVideoFile(const std::string &, int32_t) const
{
    return defaultFrameRate();
}

std::string VolumeUtilities::framerateForVideoFile(const std::string &) const
{
    return defaultFrameRate();
}

std::vector<std::string> VolumeUtilities::sortSpannedClipSeries(const std::vector<std::string> &paths) const
{
    return paths;
}

bool VolumeUtilities::isRemovableDrive(const std::string &drivePath)
{
    // A listed name that is a link could point anywhere, even at "/".
    return DirectoryUtilities::driveIsRemovable(drivePath) && cards::isRealDirectory(drivePath);
}

} // namespace ferrydeck
