#pragma once

#include "cards/SonyXDCAMUtilities.h"

namespace ferrydeck {

// Sony XDCAM HD: MXF clips in a "Clip" folder. Recognised by its files only.
class SonyXDCAMHDUtilities : public SonyXDCAMUtilities {
public:
    static constexpr int32_t kVolumeType = 5;
    SonyXDCAMHDUtilities()
        : SonyXDCAMUtilities(kVolumeType, "Sony XDCAM HD", "BPAV")
    {
    }
    static std::shared_ptr<const SonyXDCAMHDUtilities> utility() { return sharedUtility<SonyXDCAMHDUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
