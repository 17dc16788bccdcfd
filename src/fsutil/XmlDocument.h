#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct _xmlDoc;
struct _xmlNode;

namespace ferrydeck {

class XmlNode;

// A parsed XML document. Copies share one libxml2 document, which is freed
// with the last copy and with the last node handle taken from it.
//
// Parsing is lenient (broken markup is repaired where libxml2 can) and never
// reaches outside the bytes given: no network, no external DTD, no external
// entity, no entity substitution. Parse messages are not printed; card files
// are often sloppy and nobody can act on them.
class XmlDocument {
public:
    // Card metadata files are kilobytes; a larger file, a FIFO or a device is
    // not read at all (parseFile answers none).
    static constexpr uint64_t kMaximumFileSize = 64u << 20;

    // libxml2's globals (its encoding tables among them) are set up lazily
    // by whichever thread first needs them; two copy threads writing hash
    // lists at once must not both do it. Every user of libxml2 calls this
    // first; it also silences the library's messages on the calling thread.
    static void initialiseLibrary();

    static std::optional<XmlDocument> parseFile(const std::string &path);
    static std::optional<XmlDocument> parseMemory(std::string_view bytes);
    // An empty document whose root element is a new element called `name`.
    static std::optional<XmlDocument> withNewRootElement(const std::string &name);

    std::optional<XmlNode> rootElement() const;
    // The whole document as text, with its XML declaration.
    std::string xmlData() const;
    // Replaces the file at `path` by xmlData() (a temporary file renamed
    // over it, keeping the old file's permissions). False when it could not.
    bool writeToFile(const std::string &path) const;
    // The same replacement with any bytes, for files that could not be parsed.
    static bool replaceFileContents(const std::string &path, std::string_view bytes);

    // Unlinks `node` from the tree. It stays allocated until the document is
    // freed, so node handles taken earlier never dangle.
    void detach(_xmlNode *node) const;

    _xmlDoc *get() const { return m_doc.get(); }
    const std::shared_ptr<_xmlDoc> &owner() const { return m_doc; }

private:
    explicit XmlDocument(std::shared_ptr<_xmlDoc> doc)
        : m_doc(std::move(doc))
    {
    }
    std::shared_ptr<_xmlDoc> m_doc;
};

// One node of a document. The handle keeps its document alive, so it stays
// valid after the XmlDocument it came from is gone.
class XmlNode {
public:
    XmlNode(std::shared_ptr<_xmlDoc> document, _xmlNode *node)
        : m_document(std::move(document))
        , m_node(node)
    {
    }

    // The element name; empty for text, comments and the like.
    std::string name() const;
    bool isElement() const;
    // The node's serialisation: for an element its whole text from the
    // opening to the closing tag, children included.
    std::string xmlString() const;
    // The text content of the node and its descendants.
    std::string stringValue() const;
    std::optional<std::string> attribute(const std::string &name) const;
    std::vector<XmlNode> children() const;

    _xmlNode *get() const { return m_node; }
    const std::shared_ptr<_xmlDoc> &document() const { return m_document; }

private:
    std::shared_ptr<_xmlDoc> m_document;
    _xmlNode *m_node;
};

} // namespace ferrydeck
