#include "fsutil/DesktopNotification.h"

#include "fsutil/Process.h"
#include "fsutil/SystemVolumeService.h"

#include <sys/stat.h>

#include <cstdlib>

namespace ferrydeck {

bool DesktopNotification::sessionBusAvailable()
{
    const char *address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address && *address) return true;
    // Without an address gdbus would try to autolaunch a bus through X11,
    // which a headless station must never do; only the systemd user bus
    // socket counts.
    const char *runtime = std::getenv("XDG_RUNTIME_DIR");
    if (!runtime || !*runtime) return false;
    struct stat info {};
    const std::string socket = std::string(runtime) + "/bus";
    return ::stat(socket.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

bool DesktopNotification::send(const std::string &summary, const std::string &body)
{
    if (!sessionBusAvailable()) return false;
    // gdbus bounds the call; `timeout` bounds a bus that accepts the
    // connection and then never answers. Types are spelled out so that the
    // call is valid even where the service cannot be introspected.
    const std::vector<std::string> argv{"timeout",
                                        "-k",
                                        "2",
                                        "10",
                                        "gdbus",
                                        "call",
                                        "--session",
                                        "--timeout",
                                        "5",
                                        "--dest",
                                        "org.freedesktop.Notifications",
                                        "--object-path",
                                        "/org/freedesktop/Notifications",
                                        "--method",
                                        "org.freedesktop.Notifications.Notify",
                                        SystemVolumeService::gvariantString("Ferrydeck"),
                                        "uint32 0",
                                        SystemVolumeService::gvariantString("drive-removable-media"),
                                        SystemVolumeService::gvariantString(summary),
                                        SystemVolumeService::gvariantString(body),
                                        "@as []",
                                        "@a{sv} {}",
                                        "int32 -1"};
    return Process::run(argv, Process::Output::Discard).succeeded();
}

} // namespace ferrydeck
