#include "gui/ScreenshotTour.h"

#include "gui/BrightwaterTableView.h"
#include "gui/DriveTableModel.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/GuiText.h"
#include "gui/LogPanel.h"
#include "gui/OffloadProgressPanel.h"
#include "gui/QtControllerView.h"
#include "gui/QueueTableModel.h"
#include "gui/SettingsDrawer.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QPixmap>
#include <QRadioButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QThread>

#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>

namespace ferrydeck {

namespace {

bool waitFor(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

void writeFiles(const QString &folder, const QString &pattern, int count, int size)
{
    QDir().mkpath(folder);
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 131 + count) & 0xff);
    for (int i = 1; i <= count; ++i) {
        QFile file(folder + "/" + pattern.arg(i, 4, 10, QLatin1Char('0')));
        if (file.open(QIODevice::WriteOnly)) file.write(bytes);
    }
}

bool save(QWidget *widget, const QString &directory, const char *name)
{
    const QString path = directory + "/" + QString::fromLatin1(name);
    const bool saved = widget->grab().save(path, "PNG");
    std::fprintf(saved ? stdout : stderr, "%s %s\n", saved ? "wrote" : "could not write", qPrintable(path));
    return saved;
}

} // namespace

int ScreenshotTour::run(const QString &directory)
{
    QTemporaryDir scratch;
    if (!scratch.isValid() || !QDir().mkpath(directory)) {
        std::fprintf(stderr, "ferrydeck: cannot prepare %s\n", qPrintable(directory));
        return 1;
    }
    const QString root = scratch.path();
    const QString media = root + "/media";
    writeFiles(media + "/CARD_A001/DCIM/100CANON", QStringLiteral("IMG_%1.JPG"), 240, 96 * 1024);
    writeFiles(media + "/CARD_A001/PRIVATE/M4ROOT/CLIP", QStringLiteral("C%1.MP4"), 12, 2 * 1024 * 1024);
    writeFiles(media + "/EOS_DIGITAL/DCIM/101CANON", QStringLiteral("MVI_%1.MOV"), 60, 256 * 1024);
    QDir().mkpath(root + "/Backup/Shoot-1");
    QDir().mkpath(root + "/Archive");
    QDir().mkpath(root + "/config");
    qputenv("FERRYDECK_MEDIA_ROOT", QFile::encodeName(media));
    qputenv("FERRYDECK_CONFIG_DIR", QFile::encodeName(root + "/config"));

    FerrydeckMainWindow::Options options;
    options.preferencesPath = pathFromQString(root + "/config/preferences.json");
    options.controller.playSound = [](const std::string &) {};
    FerrydeckMainWindow window(options);
    window.view().setAlertFunction([](const std::string &title, const std::string &, const std::vector<std::string> &) {
        std::fprintf(stderr, "alert: %s\n", title.c_str());
        return 0;
    });
    AppController &controller = window.controller();
    window.dockDrawer->show();
    window.drawer->popupNamingSchemes->setCurrentText(QStringLiteral("Card Name"));
    window.drawer->checkPrefix->setChecked(true);
    window.drawer->buttonVerboseLogging->setChecked(true);
    window.drawer->textPrefix->setText(QStringLiteral("Shoot_"));
    window.drawer->textDidEndEditing();
    window.resize(1360, 820);
    window.show();

    controller.addDirectoriesToDestinationList(
        {pathFromQString(root + "/Backup/Shoot-1"), pathFromQString(root + "/Archive")});
    window.removableModel->setVolumes(controller.listMountedMedia());
    controller.addDirectoriesToOffloadList(
        {pathFromQString(media + "/CARD_A001"), pathFromQString(media + "/EOS_DIGITAL")});
    const auto listed = [&] {
        const auto jobs = controller.listOffloadInstances();
        for (const auto &job : jobs) {
            if (job->offloadStatus() != OffloadInstance::kInQueue) return false;
        }
        return jobs.size() == 4;
    };
    if (!waitFor(listed, 20000)) {
        std::fprintf(stderr, "ferrydeck: the generated cards were not listed in time\n");
        return 1;
    }
    // Slowed down so that the pictures catch the offload half-way.
    for (const auto &job : controller.listOffloadInstances())
        job->setCopyObserver(
            [](const FileCopyDetails &) { std::this_thread::sleep_for(std::chrono::milliseconds(25)); });
    controller.processAllItemsInTheQueue();
    const auto first = controller.listOffloadInstances().front();
    waitFor([&] { return first->itemsProcessed() * 5 >= static_cast<int>(first->totalFilesAtSource()) * 2; }, 60000);
    waitFor([] { return false; }, FerrydeckMainWindow::kRefreshMs * 2);
    window.tableProcessingQueue->selectRow(0);
    // Both pictures show the same moment.
    window.panelProgress->updateDetailsWindow(first);
    window.panelProgress->resize(860, 600);
    bool saved = save(&window, directory, "main-window.png");
    saved = save(window.panelProgress, directory, "details-panel.png") && saved;

    waitFor(
        [&] {
            for (const auto &job : controller.listOffloadInstances()) {
                if (!job->processingTaskIsOver()) return false;
            }
            return true;
        },
        120000);
    window.showDetails(first);
    controller.viewLog();
    window.panelLog->resize(860, 560);
    waitFor([] { return false; }, 300);
    saved = save(window.panelLog, directory, "log-panel.png") && saved;
    return saved ? 0 : 1;
}

} // namespace ferrydeck
