#include "fsutil/SystemLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

namespace ferrydeck {

namespace {

std::string vformat(const char *format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (needed <= 0) return {};
    std::vector<char> buffer(static_cast<size_t>(needed) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    return std::string(buffer.data(), static_cast<size_t>(needed));
}

std::mutex g_mutex;
std::function<void(const std::string &)> g_writer;

} // namespace

void setSystemLogWriter(std::function<void(const std::string &line)> writer)
{
    std::lock_guard lock(g_mutex);
    g_writer = std::move(writer);
}

void systemLog(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::string line = vformat(format, args);
    va_end(args);
    if (line.empty() || line.back() != '\n') line.push_back('\n');
    line.insert(0, "ferrydeck: ");

    std::lock_guard lock(g_mutex);
    if (g_writer) return g_writer(line);
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

std::string stringWithFormat(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = vformat(format, args);
    va_end(args);
    return text;
}

} // namespace ferrydeck
