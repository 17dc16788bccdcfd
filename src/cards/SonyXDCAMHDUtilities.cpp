#include "cards/SonyXDCAMHDUtilities.h"

#include "cards/CardPaths.h"

namespace ferrydeck {

bool SonyXDCAMHDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::contains(filePath, "/Clip/") && cards::endsWith(cards::upper(filePath), ".MXF");
}

} // namespace ferrydeck
