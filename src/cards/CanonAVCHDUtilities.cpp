#include "cards/CanonAVCHDUtilities.h"

#include "cards/CardPaths.h"

namespace ferrydeck {

bool CanonAVCHDUtilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    const std::string upperPath = cards::upper(filePath);
    if (!cards::contains(upperPath, "/PRIVATE/AVCHD/")) return false;
    if (!AVCHDUtilities::filePathMatchesVolumeStructure(filePath)) return false;
    // The card's top is cut from the path as given: a lower-case "private"
    // passes the test above but leaves no top to look under.
    const size_t privateFolder = filePath.find("/PRIVATE/AVCHD/");
    if (privateFolder == std::string::npos) return false;
    if (!cards::exists(filePath.substr(0, privateFolder) + "/PRIVATE/AVCHD/CANON")) return false;
    return cards::endsWith(upperPath, ".mts") || cards::endsWith(upperPath, ".MTS");
}

} // namespace ferrydeck
