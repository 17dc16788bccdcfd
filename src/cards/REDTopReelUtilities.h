#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// Later RED cameras: the "*.RDM" reel folder at the top of the card itself,
// which the original RED rule deliberately does not count. A clip file alone
// cannot tell where the card's top is, so files are left to the other types.
class REDTopReelUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 17;
    REDTopReelUtilities()
        : InCameraFormatUtilities(kVolumeType, "RED (reel at top)", std::nullopt)
    {
    }
    static std::shared_ptr<const REDTopReelUtilities> utility() { return sharedUtility<REDTopReelUtilities>(); }

    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
