#pragma once

#include "cards/BrightwaterQTUtilities.h"

namespace ferrydeck {

// GoPro cameras: "GO..." MP4 movies in a folder directly inside DCIM.
class GoProUtilities : public BrightwaterQTUtilities {
public:
    static constexpr int32_t kVolumeType = 12;
    GoProUtilities()
        : BrightwaterQTUtilities(kVolumeType, "GoPro", "DCIM")
    {
    }
    static std::shared_ptr<const GoProUtilities> utility() { return sharedUtility<GoProUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
