#pragma once

#include "fsutil/XmlDocument.h"

#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Line-oriented scanning of the small XML files cameras write beside their
// clips. A document is the sequence of its nodes in document order and each
// node is the text of its serialisation (its "tag line"); values are found by
// what a tag line begins with and contains and cut out by their quotes. This
// text matching is intended: it is what the card types rely on.
//
// The walk starts after the root element, which is deliberately never
// examined, and goes depth first through the root's descendants and then the
// nodes that follow the root. No operation throws or prints.
class XmlUtilities {
public:
    XmlUtilities() = delete;

    // The tag line (descriptor given) or, without a descriptor, the line with
    // every `tagPrefix` and its closing form removed; so the prefix must be a
    // whole opening tag such as "<StartTimecode>".
    static std::optional<std::string> findXmlTagInfo(const std::string &tagPrefix, const std::string &file,
                                                     const std::optional<std::string> &descriptor);
    static std::optional<std::string> findXmlTagInfo(const std::string &tagPrefix, const std::string &file);

    // The first node whose serialisation begins with `tagPrefix` and contains
    // `descriptor` (case-sensitive) when one is given.
    static std::optional<std::string> findTagLine(const std::string &tagPrefix, const XmlDocument &document,
                                                  const std::optional<std::string> &descriptor);

    // The text between the first double quote at or after the first
    // occurrence of `descriptor` and the next double quote. The descriptor may
    // end with the opening quote or not. It is not parsed as an attribute
    // name: an earlier occurrence inside another attribute wins, as intended.
    static std::optional<std::string> stripValueFromInfo(const std::optional<std::string> &info,
                                                         const std::string &descriptor);

    // Walks the nodes with an "inside" flag set by a node that begins with
    // "<name>" (no attributes) and cleared by one that begins with "</name>";
    // nodes met while inside are removed, and the opening node too when
    // `tagIsHeader`. Closing tags are not nodes in this document model, so
    // once set the flag stays set: everything after the opening node goes,
    // which is what the card reformats expect. A removed node's subtree is
    // skipped, and the walk goes on with the node after it.
    //
    // The file is then replaced by the document's serialisation. A file that
    // exists but cannot be parsed is deliberately replaced by an empty file,
    // still answering true; a file that cannot be read is left alone and
    // answers true as well. False only when the new file could not be written.
    static bool removeXMLNode(const std::string &name, const std::string &file, bool tagIsHeader);
    // The walk and removal above on a parsed document, without the write-back.
    static void removeXMLNode(const std::string &name, const XmlDocument &document, bool tagIsHeader);

    // The first element after the root named exactly `name`; the node keeps
    // its document alive.
    static std::optional<XmlNode> nodeWithName(const std::string &name, const std::string &xmlfile);
    static std::optional<XmlNode> childNodeWithName(const std::string &name, const XmlNode &parent);

    // A new element (owning its own document). Attributes are added only when
    // both lists are given and of equal length; a pair with an empty name is
    // skipped.
    static std::optional<XmlNode> createElementWithName(const std::string &name,
                                                        const std::optional<std::vector<std::string>> &attributes,
                                                        const std::optional<std::vector<std::string>> &values,
                                                        const std::optional<std::string> &stringValue);
};

} // namespace ferrydeck
