#pragma once

#include <functional>
#include <string>

namespace ferrydeck {

// Diagnostics that no person has to act on: one prefixed line on standard
// error per call, whole lines even when threads log at once.
void systemLog(const char *format, ...) __attribute__((format(printf, 1, 2)));
// Where the lines go instead of standard error, called under the log's own
// lock (a terminal board erases itself before a line is printed over it);
// an empty writer restores standard error.
void setSystemLogWriter(std::function<void(const std::string &line)> writer);

// printf-style formatting into a std::string (the compiler has no <format>).
std::string stringWithFormat(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace ferrydeck
