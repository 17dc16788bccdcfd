#pragma once

#include <string>

// Internal helpers shared by DirectoryUtilities and FileUtilities.
namespace ferrydeck::fshelpers {

// A backslash before every occurrence of each character of `set`, applied
// character by character in set order.
std::string escapeWithSet(const std::string &text, const char *set);
std::string removeSet(const std::string &text, const char *set);

// Adds owner write permission wherever it is missing below and at `path`,
// without following symbolic links. On failure logs "Message: %d" with the
// status word a failed command would have given, and the reason.
bool unlockTree(const std::string &path, const std::string &escapedForDiagnostics);

} // namespace ferrydeck::fshelpers
