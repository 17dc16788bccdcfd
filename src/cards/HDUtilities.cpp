#include "cards/HDUtilities.h"

#include "cards/ARRIUtilities.h"
#include "cards/BlackmagicRAWUtilities.h"
#include "cards/BrightwaterQTUtilities.h"
#include "cards/Canon5DUtilities.h"
#include "cards/CanonAVCHDUtilities.h"
#include "cards/CanonCinemaUtilities.h"
#include "cards/CardPaths.h"
#include "cards/DJIUtilities.h"
#include "cards/GoProUtilities.h"
#include "cards/JVCMP4Utilities.h"
#include "cards/JVCQTUtilities.h"
#include "cards/PanasonicAVCHDUtilities.h"
#include "cards/PanasonicP2Utilities.h"
#include "cards/REDTopReelUtilities.h"
#include "cards/REDUtilities.h"
#include "cards/SonyAVCHDUtilities.h"
#include "cards/SonyVeniceUtilities.h"
#include "cards/SonyXAVCUtilities.h"
#include "cards/SonyXDCAMExUtilities.h"
#include "cards/SonyXDCAMHDUtilities.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "media/FFmpegUtilities.h"
#include "media/QuickTimeUtilities.h"

#include <cstdlib>

namespace ferrydeck {

std::vector<HDUtilities::Utility> HDUtilities::laterUtilities()
{
    return {SonyXAVCUtilities::utility(),   ARRIUtilities::utility(),        BlackmagicRAWUtilities::utility(),
            REDTopReelUtilities::utility(), CanonCinemaUtilities::utility(), SonyVeniceUtilities::utility(),
            DJIUtilities::utility()};
}

namespace {

std::vector<HDUtilities::Utility> originalUtilities()
{
    return {PanasonicP2Utilities::utility(),    REDUtilities::utility(),         JVCMP4Utilities::utility(),
            JVCQTUtilities::utility(),          SonyXDCAMExUtilities::utility(), SonyXDCAMHDUtilities::utility(),
            PanasonicAVCHDUtilities::utility(), CanonAVCHDUtilities::utility(),  Canon5DUtilities::utility(),
            BrightwaterQTUtilities::utility(),  GoProUtilities::utility(),       SonyAVCHDUtilities::utility()};
}

} // namespace

std::vector<HDUtilities::Utility> HDUtilities::allUtilities()
{
    std::vector<Utility> all = originalUtilities();
    for (Utility &later : laterUtilities())
        all.push_back(std::move(later));
    return all;
}

HDUtilities::Utility HDUtilities::utilityForType(int32_t type)
{
    for (Utility &utility : allUtilities()) {
        if (utility->volumeType() == type) return utility;
    }
    return VolumeUtilities::utility();
}

std::string HDUtilities::volumeTitleForType(int32_t type)
{
    return utilityForType(type)->volumeTitle();
}

int32_t HDUtilities::volumeTypeFromTitle(const std::string &title)
{
    for (const Utility &utility : allUtilities()) {
        if (utility->volumeTitle() == title) return utility->volumeType();
    }
    return VolumeUtilities::kVolumeType;
}

int32_t HDUtilities::volumeTypeFromDrivePath(const std::string &drivePath)
{
    for (const Utility &utility : allUtilities()) {
        if (utility->drivePathMatchesVolumeStructure(drivePath)) return utility->volumeType();
    }
    return VolumeUtilities::kVolumeType;
}

int32_t HDUtilities::volumeTypeFromFilePath(const std::string &filePath)
{
    int32_t type = VolumeUtilities::kVolumeType;
    for (const Utility &utility : originalUtilities()) {
        if (utility->filePathMatchesVolumeStructure(filePath)) {
            type = utility->volumeType();
            break;
        }
    }
    // The AVCHD makers share one layout. This runs when nothing matched too
    // (11 is also the id of the AVCHD base): intended.
    if (type == PanasonicAVCHDUtilities::kVolumeType || type == VolumeUtilities::kVolumeType) {
        if (CanonAVCHDUtilities::utility()->filePathMatchesVolumeStructure(filePath)) {
            type = CanonAVCHDUtilities::kVolumeType;
        } else if (SonyAVCHDUtilities::utility()->filePathMatchesVolumeStructure(filePath)) {
            type = SonyAVCHDUtilities::kVolumeType;
        }
    }
    switch (type) {
    case SonyXDCAMExUtilities::kVolumeType:
        if (JVCMP4Utilities::utility()->filePathMatchesVolumeStructure(filePath)) type = JVCMP4Utilities::kVolumeType;
        break;
    case BrightwaterQTUtilities::kVolumeType: {
        const Utility refinements[] = {JVCQTUtilities::utility(), REDUtilities::utility(), GoProUtilities::utility(),
                                       Canon5DUtilities::utility()};
        for (const Utility &utility : refinements) {
            if (utility->filePathMatchesVolumeStructure(filePath)) {
                type = utility->volumeType();
                break;
            }
        }
        break;
    }
    case Canon5DUtilities::kVolumeType:
        if (GoProUtilities::utility()->filePathMatchesVolumeStructure(filePath)) type = GoProUtilities::kVolumeType;
        break;
    default:
        break;
    }
    // A later camera only names what the original rules left unknown or took
    // for a movie in general.
    if (type == VolumeUtilities::kVolumeType || type == BrightwaterQTUtilities::kVolumeType) {
        for (const Utility &utility : laterUtilities()) {
            if (utility->filePathMatchesVolumeStructure(filePath)) return utility->volumeType();
        }
    }
    return type;
}

bool HDUtilities::filePathMatchesVolumeType(const std::string &filePath, int32_t type)
{
    return volumeTypeFromFilePath(filePath) == type;
}

HDUtilities::Utility HDUtilities::utilityForFilePath(const std::string &filePath)
{
    return utilityForType(volumeTypeFromFilePath(filePath));
}

bool HDUtilities::reformatDrive(const std::string &drivePath)
{
    if (!DirectoryUtilities::driveIsRemovable(drivePath) || !cards::isRealDirectory(drivePath)) return false;
    // An unrecognised drive gets the undefined type, whose reformat touches
    // nothing and answers false.
    return utilityForType(volumeTypeFromDrivePath(drivePath))->reformatDrivePath(drivePath);
}

bool HDUtilities::doesVolumeTypeDoSpannedClips(int32_t type)
{
    return utilityForType(type)->clipSpanningSupported();
}

bool HDUtilities::fileRequiresFFmpegToConvert(const std::string &filePath)
{
    return utilityForFilePath(filePath)->requiresFFmpegToConvert();
}

std::optional<std::string> HDUtilities::dataFilePathForVideoFile(const std::string &videoPath)
{
    return utilityForFilePath(videoPath)->dataFilePathForVideoFile(videoPath);
}

bool HDUtilities::fileCouldBeInASpannedSeries(const std::string &filePath)
{
    const Utility utility = utilityForFilePath(filePath);
    if (utility->volumeType() == PanasonicP2Utilities::kVolumeType) return utility->fileIsInASpannedSeries(filePath);
    return utility->clipSpanningSupported();
}

std::string HDUtilities::parentFolderPathForVideoFile(const std::string &videoPath)
{
    const std::string fallback = path::lastComponent(path::parent(videoPath));
    const auto root = utilityForFilePath(videoPath)->rootOfUniquePathIdenifier();
    if (!root) return fallback;
    const size_t at = videoPath.find(*root);
    if (at == std::string::npos) return fallback;
    return path::lastComponent(videoPath.substr(0, at));
}

int64_t HDUtilities::durationOfMovieFileInMiliSeconds(const std::string &moviePath)
{
    if (fileRequiresFFmpegToConvert(moviePath)) return FFmpegUtilities::durationForVideoFileInMiliSeconds(moviePath);
    return static_cast<int64_t>(QuickTimeUtilities::durationOfMovieInMiliSeconds(moviePath));
}

std::optional<std::string> HDUtilities::removableDriveForPath(const std::string &path)
{
    const auto wanted = cards::resolved(path);
    if (!wanted) return std::nullopt;
    for (const std::string &drive : DirectoryUtilities::removableDrives()) {
        if (!cards::isRealDirectory(drive)) continue;
        if (cards::resolved(drive) == wanted) return drive;
    }
    return std::nullopt;
}

} // namespace ferrydeck
