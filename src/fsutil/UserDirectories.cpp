#include "fsutil/UserDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace ferrydeck {

namespace {

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
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
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
        *found->pw_dir == '/') {
        return withoutTrailingSlashes(found->pw_dir);
    }
    return "/";
}

namespace {

// The base directory rules ignore a relative XDG_* variable.
std::string xdgBase(const char *variable, const char *fallbackUnderHome)
{
    const char *xdg = std::getenv(variable);
    const std::string userHome = UserDirectories::home();
    const std::string base =
        xdg && *xdg == '/' ? withoutTrailingSlashes(xdg) : (userHome == "/" ? "" : userHome) + fallbackUnderHome;
    return (base == "/" ? "" : base) + "/ferrydeck";
}

} // namespace

std::string UserDirectories::configDirectory()
{
    const char *explicitDir = std::getenv(kConfigDirVariable);
    if (explicitDir && *explicitDir) return withoutTrailingSlashes(explicitDir);
    return xdgBase("XDG_CONFIG_HOME", "/.config");
}

std::string UserDirectories::stateDirectory()
{
    return xdgBase("XDG_STATE_HOME", "/.local/state");
}

} // namespace ferrydeck
