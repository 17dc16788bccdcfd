#pragma once

#include "cards/BrightwaterQTUtilities.h"

namespace ferrydeck {

// GoPro cameras: "GO..." MP4 movies in a folder directly inside DCIM.
class GoProUtilities : public BrightwaterQTUtilities {
public:
    static constexpr int32_t kVolumeType = 12;
    static std::shared_ptr<const GoProUtilities> utility();

    std::optional<std::string> rootOfUniquePathIdenifier() const override;
    int32_t volumeType() const override;
    std::string volumeTitle() const override;
    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
