#pragma once

#include "cards/BrightwaterQTUtilities.h"

namespace ferrydeck {

// Canon EOS cameras: QuickTime clips below DCIM, camera settings in MISC.
class Canon5DUtilities : public BrightwaterQTUtilities {
public:
    static constexpr int32_t kVolumeType = 8;
    Canon5DUtilities()
        : BrightwaterQTUtilities(kVolumeType, "Canon EOS", std::nullopt)
    {
    }
    static std::shared_ptr<const Canon5DUtilities> utility() { return sharedUtility<Canon5DUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
    // Deletes every file below DCIM; the folders, MISC and everything else
    // stay.
    bool reformatDrivePath(const std::string &drivePath) const override;
};

} // namespace ferrydeck
