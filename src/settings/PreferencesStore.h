#pragma once

#include "fsutil/DictionaryValues.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// The user's preferences: one JSON object in one file, read once at start-up
// and written whole at termination. A write goes to a temporary file that is
// synced and renamed over the old one, so a crash leaves the old file or the
// new one, never half of either. Nothing here throws.
class PreferencesStore {
public:
    static constexpr const char *kFileName = "preferences.json";
    // Far above any real preferences (a few kilobytes); a larger file is
    // treated as damaged rather than read into memory.
    static constexpr uint64_t kMaximumFileSize = 16u << 20;

    // The file in UserDirectories::configDirectory().
    static std::string defaultFilePath();

    explicit PreferencesStore(std::string filePath = defaultFilePath());

    const std::string &filePath() const { return m_filePath; }

    // Replaces the values by the file's. A missing file is an empty store. A
    // regular file that is not a JSON object (or is over kMaximumFileSize) is
    // moved aside to "<file>.bad", reported on standard error, and the store
    // starts empty; false then, and when the file cannot be read or is not a
    // regular file (a FIFO, a device), which is left alone.
    bool load();
    // As load, but a damaged file is left where it is: for readers that must
    // never change the desktop application's preferences.
    bool loadWithoutRepair();
    // Writes every value, creating the folder when needed. On failure the old
    // file stays as it was, the reason goes to standard error, and the values
    // in memory are kept for another try.
    bool save() const;

    std::vector<std::string> keys() const;
    std::optional<Dictionary> objectForKey(const std::string &key) const;
    void setObject(const std::string &key, Dictionary value);
    void removeObject(const std::string &key);

private:
    bool loadFile(bool repair);
    std::string m_filePath;
    mutable std::mutex m_mutex;
    Dictionary m_values = Dictionary::object();
};

} // namespace ferrydeck
