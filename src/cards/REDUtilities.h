#pragma once

#include "cards/BrightwaterQTUtilities.h"

namespace ferrydeck {

// RED cameras: reel folders "*.RDM" one folder below the top of the card,
// clip folders "*.RDC" in them holding the ".R3D" files and QuickTime
// reference movies.
class REDUtilities : public BrightwaterQTUtilities {
public:
    static constexpr int32_t kVolumeType = 3;
    REDUtilities()
        : BrightwaterQTUtilities(kVolumeType, "RED", std::nullopt)
    {
    }
    static std::shared_ptr<const REDUtilities> utility() { return sharedUtility<REDUtilities>(); }

    // The reference movies (".mov" in any case), not the ".R3D" files.
    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
    // Empties the card. The answer is inverted, as intended: true when the
    // card's top folder still stands afterwards, which on a real card it
    // always does, being a mount point.
    bool reformatDrivePath(const std::string &drivePath) const override;
};

} // namespace ferrydeck
