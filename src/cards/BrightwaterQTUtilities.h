#pragma once

#include "cards/VolumeUtilities.h"

namespace ferrydeck {

// QuickTime and MP4 movies in general, wherever they lie. The cameras whose
// clips are such movies refine it.
class BrightwaterQTUtilities : public VolumeUtilities {
public:
    static constexpr int32_t kVolumeType = 10;
    static std::shared_ptr<const BrightwaterQTUtilities> utility();

    int32_t volumeType() const override;
    std::string volumeTitle() const override;
    // Any ".MOV" name; otherwise a movie with a video track and a duration of
    // at least 100 units of its own time scale.
    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
