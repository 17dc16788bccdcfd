#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ferrydeck {

// The card-type interface and its default answers. Each camera card layout
// is a class derived from this one; this class itself is the undefined type
// (11, "Volume"). Card types hold no state: `utility()` of every class hands
// out one shared immutable instance, so any thread may use it.
//
// The class-level type id is the constant `kVolumeType`; C++ cannot give a
// static and a virtual member the same name and arguments. Where a class-level
// operation shares its name with an instance operation (`xmlFileForPath`),
// the class's own answer is reached with a qualified call.
//
// Nothing here throws or shows anything: answers are false, none or the
// default strings.
class VolumeUtilities {
public:
    static constexpr int32_t kVolumeType = 11;
    // Kinds of frame rate `framerateForVideoFile` can be asked for.
    static constexpr int32_t kFramerateFromEditUnit = 101;
    static constexpr int32_t kFramerateFromFrameRate = 102;

    VolumeUtilities()
        : VolumeUtilities(kVolumeType, "Volume", std::nullopt)
    {
    }
    virtual ~VolumeUtilities() = default;
    VolumeUtilities(const VolumeUtilities &) = delete;
    VolumeUtilities &operator=(const VolumeUtilities &) = delete;

    static int32_t undefinedType() { return kVolumeType; }
    static std::string defaultTimecode() { return "00:00:00:00"; }
    static std::string defaultFrameRate() { return "29.97"; }
    static std::shared_ptr<const VolumeUtilities> utility() { return sharedUtility<VolumeUtilities>(); }

    // The card's identity, given by its class's constructor. The folder name
    // at which the card's structure begins; none when it has no such folder.
    std::optional<std::string> rootOfUniquePathIdenifier() const { return m_root; }
    int32_t volumeType() const { return m_type; }
    std::string volumeTitle() const { return m_title; }
    virtual bool filePathMatchesVolumeStructure(const std::string &path) const;
    virtual bool drivePathMatchesVolumeStructure(const std::string &drivePath) const;
    virtual bool clipSpanningSupported() const;
    virtual bool fileIsInASpannedSeries(const std::string &path) const;
    virtual std::optional<std::string> spanPartnerIdentifierForPath(const std::string &path) const;
    virtual bool filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const;
    virtual bool requiresFFmpegToConvert() const;
    // Empties a card so that its camera takes it again without an in-camera
    // format; true on success. The base touches nothing and answers false.
    // Every procedure first makes sure the path is a removable volume.
    virtual bool reformatDrivePath(const std::string &drivePath) const;
    // Whether we know what the card must look like after a reformat. Types
    // without such knowledge are formatted in their camera, never by us.
    virtual bool reformatLayoutKnown() const { return true; }
    virtual std::optional<std::vector<std::string>> audioFilesForMoviePath(const std::string &moviePath) const;
    virtual std::optional<std::string> dataFilePathForVideoFile(const std::string &videoPath) const;
    virtual std::optional<std::string> xmlFileForPath(const std::string &path) const;
    virtual bool videoFileIsDropFrame(const std::string &videoPath) const;
    virtual bool filesArePartOfTheSameVolume(const std::string &path1, const std::string &path2) const;
    virtual std::string volumePartnerIdentifierForFilePath(const std::string &path) const;
    virtual std::vector<std::string> orderVolumeVideoFiles(const std::vector<std::string> &videoPaths) const;
    virtual std::optional<std::string> uniqueIdentifierForVideoFile(const std::string &videoPath) const;
    virtual std::string sourceFilePathForReferenceFile(const std::string &path) const;
    virtual std::string startTimecodeForVideoFile(const std::string &videoPath) const;
    virtual std::string framerateForVideoFile(const std::string &videoPath, int32_t framerateType) const;
    virtual std::string framerateForVideoFile(const std::string &videoPath) const;
    virtual std::vector<std::string> sortSpannedClipSeries(const std::vector<std::string> &paths) const;

protected:
    VolumeUtilities(int32_t type, std::string title, std::optional<std::string> root)
        : m_type(type)
        , m_title(std::move(title))
        , m_root(std::move(root))
    {
    }
    // The one shared, immutable instance of a card type.
    template <typename Card> static std::shared_ptr<const Card> sharedUtility()
    {
        static const auto instance = std::make_shared<const Card>();
        return instance;
    }

    // A drive a card type may recognise or empty: one of the mounted
    // removable volumes by exact path, and a real folder rather than a link
    // to one. A folder on a fixed disk never passes, however perfect its card
    // structure.
    static bool isRemovableDrive(const std::string &drivePath);

private:
    const int32_t m_type;
    const std::string m_title;
    const std::optional<std::string> m_root;
};

} // namespace ferrydeck
