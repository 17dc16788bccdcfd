#pragma once

#include "cards/AVCHDUtilities.h"

namespace ferrydeck {

// AVCHD at the top of the card rather than under PRIVATE.
class SonyAVCHDUtilities : public AVCHDUtilities {
public:
    static constexpr int32_t kVolumeType = 13;
    SonyAVCHDUtilities()
        : AVCHDUtilities(kVolumeType, "Sony NXCAM AVCHD", "AVCHD")
    {
    }
    static std::shared_ptr<const SonyAVCHDUtilities> utility() { return sharedUtility<SonyAVCHDUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
