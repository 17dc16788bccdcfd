#include "cards/BlackmagicRAWUtilities.h"

namespace ferrydeck {

bool BlackmagicRAWUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return hasExtension(filePath, {".braw"});
}

bool BlackmagicRAWUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    return driveHoldsFile(drivePath, [this](const std::string &file) { return filePathMatchesVolumeStructure(file); });
}

} // namespace ferrydeck
