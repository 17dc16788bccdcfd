#pragma once

#include "cards/VolumeUtilities.h"

namespace ferrydeck {

// QuickTime and MP4 movies in general, wherever they lie. The cameras whose
// clips are such movies refine it.
class BrightwaterQTUtilities : public VolumeUtilities {
public:
    static constexpr int32_t kVolumeType = 10;
    BrightwaterQTUtilities()
        : VolumeUtilities(kVolumeType, "Apple QuickTime", std::nullopt)
    {
    }
    static std::shared_ptr<const BrightwaterQTUtilities> utility() { return sharedUtility<BrightwaterQTUtilities>(); }

    // Any ".MOV" name; otherwise a movie with a video track and a duration of
    // at least 100 units of its own time scale.
    bool filePathMatchesVolumeStructure(const std::string &path) const override;

protected:
    using VolumeUtilities::VolumeUtilities;
};

} // namespace ferrydeck
