#pragma once

#include "engine/OffloadDestination.h"
#include "settings/FerrydeckSettings.h"
#include "settings/PreferencesStore.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// Carries the settings and the destination list across runs: loaded once when
// the window is up, saved once at termination. The controller calls these; it
// owns the store, the settings and the list.
class DefaultsPersistence {
public:
    DefaultsPersistence() = delete;

    using DestinationList = std::vector<std::shared_ptr<OffloadDestination>>;

    static constexpr const char *kPresetsKey = "presets";
    static constexpr const char *kDestinationKey = "destination";
    // Bound of the copy-thread control, applied in memory after saving.
    static constexpr int32_t kMaximumCopyThreads = 10;

    // The five text fields of the main window that mirror settings strings.
    struct WindowTexts {
        std::string renameCard;
        std::string customName;
        std::string prefix;
        std::string suffix;
        std::string logDirectory;
    };

    // "destination_<index>".
    static std::string destinationKey(size_t index);

    // Removes every key containing "destination", stores the list without
    // gaps, takes the window's texts into the settings (when given), stores
    // the presets, writes the file, and only then bounds the thread count
    // in memory. False when the file could not be written; the settings and
    // the store in memory are complete either way.
    static bool saveDefaults(PreferencesStore &store, FerrydeckSettings &settings, const DestinationList &destinations,
                             const std::optional<WindowTexts> &texts);

    // The list to replace the controller's: `current` followed by the stored
    // destinations up to the first missing index. Fills the settings from the
    // stored presets, when there are any.
    static DestinationList loadDefaults(const PreferencesStore &store, FerrydeckSettings &settings,
                                        const DestinationList &current);

    // What the five text fields show after loading.
    static WindowTexts windowTexts(const FerrydeckSettings &settings);
};

} // namespace ferrydeck
