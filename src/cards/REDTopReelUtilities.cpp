#include "cards/REDTopReelUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool REDTopReelUtilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    // Suffixes in capitals, as the original RED rule reads them.
    return driveHoldsFile(drivePath, [&drivePath](const std::string &file) {
        const std::string clipFolder = path::parent(file);
        const std::string reel = path::parent(clipFolder);
        return cards::endsWith(file, ".R3D") && cards::endsWith(clipFolder, ".RDC") && cards::endsWith(reel, ".RDM") &&
               path::parent(reel) == drivePath;
    });
}

} // namespace ferrydeck
