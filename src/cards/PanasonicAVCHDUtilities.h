#pragma once

#include "cards/AVCHDUtilities.h"

namespace ferrydeck {

// The AVCHD rule as it stands: what is left once Canon and Sony have had
// their say in the registry.
class PanasonicAVCHDUtilities : public AVCHDUtilities {
public:
    static constexpr int32_t kVolumeType = 2;
    PanasonicAVCHDUtilities()
        : AVCHDUtilities(kVolumeType, "Panasonic AVCHD", "PRIVATE")
    {
    }
    static std::shared_ptr<const PanasonicAVCHDUtilities> utility() { return sharedUtility<PanasonicAVCHDUtilities>(); }
};

} // namespace ferrydeck
