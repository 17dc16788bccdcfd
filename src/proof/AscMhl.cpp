#include "proof/AscMhl.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/UniqueFd.h"
#include "fsutil/XmlDocument.h"
#include "proof/Hasher.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace ferrydeck::mhl {

namespace {

void setError(std::string *error, const std::string &text)
{
    if (error) *error = text;
}

std::string escapeForPattern(const std::string &name)
{
    std::string escaped;
    for (const char c : name) {
        if (c == '*' || c == '?' || c == '[' || c == '\\') escaped.push_back('\\');
        escaped.push_back(c);
    }
    return escaped;
}

bool patternMatches(std::string pattern, const std::string &prefix, bool isDirectory)
{
    if (pattern.empty()) return false;
    if (pattern.back() == '/') {
        if (!isDirectory) return false;
        pattern.pop_back();
    }
    if (pattern.find('/') != std::string::npos) {
        if (pattern.front() == '/') pattern.erase(0, 1);
        return ::fnmatch(pattern.c_str(), prefix.c_str(), FNM_PATHNAME) == 0;
    }
    const size_t slash = prefix.rfind('/');
    const std::string name = slash == std::string::npos ? prefix : prefix.substr(slash + 1);
    return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

} // namespace

std::string_view actionName(Action action)
{
    switch (action) {
    case Action::Original:
        return "original";
    case Action::Verified:
        return "verified";
    case Action::Failed:
        return "failed";
    }
    return {};
}

std::optional<Action> actionFromName(std::string_view name)
{
    for (const Action action : {Action::Original, Action::Verified, Action::Failed}) {
        if (actionName(action) == name) return action;
    }
    return std::nullopt;
}

std::string_view processName(Process process)
{
    switch (process) {
    case Process::InPlace:
        return "in-place";
    case Process::Transfer:
        return "transfer";
    case Process::Flatten:
        return "flatten";
    }
    return {};
}

std::string dateTime(int64_t secondsSinceEpoch)
{
    const auto time = static_cast<std::time_t>(secondsSinceEpoch);
    std::tm utc{};
    ::gmtime_r(&time, &utc);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string generationFileName(int number, const std::string &rootName, int64_t secondsSinceEpoch)
{
    const auto time = static_cast<std::time_t>(secondsSinceEpoch);
    std::tm utc{};
    ::gmtime_r(&time, &utc);
    char stamp[40];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d_%H%M%SZ", &utc);
    char prefix[16];
    std::snprintf(prefix, sizeof prefix, "%04d_", number);
    return prefix + rootName + "_" + stamp + ".mhl";
}

std::optional<int> generationNumber(std::string_view fileName)
{
    if (!fileName.ends_with(".mhl")) return std::nullopt;
    size_t digits = 0;
    while (digits < fileName.size() && fileName[digits] >= '0' && fileName[digits] <= '9')
        ++digits;
    if (digits < 4 || digits > 9 || digits >= fileName.size() || fileName[digits] != '_') return std::nullopt;
    return std::stoi(std::string(fileName.substr(0, digits)));
}

std::vector<std::string> defaultIgnorePatterns()
{
    return {".DS_Store", "ascmhl", "ascmhl/"};
}

std::vector<std::string> logIgnorePatterns(const std::string &rootName)
{
    const std::string name = "/" + escapeForPattern(rootName);
    return {name + ".txt", name + "-*.txt"};
}

bool isIgnored(const std::string &relativePath, bool isDirectory, const std::vector<std::string> &patterns)
{
    for (size_t end = relativePath.find('/');; end = relativePath.find('/', end + 1)) {
        const bool last = end == std::string::npos;
        const std::string prefix = last ? relativePath : relativePath.substr(0, end);
        for (const std::string &pattern : patterns) {
            if (patternMatches(pattern, prefix, !last || isDirectory)) return true;
        }
        if (last) return false;
    }
}

bool isSafeRelativePath(std::string_view relativePath)
{
    if (relativePath.empty() || relativePath.front() == '/' || relativePath.find('\0') != std::string_view::npos)
        return false;
    size_t start = 0;
    for (;;) {
        const size_t end = relativePath.find('/', start);
        const std::string_view part = relativePath.substr(start, end == std::string_view::npos ? end : end - start);
        if (part.empty() || part == "." || part == "..") return false;
        if (end == std::string_view::npos) return true;
        start = end + 1;
    }
}

bool isWritablePath(std::string_view relativePath)
{
    for (const char c : relativePath) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return false;
    }
    const std::string text(relativePath);
    return xmlCheckUTF8(reinterpret_cast<const unsigned char *>(text.c_str())) != 0;
}

void XmlDocFree::operator()(_xmlDoc *doc) const
{
    xmlFreeDoc(doc);
}

XmlDocPtr parseXml(std::string_view bytes)
{
    if (bytes.size() > kMaximumFileSize) return nullptr;
    constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
    XmlDocument::initialiseLibrary();
    XmlDocPtr doc(xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, kOptions));
    if (doc && !xmlDocGetRootElement(doc.get())) doc.reset();
    return doc;
}

std::vector<_xmlNode *> childElements(_xmlNode *parent, std::string_view name)
{
    std::vector<_xmlNode *> result;
    for (xmlNodePtr child = parent ? parent->children : nullptr; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && (name.empty() || localName(child) == name)) result.push_back(child);
    }
    return result;
}

std::string localName(_xmlNode *node)
{
    return node && node->name ? reinterpret_cast<const char *>(node->name) : "";
}

std::string textOf(_xmlNode *node, bool trim)
{
    xmlChar *content = xmlNodeGetContent(node);
    std::string text = content ? reinterpret_cast<const char *>(content) : "";
    xmlFree(content);
    if (!trim) return text;
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::optional<std::string> attributeOf(_xmlNode *node, const char *name)
{
    xmlChar *value = xmlGetProp(node, reinterpret_cast<const xmlChar *>(name));
    if (!value) return std::nullopt;
    std::string text = reinterpret_cast<const char *>(value);
    xmlFree(value);
    return text;
}

std::optional<std::vector<ChainEntry>> readChain(const std::string &chainPath, std::string *error)
{
    struct stat info {};
    if (::lstat(chainPath.c_str(), &info) != 0 && errno == ENOENT) return std::vector<ChainEntry>{};
    const std::optional<std::string> bytes = readSmallFile(chainPath, error);
    if (!bytes) return std::nullopt;
    const XmlDocPtr doc = parseXml(*bytes);
    xmlNodePtr root = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
    if (!root || localName(root) != "ascmhldirectory") {
        setError(error, chainPath + " is not a hash-list chain");
        return std::nullopt;
    }
    std::vector<ChainEntry> entries;
    for (xmlNodePtr list : childElements(root, "hashlist")) {
        ChainEntry entry;
        const std::optional<std::string> sequence = attributeOf(list, "sequencenr");
        entry.sequence = sequence ? std::atoi(sequence->c_str()) : static_cast<int>(entries.size()) + 1;
        for (xmlNodePtr child : childElements(list)) {
            if (localName(child) == "path") entry.path = textOf(child);
            if (localName(child) == "c4") entry.c4 = textOf(child);
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::string chainXml(const std::vector<ChainEntry> &entries)
{
    xmlBufferPtr buffer = xmlBufferCreate();
    xmlTextWriterPtr writer = buffer ? xmlNewTextWriterMemory(buffer, 0) : nullptr;
    std::string result;
    if (writer) {
        const auto x = [](const char *text) { return reinterpret_cast<const xmlChar *>(text); };
        xmlTextWriterSetIndent(writer, 1);
        xmlTextWriterSetIndentString(writer, x("  "));
        bool ok = xmlTextWriterStartDocument(writer, "1.0", "UTF-8", nullptr) >= 0 &&
                  xmlTextWriterStartElementNS(writer, nullptr, x("ascmhldirectory"), x(kChainNamespace)) >= 0;
        for (const ChainEntry &entry : entries) {
            ok = ok && xmlTextWriterStartElement(writer, x("hashlist")) >= 0 &&
                 xmlTextWriterWriteAttribute(writer, x("sequencenr"), x(std::to_string(entry.sequence).c_str())) >= 0 &&
                 xmlTextWriterWriteElement(writer, x("path"), x(entry.path.c_str())) >= 0 &&
                 xmlTextWriterWriteElement(writer, x("c4"), x(entry.c4.c_str())) >= 0 &&
                 xmlTextWriterEndElement(writer) >= 0;
        }
        ok = ok && xmlTextWriterEndDocument(writer) >= 0;
        xmlFreeTextWriter(writer); // flushes into the buffer
        if (ok) result.assign(reinterpret_cast<const char *>(xmlBufferContent(buffer)), xmlBufferLength(buffer));
    }
    if (buffer) xmlBufferFree(buffer);
    return result;
}

std::optional<std::string> readSmallFile(const std::string &path, std::string *error)
{
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat info {};
    if (!fd || ::fstat(fd.get(), &info) != 0) {
        setError(error, path + ": " + std::strerror(errno));
        return std::nullopt;
    }
    if (!S_ISREG(info.st_mode) || static_cast<uint64_t>(info.st_size) > kMaximumFileSize) {
        setError(error, path + ": not a regular file of a readable size");
        return std::nullopt;
    }
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n == 0) return bytes;
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 || bytes.size() + static_cast<size_t>(n) > kMaximumFileSize) {
            setError(error, path + ": " + (n < 0 ? std::strerror(errno) : "grew past the size limit"));
            return std::nullopt;
        }
        bytes.append(buffer, static_cast<size_t>(n));
    }
}

bool writeFileAtomically(const std::string &path, std::string_view bytes, bool mayReplace, std::string *error)
{
    fsutil::ReplaceOptions options;
    options.replaceExisting = mayReplace;
    // A generation is never rewritten; its writer holds the history folder's
    // lock, so on exFAT checking the name before the rename is safe.
    options.checkThenRenameIfUnsupported = true;
    if (fsutil::replaceFileAtomically(path, bytes, options) == fsutil::ReplaceResult::Replaced) return true;
    const int failure = errno;
    setError(error, path + ": " + std::strerror(failure));
    errno = failure;
    return false;
}

} // namespace ferrydeck::mhl
