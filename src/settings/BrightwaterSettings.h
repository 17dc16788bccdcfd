#pragma once

#include "fsutil/DictionaryValues.h"

#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// A settings record that turns itself into a preset dictionary and back, so
// any such record can share one persistence. This base has no fields and its
// operations do nothing.
class BrightwaterSettings {
public:
    BrightwaterSettings() = default;
    BrightwaterSettings(const BrightwaterSettings &) = delete;
    BrightwaterSettings &operator=(const BrightwaterSettings &) = delete;
    virtual ~BrightwaterSettings() = default;

    virtual std::optional<std::vector<std::string>> findMemberKeys() const { return std::nullopt; }
    virtual std::optional<Dictionary> findValueForKey(const std::string &) const { return std::nullopt; }
    virtual std::optional<Dictionary> createPresetDictionary() const { return std::nullopt; }
    // No dictionary (a null pointer) changes nothing.
    virtual void retrieveKeyValuesFromDictionary(const Dictionary *) {}
};

} // namespace ferrydeck
