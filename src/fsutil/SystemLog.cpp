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

} // namespace

void systemLog(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::string line = vformat(format, args);
    va_end(args);
    if (line.empty() || line.back() != '\n') line.push_back('\n');
    line.insert(0, "ferrydeck: ");

    static std::mutex mutex;
    std::lock_guard lock(mutex);
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
