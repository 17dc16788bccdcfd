#include "settings/PreferencesStore.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SmallFile.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UserDirectories.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

namespace ferrydeck {

std::string PreferencesStore::defaultFilePath()
{
    return UserDirectories::configDirectory() + "/" + kFileName;
}

PreferencesStore::PreferencesStore(std::string filePath)
    : m_filePath(std::move(filePath))
{
}

bool PreferencesStore::load()
{
    return loadFile(true);
}

bool PreferencesStore::loadWithoutRepair()
{
    return loadFile(false);
}

bool PreferencesStore::loadFile(bool repair)
{
    std::string text;
    int error = 0;
    using fsutil::SmallFileRead;
    const SmallFileRead read = fsutil::readSmallFile(m_filePath, kMaximumFileSize, text, error);
    if (read == SmallFileRead::Failed || read == SmallFileRead::NotAFile) {
        std::lock_guard lock(m_mutex);
        m_values = Dictionary::object();
        if (read == SmallFileRead::Failed && error == ENOENT) return true; // first start
        // A FIFO or a device is never moved aside: it is not ours to move.
        systemLog("preferences: cannot read %s: %s; starting with defaults", m_filePath.c_str(),
                  read == SmallFileRead::NotAFile ? "not a regular file" : std::strerror(error));
        return false;
    }

    // A file too large to be ours is treated as damaged.
    Dictionary values = read == SmallFileRead::Read ? Dictionary::parse(text, nullptr, false) : Dictionary();
    if (values.is_object()) {
        std::lock_guard lock(m_mutex);
        m_values = std::move(values);
        return true;
    }

    if (!repair) {
        systemLog("preferences: %s is not a preferences file; starting with defaults", m_filePath.c_str());
        std::lock_guard lock(m_mutex);
        m_values = Dictionary::object();
        return false;
    }
    // Keep the damaged file for the user to look at, and out of the way of
    // the next save.
    const std::string aside = m_filePath + ".bad";
    if (::rename(m_filePath.c_str(), aside.c_str()) == 0) {
        systemLog("preferences: %s is not a preferences file; kept as %s, starting with defaults", m_filePath.c_str(),
                  aside.c_str());
    } else {
        systemLog("preferences: %s is not a preferences file and cannot be moved aside (%s); starting with "
                  "defaults",
                  m_filePath.c_str(), std::strerror(errno));
    }
    std::lock_guard lock(m_mutex);
    m_values = Dictionary::object();
    return false;
}

bool PreferencesStore::save() const
{
    std::string data;
    try {
        std::lock_guard lock(m_mutex);
        // Replacement characters rather than an exception for a name that is
        // not valid UTF-8.
        data = m_values.dump(2, ' ', false, Dictionary::error_handler_t::replace) + "\n";
    } catch (const std::exception &exception) {
        systemLog("preferences: cannot encode the preferences: %s", exception.what());
        return false;
    }

    const std::string folder = path::parent(m_filePath);
    if (!fsutil::makePrivateFolders(folder)) {
        systemLog("preferences: cannot create the folder %s: %s; preferences not saved", folder.c_str(),
                  std::strerror(errno));
        return false;
    }
    switch (fsutil::replaceFileAtomically(m_filePath, data, {.mode = 0600})) {
    case fsutil::ReplaceResult::Replaced:
    case fsutil::ReplaceResult::FolderNotFlushed:
        return true;
    case fsutil::ReplaceResult::NoTemporary:
        systemLog("preferences: cannot write in %s: %s; preferences not saved", folder.c_str(), std::strerror(errno));
        return false;
    case fsutil::ReplaceResult::Failed:
        break;
    }
    systemLog("preferences: cannot save %s: %s; the previous file is unchanged", m_filePath.c_str(),
              std::strerror(errno));
    return false;
}

std::vector<std::string> PreferencesStore::keys() const
{
    std::lock_guard lock(m_mutex);
    std::vector<std::string> names;
    for (const auto &[key, value] : m_values.items())
        names.push_back(key);
    return names;
}

std::optional<Dictionary> PreferencesStore::objectForKey(const std::string &key) const
{
    std::lock_guard lock(m_mutex);
    const auto found = m_values.find(key);
    if (found == m_values.end()) return std::nullopt;
    return *found;
}

void PreferencesStore::setObject(const std::string &key, Dictionary value)
{
    std::lock_guard lock(m_mutex);
    m_values[key] = std::move(value);
}

void PreferencesStore::removeObject(const std::string &key)
{
    std::lock_guard lock(m_mutex);
    m_values.erase(key);
}

} // namespace ferrydeck
