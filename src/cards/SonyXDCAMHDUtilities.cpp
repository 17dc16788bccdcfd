#include "cards/SonyXDCAMHDUtilities.h"

#include "cards/CardPaths.h"

namespace ferrydeck {

std::shared_ptr<const SonyXDCAMHDUtilities> SonyXDCAMHDUtilities::utility()
{
    static const auto instance = std::make_shared<const SonyXDCAMHDUtilities>();
    return instance;
}

int32_t SonyXDCAMHDUtilities::volumeType() const
{
    return kVolumeType;
}

std::string SonyXDCAMHDUtilities::volumeTitle() const
{
    return "Sony XDCAM HD";
}

bool SonyXDCAMHDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::contains(filePath, "/Clip/") && cards::endsWith(cards::upper(filePath), ".MXF");
}

} // namespace ferrydeck
