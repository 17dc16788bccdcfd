#pragma once

#include <string>

namespace ferrydeck {

// A desktop notification through the freedesktop notification service on
// the session bus. Best effort and bounded: without a session bus nothing is
// started at all, and a bus that does not answer is given up after seconds.
class DesktopNotification {
public:
    DesktopNotification() = delete;

    // True when the service took the notification.
    static bool send(const std::string &summary, const std::string &body);
    // Whether a session bus can be reached without starting one.
    static bool sessionBusAvailable();
};

} // namespace ferrydeck
