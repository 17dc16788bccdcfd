#pragma once

#include "cards/VolumeUtilities.h"

#include <atomic>
#include <chrono>

namespace ferrydeck {

// Panasonic P2: clips in CONTENTS/VIDEO, one index file per clip in
// CONTENTS/CLIP, one audio file per channel in CONTENTS/AUDIO, and the clip
// counter LASTCLIP.TXT at the top of the card.
class PanasonicP2Utilities : public VolumeUtilities {
public:
    static constexpr int32_t kVolumeType = 1;
    static constexpr const char *kLastClipTemplate = "LASTCLIP.TXT";

    // How long audioFilesForMoviePath waits for a channel file that is still
    // being written. The camera's own wait has no end; ours ends on a cancel
    // request or after `limit`, so nothing can hang for ever.
    struct AudioWait {
        std::chrono::milliseconds pollInterval{1000};
        std::chrono::milliseconds limit{std::chrono::minutes(10)};
        const std::atomic<bool> *cancel = nullptr;
    };

    PanasonicP2Utilities()
        : VolumeUtilities(kVolumeType, "Panasonic P2", "CONTENTS")
    {
    }
    static std::shared_ptr<const PanasonicP2Utilities> utility() { return sharedUtility<PanasonicP2Utilities>(); }

    bool filePathMatchesVolumeStructure(const std::string &path) const override;
    bool drivePathMatchesVolumeStructure(const std::string &drivePath) const override;
    bool reformatDrivePath(const std::string &drivePath) const override;
    bool clipSpanningSupported() const override;

    // The clip's index file, in CONTENTS/CLIP beside CONTENTS/VIDEO.
    std::optional<std::string> xmlFileForPath(const std::string &path) const override;
    std::optional<std::string> dataFilePathForVideoFile(const std::string &videoPath) const override;
    std::string startTimecodeForVideoFile(const std::string &videoPath) const override;
    std::optional<std::string> uniqueIdentifierForVideoFile(const std::string &videoPath) const override;
    std::string userClipNameForVideoFile(const std::string &videoPath) const;
    bool videoFileIsDropFrame(const std::string &videoPath) const override;
    bool fileIsInASpannedSeries(const std::string &path) const override;
    std::optional<std::string> spanPartnerIdentifierForPath(const std::string &path) const override;
    bool filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const override;
    std::string framerateForVideoFile(const std::string &videoPath, int32_t framerateType) const override;
    std::string framerateForVideoFile(const std::string &videoPath) const override;
    // The channel files "<clip>00" to "<clip>03", each once it has stopped
    // growing; none when there is none, or when the wait was cancelled.
    std::optional<std::vector<std::string>> audioFilesForMoviePath(const std::string &moviePath) const override;
    std::optional<std::vector<std::string>> audioFilesForMoviePath(const std::string &moviePath,
                                                                   const AudioWait &wait) const;
    // Recording order from the Top/Previous/Next links of the index files; the
    // list unchanged when that order cannot be established.
    std::vector<std::string> sortSpannedClipSeries(const std::vector<std::string> &paths) const override;
};

} // namespace ferrydeck
