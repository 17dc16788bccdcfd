#pragma once

#include "cards/SonyXDCAMUtilities.h"

namespace ferrydeck {

// Sony XDCAM EX: BPAV/CLPR holds one folder per clip, BPAV/TAKR the takes,
// CUEUP.XML and MEDIAPRO.XML index the card. The files of one spanned clip
// share the first eight characters of their names.
class SonyXDCAMExUtilities : public SonyXDCAMUtilities {
public:
    static constexpr int32_t kVolumeType = 4;
    SonyXDCAMExUtilities()
        : SonyXDCAMUtilities(kVolumeType, "Sony XDCAM EX", "BPAV")
    {
    }
    static std::shared_ptr<const SonyXDCAMExUtilities> utility() { return sharedUtility<SonyXDCAMExUtilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
    // Empties CLPR and TAKR, drops MEDIAPRO.BAK and empties the index files;
    // nothing outside BPAV is touched.
    bool reformatDrivePath(const std::string &drivePath) const override;
    bool clipSpanningSupported() const override;
    std::optional<std::string> spanPartnerIdentifierForPath(const std::string &path) const override;
    bool filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const override;
    // The folder that holds the clip folders.
    std::string volumePartnerIdentifierForFilePath(const std::string &path) const override;
    bool filesArePartOfTheSameVolume(const std::string &path1, const std::string &path2) const override;
};

} // namespace ferrydeck
