#pragma once

#include "cards/VolumeUtilities.h"

#include <functional>
#include <initializer_list>

namespace ferrydeck {

// Cards of cameras whose layout after a format is not known here: they are
// recognised and offloaded like any other card, but never emptied by us, so
// their reformat touches nothing and answers false. The camera formats them.
class InCameraFormatUtilities : public VolumeUtilities {
public:
    bool reformatLayoutKnown() const override { return false; }

protected:
    using VolumeUtilities::VolumeUtilities;

    // The extension of the last component, compared without case.
    static bool hasExtension(const std::string &path, std::initializer_list<const char *> extensions);
    // A name that follows a pattern: 'A' an upper-case letter, '9' a digit,
    // 'X' either, anything else itself.
    static bool followsPattern(const std::string &name, const std::string &pattern);
    // The name of the folder `levels` above the path; empty past the top.
    static std::string folderNameAbove(const std::string &path, int levels);
    // Whether a regular file anywhere on the drive (links never followed)
    // passes the test; false for a drive that is not a removable volume.
    static bool driveHoldsFile(const std::string &drivePath, const std::function<bool(const std::string &)> &test);
};

} // namespace ferrydeck
