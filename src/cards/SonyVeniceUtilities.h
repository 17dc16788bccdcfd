#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// Sony Venice and other X-OCN cameras: MXF clips under XDROOT, or reel
// folders at the top of the card holding MXF clips named after the reel.
class SonyVeniceUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 19;
    SonyVeniceUtilities()
        : InCameraFormatUtilities(kVolumeType, "Sony Venice X-OCN", std::nullopt)
    {
    }
    static std::shared_ptr<const SonyVeniceUtilities> utility() { return sharedUtility<SonyVeniceUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
