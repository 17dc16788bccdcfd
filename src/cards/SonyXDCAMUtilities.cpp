#include "cards/SonyXDCAMUtilities.h"

#include "cards/CardPaths.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/XmlUtilities.h"

namespace ferrydeck {

bool SonyXDCAMUtilities::requiresFFmpegToConvert() const
{
    return true;
}

std::optional<std::string> SonyXDCAMUtilities::xmlFileForPath(const std::string &filePath) const
{
    const std::string stem = filePath.substr(0, filePath.find('.'));
    const size_t slash = filePath.rfind('/');
    if (slash == std::string::npos) return std::nullopt;
    const std::string folder = filePath.substr(0, slash);
    std::vector<std::string> names;
    if (!path::listDirectory(folder, names)) return std::nullopt;
    for (const std::string &name : names) {
        const std::string candidate = path::join(folder, name);
        if (cards::contains(candidate, stem) &&
            (cards::endsWith(candidate, ".XML") || cards::endsWith(candidate, ".xml"))) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::string SonyXDCAMUtilities::startTimecodeForVideoFile(const std::string &videoPath) const
{
    const auto xml = SonyXDCAMUtilities::xmlFileForPath(videoPath);
    if (!xml) return defaultTimecode();
    const auto line = XmlUtilities::findXmlTagInfo("<LtcChange frameCount=", *xml, std::string("status=\"increment\""));
    const auto value = XmlUtilities::stripValueFromInfo(line, "value=\"");
    return reverseXDCAMTimeCodeString(value).value_or(defaultTimecode());
}

std::optional<std::string> SonyXDCAMUtilities::reverseXDCAMTimeCodeString(const std::optional<std::string> &timecode)
{
    if (!timecode || timecode->size() != 8) return std::nullopt;
    std::string reversed = timecode->substr(0, 2);
    for (size_t pair = 2; pair < 8; pair += 2)
        reversed = timecode->substr(pair, 2) + ":" + reversed;
    return reversed;
}

} // namespace ferrydeck
