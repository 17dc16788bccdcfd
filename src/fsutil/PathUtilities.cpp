#include "fsutil/FileUtilities.h"

#include <dirent.h>
#include <sys/stat.h>

#include <memory>

namespace ferrydeck::path {

std::string lastComponent(const std::string &p)
{
    std::string trimmed = p;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    const size_t slash = trimmed.rfind('/');
    return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string parent(const std::string &p)
{
    std::string trimmed = p;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    const size_t slash = trimmed.rfind('/');
    if (slash == std::string::npos) return "";
    if (slash == 0) return "/";
    return trimmed.substr(0, slash);
}

std::string join(const std::string &directory, const std::string &name)
{
    return directory + "/" + name;
}

bool exists(const std::string &p)
{
    struct stat info {};
    return ::lstat(p.c_str(), &info) == 0;
}

bool isDirectory(const std::string &p)
{
    struct stat info {};
    return ::stat(p.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string replaceAll(std::string text, const std::string &from, const std::string &to)
{
    if (from.empty()) return text;
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

bool listDirectory(const std::string &directory, std::vector<std::string> &names)
{
    names.clear();
    std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(directory.c_str()), ::closedir);
    if (!dir) return false;
    while (const dirent *entry = ::readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    return true;
}

} // namespace ferrydeck::path
