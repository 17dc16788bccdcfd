#include "Version.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/ScreenshotTour.h"

#include <QApplication>
#include <QCommandLineParser>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {
void onBrokenPipe(int) {}

void nameApplication()
{
    QCoreApplication::setApplicationName(QString::fromLatin1(ferrydeck::kApplicationName));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(ferrydeck::kVersion));
    QCoreApplication::setOrganizationDomain(QStringLiteral("ferrydeck.brightwater.example"));
}

bool haveDisplay()
{
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char *value = std::getenv(name);
        if (value && *value) return true;
    }
    return false;
}
} // namespace

int main(int argc, char **argv)
{
    // A closed standard error (the launching terminal gone) must not end a
    // running offload: writes fail with EPIPE instead. A handler rather than
    // SIG_IGN, so that programs we start get the default back.
    struct sigaction brokenPipe {};
    brokenPipe.sa_handler = onBrokenPipe;
    sigemptyset(&brokenPipe.sa_mask);
    brokenPipe.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &brokenPipe, nullptr);
    // The options are read before any window system is asked for, so --help
    // and --version work without a display.
    QString screenshotDirectory;
    {
        QCoreApplication options(argc, argv);
        nameApplication();
        QCommandLineParser parser;
        parser.setApplicationDescription(QStringLiteral("Offloads camera cards and folders to verified copies."));
        parser.addHelpOption();
        parser.addVersionOption();
        QCommandLineOption screenshot(
            QStringLiteral("screenshot"),
            QStringLiteral("Offload generated cards and save pictures of the windows into DIR."),
            QStringLiteral("DIR"));
        screenshot.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(screenshot);
        parser.process(options);
        screenshotDirectory = parser.value(screenshot);
    }
    if (!haveDisplay()) {
        std::fprintf(stderr, "ferrydeck: no display (DISPLAY and WAYLAND_DISPLAY are not set); "
                             "ferrydeck-cli offloads without one\n");
        return 2;
    }

    QApplication app(argc, argv);
    nameApplication();
    QGuiApplication::setDesktopFileName(QStringLiteral("ferrydeck"));
    if (!screenshotDirectory.isEmpty()) return ferrydeck::ScreenshotTour::run(screenshotDirectory);

    ferrydeck::FerrydeckMainWindow window;
    // The operator may be away from the window when a card is done.
    window.controller().setCardFinishedHandler(&ferrydeck::AppController::notifyDesktop);
    window.show();
    return QApplication::exec();
}
