#include "cards/PanasonicP2Utilities.h"

#include "cards/CardPaths.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/Resources.h"
#include "fsutil/SystemLog.h"
#include "fsutil/XmlUtilities.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <thread>

namespace ferrydeck {

namespace {

std::optional<std::string> childText(const std::optional<XmlNode> &parent, const char *name)
{
    if (!parent) return std::nullopt;
    const auto child = XmlUtilities::childNodeWithName(name, *parent);
    if (!child) return std::nullopt;
    return child->stringValue();
}

// What the series order needs of one clip's index file.
struct SeriesLinks {
    bool hasTop = false;
    bool hasPrevious = false;
    bool hasNext = false;
    std::optional<std::string> clipName;
    std::optional<std::string> previousClipName;
};

SeriesLinks seriesLinks(const std::string &xml)
{
    SeriesLinks links;
    const auto previous = XmlUtilities::nodeWithName("Previous", xml);
    links.hasTop = XmlUtilities::nodeWithName("Top", xml).has_value();
    links.hasPrevious = previous.has_value();
    links.hasNext = XmlUtilities::nodeWithName("Next", xml).has_value();
    links.clipName = childText(XmlUtilities::nodeWithName("ClipContent", xml), "ClipName");
    links.previousClipName = childText(previous, "ClipName");
    return links;
}

enum class WaitOutcome { Complete, TimedOut, Cancelled };

// A channel file is complete once two reads a poll apart give the same size
// and that size is not 0.
WaitOutcome waitUntilComplete(const std::string &file, const PanasonicP2Utilities::AudioWait &wait,
                              std::chrono::steady_clock::time_point deadline)
{
    using namespace std::chrono;
    uint64_t previous = FileUtilities::findSizeOfFile(file);
    for (;;) {
        const auto pollEnd = steady_clock::now() + wait.pollInterval;
        while (steady_clock::now() < pollEnd) {
            if (wait.cancel && wait.cancel->load()) return WaitOutcome::Cancelled;
            if (steady_clock::now() >= deadline) return WaitOutcome::TimedOut;
            std::this_thread::sleep_for(
                std::min<steady_clock::duration>(milliseconds(50), pollEnd - steady_clock::now()));
        }
        const uint64_t current = FileUtilities::findSizeOfFile(file);
        if (current == previous && current != 0) return WaitOutcome::Complete;
        previous = current;
    }
}

} // namespace

bool PanasonicP2Utilities::clipSpanningSupported() const
{
    return true;
}

bool PanasonicP2Utilities::filePathMatchesVolumeStructure(const std::string &filePath) const
{
    return cards::contains(filePath, "/CONTENTS/VIDEO/" + path::lastComponent(filePath)) &&
           cards::endsWith(cards::upper(filePath), ".MXF");
}

bool PanasonicP2Utilities::drivePathMatchesVolumeStructure(const std::string &drivePath) const
{
    return isRemovableDrive(drivePath) && cards::exists(drivePath + "/CONTENTS/VIDEO") &&
           cards::exists(drivePath + "/LASTCLIP.TXT");
}

bool PanasonicP2Utilities::reformatDrivePath(const std::string &drivePath) const
{
    if (!drivePathMatchesVolumeStructure(drivePath)) return false;
    if (!DirectoryUtilities::clearDirectoryContents(drivePath)) return false;
    // Every top folder goes except CONTENTS, which keeps its empty sub-folders.
    DirectoryUtilities::removeDirectoriesAtPath(drivePath);

    const auto lastClip = resourcePath(kLastClipTemplate);
    if (lastClip) systemLog("File Exists");
    const std::string target = drivePath + "/LASTCLIP.TXT";
    if (!lastClip || !FileCopy::copyFile(*lastClip, target).ok()) systemLog("LASTCLIP was not copied back");

    // The companion file normally went with every other file above; only a
    // failure to remove one that is still there is worth a line.
    const std::string companion = drivePath + "/._LASTCLIP.TXT";
    if (::unlink(companion.c_str()) != 0 && errno != ENOENT) systemLog("Spotlight files could not be removed");
    return true;
}

std::optional<std::string> PanasonicP2Utilities::xmlFileForPath(const std::string &filePath) const
{
    if (filePath.empty()) return std::nullopt;
    const auto folder = FileUtilities::findDirectoryPathForFile(filePath);
    if (!folder) return std::nullopt;
    const std::string clipFolder = path::replaceAll(*folder, "/CONTENTS/VIDEO", "/CONTENTS/CLIP");
    auto found = FileUtilities::findFileMatchingPattern(cards::fileStem(filePath), clipFolder);
    if (!found || !cards::exists(*found)) return std::nullopt;
    return found;
}

std::optional<std::string> PanasonicP2Utilities::dataFilePathForVideoFile(const std::string &videoPath) const
{
    return PanasonicP2Utilities::xmlFileForPath(videoPath);
}

std::string PanasonicP2Utilities::startTimecodeForVideoFile(const std::string &videoPath) const
{
    const auto xml = dataFilePathForVideoFile(videoPath);
    if (!xml) return defaultTimecode();
    return XmlUtilities::findXmlTagInfo("<StartTimecode>", *xml).value_or(defaultTimecode());
}

std::optional<std::string> PanasonicP2Utilities::uniqueIdentifierForVideoFile(const std::string &videoPath) const
{
    const auto xml = dataFilePathForVideoFile(videoPath);
    if (!xml) return cards::fileStem(videoPath);
    return XmlUtilities::findXmlTagInfo("<GlobalClipID>", *xml);
}

std::string PanasonicP2Utilities::userClipNameForVideoFile(const std::string &videoPath) const
{
    const auto xml = dataFilePathForVideoFile(videoPath);
    if (xml) {
        if (auto name = XmlUtilities::findXmlTagInfo("<UserClipName>", *xml)) return *name;
    }
    return cards::fileStem(videoPath);
}

bool PanasonicP2Utilities::videoFileIsDropFrame(const std::string &videoPath) const
{
    const auto xml = dataFilePathForVideoFile(videoPath);
    if (!xml) return false;
    // No ">" in the prefix on purpose: whatever follows the element name is
    // left in the stripped line and searched too.
    const auto rate = XmlUtilities::findXmlTagInfo("<FrameRate", *xml);
    return rate && cards::contains(*rate, "true");
}

bool PanasonicP2Utilities::fileIsInASpannedSeries(const std::string &filePath) const
{
    const auto xml = dataFilePathForVideoFile(filePath);
    return xml && XmlUtilities::findXmlTagInfo("<Top>", *xml).has_value();
}

std::optional<std::string> PanasonicP2Utilities::spanPartnerIdentifierForPath(const std::string &filePath) const
{
    const auto xml = dataFilePathForVideoFile(filePath);
    if (!xml) return std::nullopt;
    return XmlUtilities::findXmlTagInfo("<GlobalShotID>", *xml);
}

bool PanasonicP2Utilities::filesArePartOfTheSameSpanSeries(const std::string &path1, const std::string &path2) const
{
    if (!filePathMatchesVolumeStructure(path1) || !filePathMatchesVolumeStructure(path2)) return false;
    const auto shot1 = spanPartnerIdentifierForPath(path1);
    const auto shot2 = spanPartnerIdentifierForPath(path2);
    return shot1 && shot2 && *shot1 == *shot2;
}

std::string PanasonicP2Utilities::framerateForVideoFile(const std::string &videoPath, int32_t framerateType) const
{
    const auto xml = dataFilePathForVideoFile(videoPath);
    if (!xml) return defaultFrameRate();
    double rate = 0;
    if (framerateType == kFramerateFromEditUnit) {
        const auto editUnit = XmlUtilities::findXmlTagInfo("<EditUnit>", *xml);
        if (!editUnit) return defaultFrameRate();
        const size_t slash = editUnit->find('/');
        if (slash == std::string::npos) return defaultFrameRate();
        const std::string numerator = editUnit->substr(0, slash);
        const std::string rest = editUnit->substr(slash + 1);
        rate = cards::leadingDouble(rest.substr(0, rest.find('/'))) / cards::leadingDouble(numerator);
    } else if (framerateType == kFramerateFromFrameRate) {
        const auto frameRate = XmlUtilities::findXmlTagInfo("<FrameRate>", *xml);
        if (!frameRate) return defaultFrameRate();
        rate = cards::leadingDouble(FileUtilities::removeNonNumericsFromString(*frameRate, true));
    } else {
        return defaultFrameRate();
    }
    // An edit unit of 0 would print "inf": no camera writes one.
    if (!std::isfinite(rate)) return defaultFrameRate();
    return stringWithFormat("%.2f", rate);
}

std::string PanasonicP2Utilities::framerateForVideoFile(const std::string &videoPath) const
{
    return framerateForVideoFile(videoPath, kFramerateFromEditUnit);
}

std::optional<std::vector<std::string>> PanasonicP2Utilities::audioFilesForMoviePath(const std::string &moviePath) const
{
    return audioFilesForMoviePath(moviePath, AudioWait{});
}

std::optional<std::vector<std::string>> PanasonicP2Utilities::audioFilesForMoviePath(const std::string &moviePath,
                                                                                     const AudioWait &wait) const
{
    const std::string stem = cards::fileStem(moviePath);
    const std::string folder = path::replaceAll(path::parent(moviePath), "/CONTENTS/VIDEO", "/CONTENTS/AUDIO");
    const auto deadline = std::chrono::steady_clock::now() + wait.limit;
    std::vector<std::string> files;
    for (int channel = 0; channel < 4; ++channel) {
        const auto file =
            FileUtilities::findFileMatchingPattern(stringWithFormat("%s0%d", stem.c_str(), channel), folder);
        if (!file) continue;
        switch (waitUntilComplete(*file, wait, deadline)) {
        case WaitOutcome::Cancelled:
            return std::nullopt;
        case WaitOutcome::TimedOut:
            systemLog("audio: %s was still being written when the wait ended", file->c_str());
            break;
        case WaitOutcome::Complete:
            break;
        }
        files.push_back(*file);
    }
    if (files.empty()) return std::nullopt;
    return files;
}

std::vector<std::string> PanasonicP2Utilities::sortSpannedClipSeries(const std::vector<std::string> &paths) const
{
    struct Middle {
        std::string path;
        SeriesLinks links;
    };
    std::optional<std::string> first;
    std::optional<std::string> last;
    std::optional<std::string> currentName;
    std::vector<Middle> middles;
    for (const std::string &file : paths) {
        const auto xml = PanasonicP2Utilities::xmlFileForPath(file);
        if (!xml) return paths;
        SeriesLinks links = seriesLinks(*xml);
        if (!links.hasTop) return paths;
        if (!links.hasPrevious) {
            first = file;
            currentName = links.clipName;
        } else if (links.hasNext) {
            middles.push_back({file, std::move(links)});
        } else {
            last = file;
        }
    }
    if (!first || !last) return paths;

    std::vector<std::string> ordered{*first};
    size_t index = 0;
    while (!middles.empty()) {
        const Middle &entry = middles[index % middles.size()];
        if (entry.links.previousClipName && currentName && *entry.links.previousClipName == *currentName) {
            ordered.push_back(entry.path);
            currentName = entry.links.clipName;
            middles.erase(middles.begin() + static_cast<std::ptrdiff_t>(index % middles.size()));
            index = 0;
            continue;
        }
        // Deliberately lets the first entry be looked at twice before giving up.
        if (++index > middles.size()) return paths;
    }
    ordered.push_back(*last);
    return ordered;
}

} // namespace ferrydeck
