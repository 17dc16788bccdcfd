#pragma once

#include "cards/VolumeUtilities.h"

namespace ferrydeck {

// What the XDCAM family shares: index files beside the clips and a start
// timecode stored frames first. Not a registered type of its own.
class SonyXDCAMUtilities : public VolumeUtilities {
public:
    SonyXDCAMUtilities()
        : VolumeUtilities(kVolumeType, "Sony XDCAM", "BPAV")
    {
    }
    static std::shared_ptr<const SonyXDCAMUtilities> utility() { return sharedUtility<SonyXDCAMUtilities>(); }

    bool requiresFFmpegToConvert() const override;
    // The first .XML or .xml file of the clip's folder whose path holds the
    // clip's path up to its first dot. Deliberately the first dot of the
    // whole path, folders included.
    std::optional<std::string> xmlFileForPath(const std::string &path) const override;
    std::string startTimecodeForVideoFile(const std::string &videoPath) const override;

    // FFSSMMHH to HH:MM:SS:FF; none unless exactly 8 characters.
    static std::optional<std::string> reverseXDCAMTimeCodeString(const std::optional<std::string> &timecode);

protected:
    using VolumeUtilities::VolumeUtilities;
};

} // namespace ferrydeck
