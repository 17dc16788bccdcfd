#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// Sony XAVC and XAVC S cameras: MP4 clips in PRIVATE/M4ROOT/CLIP.
class SonyXAVCUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 14;
    SonyXAVCUtilities()
        : InCameraFormatUtilities(kVolumeType, "Sony XAVC", "PRIVATE")
    {
    }
    static std::shared_ptr<const SonyXAVCUtilities> utility() { return sharedUtility<SonyXAVCUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
