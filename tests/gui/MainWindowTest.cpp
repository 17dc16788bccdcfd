#include "controller/OffloadNamingScheme.h"
#include "controller/QueueStore.h"
#include "engine/FileCopyDetails.h"
#include "engine/OffloadInstance.h"
#include "gui/BrightwaterTableView.h"
#include "gui/DestinationTableModel.h"
#include "gui/DriveTableModel.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/FileDetailsModel.h"
#include "gui/GuiText.h"
#include "gui/LogPanel.h"
#include "gui/OffloadProgressPanel.h"
#include "gui/QtControllerView.h"
#include "gui/QtMainLoop.h"
#include "gui/QueueTableModel.h"
#include "gui/SettingsDrawer.h"
#include "gui/VolumeBrowserDrawer.h"
#include "../support/FixedVolumes.h"

#include <QTest>
#include <QtWidgets>

#include <atomic>
#include <deque>
#include <thread>

using namespace ferrydeck;
using ferrydeck::test::FixedVolumes;

class MainWindowTest : public QObject {
    Q_OBJECT

    struct Alert {
        std::string title;
        std::vector<std::string> buttons;
    };

    QTemporaryDir m_root;
    QString m_media;
    std::unique_ptr<FerrydeckMainWindow> m_window;
    std::vector<Alert> m_alerts;
    std::deque<std::string> m_answers;
    int m_windows = 0;

    QString status(int row, int role = Qt::DisplayRole)
    {
        return m_window->queueModel->data(m_window->queueModel->index(row, QueueTableModel::Status), role).toString();
    }
    QString folder(const QString &name)
    {
        const QString path = m_root.path() + "/" + name;
        QDir().mkpath(path);
        return path;
    }

    // Files of 1, 2, ... kilobytes; answers their byte total.
    qint64 writeFiles(const QString &path, int count)
    {
        qint64 total = 0;
        for (int i = 1; i <= count; ++i) {
            QFile file(path + QStringLiteral("/clip%1.mov").arg(i));
            file.open(QIODevice::WriteOnly);
            total += file.write(QByteArray(i * 1024, char('a' + i)));
        }
        return total;
    }

    std::unique_ptr<FerrydeckMainWindow> makeWindow(const QString &preferences)
    {
        FerrydeckMainWindow::Options options;
        options.preferencesPath = preferences.toStdString();
        options.controller.processorCount = 2;
        options.controller.playSound = [](const std::string &) {};
        auto window = std::make_unique<FerrydeckMainWindow>(options);
        window->view().setAlertFunction(
            [this](const std::string &title, const std::string &, const std::vector<std::string> &buttons) {
                m_alerts.push_back({title, buttons});
                if (m_answers.empty()) return 0;
                const auto it = std::find(buttons.begin(), buttons.end(), m_answers.front());
                m_answers.pop_front();
                return it == buttons.end() ? 0 : static_cast<int>(it - buttons.begin());
            });
        const std::string logs = folder("logs").toStdString();
        window->view().setSaveFunction([logs](const std::string &, const std::string &, const std::string &name) {
            return std::optional<std::string>(logs + "/" + name);
        });
        return window;
    }

    void drop(PathTableModel *model, const QStringList &paths)
    {
        QMimeData data;
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls << QUrl::fromLocalFile(path);
        data.setUrls(urls);
        QVERIFY(model->dropMimeData(&data, Qt::CopyAction, -1, -1, QModelIndex()));
    }

    std::string fixed(const QString &name) { return folder("fixed/" + name).toStdString(); }
    // The window on fixed volumes: a local disk and two cards, with one destination.
    void onFixedVolumes()
    {
        VolumeService::setCurrent(
            std::make_shared<FixedVolumes>(std::vector<std::string>{fixed("disk"), fixed("CARD_A"), fixed("CARD_B")},
                                           std::vector<std::string>{fixed("CARD_A"), fixed("CARD_B")}));
        m_window = makeWindow(m_root.path() + QStringLiteral("/prefs-%1.json").arg(++m_windows));
        m_window->controller().addDirectoriesToDestinationList({folder("backup").toStdString()});
        m_window->controller().refreshDriveLists();
    }
    std::vector<std::string> queued() const
    {
        std::vector<std::string> sources;
        for (const auto &job : m_window->controller().listOffloadInstances())
            sources.push_back(job->sourceDirectory());
        return sources;
    }
    void doubleClick(QTableView *table, int row)
    {
        const QModelIndex index = table->model()->index(row, 0);
        table->setCurrentIndex(index);
        emit table->doubleClicked(index);
    }

    // One folder dropped on the queue with one ticked destination, processed to its end.
    std::shared_ptr<OffloadInstance> runOneJob(qint64 *bytes = nullptr)
    {
        const QString source = folder("card/A001");
        const qint64 total = writeFiles(source, 3);
        if (bytes) *bytes = total;
        drop(m_window->destinationModel, {folder("backup")});
        [&] { QTRY_COMPARE(m_window->destinationModel->rowCount(), 1); }();
        drop(m_window->queueModel, {source});
        AppController &controller = m_window->controller();
        [&] {
            QTRY_COMPARE(controller.listOffloadInstances().size(), size_t(1));
            QTRY_COMPARE(int(controller.listOffloadInstances().front()->offloadStatus()),
                         int(OffloadInstance::kInQueue));
        }();
        m_window->itemProcess->trigger();
        const auto job = controller.listOffloadInstances().front();
        [&] { QTRY_VERIFY_WITH_TIMEOUT(job->processingTaskIsOver(), 10000); }();
        return job;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        m_media = folder("media");
        qputenv("FERRYDECK_MEDIA_ROOT", QFile::encodeName(m_media));
        qputenv("FERRYDECK_CONFIG_DIR", QFile::encodeName(folder("config")));
    }

    void init()
    {
        m_alerts.clear();
        m_answers.clear();
        m_window = makeWindow(m_root.path() + QStringLiteral("/prefs-%1.json").arg(++m_windows));
    }

    void cleanup()
    {
        m_window.reset();
        VolumeService::setCurrent(nullptr);
    }

    // The finished job fills the details; Delete then asks about its unsaved log and removes it.
    void droppedFolderRunsToCompletionFillsTheDetailsAndDeleteRemovesIt_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("keep unsaved") << "NO";
        QTest::newRow("save first") << "YES";
    }
    void droppedFolderRunsToCompletionFillsTheDetailsAndDeleteRemovesIt()
    {
        QFETCH(QString, answer);
        qint64 bytes = 0;
        const auto job = runOneJob(&bytes);
        QCOMPARE(int(job->offloadStatus()), int(OffloadInstance::kCompleted));
        QVERIFY(QFile::exists(QString::fromStdString(job->fullOffloadPath()) + "/clip3.mov"));
        OffloadProgressPanel *panel = m_window->panelProgress;
        QVERIFY(panel->isVisible());
        QTRY_COMPARE(panel->labelFilesCopied->text(), QStringLiteral("3"));
        QCOMPARE(panel->labelFileCount->text(), QStringLiteral("3"));
        QCOMPARE(panel->labelByteCount->text(), QString::number(bytes));
        QCOMPARE(panel->labelBytesCopied->text(), QString::number(bytes));
        QCOMPARE(panel->labelEstTimeRemaining->text(), QStringLiteral("Complete"));
        QCOMPARE(panel->labelDestinationDirectory->text(), QString::fromStdString(job->fullOffloadPath()));
        QCOMPARE(panel->indicatorProgress->value(), panel->indicatorProgress->maximum());
        QCOMPARE(panel->tableFileDetails->model()->rowCount(), 3);
        QVERIFY(panel->buttonSaveLog->isEnabled() && panel->buttonViewLog->isEnabled());
        QVERIFY(!panel->buttonCancelOffload->isEnabled());
        QCOMPARE(status(0), QStringLiteral("Completed"));
        panel->buttonViewLog->click();
        QVERIFY(m_window->panelLog->isVisible());
        QVERIFY(m_window->panelLog->viewLog->toPlainText().contains(QStringLiteral("Total files copied:3")));

        doubleClick(m_window->tableProcessingQueue, 0);
        QVERIFY(panel->isVisible());
        m_alerts.clear();
        m_answers = {answer.toStdString()};
        m_window->tableProcessingQueue->selectRow(0);
        QTest::keyClick(m_window->tableProcessingQueue, Qt::Key_Delete);
        QCOMPARE(m_alerts.size(), size_t(1));
        QCOMPARE(m_alerts.front().title, std::string("Log File Not Saved"));
        QCOMPARE(m_alerts.front().buttons, (std::vector<std::string>{"YES", "NO"}));
        QCOMPARE(m_window->queueModel->rowCount(), 0);
        QVERIFY(!m_window->panelProgress->isVisible());
        const QString log =
            folder("logs") + "/" + QString::fromStdString(job->fullOffloadPath()).section('/', -1) + ".txt";
        QCOMPARE(QFile::exists(log), answer == "YES");
        QFile::remove(log);
    }

    // The colour table itself is the engine's; the window must carry it to
    // the queue and the panel, and follow whether the job is over.
    void statusColoursAndPanelButtonsFollowTheJob_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<bool>("over");
        QTest::newRow("in queue") << int(OffloadInstance::kInQueue) << qtColor(DisplayColor::Blue) << false;
        QTest::newRow("completed") << int(OffloadInstance::kCompleted) << qtColor(DisplayColor::Green) << true;
        QTest::newRow("error") << int(OffloadInstance::kError) << qtColor(DisplayColor::Red) << true;
    }
    void statusColoursAndPanelButtonsFollowTheJob()
    {
        QFETCH(int, number);
        const auto code = OffloadInstance::Status(number);
        QFETCH(QColor, colour);
        QFETCH(bool, over);
        auto job = OffloadInstance::create(folder("src").toStdString(), folder("dst").toStdString());
        job->setOffloadStatus(code);
        m_window->controller().setListOffloadInstances({job});
        OffloadProgressPanel *panel = m_window->panelProgress;
        m_window->showOffloadDetails(); // nothing selected: nothing shown
        QVERIFY(!panel->isVisible() && !panel->shownInstance());
        QCOMPARE(status(0), QString::fromLatin1(OffloadInstance::statusText(code)));
        QCOMPARE(QColor(status(0, Qt::BackgroundRole)), colour);
        doubleClick(m_window->tableProcessingQueue, 0);
        QCOMPARE(panel->labelFileBeingOffloaded->palette().color(QPalette::Window), colour);
        QCOMPARE(panel->buttonSaveLog->isEnabled(), over);
        QCOMPARE(panel->buttonViewLog->isEnabled(), over);
        QCOMPARE(panel->buttonCancelOffload->isEnabled(), !over);
        if (!over) job->setOffloadStatus(OffloadInstance::kCanceled);
    }

    // Choosing a scheme in the popup shows its fields; the wording of the
    // preview itself is the controller's.
    void namingPopupShowsEachSchemesFieldsAndFieldsActWhenEditingEnds()
    {
        SettingsDrawer *drawer = m_window->drawer;
        drawer->textCustomNameScheme->setText("Trip");
        drawer->controlTextDidEndEditing();
        QComboBox *popup = drawer->popupNamingSchemes;
        QCOMPARE(popup->count(), 7);
        for (int i = 0; i < popup->count(); ++i) {
            popup->setCurrentIndex(i);
            const int32_t scheme = OffloadNamingScheme::schemeForTitle(popup->currentText().toStdString());
            QCOMPARE(drawer->textCustomNameScheme->isHidden(), scheme != OffloadNamingScheme::kCustomVolumeName);
            QCOMPARE(drawer->boxAutoIncrementScheme->isHidden(), scheme != OffloadNamingScheme::kConsecutiveNumbering);
            QCOMPARE(drawer->textFullNameScheme->text().contains("Trip"),
                     scheme == OffloadNamingScheme::kCustomVolumeName);
        }
        // A field acts when its editing ends, not at each key.
        FerrydeckSettings &settings = m_window->controller().ferrydeckSettings();
        const std::string before = settings.textPrefix();
        QTest::keyClicks(drawer->textPrefix, "Day/1");
        QCOMPARE(settings.textPrefix(), before);
        QTest::keyClick(drawer->textPrefix, Qt::Key_Return);
        QVERIFY(!drawer->textPrefix->text().contains('/'));
        QCOMPARE(QString::fromStdString(settings.textPrefix()), drawer->textPrefix->text());
    }

    void draggedRemovableVolumesQueueInRowOrder()
    {
        onFixedVolumes();
        DriveTableModel *drives = m_window->removableModel;
        std::unique_ptr<QMimeData> dragged(drives->mimeData({drives->index(1, 0), drives->index(0, 0)}));
        QVERIFY(m_window->queueModel->dropMimeData(dragged.get(), Qt::CopyAction, -1, -1, QModelIndex()));
        QTRY_COMPARE(queued(), (std::vector<std::string>{fixed("CARD_A"), fixed("CARD_B")}));
        QTRY_VERIFY(!m_window->controller().hasActiveWorkers());
    }

    void untickedDestinationsRefuseSourcesAndRemoveTakesTheSelectedRow()
    {
        drop(m_window->destinationModel, {folder("one"), folder("two"), m_root.path() + "/missing"});
        QTRY_COMPARE(m_window->destinationModel->rowCount(), 2);
        DestinationTableModel *model = m_window->destinationModel;
        for (int row = 0; row < 2; ++row)
            QVERIFY(model->setData(model->index(row, DestinationTableModel::InUse), Qt::Unchecked, Qt::CheckStateRole));
        m_window->controller().addDirectoriesToOffloadList({folder("card").toStdString()});
        QCOMPARE(m_alerts.size(), size_t(1));
        QCOMPARE(m_alerts.front().title, std::string("Error"));
        QCOMPARE(m_window->queueModel->rowCount(), 0);

        m_window->tableOffloadDestinations->selectRow(1);
        m_window->buttonRemoveDestination->click();
        QCOMPARE(model->rowCount(), 1);
        QCOMPARE(model->data(model->index(0, DestinationTableModel::Path), Qt::DisplayRole).toString(), folder("one"));
    }

    void drawerSwitchesModesLogFolderAndThreads()
    {
        SettingsDrawer *drawer = m_window->drawer;
        AppController &controller = m_window->controller();
        drawer->buttonAutoOffload->setChecked(true);
        QVERIFY(controller.activeTimer());
        QVERIFY(!m_window->itemProcess->isVisible() && !m_window->itemBrowse->isVisible());
        drawer->buttonManualOffload->setChecked(true);
        QVERIFY(!controller.activeTimer());
        QVERIFY(m_window->itemProcess->isVisible());

        drawer->buttonLogToCommonFolder->setChecked(true);
        QVERIFY(!drawer->textCommonLogFolder->isHidden());
        QCOMPARE(controller.ferrydeckSettings().logOptionIndex(), 0);
        drawer->buttonLogToOffloadFolder->setChecked(true);
        QVERIFY(drawer->textCommonLogFolder->isHidden() && drawer->buttonCommonLogBrowse->isHidden());

        drawer->sliderThreadCount->setValue(99);
        QCOMPARE(drawer->textNumberOfThreads->text(), QStringLiteral("10"));
        QCOMPARE(controller.offloadPool().poolSize(), 10);
        QCOMPARE(controller.ferrydeckSettings().amountOfCopyThreads(), 10);
    }

    // A prompt runs a nested event loop, so the automatic tick fires beneath
    // it: it must neither freeze the window nor offload under the question.
    void automaticTickWaitsWhileAPromptStaysOpen()
    {
        runOneJob();
        AppController &controller = m_window->controller();
        m_window->drawer->buttonAutoOffload->setChecked(true);
        int beats = 0;
        QTimer heartbeat;
        connect(&heartbeat, &QTimer::timeout, [&] { ++beats; });
        heartbeat.start(20);
        const QString card = m_media + "/PROMPTCARD";
        size_t queuedDuringPrompt = 0;
        using Buttons = std::vector<std::string>;
        m_window->view().setAlertFunction([&](const std::string &, const std::string &, const Buttons &) {
            writeFiles(folder("media/PROMPTCARD"), 1);
            QEventLoop open;
            QTimer::singleShot(5000, &open, &QEventLoop::quit);
            open.exec();
            queuedDuringPrompt = controller.listOffloadInstances().size();
            return 1; // NO
        });
        m_window->tableProcessingQueue->selectRow(0);
        QTest::keyClick(m_window->tableProcessingQueue, Qt::Key_Delete);
        QVERIFY2(beats > 100, qPrintable(QString::number(beats)));
        QCOMPARE(queuedDuringPrompt, size_t(1)); // the finished job still listed, the new card not taken
        QCOMPARE(m_window->queueModel->rowCount(), 0);
        // Once the prompt is closed the next tick takes the card.
        QTRY_VERIFY_WITH_TIMEOUT(controller.listOffloadInstances().size() == 1 &&
                                     controller.listOffloadInstances().front()->sourceDirectory() == card.toStdString(),
                                 10000);
        const auto job = controller.listOffloadInstances().front();
        QTRY_VERIFY_WITH_TIMEOUT(job->processingTaskIsOver(), 10000);
        m_window->drawer->buttonManualOffload->setChecked(true);
        QDir(card).removeRecursively();
    }

    // The prompt's wording is the controller's; the window must keep itself
    // on NO, save what the drawer holds on the way out and restore the queue.
    void closingAsksWhileOffloadingAndSettingsAndQueueSurviveARestart()
    {
        const QString preferences = m_root.path() + "/restart.json";
        m_window = makeWindow(preferences);
        m_window->controller().addDirectoriesToDestinationList({folder("kept").toStdString()});
        m_window->drawer->buttonContentsVerify->setChecked(true);
        m_window->drawer->sliderThreadCount->setValue(3);
        m_window->drawer->textPrefix->setText("Day1_");
        auto job = OffloadInstance::create(folder("src").toStdString(), folder("dst").toStdString());
        job->setOffloadStatus(OffloadInstance::kProcessing);
        m_window->controller().setListOffloadInstances({job});
        m_window->show();
        m_answers = {"NO"};
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isVisible());
        m_answers = {"YES"};
        QVERIFY(m_window->close());
        job->setOffloadStatus(OffloadInstance::kCanceled);
        m_window.reset();
        // The queue comes back from beside the preferences, a job that was running waiting again.
        SavedJob done, running;
        done.source = "/media/A001";
        running.source = "/media/A002";
        done.destination = running.destination = "/srv/Backup";
        done.status = OffloadInstance::kCompleted;
        running.status = OffloadInstance::kProcessing;
        QVERIFY(QueueStore(QueueStore::besidePreferences(preferences.toStdString())).save({done, running}));
        m_window = makeWindow(preferences);
        QCOMPARE(m_window->queueModel->rowCount(), 2);
        QCOMPARE(status(0), QStringLiteral("Completed"));
        QCOMPARE(status(1), QStringLiteral("In Queue"));
        QCOMPARE(m_window->destinationModel->rowCount(), 1);
        QCOMPARE(m_window->drawer->sliderThreadCount->value(), 3);
        // Loading shows the saved count; the pool stays 4 per processor until the slider moves.
        QCOMPARE(m_window->controller().offloadPool().poolSize(), 4 * 2); // the window's two processors
        QCOMPARE(m_window->drawer->textPrefix->text(), QStringLiteral("Day1_"));
        QCOMPARE(m_window->view().verificationControls().verification, Verification::Contents);
    }

    void mainLoopRunsWorkersTasksOnTheGuiThread()
    {
        auto loop = std::make_shared<QtMainLoop>();
        std::atomic<int> onGui{0};
        std::thread worker([&] {
            loop->post([&] { onGui += loop->isMainThread() ? 1 : 100; });
            loop->invokeAndWait([&] { onGui += loop->isMainThread() ? 1 : 100; });
        });
        QTRY_COMPARE(onGui.load(), 2);
        worker.join();
        bool fired = false, cancelled = false;
        loop->scheduleOnce(0.01, [&] { fired = true; });
        loop->scheduleOnce(0.01, [&] { cancelled = true; })->cancel();
        QTRY_VERIFY(fired);
        QTest::qWait(30);
        QVERIFY(!cancelled);
    }

    void destinationsAreToldApartByTheirDistinguishingEnd()
    {
        struct Case {
            std::vector<std::string> paths;
            std::map<std::string, QString> volumes;
            std::vector<QString> labels;
        };
        const QString e = QStringLiteral("\u2026");
        const Case cases[] = {
            {{"/srv/RAID/Backup/A001", "/srv/SSD/Backup/A001"}, {}, {e + "/RAID/Backup/A001", e + "/SSD/Backup/A001"}},
            {{"/srv/RAID/Backup/A001", "/srv/RAID/Backup/A002"}, {}, {e + "/Backup/A001", e + "/Backup/A002"}},
            // Two volumes with the same folders are told apart by their labels alone.
            {{"/media/T7/Day1/A001", "/media/SHUTTLE/Day1/A001"},
             {{"/media/T7/Day1/A001", "T7"}, {"/media/SHUTTLE/Day1/A001", "SHUTTLE"}},
             {"T7: " + e + "/Day1/A001", "SHUTTLE: " + e + "/Day1/A001"}},
            {{"/A001", "/x/A001"}, {}, {"/A001", "/x/A001"}},
        };
        for (const Case &c : cases) {
            const auto labels = QueueTableModel::destinationLabels(c.paths, [&](const std::string &path) {
                const auto found = c.volumes.find(path);
                return found == c.volumes.end() ? QString() : found->second;
            });
            QCOMPARE(labels, c.labels);
        }
        // The queue shows the label; its tooltip the whole path.
        QueueTableModel model;
        model.setJobs({OffloadInstance::create("/media/CARD", "/srv/a/Backup"),
                       OffloadInstance::create("/media/CARD", "/srv/b/Backup")});
        const QModelIndex second = model.index(1, QueueTableModel::Destination);
        QVERIFY(model.data(model.index(0, QueueTableModel::Destination), Qt::DisplayRole) !=
                model.data(second, Qt::DisplayRole));
        QCOMPARE(model.data(second, Qt::ToolTipRole).toString(), QStringLiteral("/srv/b/Backup"));
    }

    void detailsAreSortedByPathWithHumanSizesThatRoundUp()
    {
        std::vector<std::shared_ptr<FileCopyDetails>> details;
        for (const auto &[path, size] : std::vector<std::pair<std::string, uint64_t>>{
                 {"/card/CLIP/B.MOV", 2'500'000}, {"/card/A.XML", 950}, {"/card/CLIP/A.MOV", 1'000'000'000}}) {
            auto record = std::make_shared<FileCopyDetails>();
            record->setFilePath(path);
            record->setRawFileSize(size);
            record->setHashValue("xxh64 of " + path);
            details.push_back(record);
        }
        FileDetailsModel model;
        model.setDetails(details);
        QStringList shown, sizes;
        for (int row = 0; row < model.rowCount(); ++row) {
            shown << model.data(model.index(row, FileDetailsModel::File), Qt::ToolTipRole).toString();
            // Each checksum stays on its own file's row once sorted.
            QCOMPARE(model.data(model.index(row, FileDetailsModel::Checksum), Qt::DisplayRole).toString(),
                     "xxh64 of " + shown.back());
            sizes << model.data(model.index(row, FileDetailsModel::Size), Qt::DisplayRole).toString();
        }
        QCOMPARE(shown, QStringList({"/card/A.XML", "/card/CLIP/A.MOV", "/card/CLIP/B.MOV"}));
        QCOMPARE(sizes, QStringList({"950 B", "1.00 GB", "2.50 MB"}));
        QCOMPARE(model.data(model.index(2, FileDetailsModel::Size), Qt::ToolTipRole).toString(),
                 QStringLiteral("2500000 bytes"));
        // Sizes round into the next unit rather than show four digits.
        const std::pair<uint64_t, const char *> cases[] = {
            {0, "0 B"},          {999, "999 B"},       {1000, "1.00 kB"},       {99'949, "99.9 kB"},
            {999'499, "999 kB"}, {999'999, "1.00 MB"}, {23'456'789, "23.5 MB"}, {512'000'000'000, "512 GB"},
        };
        for (const auto &[bytes, text] : cases)
            QCOMPARE(humanSize(bytes), QString::fromLatin1(text));
    }

    void drivesShowTheirIconsOnlyRemovableQueueOnDoubleClickAndTheBrowserOpensThem()
    {
        onFixedVolumes();
        DriveTableModel *removable = m_window->removableModel, *local = m_window->localModel;
        QCOMPARE(removable->rowCount(), 2);
        QCOMPARE(local->rowCount(), 1);
        const auto picture = [](const QIcon &icon) { return icon.pixmap(20, 20).toImage(); };
        const auto shown = [&](DriveTableModel *model, int row) {
            return picture(model->data(model->index(row, 0), Qt::DecorationRole).value<QIcon>());
        };
        QCOMPARE(shown(removable, 0), picture(QIcon(":/icons/removable.png")));
        QCOMPARE(shown(removable, 1), picture(QIcon(":/icons/removable.png")));
        QCOMPARE(shown(local, 0), picture(QIcon(":/icons/harddrive.png")));

        doubleClick(m_window->tableLocalDrives, 0);
        QTest::qWait(20);
        QVERIFY(queued().empty());
        doubleClick(m_window->tableRemovableDrives, 1);
        QCOMPARE(queued(), std::vector<std::string>{fixed("CARD_B")});

        // Add All Media takes the card not yet queued, and never the local disk.
        m_window->itemAddAllMedia->trigger();
        QCOMPARE(queued(), (std::vector<std::string>{fixed("CARD_B"), fixed("CARD_A")}));
        QVERIFY(m_alerts.empty());
        QTRY_VERIFY(!m_window->controller().hasActiveWorkers());

        // The volume browser opens in place of the settings drawer.
        m_window->show();
        m_window->dockDrawer->show();
        VolumeBrowserDrawer *volumes = m_window->drawerVolumes;
        m_window->itemVolumes->trigger();
        QVERIFY(volumes->isVisible());
        QVERIFY(m_window->dockDrawer->isHidden());
        QCOMPARE(volumes->numberOfRowsInColumn(), 3);
        QCOMPARE(volumes->popupVolumes->itemData(2).toString().toStdString(), fixed("disk"));
        volumes->popupVolumes->setCurrentIndex(1);
        QCOMPARE(volumes->model->filePath(volumes->browser->rootIndex()).toStdString(), fixed("CARD_B"));
        m_window->itemSettings->trigger();
        QVERIFY(volumes->isHidden());
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QTEST_SET_MAIN_SOURCE_PATH
    MainWindowTest windowTest;
    return QTest::qExec(&windowTest, argc, argv);
}
#include "MainWindowTest.moc"
