#include "proof/DirectoryHasher.h"

#include "proof/Hasher.h"

#include <algorithm>
#include <vector>

namespace ferrydeck {

namespace {

std::string parentOf(const std::string &relativePath)
{
    const size_t slash = relativePath.rfind('/');
    return slash == std::string::npos ? std::string() : relativePath.substr(0, slash);
}

std::string nameOf(const std::string &relativePath)
{
    const size_t slash = relativePath.rfind('/');
    return slash == std::string::npos ? relativePath : relativePath.substr(slash + 1);
}

size_t depthOf(const std::string &relativePath)
{
    return relativePath.empty() ? 0
                                : 1 + static_cast<size_t>(std::count(relativePath.begin(), relativePath.end(), '/'));
}

} // namespace

void DirectoryHasher::addFile(const std::string &relativePath, const std::string &value)
{
    m_files[relativePath] = value;
    addDirectory(parentOf(relativePath));
}

void DirectoryHasher::addDirectory(const std::string &relativePath)
{
    for (std::string folder = relativePath; m_directories.insert(folder).second; folder = parentOf(folder)) {
        if (folder.empty()) break;
    }
}

std::optional<std::map<std::string, DirectoryHasher::Pair>> DirectoryHasher::compute() const
{
    // Text values of each folder's children, gathered before the folder is
    // hashed: deepest folders first, so a child folder is always done.
    struct Children {
        std::vector<std::string> content;
        std::vector<std::string> structure;
    };
    std::map<std::string, Children> children;
    const auto hashSorted = [this](std::vector<std::string> values) -> std::optional<std::string> {
        std::sort(values.begin(), values.end());
        Hasher hasher(m_method);
        for (const std::string &value : values) {
            const std::optional<std::string> raw = rawDigestFromText(m_method, value);
            if (!raw || !hasher.update(*raw)) return std::nullopt;
        }
        return hasher.finish();
    };
    const auto namedHash = [this](const std::string &name, const std::string &value) -> std::optional<std::string> {
        const std::optional<std::string> raw = rawDigestFromText(m_method, value);
        if (!raw) return std::nullopt;
        return Hasher::hashBytes(m_method, name + *raw);
    };

    for (const auto &[path, value] : m_files) {
        const std::optional<std::string> structure = namedHash(nameOf(path), value);
        if (!structure) return std::nullopt;
        Children &parent = children[parentOf(path)];
        parent.content.push_back(value);
        parent.structure.push_back(*structure);
    }
    std::vector<std::string> folders(m_directories.begin(), m_directories.end());
    std::stable_sort(folders.begin(), folders.end(),
                     [](const std::string &a, const std::string &b) { return depthOf(a) > depthOf(b); });
    std::map<std::string, Pair> result;
    for (const std::string &folder : folders) {
        Children &own = children[folder];
        std::optional<std::string> content = hashSorted(own.content);
        std::optional<std::string> structure = hashSorted(own.structure);
        if (!content || !structure) return std::nullopt;
        if (!folder.empty()) {
            const std::optional<std::string> named = namedHash(nameOf(folder), *structure);
            if (!named) return std::nullopt;
            Children &parent = children[parentOf(folder)];
            parent.content.push_back(*content);
            parent.structure.push_back(*named);
        }
        result[folder] = Pair{std::move(*content), std::move(*structure)};
    }
    return result;
}

} // namespace ferrydeck
