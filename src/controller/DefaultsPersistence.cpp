#include "controller/DefaultsPersistence.h"

#include "fsutil/SystemLog.h"

namespace ferrydeck {

std::string DefaultsPersistence::destinationKey(size_t index)
{
    return stringWithFormat("%s_%zu", kDestinationKey, index);
}

bool DefaultsPersistence::saveDefaults(PreferencesStore &store, FerrydeckSettings &settings,
                                       const DestinationList &destinations, const std::optional<WindowTexts> &texts)
{
    // Any key merely containing the word goes, so a longer list saved before
    // leaves nothing behind.
    for (const std::string &key : store.keys()) {
        if (key.find(kDestinationKey) != std::string::npos) store.removeObject(key);
    }
    for (size_t index = 0; index < destinations.size(); ++index) {
        if (destinations[index])
            store.setObject(destinationKey(index), destinations[index]->createAttributesDictionary());
    }

    if (texts) {
        settings.setTextRenameCard(texts->renameCard);
        settings.setTextCustomName(texts->customName);
        settings.setTextPrefix(texts->prefix);
        settings.setTextSuffix(texts->suffix);
        settings.setTextLogDirectory(texts->logDirectory);
    }
    if (std::optional<Dictionary> presets = settings.createPresetDictionary()) {
        store.setObject(kPresetsKey, std::move(*presets));
    }
    const bool saved = store.save();

    // Deliberately after storing: the file keeps the count as the user set it,
    // only the running object is bounded.
    if (settings.amountOfCopyThreads() > kMaximumCopyThreads) settings.setAmountOfCopyThreads(kMaximumCopyThreads);
    return saved;
}

DefaultsPersistence::DestinationList DefaultsPersistence::loadDefaults(const PreferencesStore &store,
                                                                       FerrydeckSettings &settings,
                                                                       const DestinationList &current)
{
    DestinationList destinations = current;
    for (size_t index = 0;; ++index) {
        const std::optional<Dictionary> entry = store.objectForKey(destinationKey(index));
        if (!entry) break;
        auto destination = std::make_shared<OffloadDestination>();
        destination->loadAttributesFromDictionary(*entry);
        destinations.push_back(std::move(destination));
    }

    if (const std::optional<Dictionary> presets = store.objectForKey(kPresetsKey)) {
        settings.retrieveKeyValuesFromDictionary(&*presets);
    }
    return destinations;
}

DefaultsPersistence::WindowTexts DefaultsPersistence::windowTexts(const FerrydeckSettings &settings)
{
    return {settings.textRenameCard(), settings.textCustomName(), settings.textPrefix(), settings.textSuffix(),
            settings.textLogDirectory()};
}

} // namespace ferrydeck
