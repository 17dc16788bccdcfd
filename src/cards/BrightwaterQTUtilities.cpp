#include "cards/BrightwaterQTUtilities.h"

#include "cards/CardPaths.h"
#include "media/QuickTimeUtilities.h"

namespace ferrydeck {

bool BrightwaterQTUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    if (cards::endsWith(cards::upper(filePath), ".MOV")) return true;
    const auto movie = QuickTimeUtilities::openMovie(filePath);
    return movie && movie->videoTrackCount >= 1 && movie->duration >= 100;
}

} // namespace ferrydeck
