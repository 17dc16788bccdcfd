#pragma once

#include <string>

namespace ferrydeck::cli {

// A path from the command line as the core expects it: absolute, without a
// trailing slash.
std::string absolutePath(const std::string &path);
// True when `inner` is `outer` or lies below it as the file system reaches
// them (links, "..", bind mounts), so that no spelling puts a copy on its source.
bool isInside(const std::string &inner, const std::string &outer);

} // namespace ferrydeck::cli
