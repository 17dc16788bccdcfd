#pragma once

#include "cards/VolumeUtilities.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// The registry of card types: which camera wrote a drive or a clip file,
// the titles of the types, and the reformat of a drive by its type. Every
// answer is a pure function of the arguments and the file system; any
// thread may ask.
class HDUtilities {
public:
    HDUtilities() = delete;

    using Utility = std::shared_ptr<const VolumeUtilities>;

    // One instance of each registered type in registry order, which decides
    // every tie in recognition.
    static std::vector<Utility> allUtilities();
    // The types of later cameras, numbered after the original ones and tried
    // only after all of them, so that no drive or file an original rule
    // recognises changes its answer. A file is given to one of them only when
    // the original rules call it unknown or a movie in general.
    static std::vector<Utility> laterUtilities();
    // The undefined type (11, "Volume") for an id no registered type has.
    static Utility utilityForType(int32_t type);
    static std::string volumeTitleForType(int32_t type);
    // Exact, case-sensitive; 11 when no registered title is equal.
    static int32_t volumeTypeFromTitle(const std::string &title);
    // The first registered type that recognises the drive; 11 for none.
    static int32_t volumeTypeFromDrivePath(const std::string &drivePath);
    // The first registered type that accepts the file, corrected by fixed
    // tie rules (AVCHD makers, QuickTime cameras, Canon or GoPro).
    static int32_t volumeTypeFromFilePath(const std::string &filePath);
    static bool filePathMatchesVolumeType(const std::string &filePath, int32_t type);
    static Utility utilityForFilePath(const std::string &filePath);
    // Empties the drive by its type; false, touching nothing, for a path that
    // is not a mounted removable volume or holds no known card structure.
    static bool reformatDrive(const std::string &drivePath);
    static bool doesVolumeTypeDoSpannedClips(int32_t type);
    static bool fileRequiresFFmpegToConvert(const std::string &filePath);
    static std::optional<std::string> dataFilePathForVideoFile(const std::string &videoPath);
    static bool fileCouldBeInASpannedSeries(const std::string &filePath);
    // The name of the folder in which the card's structure starts, else the
    // name of the file's own folder.
    static std::string parentFolderPathForVideoFile(const std::string &videoPath);
    // Through ffmpeg for the types that need it to convert, else through our
    // movie reader; 0 when neither can tell.
    static int64_t durationOfMovieFileInMiliSeconds(const std::string &moviePath);

    // The mounted removable volume a path from a person names: the path is
    // resolved (".." and links) and compared with the volumes resolved the
    // same way. None when it is not the top of such a volume.
    static std::optional<std::string> removableDriveForPath(const std::string &path);
};

} // namespace ferrydeck
