#pragma once

#include "cards/BrightwaterQTUtilities.h"

namespace ferrydeck {

// JVC's QuickTime cards: clips in PRIVATE/JVC/CQAV/CLIP, indexed by
// MEDIAINF.XML with its backup MEDIAINF.BAK.
class JVCQTUtilities : public BrightwaterQTUtilities {
public:
    static constexpr int32_t kVolumeType = 7;
    JVCQTUtilities()
        : BrightwaterQTUtilities(kVolumeType, "JVC-QuickTime", "CQAV")
    {
    }
    static std::shared_ptr<const JVCQTUtilities> utility() { return sharedUtility<JVCQTUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
    // Keeps PRIVATE/JVC/CQAV/CLIP and INFO, empties MEDIAINF.XML, removes
    // everything else, MEDIAINF.BAK included: until the camera writes that
    // file again the card is deliberately no longer recognised as its type.
    bool reformatDrivePath(const std::string &drivePath) const override;
    bool clipSpanningSupported() const override;
};

} // namespace ferrydeck
