#include "cards/CardPaths.h"

#include "fsutil/DirectoryWalk.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/XmlUtilities.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace ferrydeck::cards {

std::string upper(std::string text)
{
    for (char &c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

std::string lower(std::string text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

bool endsWith(const std::string &text, const std::string &suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

double leadingDouble(const std::string &text)
{
    size_t at = text.find_first_not_of(" \t\n\r");
    if (at == std::string::npos) return 0;
    const size_t start = at;
    if (text[at] == '+' || text[at] == '-') ++at;
    const auto digits = [&text](size_t from) {
        while (from < text.size() && text[from] >= '0' && text[from] <= '9')
            ++from;
        return from;
    };
    at = digits(at);
    if (at < text.size() && text[at] == '.') at = digits(at + 1);
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        size_t exponent = at + 1;
        if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) ++exponent;
        const size_t end = digits(exponent);
        if (end > exponent) at = end;
    }
    // strtod on the checked prefix only: it would also take "inf", "nan" and hex.
    return std::strtod(text.substr(start, at - start).c_str(), nullptr);
}

std::string fileStem(const std::string &path)
{
    const std::string name = path::lastComponent(path);
    const size_t dot = name.rfind('.');
    // A leading dot names a hidden file, not an extension.
    if (dot == std::string::npos || dot == 0) return name;
    return name.substr(0, dot);
}

bool exists(const std::string &path)
{
    return path::exists(path);
}

bool isRealDirectory(const std::string &path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isRegularFile(const std::string &path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::vector<std::string> deepListing(const std::string &directory)
{
    std::vector<std::string> entries;
    DirectoryWalk::walk(directory, [&entries](const DirectoryWalk::Entry &entry) {
        entries.push_back(entry.relativePath);
        return DirectoryWalk::Step::Descend;
    });
    return entries;
}

std::optional<std::string> resolved(const std::string &path)
{
    std::unique_ptr<char, void (*)(void *)> real(::realpath(path.c_str(), nullptr), std::free);
    if (!real) return std::nullopt;
    return std::string(real.get());
}

bool isOnDrive(const std::string &drivePath, const std::string &path)
{
    const auto drive = resolved(drivePath);
    const auto folder = resolved(path::parent(path));
    const std::string name = path::lastComponent(path);
    if (!drive || !folder || name == "." || name == "..") return false;
    return *folder == *drive || folder->starts_with(*drive == "/" ? *drive : *drive + "/");
}

bool removeItem(const std::string &path)
{
    std::error_code error;
    const auto removed = std::filesystem::remove_all(path, error);
    return !error && removed != static_cast<std::uintmax_t>(-1) && removed > 0;
}

bool reformatKeepingSkeleton(const std::string &drivePath, const std::vector<std::string> &keptFolders,
                             const std::vector<RebuiltIndexFile> &indexFiles)
{
    for (const std::string &entry : deepListing(drivePath)) {
        const std::string target = path::join(drivePath, entry);
        // Whatever lay in a folder removed earlier is gone already.
        if (!exists(target)) continue;
        if (!isOnDrive(drivePath, target)) {
            systemLog("reformat: %s leads off the card; stopped", target.c_str());
            return false;
        }
        const std::string name = path::lastComponent(target);
        if (isRealDirectory(target)) {
            if (std::find(keptFolders.begin(), keptFolders.end(), name) != keptFolders.end()) continue;
            if (!removeItem(target)) return false;
            continue;
        }
        const auto index = std::find_if(indexFiles.begin(), indexFiles.end(),
                                        [&name](const RebuiltIndexFile &file) { return name == file.fileName; });
        // A link named like an index file is removed, never written through.
        if (index != indexFiles.end() && isRegularFile(target)) {
            if (!XmlUtilities::removeXMLNode(index->element, target, index->tagIsHeader)) return false;
        } else if (!removeItem(target)) {
            return false;
        }
    }
    return true;
}

} // namespace ferrydeck::cards
