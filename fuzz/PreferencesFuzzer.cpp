#include "controller/DefaultsPersistence.h"
#include "settings/FerrydeckSettings.h"
#include "settings/PreferencesStore.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

using namespace ferrydeck;

// The preferences file as read at start-up: the store's load, the settings
// and the destination list taken from it, and the window texts shown after.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // An in-memory file: no disk traffic, and the store's attempt to move a
    // damaged file aside fails harmlessly.
    static const int fd = ::memfd_create("preferences", 0);
    if (fd < 0 || ::ftruncate(fd, 0) != 0) return 0;
    if (size > 0 && ::pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) return 0;

    PreferencesStore store("/proc/self/fd/" + std::to_string(fd));
    store.load();
    for (const std::string &key : store.keys())
        store.objectForKey(key);
    FerrydeckSettings settings(4);
    const auto destinations = DefaultsPersistence::loadDefaults(store, settings, {});
    for (const auto &destination : destinations) {
        if (!destination) __builtin_trap();
        destination->createAttributesDictionary();
    }
    DefaultsPersistence::windowTexts(settings);
    // What was loaded must serialise again, since termination saves it.
    const auto presets = settings.createPresetDictionary();
    if (!presets) __builtin_trap();
    presets->dump(-1, ' ', false, Dictionary::error_handler_t::replace);
    return 0;
}
