#pragma once

#include <string>

namespace ferrydeck::cli {

// A path from the command line as the core expects it: absolute, without a
// trailing slash.
std::string absolutePath(const std::string &path);
// True when `inner` is `outer` or lies below it.
bool isInside(const std::string &inner, const std::string &outer);

} // namespace ferrydeck::cli
