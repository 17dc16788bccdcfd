#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>

namespace ferrydeck {

// Dictionaries stored in the preferences keep their keys in file order.
using Dictionary = nlohmann::ordered_json;

// The lenient readings stored dictionaries get: a value of a neighbouring kind
// is read the way the original property-list values were ("1" is true, 2.9 is
// 2); a value that has no such reading (a list, a dictionary, null) is none,
// and the caller skips that key.
class DictionaryValues {
public:
    DictionaryValues() = delete;

    // Numbers: non-zero. Strings: after blanks, an optional sign and zeros,
    // a first character of Y, y, T, t or 1-9.
    static std::optional<bool> boolValue(const Dictionary &value);
    // Numbers truncated toward zero; strings by their leading decimal digits
    // (0 when there are none). Out-of-range values saturate.
    static std::optional<int32_t> intValue(const Dictionary &value);
};

} // namespace ferrydeck
