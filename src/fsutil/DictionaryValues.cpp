#include "fsutil/DictionaryValues.h"

#include <cmath>
#include <limits>
#include <string>

namespace ferrydeck {

namespace {

constexpr int64_t kIntMin = std::numeric_limits<int32_t>::min();
constexpr int64_t kIntMax = std::numeric_limits<int32_t>::max();

int32_t saturated(int64_t value)
{
    return static_cast<int32_t>(value < kIntMin ? kIntMin : value > kIntMax ? kIntMax : value);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

size_t skipBlanks(const std::string &text, size_t at)
{
    while (at < text.size() && isBlank(text[at]))
        ++at;
    return at;
}

int32_t leadingInteger(const std::string &text)
{
    size_t at = skipBlanks(text, 0);
    bool negative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';
    int64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        value = value * 10 + (text[at] - '0');
        if (value > kIntMax + 1) break; // already saturated either way
    }
    return saturated(negative ? -value : value);
}

bool leadingTruth(const std::string &text)
{
    size_t at = skipBlanks(text, 0);
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    while (at < text.size() && text[at] == '0')
        ++at;
    if (at == text.size()) return false;
    const char c = text[at];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

} // namespace

std::optional<bool> DictionaryValues::boolValue(const Dictionary &value)
{
    if (value.is_boolean()) return value.get<bool>();
    if (value.is_number_integer()) return value.get<int64_t>() != 0;
    if (value.is_number_unsigned()) return value.get<uint64_t>() != 0;
    if (value.is_number_float()) return value.get<double>() != 0.0;
    if (value.is_string()) return leadingTruth(value.get_ref<const std::string &>());
    return std::nullopt;
}

std::optional<int32_t> DictionaryValues::intValue(const Dictionary &value)
{
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number_integer()) return saturated(value.get<int64_t>());
    if (value.is_number_unsigned()) {
        const uint64_t number = value.get<uint64_t>();
        return number > static_cast<uint64_t>(kIntMax) ? static_cast<int32_t>(kIntMax) : static_cast<int32_t>(number);
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        if (std::isnan(number)) return 0;
        if (number <= static_cast<double>(kIntMin)) return static_cast<int32_t>(kIntMin);
        if (number >= static_cast<double>(kIntMax)) return static_cast<int32_t>(kIntMax);
        return static_cast<int32_t>(number);
    }
    if (value.is_string()) return leadingInteger(value.get_ref<const std::string &>());
    return std::nullopt;
}

} // namespace ferrydeck
