#pragma once

#include "cards/AVCHDUtilities.h"

namespace ferrydeck {

// The AVCHD rule as it stands: what is left once Canon and Sony have had
// their say in the registry.
class PanasonicAVCHDUtilities : public AVCHDUtilities {
public:
    static constexpr int32_t kVolumeType = 2;
    static std::shared_ptr<const PanasonicAVCHDUtilities> utility();

    int32_t volumeType() const override;
    std::string volumeTitle() const override;
};

} // namespace ferrydeck
