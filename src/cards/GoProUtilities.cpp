#include "cards/GoProUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

std::shared_ptr<const GoProUtilities> GoProUtilities::utility()
{
    static const auto instance = std::make_shared<const GoProUtilities>();
    return instance;
}

std::optional<std::string> GoProUtilities::rootOfUniquePathIdenifier() const
{
    return "DCIM";
}

int32_t GoProUtilities::volumeType() const
{
    return kVolumeType;
}

std::string GoProUtilities::volumeTitle() const
{
    return "GoPro";
}

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
