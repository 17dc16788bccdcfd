#pragma once

#include <string>

namespace ferrydeck {

// Short notification sounds through the desktop's sound service. Playing is
// asynchronous and best effort: without a sound device, a sound server or
// libcanberra at build time nothing is heard and nothing fails; one line on
// standard error says so, once per process.
class SystemSound {
public:
    // A freedesktop sound-theme event such as "complete".
    static void playEvent(const std::string &eventId);
    // A sound file such as the application's own failure sound.
    static void playFile(const std::string &path);
    static bool available();
};

} // namespace ferrydeck
