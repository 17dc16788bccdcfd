#include "cards/PanasonicAVCHDUtilities.h"

namespace ferrydeck {

std::shared_ptr<const PanasonicAVCHDUtilities> PanasonicAVCHDUtilities::utility()
{
    static const auto instance = std::make_shared<const PanasonicAVCHDUtilities>();
    return instance;
}

int32_t PanasonicAVCHDUtilities::volumeType() const
{
    return kVolumeType;
}

std::string PanasonicAVCHDUtilities::volumeTitle() const
{
    return "Panasonic AVCHD";
}

} // namespace ferrydeck
