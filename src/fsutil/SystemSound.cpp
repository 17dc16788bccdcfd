#include "fsutil/SystemSound.h"

#include "fsutil/SystemLog.h"

#ifdef FERRYDECK_HAVE_CANBERRA
#include <canberra.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#endif

namespace ferrydeck {

#ifdef FERRYDECK_HAVE_CANBERRA
namespace {

bool isSocket(const std::string &path)
{
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

// A sound server, or else an ALSA playback device. Without either,
// libcanberra falls back to ALSA, which prints several lines of its own on
// every sound; so then no context is made at all.
bool soundOutputExists()
{
    if (std::getenv("PULSE_SERVER")) return true;
    if (const char *runtime = std::getenv("XDG_RUNTIME_DIR")) {
        const std::string dir = runtime;
        if (isSocket(dir + "/pulse/native") || isSocket(dir + "/pipewire-0")) return true;
    }
    std::error_code error;
    for (auto it = std::filesystem::directory_iterator("/dev/snd", error);
         !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.starts_with("pcmC") && name.ends_with("p")) return true;
    }
    return false;
}

// Said once per process: a station without audio plays many sounds.
void reportSilence(const char *reason)
{
    static std::atomic<bool> reported{false};
    if (!reported.exchange(true)) systemLog("sounds are silent: %s", reason);
}

std::atomic<bool> g_failed{false};

// One context for the process: a sound must outlive the call that started
// it, and creating a context per sound would reconnect to the sound server
// every time. The context is never destroyed so that no exit path can race
// a sound still playing.
ca_context *context()
{
    static std::once_flag once;
    static ca_context *shared = nullptr;
    std::call_once(once, [] {
        if (!soundOutputExists()) return reportSilence("no sound device or sound server");
        ca_context *created = nullptr;
        if (ca_context_create(&created) != CA_SUCCESS) return reportSilence("no sound context");
        ca_context_change_props(created, CA_PROP_APPLICATION_NAME, "Ferrydeck", CA_PROP_APPLICATION_ID, "ferrydeck",
                                nullptr);
        shared = created;
    });
    return shared;
}

// A device that fails once is not tried again: its library would print its
// complaint on every sound.
void play(const char *property, const std::string &value)
{
    if (g_failed) return;
    ca_context *ctx = context();
    if (!ctx) return;
    const int result = ca_context_play(ctx, 0, property, value.c_str(), nullptr);
    if (result != CA_SUCCESS && !g_failed.exchange(true)) reportSilence(ca_strerror(result));
}

} // namespace

void SystemSound::playEvent(const std::string &eventId)
{
    play(CA_PROP_EVENT_ID, eventId);
}

void SystemSound::playFile(const std::string &path)
{
    play(CA_PROP_MEDIA_FILENAME, path);
}

bool SystemSound::available()
{
    return !g_failed && context() != nullptr;
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
