#include "Version.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/ScreenshotTour.h"

#include <QApplication>
#include <QCommandLineParser>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QString::fromLatin1(ferrydeck::kApplicationName));
    QApplication::setApplicationVersion(QString::fromLatin1(ferrydeck::kVersion));
    QApplication::setOrganizationDomain(QStringLiteral("ferrydeck.brightwater.example"));
    QApplication::setDesktopFileName(QStringLiteral("ferrydeck"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Offloads camera cards and folders to verified copies."));
    parser.addHelpOption();
    parser.addVersionOption();
    QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                  QStringLiteral("Offload generated cards and save pictures of the windows into DIR."),
                                  QStringLiteral("DIR"));
    screenshot.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(screenshot);
    parser.process(app);

    if (parser.isSet(screenshot)) return ferrydeck::ScreenshotTour::run(parser.value(screenshot));

    ferrydeck::FerrydeckMainWindow window;
    window.show();
    return QApplication::exec();
}
