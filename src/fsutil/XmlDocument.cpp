#include "fsutil/XmlDocument.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/UniqueFd.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <mutex>

namespace ferrydeck {

namespace {

// Card files are read on worker threads and may name anything in a DOCTYPE;
// nothing they point at is ever fetched, whatever the parse options say.
xmlParserInputPtr refuseExternalEntity(const char *, const char *, xmlParserCtxtPtr)
{
    return nullptr;
}

void ignoreMessage(void *, const char *, ...) {}

// libxml2 keeps its message handler per thread; serialising a node with bad
// text would otherwise print on standard error from whichever thread asks.
void initialiseOnce()
{
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        xmlSetExternalEntityLoader(refuseExternalEntity);
        xmlThrDefSetGenericErrorFunc(nullptr, ignoreMessage);
    });
    thread_local bool quiet = false;
    if (!quiet) {
        xmlSetGenericErrorFunc(nullptr, ignoreMessage);
        quiet = true;
    }
}

constexpr int kParseOptions = XML_PARSE_RECOVER | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

// Detached nodes wait in the document's private slot; they are freed before
// the document because their names may live in its dictionary.
using DetachedNodes = std::vector<xmlNodePtr>;

std::shared_ptr<_xmlDoc> adopt(xmlDocPtr doc)
{
    if (!doc) return {};
    return std::shared_ptr<_xmlDoc>(doc, [](xmlDocPtr d) {
        if (auto *detached = static_cast<DetachedNodes *>(d->_private)) {
            for (xmlNodePtr node : *detached)
                xmlFreeNode(node);
            delete detached;
        }
        xmlFreeDoc(d);
    });
}

bool readWholeFile(const std::string &path, std::string &bytes)
{
    // Non-blocking so that a FIFO named like a card file cannot hang the open.
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd) return false;
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    if (static_cast<uint64_t>(info.st_size) > XmlDocument::kMaximumFileSize) return false;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n > 0) {
            bytes.append(buffer, static_cast<size_t>(n));
            if (bytes.size() > XmlDocument::kMaximumFileSize) return false;
        } else if (n == 0) {
            return true;
        } else if (errno != EINTR) {
            return false;
        }
    }
}

std::string fromXmlString(xmlChar *text)
{
    if (!text) return {};
    std::string result(reinterpret_cast<const char *>(text));
    xmlFree(text);
    return result;
}

const xmlChar *asXml(const std::string &text)
{
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

} // namespace

std::optional<XmlDocument> XmlDocument::parseFile(const std::string &path)
{
    std::string bytes;
    if (!readWholeFile(path, bytes)) return std::nullopt;
    return parseMemory(bytes);
}

std::optional<XmlDocument> XmlDocument::parseMemory(std::string_view bytes)
{
    initialiseOnce();
    if (bytes.size() > INT_MAX) return std::nullopt;
    auto doc = adopt(xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, kParseOptions));
    if (!doc || !xmlDocGetRootElement(doc.get())) return std::nullopt;
    return XmlDocument(std::move(doc));
}

std::optional<XmlDocument> XmlDocument::withNewRootElement(const std::string &name)
{
    initialiseOnce();
    if (name.empty()) return std::nullopt;
    auto doc = adopt(xmlNewDoc(asXml("1.0")));
    if (!doc) return std::nullopt;
    xmlNodePtr element = xmlNewDocNode(doc.get(), nullptr, asXml(name), nullptr);
    if (!element) return std::nullopt;
    xmlDocSetRootElement(doc.get(), element);
    return XmlDocument(std::move(doc));
}

std::optional<XmlNode> XmlDocument::rootElement() const
{
    xmlNodePtr root = xmlDocGetRootElement(m_doc.get());
    if (!root) return std::nullopt;
    return XmlNode(m_doc, root);
}

void XmlDocument::detach(_xmlNode *node) const
{
    if (!node || node->doc != m_doc.get()) return;
    auto *detached = static_cast<DetachedNodes *>(m_doc->_private);
    if (!detached) {
        detached = new DetachedNodes;
        m_doc->_private = detached;
    }
    detached->push_back(node);
    xmlUnlinkNode(node);
}

std::string XmlDocument::xmlData() const
{
    xmlChar *memory = nullptr;
    int size = 0;
    xmlDocDumpMemory(m_doc.get(), &memory, &size);
    if (!memory) return {};
    std::string result(reinterpret_cast<const char *>(memory), static_cast<size_t>(size > 0 ? size : 0));
    xmlFree(memory);
    return result;
}

bool XmlDocument::writeToFile(const std::string &path) const
{
    return replaceFileContents(path, xmlData());
}

bool XmlDocument::replaceFileContents(const std::string &path, std::string_view bytes)
{
    struct stat old {};
    const bool existed = ::stat(path.c_str(), &old) == 0;
    // Only a regular file is replaced: a FIFO or device named like a card
    // file would block the write or take what is written.
    if (existed && !S_ISREG(old.st_mode)) return false;

    // A file written back keeps its mode; a new one is private.
    const fsutil::ReplaceResult result =
        fsutil::replaceFileAtomically(path, bytes, {.mode = existed ? old.st_mode & 07777 : 0600});
    if (result != fsutil::ReplaceResult::NoTemporary) return result != fsutil::ReplaceResult::Failed;
    // A folder we may not create files in can still hold a writable file.
    UniqueFd direct(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    struct stat now {};
    return direct && ::fstat(direct.get(), &now) == 0 && S_ISREG(now.st_mode) && fsutil::writeAll(direct.get(), bytes);
}

std::string XmlNode::name() const
{
    if (!m_node || !m_node->name || m_node->type != XML_ELEMENT_NODE) return {};
    return reinterpret_cast<const char *>(m_node->name);
}

bool XmlNode::isElement() const
{
    return m_node && m_node->type == XML_ELEMENT_NODE;
}

std::string XmlNode::xmlString() const
{
    if (!m_node) return {};
    initialiseOnce();
    xmlBufferPtr buffer = xmlBufferCreate();
    if (!buffer) return {};
    std::string result;
    if (xmlNodeDump(buffer, m_document.get(), m_node, 0, 0) >= 0) {
        result.assign(reinterpret_cast<const char *>(xmlBufferContent(buffer)),
                      static_cast<size_t>(xmlBufferLength(buffer)));
    }
    xmlBufferFree(buffer);
    return result;
}

std::string XmlNode::stringValue() const
{
    if (!m_node) return {};
    return fromXmlString(xmlNodeGetContent(m_node));
}

std::optional<std::string> XmlNode::attribute(const std::string &name) const
{
    if (!isElement()) return std::nullopt;
    xmlChar *value = xmlGetProp(m_node, asXml(name));
    if (!value) return std::nullopt;
    return fromXmlString(value);
}

std::vector<XmlNode> XmlNode::children() const
{
    std::vector<XmlNode> result;
    // An entity reference's children belong to the entity declaration.
    if (!m_node || m_node->type == XML_ENTITY_REF_NODE) return result;
    for (xmlNodePtr child = m_node->children; child; child = child->next)
        result.emplace_back(m_document, child);
    return result;
}

void XmlDocument::initialiseLibrary()
{
    initialiseOnce();
}

} // namespace ferrydeck
