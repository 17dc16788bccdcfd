#include "cards/GoProUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool GoProUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string name = path::lastComponent(filePath);
    const std::string folder = path::lastComponent(path::parent(filePath));
    // The cheap name tests first: the movie test opens the file.
    return name.starts_with("GO") && cards::endsWith(filePath, "/DCIM/" + folder + "/" + name) &&
           cards::endsWith(cards::upper(filePath), ".MP4") &&
           BrightwaterQTUtilities::filePathMatchesVolumeStructure(filePath);
}

} // namespace ferrydeck
