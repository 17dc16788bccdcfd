#pragma once

#include <optional>
#include <string>

namespace ferrydeck {

// Files that ship with the application (sounds, icons, card templates).
// Looked for, in this order: the folder FERRYDECK_RESOURCES names (alone, when
// it is set), "resources" beside the running program (the build tree), the
// installed data folder. None when the file is in none of them or the name
// would leave the folder.
std::optional<std::string> resourcePath(const std::string &name);

constexpr const char *kResourcesVariable = "FERRYDECK_RESOURCES";

} // namespace ferrydeck
