#pragma once

#include "cards/VolumeUtilities.h"

namespace ferrydeck {

// The AVCHD layout shared by several makers: stream files in
// AVCHD/BDMV/STREAM. Not a registered type of its own, so it answers the
// undefined id; no AVCHD type recognises a drive.
class AVCHDUtilities : public VolumeUtilities {
public:
    AVCHDUtilities()
        : VolumeUtilities(kVolumeType, "AVCHD", "PRIVATE")
    {
    }
    static std::shared_ptr<const AVCHDUtilities> utility() { return sharedUtility<AVCHDUtilities>(); }

    bool requiresFFmpegToConvert() const override;
    // Only a stream file whose name is wholly upper case and ends in ".MTS"
    // passes: the name is looked for in its own case in the upper-cased path,
    // and the ".mts" test is made on the upper-cased path. Both intended.
    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    // Removes everything at the top of the drive.
    bool reformatDrivePath(const std::string &drivePath) const override;

protected:
    using VolumeUtilities::VolumeUtilities;
};

} // namespace ferrydeck
