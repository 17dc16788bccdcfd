#include "fsutil/XmlUtilities.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

using ferrydeck::XmlDocument;
using ferrydeck::XmlUtilities;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    const auto document = XmlDocument::parseMemory(bytes);
    if (!document) return 0;

    for (const char *prefix : {"<StartTimecode>", "<LtcChange", "<", "<!--", "&"}) {
        const auto line = XmlUtilities::findTagLine(prefix, *document, std::nullopt);
        XmlUtilities::stripValueFromInfo(line, "value=");
        XmlUtilities::findTagLine(prefix, *document, std::string("value=\""));
    }
    if (const auto root = document->rootElement()) {
        for (const auto &child : root->children()) {
            XmlUtilities::childNodeWithName(child.name(), child);
            child.stringValue();
        }
    }

    // Removal mutates the tree: once keeping the opening node, once not, each
    // on its own copy, and serialise what is left.
    for (bool header : {false, true}) {
        const auto copy = XmlDocument::parseMemory(bytes);
        if (!copy) continue;
        const auto firstChild =
            copy->rootElement() ? copy->rootElement()->children() : std::vector<ferrydeck::XmlNode>{};
        const std::string name = firstChild.empty() ? "ClipInfo" : firstChild.front().name();
        XmlUtilities::removeXMLNode(name.empty() ? "ClipInfo" : name, *copy, header);
        copy->xmlData();
        for (const auto &held : firstChild)
            held.xmlString();
    }
    return 0;
}
