#include "proof/MhlGenerationWriter.h"

#include "Version.h"
#include "fsutil/UniqueFd.h"
#include "fsutil/XmlDocument.h"
#include "proof/DirectoryHasher.h"
#include "proof/Hasher.h"

#include <libxml/xmlwriter.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>

namespace ferrydeck {

namespace {

const xmlChar *x(const std::string &text)
{
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

// libxml2's text writer with its calls folded into one success flag.
class Writer {
public:
    Writer()
        : m_buffer((XmlDocument::initialiseLibrary(), xmlBufferCreate()))
        , m_writer(m_buffer ? xmlNewTextWriterMemory(m_buffer, 0) : nullptr)
    {
        m_ok = m_writer && xmlTextWriterSetIndent(m_writer, 1) >= 0 &&
               xmlTextWriterSetIndentString(m_writer, x("  ")) >= 0 &&
               xmlTextWriterStartDocument(m_writer, "1.0", "UTF-8", nullptr) >= 0;
    }
    ~Writer()
    {
        if (m_writer) xmlFreeTextWriter(m_writer);
        if (m_buffer) xmlBufferFree(m_buffer);
    }
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    void start(const std::string &name) { m_ok = m_ok && xmlTextWriterStartElement(m_writer, x(name)) >= 0; }
    void startRoot(const std::string &name, const char *ns)
    {
        m_ok = m_ok && xmlTextWriterStartElementNS(m_writer, nullptr, x(name), x(ns)) >= 0;
    }
    void attribute(const std::string &name, const std::string &value)
    {
        m_ok = m_ok && xmlTextWriterWriteAttribute(m_writer, x(name), x(value)) >= 0;
    }
    void text(const std::string &value) { m_ok = m_ok && xmlTextWriterWriteString(m_writer, x(value)) >= 0; }
    void end() { m_ok = m_ok && xmlTextWriterEndElement(m_writer) >= 0; }
    void element(const std::string &name, const std::string &value)
    {
        start(name);
        text(value);
        end();
    }
    std::optional<std::string> finish()
    {
        m_ok = m_ok && xmlTextWriterEndDocument(m_writer) >= 0;
        xmlFreeTextWriter(m_writer); // flushes into the buffer
        m_writer = nullptr;
        if (!m_ok) return std::nullopt;
        return std::string(reinterpret_cast<const char *>(xmlBufferContent(m_buffer)),
                           static_cast<size_t>(xmlBufferLength(m_buffer)));
    }

private:
    xmlBufferPtr m_buffer;
    xmlTextWriterPtr m_writer;
    bool m_ok = false;
};

std::string hostName()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') return "localhost";
    return name;
}

int64_t nowSeconds()
{
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string lastComponent(const std::string &path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The highest generation number the folder or its chain knows.
int lastGenerationNumber(const std::string &folder, const std::vector<mhl::ChainEntry> &chain)
{
    int last = 0;
    for (const mhl::ChainEntry &entry : chain)
        last = std::max({last, entry.sequence, mhl::generationNumber(entry.path).value_or(0)});
    if (DIR *dir = ::opendir(folder.c_str())) {
        while (const dirent *entry = ::readdir(dir))
            last = std::max(last, mhl::generationNumber(entry->d_name).value_or(0));
        ::closedir(dir);
    }
    return last;
}

} // namespace

void MhlGenerationWriter::addFile(mhl::FileHash hash)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_files.push_back(std::move(hash));
}

void MhlGenerationWriter::addDirectory(const std::string &relativePath)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_directories.insert(relativePath);
}

size_t MhlGenerationWriter::fileCount() const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_files.size();
}

std::optional<std::string> MhlGenerationWriter::generationXml(const Options &options, std::string *error) const
{
    std::vector<mhl::FileHash> files;
    std::set<std::string> directories;
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        files = m_files;
        directories = m_directories;
    }
    const auto fail = [error](const std::string &why) -> std::optional<std::string> {
        if (error) *error = why;
        return std::nullopt;
    };
    // One <hash> per path, its formats in the order the schema wants; a
    // value added again for the same path and format replaces the earlier.
    std::stable_sort(files.begin(), files.end(), [](const mhl::FileHash &a, const mhl::FileHash &b) {
        return a.relativePath != b.relativePath ? a.relativePath < b.relativePath : a.method < b.method;
    });
    const auto sameSlot = [](const mhl::FileHash &a, const mhl::FileHash &b) {
        return a.relativePath == b.relativePath && a.method == b.method;
    };
    std::vector<mhl::FileHash> unique;
    for (mhl::FileHash &file : files) {
        if (!unique.empty() && sameSlot(unique.back(), file)) unique.pop_back();
        unique.push_back(std::move(file));
    }
    files = std::move(unique);
    std::set<HashMethod> methods;
    for (const mhl::FileHash &file : files) {
        if (!mhl::isWritablePath(file.relativePath))
            return fail("a name a hash list cannot hold: " + file.relativePath);
        if (!mhl::isSafeRelativePath(file.relativePath))
            return fail("unsafe path in a hash list: " + file.relativePath);
        if (!rawDigestFromText(file.method, file.value))
            return fail("not a " + std::string(hashMethodName(file.method)) + " value: " + file.value);
        methods.insert(file.method);
    }
    for (const std::string &folder : directories) {
        if (!mhl::isWritablePath(folder) || !mhl::isSafeRelativePath(folder))
            return fail("a folder name a hash list cannot hold: " + folder);
    }
    std::vector<std::string> patterns = mhl::defaultIgnorePatterns();
    for (const std::string &pattern : options.ignorePatterns) {
        const bool hides = std::any_of(files.begin(), files.end(), [&](const mhl::FileHash &file) {
            return mhl::isIgnored(file.relativePath, false, {pattern});
        });
        if (!hides && std::find(patterns.begin(), patterns.end(), pattern) == patterns.end())
            patterns.push_back(pattern);
    }

    std::optional<HashMethod> treeMethod = options.directoryHashMethod;
    if (!treeMethod && methods.size() == 1) treeMethod = *methods.begin();
    std::optional<std::map<std::string, DirectoryHasher::Pair>> tree;
    if (treeMethod) {
        DirectoryHasher hasher(*treeMethod);
        std::set<std::string> covered;
        for (const mhl::FileHash &file : files) {
            if (file.method == *treeMethod) {
                hasher.addFile(file.relativePath, file.value);
                covered.insert(file.relativePath);
            }
        }
        for (const std::string &folder : directories)
            hasher.addDirectory(folder);
        const bool everyFile = std::all_of(files.begin(), files.end(),
                                           [&](const mhl::FileHash &file) { return covered.count(file.relativePath); });
        if (everyFile) tree = hasher.compute();
    }

    const std::string created = mhl::dateTime(options.creationTime.value_or(nowSeconds()));
    Writer w;
    w.startRoot("hashlist", mhl::kNamespace);
    w.attribute("version", "2.0");
    w.start("creatorinfo");
    w.element("creationdate", created);
    w.element("hostname", options.hostName.empty() ? hostName() : options.hostName);
    w.start("tool");
    w.attribute("version", kVersion);
    w.text(kApplicationName);
    w.end();
    w.end();
    const auto pairElements = [&](const DirectoryHasher::Pair &pair) {
        const std::string name(hashMethodName(*treeMethod));
        for (const auto &[part, value] :
             {std::pair{"content", &pair.content}, std::pair{"structure", &pair.structure}}) {
            w.start(part);
            w.start(name);
            w.attribute("hashdate", created);
            w.text(*value);
            w.end();
            w.end();
        }
    };
    w.start("processinfo");
    w.element("process", std::string(mhl::processName(options.process)));
    if (tree) {
        w.start("roothash");
        pairElements(tree->at(""));
        w.end();
    }
    w.start("ignore");
    for (const std::string &pattern : patterns)
        w.element("pattern", pattern);
    w.end();
    w.end();
    if (!files.empty() || (tree && tree->size() > 1)) {
        w.start("hashes");
        for (size_t i = 0; i < files.size(); ++i) {
            const mhl::FileHash &file = files[i];
            if (i == 0 || files[i - 1].relativePath != file.relativePath) {
                w.start("hash");
                w.start("path");
                w.attribute("size", std::to_string(file.size));
                if (file.modificationTime) w.attribute("lastmodificationdate", mhl::dateTime(*file.modificationTime));
                w.text(file.relativePath);
                w.end();
            }
            w.start(std::string(hashMethodName(file.method)));
            w.attribute("action", std::string(mhl::actionName(file.action)));
            w.attribute("hashdate", mhl::dateTime(file.hashDate));
            w.text(file.value);
            w.end();
            if (i + 1 == files.size() || files[i + 1].relativePath != file.relativePath) w.end();
        }
        if (tree) {
            for (const auto &[folder, pair] : *tree) {
                if (folder.empty()) continue;
                w.start("directoryhash");
                w.element("path", folder);
                pairElements(pair);
                w.end();
            }
        }
        w.end();
    }
    w.end();
    std::optional<std::string> xml = w.finish();
    if (!xml) return fail("the hash list could not be written out");
    return xml;
}

std::optional<MhlGenerationWriter::Written>
MhlGenerationWriter::writeGeneration(const std::string &rootFolder, const Options &options, std::string *error) const
{
    const auto fail = [error](const std::string &why) -> std::optional<Written> {
        if (error) *error = why;
        return std::nullopt;
    };
    const std::string folder = rootFolder + "/" + mhl::kFolderName;
    if (::mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) return fail(folder + ": " + std::strerror(errno));
    // O_NOFOLLOW: a link named ascmhl must not send the history elsewhere.
    UniqueFd lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!lock) return fail(folder + ": " + std::strerror(errno));
    // Two writers of one history (a seal while another runs) take turns.
    while (::flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR) return fail(folder + ": " + std::strerror(errno));
    }
    std::string why;
    const std::string chainPath = folder + "/" + mhl::kChainFileName;
    std::optional<std::vector<mhl::ChainEntry>> chain = mhl::readChain(chainPath, &why);
    if (!chain) return fail(why + "; no generation was added");

    // The file's name and its creation date tell the same second.
    Options stamped = options;
    stamped.creationTime = options.creationTime.value_or(nowSeconds());
    const std::optional<std::string> xml = generationXml(stamped, error);
    if (!xml) return std::nullopt;
    Written written;
    written.number = lastGenerationNumber(folder, *chain) + 1;
    const std::string name = mhl::generationFileName(written.number, lastComponent(rootFolder), *stamped.creationTime);
    written.path = folder + "/" + name;
    const std::optional<std::string> c4 = Hasher::hashBytes(HashMethod::C4, *xml);
    if (!c4) return fail("the checksum library failed");
    written.c4 = *c4;
    if (!mhl::writeFileAtomically(written.path, *xml, false, &why)) return fail(why);
    chain->push_back(mhl::ChainEntry{written.number, name, written.c4});
    if (!mhl::writeFileAtomically(chainPath, mhl::chainXml(*chain), true, &why)) {
        // A generation the chain does not list would be rejected by checkers.
        ::unlink(written.path.c_str());
        return fail(why);
    }
    return written;
}

} // namespace ferrydeck
