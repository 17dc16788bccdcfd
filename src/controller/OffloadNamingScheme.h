#pragma once

#include <cstdint>
#include <string>

namespace ferrydeck {

// The naming schemes of copy folders: a scheme is a plain id.
class OffloadNamingScheme {
public:
    enum : int32_t {
        kCustomVolumeName = 1,
        kConsecutiveNumbering = 2,
        kCardName = 3,
        kDateVolumeCreated = 4,
        kDateVolumeModified = 5,
        kNone = 6,
        kTodaysDate = 7,
    };

    // -1 for a title that is none of the schemes'.
    static int32_t schemeForTitle(const std::string &title);
    // "N/A" for an unknown id.
    static std::string titleForScheme(int32_t scheme);
};

} // namespace ferrydeck
