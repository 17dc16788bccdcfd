#include "cards/SonyAVCHDUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool SonyAVCHDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return AVCHDUtilities::filePathMatchesVolumeStructure(filePath) &&
           !cards::contains(filePath, "/PRIVATE/AVCHD/BDMV/STREAM/" + path::lastComponent(filePath));
}

} // namespace ferrydeck
