#include "fsutil/SystemSound.h"

#ifdef FERRYDECK_HAVE_CANBERRA
#include <canberra.h>

#include <mutex>
#endif

namespace ferrydeck {

#ifdef FERRYDECK_HAVE_CANBERRA
namespace {
// One context for the process: a sound must outlive the call that started
// it, and creating a context per sound would reconnect to the sound server
// every time. The context is never destroyed so that no exit path can race
// a sound still playing.
ca_context *context()
{
    static std::once_flag once;
    static ca_context *shared = nullptr;
    std::call_once(once, [] {
        ca_context *created = nullptr;
        if (ca_context_create(&created) != CA_SUCCESS) return;
        ca_context_change_props(created, CA_PROP_APPLICATION_NAME, "Ferrydeck", CA_PROP_APPLICATION_ID, "ferrydeck",
                                nullptr);
        shared = created;
    });
    return shared;
}
} // namespace

void SystemSound::playEvent(const std::string &eventId)
{
    if (ca_context *ctx = context()) ca_context_play(ctx, 0, CA_PROP_EVENT_ID, eventId.c_str(), nullptr);
}

void SystemSound::playFile(const std::string &path)
{
    if (ca_context *ctx = context()) ca_context_play(ctx, 0, CA_PROP_MEDIA_FILENAME, path.c_str(), nullptr);
}

bool SystemSound::available()
{
    return context() != nullptr;
}
#else
void SystemSound::playEvent(const std::string &) {}
void SystemSound::playFile(const std::string &) {}
bool SystemSound::available()
{
    return false;
}
#endif

} // namespace ferrydeck
