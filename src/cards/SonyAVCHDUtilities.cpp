#include "cards/SonyAVCHDUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

std::shared_ptr<const SonyAVCHDUtilities> SonyAVCHDUtilities::utility()
{
    static const auto instance = std::make_shared<const SonyAVCHDUtilities>();
    return instance;
}

std::optional<std::string> SonyAVCHDUtilities::rootOfUniquePathIdenifier() const
{
    return "AVCHD";
}

int32_t SonyAVCHDUtilities::volumeType() const
{
    return kVolumeType;
}

std::string SonyAVCHDUtilities::volumeTitle() const
{
    return "Sony NXCAM AVCHD";
}

bool SonyAVCHDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return AVCHDUtilities::filePathMatchesVolumeStructure(filePath) &&
           !cards::contains(filePath, "/PRIVATE/AVCHD/BDMV/STREAM/" + path::lastComponent(filePath));
}

} // namespace ferrydeck
