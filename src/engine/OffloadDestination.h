#pragma once

#include "fsutil/DictionaryValues.h"

#include <atomic>
#include <mutex>
#include <string>

namespace ferrydeck {

// One folder of the user's destination list and whether offloads go there.
class OffloadDestination {
public:
    // A new destination is in use.
    explicit OffloadDestination(const std::string &offloadDirectory = "");
    OffloadDestination(const OffloadDestination &) = delete;
    OffloadDestination &operator=(const OffloadDestination &) = delete;

    static constexpr const char *kDestinationPathKey = "destinationPath";
    static constexpr const char *kInUseKey = "inUse";

    std::string destinationPath() const;
    void setDestinationPath(const std::string &path);
    bool inUse() const { return m_inUse.load(std::memory_order_relaxed); }
    void setInUse(bool inUse) { m_inUse.store(inUse, std::memory_order_relaxed); }

    Dictionary createAttributesDictionary() const;
    // Applies the known keys in the dictionary's order; a key whose value
    // cannot be read is skipped and the rest still apply. Missing keys leave
    // their fields alone.
    void loadAttributesFromDictionary(const Dictionary &dictionary);

private:
    mutable std::mutex m_pathMutex;
    std::string m_destinationPath;
    std::atomic<bool> m_inUse{true};
};

} // namespace ferrydeck
