#pragma once

#include <string>

namespace ferrydeck {

// Diagnostics that no person has to act on: one prefixed line on standard
// error per call, whole lines even when threads log at once.
void systemLog(const char *format, ...) __attribute__((format(printf, 1, 2)));

// printf-style formatting into a std::string (the compiler has no <format>).
std::string stringWithFormat(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace ferrydeck
