#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// Canon Cinema EOS cameras: clips in CONTENTS/CLIPS001 (and later numbers).
class CanonCinemaUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 18;
    CanonCinemaUtilities()
        : InCameraFormatUtilities(kVolumeType, "Canon Cinema", "CONTENTS")
    {
    }
    static std::shared_ptr<const CanonCinemaUtilities> utility() { return sharedUtility<CanonCinemaUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
