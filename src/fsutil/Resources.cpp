#include "fsutil/Resources.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#ifndef FERRYDECK_DATA_DIR
#define FERRYDECK_DATA_DIR "/usr/local/share/ferrydeck"
#endif

namespace ferrydeck {

namespace {

bool isPlainName(const std::string &name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

bool isFile(const std::string &path)
{
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

std::optional<std::string> executableDirectory()
{
    std::vector<char> buffer(4096);
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    if (length <= 0 || static_cast<size_t>(length) >= buffer.size() - 1) return std::nullopt;
    const std::string executable(buffer.data(), static_cast<size_t>(length));
    const size_t slash = executable.rfind('/');
    if (slash == std::string::npos) return std::nullopt;
    return executable.substr(0, slash);
}

} // namespace

std::optional<std::string> resourcePath(const std::string &name)
{
    if (!isPlainName(name)) return std::nullopt;
    const char *override = std::getenv(kResourcesVariable);
    if (override && *override) {
        // An override that lacks the file must not fall back silently to
        // another copy: that would hide a broken installation under test.
        std::string candidate = std::string(override) + "/" + name;
        if (isFile(candidate)) return candidate;
        return std::nullopt;
    }
    if (const auto directory = executableDirectory()) {
        std::string candidate = *directory + "/resources/" + name;
        if (isFile(candidate)) return candidate;
    }
    std::string installed = std::string(FERRYDECK_DATA_DIR) + "/" + name;
    if (isFile(installed)) return installed;
    return std::nullopt;
}

} // namespace ferrydeck
