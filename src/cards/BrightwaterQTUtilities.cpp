#include "cards/BrightwaterQTUtilities.h"

#include "cards/CardPaths.h"
#include "media/QuickTimeUtilities.h"

namespace ferrydeck {

std::shared_ptr<const BrightwaterQTUtilities> BrightwaterQTUtilities::utility()
{
    static const auto instance = std::make_shared<const BrightwaterQTUtilities>();
    return instance;
}

int32_t BrightwaterQTUtilities::volumeType() const
{
    return kVolumeType;
}

std::string BrightwaterQTUtilities::volumeTitle() const
{
    return "Apple QuickTime";
}

bool BrightwaterQTUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    if (cards::endsWith(cards::upper(filePath), ".MOV")) return true;
    const auto movie = QuickTimeUtilities::openMovie(filePath);
    return movie && movie->videoTrackCount >= 1 && movie->duration >= 100;
}

} // namespace ferrydeck
