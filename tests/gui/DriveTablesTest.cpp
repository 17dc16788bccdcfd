#include "engine/OffloadInstance.h"
#include "gui/DriveTableModel.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/QtControllerView.h"
#include "gui/QueueTableModel.h"
#include "gui/SettingsDrawer.h"
#include "gui/VolumeBrowserDrawer.h"
#include "../support/FixedVolumes.h"

#include <QAction>
#include <QColumnView>
#include <QComboBox>
#include <QDockWidget>
#include <QFileSystemModel>
#include <QDir>
#include <QIcon>
#include <QLineEdit>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

using namespace ferrydeck;
using ferrydeck::test::FixedVolumes;

class DriveTablesTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_root;
    std::unique_ptr<FerrydeckMainWindow> m_window;

    std::string folder(const QString &name)
    {
        QDir().mkpath(m_root.path() + "/" + name);
        return (m_root.path() + "/" + name).toStdString();
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

private slots:
    void init()
    {
        FerrydeckMainWindow::Options options;
        options.preferencesPath = (m_root.path() + "/prefs.json").toStdString();
        options.controller.processorCount = 2;
        options.controller.playSound = [](const std::string &) {};
        VolumeService::setCurrent(std::make_shared<FixedVolumes>(
            std::vector<std::string>{folder("disk"), folder("media/CARD_A"), folder("media/CARD_B")},
            std::vector<std::string>{folder("media/CARD_A"), folder("media/CARD_B")}));
        m_window = std::make_unique<FerrydeckMainWindow>(options);
        m_window->view().setAlertFunction(
            [](const std::string &title, const std::string &message, const std::vector<std::string> &) {
                qWarning("unexpected alert %s: %s", title.c_str(), message.c_str());
                return 0;
            });
        m_window->controller().addDirectoriesToDestinationList({folder("backup")});
        m_window->controller().refreshDriveLists();
    }

    void cleanup()
    {
        m_window.reset();
        VolumeService::setCurrent(nullptr);
    }

    void eachTableShowsItsIconAndOnlyRemovableQueuesOnDoubleClick()
    {
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
        QCOMPARE(queued(), std::vector<std::string>{folder("media/CARD_B")});

        // Add All Media takes the card not yet queued, and never the local disk.
        m_window->itemAddAllMedia->trigger();
        QCOMPARE(queued(), (std::vector<std::string>{folder("media/CARD_B"), folder("media/CARD_A")}));
        QTRY_VERIFY(!m_window->controller().hasActiveWorkers());
    }

    void volumeBrowserOpensInPlaceOfTheSettingsDrawer()
    {
        m_window->show();
        m_window->dockDrawer->show();
        VolumeBrowserDrawer *volumes = m_window->drawerVolumes;
        m_window->itemVolumes->trigger();
        QVERIFY(volumes->isVisible());
        QVERIFY(m_window->dockDrawer->isHidden());
        QCOMPARE(volumes->numberOfRowsInColumn(), 3);
        QCOMPARE(volumes->popupVolumes->itemData(2).toString().toStdString(), folder("disk"));
        volumes->popupVolumes->setCurrentIndex(1);
        QCOMPARE(volumes->model->filePath(volumes->browser->rootIndex()).toStdString(), folder("media/CARD_B"));
        m_window->itemSettings->trigger();
        QVERIFY(volumes->isHidden());
    }

    void namingFieldsActWhenEditingEnds()
    {
        QLineEdit *prefix = m_window->drawer->textPrefix;
        FerrydeckSettings &settings = m_window->controller().ferrydeckSettings();
        const std::string before = settings.textPrefix();
        QTest::keyClicks(prefix, "Day/1");
        QCOMPARE(settings.textPrefix(), before);
        QTest::keyClick(prefix, Qt::Key_Return);
        QVERIFY(!prefix->text().contains('/'));
        QCOMPARE(QString::fromStdString(settings.textPrefix()), prefix->text());
    }
};

int runDriveTablesTest(int argc, char **argv)
{
    DriveTablesTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DriveTablesTest.moc"
