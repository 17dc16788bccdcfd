#include "fsutil/UserDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace ferrydeck {

namespace {

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

} // namespace

std::string UserDirectories::home()
{
    const char *home = std::getenv("HOME");
    if (home && *home == '/') return withoutTrailingSlashes(home);
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd *found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir
        && *found->pw_dir == '/') {
        return withoutTrailingSlashes(found->pw_dir);
    }
    return "/";
}

std::string UserDirectories::configDirectory()
{
    const char *explicitDir = std::getenv(kConfigDirVariable);
    if (explicitDir && *explicitDir) return withoutTrailingSlashes(explicitDir);
    // The base directory rules ignore a relative XDG_CONFIG_HOME.
    const char *xdg = std::getenv("XDG_CONFIG_HOME");
    const std::string userHome = home();
    const std::string base =
        xdg && *xdg == '/' ? withoutTrailingSlashes(xdg) : (userHome == "/" ? "" : userHome) + "/.config";
    return (base == "/" ? "" : base) + "/ferrydeck";
}

} // namespace ferrydeck
