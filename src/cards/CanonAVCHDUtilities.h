#pragma once

#include "cards/AVCHDUtilities.h"

namespace ferrydeck {

// AVCHD under PRIVATE, told apart by the PRIVATE/AVCHD/CANON folder.
class CanonAVCHDUtilities : public AVCHDUtilities {
public:
    static constexpr int32_t kVolumeType = 9;
    CanonAVCHDUtilities()
        : AVCHDUtilities(kVolumeType, "Canon AVCHD", "PRIVATE")
    {
    }
    static std::shared_ptr<const CanonAVCHDUtilities> utility() { return sharedUtility<CanonAVCHDUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
