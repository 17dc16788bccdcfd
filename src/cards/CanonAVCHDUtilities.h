#pragma once

#include "cards/AVCHDUtilities.h"

namespace ferrydeck {

// AVCHD under PRIVATE, told apart by the PRIVATE/AVCHD/CANON folder.
class CanonAVCHDUtilities : public AVCHDUtilities {
public:
    static constexpr int32_t kVolumeType = 9;
    static std::shared_ptr<const CanonAVCHDUtilities> utility();

    int32_t volumeType() const override;
    std::string volumeTitle() const override;
    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
