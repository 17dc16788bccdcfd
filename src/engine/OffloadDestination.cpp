#include "engine/OffloadDestination.h"

#include <exception>

namespace ferrydeck {

OffloadDestination::OffloadDestination(const std::string &offloadDirectory)
    : m_destinationPath(offloadDirectory)
{
}

std::string OffloadDestination::destinationPath() const
{
    std::lock_guard lock(m_pathMutex);
    return m_destinationPath;
}

void OffloadDestination::setDestinationPath(const std::string &path)
{
    std::lock_guard lock(m_pathMutex);
    m_destinationPath = path;
}

Dictionary OffloadDestination::createAttributesDictionary() const
{
    Dictionary dictionary = Dictionary::object();
    dictionary[kDestinationPathKey] = destinationPath();
    dictionary[kInUseKey] = inUse();
    return dictionary;
}

void OffloadDestination::loadAttributesFromDictionary(const Dictionary &dictionary)
{
    if (!dictionary.is_object()) return;
    for (const auto &[key, value] : dictionary.items()) {
        try {
            if (key == kDestinationPathKey) {
                // A path must be text; anything else is a damaged entry.
                if (value.is_string()) setDestinationPath(value.get<std::string>());
            } else if (key == kInUseKey) {
                if (const std::optional<bool> reading = DictionaryValues::boolValue(value)) setInUse(*reading);
            }
        } catch (const std::exception &) {
            // One unreadable key must not cost the others.
        }
    }
}

} // namespace ferrydeck
