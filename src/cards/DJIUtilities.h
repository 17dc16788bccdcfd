#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// DJI drones and gimbals: MOV or MP4 clips in a DCIM folder whose name ends
// in MEDIA ("100MEDIA").
class DJIUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 20;
    DJIUtilities()
        : InCameraFormatUtilities(kVolumeType, "DJI", "DCIM")
    {
    }
    static std::shared_ptr<const DJIUtilities> utility() { return sharedUtility<DJIUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
