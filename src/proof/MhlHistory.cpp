#include "proof/MhlHistory.h"

#include "proof/Hasher.h"

#include <libxml/tree.h>

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>

namespace ferrydeck {

namespace {

// xs:dateTime to seconds since the epoch; other tools write offsets and
// fractions, which are honoured or dropped. None when it is no date.
std::optional<int64_t> parseDateTime(const std::string &text)
{
    std::tm parts{};
    const char *rest = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (!rest) return std::nullopt;
    int64_t seconds = ::timegm(&parts);
    if (*rest == '.')
        while (*++rest >= '0' && *rest <= '9') {
        }
    if ((*rest == '+' || *rest == '-') && std::strlen(rest) >= 6) {
        const int64_t offset = (std::atoi(rest + 1) * 60 + std::atoi(rest + 4)) * 60;
        seconds += *rest == '+' ? -offset : offset;
    }
    return seconds;
}

std::optional<MhlHistory::Generation> readGeneration(const std::string &path, std::string *error)
{
    const std::optional<std::string> bytes = mhl::readSmallFile(path, error);
    if (!bytes) return std::nullopt;
    const mhl::XmlDocPtr doc = mhl::parseXml(*bytes);
    xmlNodePtr root = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
    if (!root || mhl::localName(root) != "hashlist") {
        if (error) *error = path + " is not a well-formed hash list";
        return std::nullopt;
    }
    MhlHistory::Generation generation;
    for (xmlNodePtr info : mhl::childElements(root, "processinfo")) {
        for (xmlNodePtr process : mhl::childElements(info, "process"))
            generation.process = mhl::textOf(process);
        for (xmlNodePtr ignore : mhl::childElements(info, "ignore")) {
            for (xmlNodePtr pattern : mhl::childElements(ignore, "pattern")) {
                generation.ignorePatterns.push_back(mhl::textOf(pattern));
            }
        }
    }
    for (xmlNodePtr hashes : mhl::childElements(root, "hashes")) {
        for (xmlNodePtr hash : mhl::childElements(hashes, "hash")) {
            mhl::FileHash file;
            for (xmlNodePtr child : mhl::childElements(hash)) {
                const std::string name = mhl::localName(child);
                if (name == "path") {
                    file.relativePath = mhl::textOf(child, false);
                    const std::optional<std::string> size = mhl::attributeOf(child, "size");
                    file.size = size ? std::strtoull(size->c_str(), nullptr, 10) : 0;
                    if (const std::optional<std::string> date = mhl::attributeOf(child, "lastmodificationdate")) {
                        file.modificationTime = parseDateTime(*date);
                    }
                    continue;
                }
                const std::optional<HashMethod> method = hashMethodFromName(name);
                if (!method) continue; // previousPath, metadata, formats we do not know
                mhl::FileHash value = file;
                value.method = *method;
                value.value = mhl::textOf(child);
                const std::optional<std::string> action = mhl::attributeOf(child, "action");
                value.action =
                    action ? mhl::actionFromName(*action).value_or(mhl::Action::Original) : mhl::Action::Original;
                const std::optional<std::string> date = mhl::attributeOf(child, "hashdate");
                value.hashDate = date ? parseDateTime(*date).value_or(0) : 0;
                generation.hashes.push_back(std::move(value));
            }
        }
    }
    return generation;
}

} // namespace

bool MhlHistory::exists(const std::string &rootFolder)
{
    struct stat info {};
    return ::lstat((rootFolder + "/" + mhl::kFolderName).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<MhlHistory> MhlHistory::load(const std::string &rootFolder, std::string *error)
{
    MhlHistory history;
    history.m_folder = rootFolder + "/" + mhl::kFolderName;
    if (!exists(rootFolder)) {
        if (error) *error = "no " + std::string(mhl::kFolderName) + " folder";
        return std::nullopt;
    }
    std::vector<std::pair<int, std::string>> files;
    if (DIR *dir = ::opendir(history.m_folder.c_str())) {
        while (const dirent *entry = ::readdir(dir)) {
            if (const std::optional<int> number = mhl::generationNumber(entry->d_name)) {
                files.emplace_back(*number, entry->d_name);
            }
        }
        ::closedir(dir);
    }
    if (files.empty()) {
        if (error) *error = "no generation in " + history.m_folder;
        return std::nullopt;
    }
    std::sort(files.begin(), files.end());
    for (const auto &[number, name] : files) {
        std::optional<Generation> generation = readGeneration(history.m_folder + "/" + name, error);
        if (!generation) return std::nullopt;
        generation->number = number;
        generation->fileName = name;
        history.m_generations.push_back(std::move(*generation));
    }
    std::optional<std::vector<mhl::ChainEntry>> chain =
        mhl::readChain(history.m_folder + "/" + mhl::kChainFileName, error);
    if (!chain) return std::nullopt;
    history.m_chain = std::move(*chain);
    return history;
}

std::vector<std::string> MhlHistory::ignorePatterns() const
{
    std::vector<std::string> patterns = mhl::defaultIgnorePatterns();
    for (const Generation &generation : m_generations) {
        for (const std::string &pattern : generation.ignorePatterns) {
            if (std::find(patterns.begin(), patterns.end(), pattern) == patterns.end()) patterns.push_back(pattern);
        }
    }
    return patterns;
}

std::map<std::string, std::vector<mhl::FileHash>> MhlHistory::latestHashes() const
{
    std::map<std::string, std::vector<mhl::FileHash>> latest;
    for (const Generation &generation : m_generations) {
        std::map<std::string, std::vector<mhl::FileHash>> proven;
        for (const mhl::FileHash &hash : generation.hashes) {
            if (hash.action != mhl::Action::Failed) proven[hash.relativePath].push_back(hash);
        }
        for (auto &[path, values] : proven)
            latest[path] = std::move(values);
    }
    return latest;
}

std::vector<std::string> MhlHistory::chainProblems() const
{
    std::vector<std::string> problems;
    std::set<std::string> listed;
    for (const mhl::ChainEntry &entry : m_chain) {
        listed.insert(entry.path);
        if (!mhl::isSafeRelativePath(entry.path) || entry.path.find('/') != std::string::npos) {
            problems.push_back("the chain names a file outside the history: " + entry.path);
            continue;
        }
        std::string error;
        const std::optional<std::string> bytes = mhl::readSmallFile(m_folder + "/" + entry.path, &error);
        if (!bytes) {
            problems.push_back("the chain lists " + entry.path + ", which cannot be read (" + error + ")");
            continue;
        }
        const std::optional<std::string> c4 = Hasher::hashBytes(HashMethod::C4, *bytes);
        if (c4 != entry.c4) problems.push_back(entry.path + " does not match its C4 in the chain");
    }
    for (const Generation &generation : m_generations) {
        if (!listed.count(generation.fileName)) problems.push_back(generation.fileName + " is not in the chain");
    }
    return problems;
}

} // namespace ferrydeck
