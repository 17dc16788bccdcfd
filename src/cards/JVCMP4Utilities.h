#pragma once

#include "cards/SonyXDCAMUtilities.h"

namespace ferrydeck {

// JVC's MP4 cards: the XDCAM EX layout under PRIVATE/JVC. The files of one
// spanned clip share the part of their names before the first "_".
class JVCMP4Utilities : public SonyXDCAMUtilities {
public:
    static constexpr int32_t kVolumeType = 6;
    JVCMP4Utilities()
        : SonyXDCAMUtilities(kVolumeType, "JVC-MP4", "BPAV")
    {
    }
    static std::shared_ptr<const JVCMP4Utilities> utility() { return sharedUtility<JVCMP4Utilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
    // Keeps PRIVATE/JVC/BPAV/CLPR and TAKR, empties CUEUP.XML and
    // MEDIAPRO.XML, removes everything else on the card.
    bool reformatDrivePath(const std::string &drivePath) const override;
    bool clipSpanningSupported() const override;
    std::optional<std::string> spanPartnerIdentifierForPath(const std::string &path) const override;
    bool filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const override;
    std::string volumePartnerIdentifierForFilePath(const std::string &path) const override;
    bool filesArePartOfTheSameVolume(const std::string &path1, const std::string &path2) const override;
};

} // namespace ferrydeck
