#include "cli/CliPaths.h"

#include <unistd.h>

namespace ferrydeck::cli {

std::string absolutePath(const std::string &path)
{
    std::string result = path;
    if (!result.empty() && result[0] != '/') {
        char cwd[4096];
        if (::getcwd(cwd, sizeof cwd)) result = std::string(cwd) + "/" + result;
    }
    while (result.size() > 1 && result.back() == '/')
        result.pop_back();
    return result;
}

bool isInside(const std::string &inner, const std::string &outer)
{
    return inner == outer || inner.starts_with(outer + "/");
}

} // namespace ferrydeck::cli
