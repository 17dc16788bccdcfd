#pragma once

#include "cards/InCameraFormatUtilities.h"

namespace ferrydeck {

// Blackmagic cameras: ".braw" clips, wherever the camera puts them.
class BlackmagicRAWUtilities : public InCameraFormatUtilities {
public:
    static constexpr int32_t kVolumeType = 16;
    BlackmagicRAWUtilities()
        : InCameraFormatUtilities(kVolumeType, "Blackmagic RAW", std::nullopt)
    {
    }
    static std::shared_ptr<const BlackmagicRAWUtilities> utility() { return sharedUtility<BlackmagicRAWUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
};

} // namespace ferrydeck
