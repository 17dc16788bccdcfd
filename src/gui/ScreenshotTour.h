#pragma once

#include <QString>

namespace ferrydeck {

// `ferrydeck --screenshot DIR`: offloads two generated cards in a throwaway
// setting (its own preferences, a simulated card reader, temporary
// destinations) and saves pictures of the main window during the offload,
// of the details panel and of the log panel into DIR.
class ScreenshotTour {
public:
    static int run(const QString &directory);
};

} // namespace ferrydeck
