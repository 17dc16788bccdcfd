#pragma once

#include "cards/AVCHDUtilities.h"

namespace ferrydeck {

// AVCHD at the top of the card rather than under PRIVATE.
class SonyAVCHDUtilities : public AVCHDUtilities {
public:
    static constexpr int32_t kVolumeType = 13;
    static std::shared_ptr<const SonyAVCHDUtilities> utility();

    std::optional<std::string> rootOfUniquePathIdenifier() const override;
    int32_t volumeType() const override;
    std::string volumeTitle() const override;
    bool filePathMatchesVolumeStructure(const std::string &path) const override;
};

} // namespace ferrydeck
