#include "cards/InCameraFormatUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"

namespace ferrydeck {

bool InCameraFormatUtilities::hasExtension(const std::string &path, std::initializer_list<const char *> extensions)
{
    const std::string name = cards::lower(path::lastComponent(path));
    for (const char *extension : extensions) {
        if (cards::endsWith(name, extension)) return true;
    }
    return false;
}

bool InCameraFormatUtilities::followsPattern(const std::string &name, const std::string &pattern)
{
    if (name.size() < pattern.size()) return false;
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char c = name[i];
        const bool letter = c >= 'A' && c <= 'Z';
        const bool digit = c >= '0' && c <= '9';
        switch (pattern[i]) {
        case 'A':
            if (!letter) return false;
            break;
        case '9':
            if (!digit) return false;
            break;
        case 'X':
            if (!letter && !digit) return false;
            break;
        default:
            if (c != pattern[i]) return false;
        }
    }
    return true;
}

std::string InCameraFormatUtilities::folderNameAbove(const std::string &path, int levels)
{
    std::string folder = path;
    for (int i = 0; i < levels; ++i)
        folder = path::parent(folder);
    return path::lastComponent(folder);
}

bool InCameraFormatUtilities::driveHoldsFile(const std::string &drivePath,
                                             const std::function<bool(const std::string &)> &test)
{
    if (!isRemovableDrive(drivePath)) return false;
    for (const std::string &entry : cards::deepListing(drivePath)) {
        const std::string file = path::join(drivePath, entry);
        if (test(file) && cards::isRegularFile(file)) return true;
    }
    return false;
}

} // namespace ferrydeck
