#include "fsutil/XmlUtilities.h"

#include "fsutil/FileUtilities.h"

#include <libxml/tree.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <exception>

namespace ferrydeck {

namespace {

bool beginsWith(const std::string &text, const std::string &prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

// Depth first, children before following siblings. The walk never climbs to
// the document node, so it ends after the last node that follows the root.
xmlNodePtr nextNode(xmlNodePtr node, bool descend)
{
    // An entity reference's children are the declaration's, not the tree's.
    if (descend && node->children && node->type != XML_ENTITY_REF_NODE) return node->children;
    while (node) {
        if (node->next) return node->next;
        node = node->parent;
        if (!node || node->type == XML_DOCUMENT_NODE || node->type == XML_HTML_DOCUMENT_NODE) return nullptr;
    }
    return nullptr;
}

xmlNodePtr firstNodeAfterRoot(const XmlDocument &document)
{
    xmlNodePtr root = xmlDocGetRootElement(document.get());
    return root ? nextNode(root, true) : nullptr;
}

} // namespace

std::optional<std::string> XmlUtilities::findXmlTagInfo(const std::string &tagPrefix, const std::string &file,
                                                        const std::optional<std::string> &descriptor)
{
    try {
        const std::optional<XmlDocument> document = XmlDocument::parseFile(file);
        if (!document) return std::nullopt;
        std::optional<std::string> line = findTagLine(tagPrefix, *document, descriptor);
        if (!line || descriptor) return line;
        const std::string closing = path::replaceAll(tagPrefix, "<", "</");
        return path::replaceAll(path::replaceAll(*line, tagPrefix, ""), closing, "");
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

std::optional<std::string> XmlUtilities::findXmlTagInfo(const std::string &tagPrefix, const std::string &file)
{
    return findXmlTagInfo(tagPrefix, file, std::nullopt);
}

std::optional<std::string> XmlUtilities::findTagLine(const std::string &tagPrefix, const XmlDocument &document,
                                                     const std::optional<std::string> &descriptor)
{
    try {
        for (xmlNodePtr node = firstNodeAfterRoot(document); node; node = nextNode(node, true)) {
            std::string line = XmlNode(document.owner(), node).xmlString();
            if (!beginsWith(line, tagPrefix)) continue;
            if (descriptor && line.find(*descriptor) == std::string::npos) continue;
            return line;
        }
    } catch (const std::exception &) {
    }
    return std::nullopt;
}

std::optional<std::string> XmlUtilities::stripValueFromInfo(const std::optional<std::string> &info,
                                                            const std::string &descriptor)
{
    if (!info) return std::nullopt;
    const size_t at = info->find(descriptor);
    if (at == std::string::npos) return std::nullopt;
    const size_t open = info->find('"', at);
    if (open == std::string::npos) return std::nullopt;
    const size_t close = info->find('"', open + 1);
    if (close == std::string::npos) return std::nullopt;
    return info->substr(open + 1, close - open - 1);
}

void XmlUtilities::removeXMLNode(const std::string &name, const XmlDocument &document, bool tagIsHeader)
{
    const std::string opening = "<" + name + ">";
    const std::string closing = "</" + name + ">";
    bool inside = false;
    xmlNodePtr node = firstNodeAfterRoot(document);
    while (node) {
        const std::string line = XmlNode(document.owner(), node).xmlString();
        bool remove = false;
        if (beginsWith(line, closing)) inside = false;
        else if (inside) remove = true;
        if (beginsWith(line, opening)) {
            inside = true;
            if (tagIsHeader) remove = true;
        }
        xmlNodePtr next = nextNode(node, !remove);
        if (remove) document.detach(node);
        node = next;
    }
}

bool XmlUtilities::removeXMLNode(const std::string &name, const std::string &file, bool tagIsHeader)
{
    try {
        const std::optional<XmlDocument> document = XmlDocument::parseFile(file);
        if (!document) {
            // Deliberately unguarded: what could not be parsed serialises to
            // nothing. Only a file we can read is replaced.
            const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
            if (fd < 0) return true;
            struct stat info {};
            const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
            ::close(fd);
            // A FIFO, a device or an oversized file is left alone.
            if (!regular || static_cast<uint64_t>(info.st_size) > XmlDocument::kMaximumFileSize) return false;
            return XmlDocument::replaceFileContents(file, "");
        }
        removeXMLNode(name, *document, tagIsHeader);
        return document->writeToFile(file);
    } catch (const std::exception &) {
        return false;
    }
}

std::optional<XmlNode> XmlUtilities::nodeWithName(const std::string &name, const std::string &xmlfile)
{
    try {
        const std::optional<XmlDocument> document = XmlDocument::parseFile(xmlfile);
        if (!document) return std::nullopt;
        for (xmlNodePtr node = firstNodeAfterRoot(*document); node; node = nextNode(node, true)) {
            XmlNode candidate(document->owner(), node);
            if (candidate.isElement() && candidate.name() == name) return candidate;
        }
    } catch (const std::exception &) {
    }
    return std::nullopt;
}

std::optional<XmlNode> XmlUtilities::childNodeWithName(const std::string &name, const XmlNode &parent)
{
    try {
        for (const XmlNode &child : parent.children()) {
            if (child.isElement() && child.name() == name) return child;
        }
    } catch (const std::exception &) {
    }
    return std::nullopt;
}

std::optional<XmlNode> XmlUtilities::createElementWithName(const std::string &name,
                                                           const std::optional<std::vector<std::string>> &attributes,
                                                           const std::optional<std::vector<std::string>> &values,
                                                           const std::optional<std::string> &stringValue)
{
    try {
        const std::optional<XmlDocument> document = XmlDocument::withNewRootElement(name);
        if (!document) return std::nullopt;
        XmlNode element = *document->rootElement();
        xmlNodePtr raw = element.get();
        if (attributes && values && attributes->size() == values->size()) {
            for (size_t i = 0; i < attributes->size(); ++i) {
                if ((*attributes)[i].empty()) continue;
                xmlSetProp(raw, reinterpret_cast<const xmlChar *>((*attributes)[i].c_str()),
                           reinterpret_cast<const xmlChar *>((*values)[i].c_str()));
            }
        }
        if (stringValue) {
            // Added as text, so markup characters are escaped rather than parsed.
            xmlNodeAddContent(raw, reinterpret_cast<const xmlChar *>(stringValue->c_str()));
        }
        return element;
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

} // namespace ferrydeck
