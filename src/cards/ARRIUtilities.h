#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// ARRI cameras: reel folders ("A001R1AB") holding clips named after their reel
// ("A001C003_210101_R1AB.mxf"), ARRIRAW frames in a folder per clip.
class ARRIUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 15;
    ARRIUtilities()
        : InCameraFormatUtilities(kVolumeType, "ARRI", std::nullopt)
    {
    }
    static std::shared_ptr<const ARRIUtilities> utility() { return sharedUtility<ARRIUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
