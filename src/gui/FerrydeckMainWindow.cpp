#include "gui/FerrydeckMainWindow.h"

#include "Version.h"
#include "gui/BrightwaterTableView.h"
#include "gui/GuiText.h"
#include "gui/LogPanel.h"
#include "gui/OffloadProgressPanel.h"
#include "gui/QtControllerView.h"
#include "gui/QtMainLoop.h"
#include "gui/QueueTableModel.h"
#include "gui/SettingsDrawer.h"
#include "controller/DefaultsPersistence.h"
#include "gui/VolumeBrowserDrawer.h"

#include <QCloseEvent>
#include <QDialog>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSpinBox>

namespace ferrydeck {

FerrydeckMainWindow::FerrydeckMainWindow(Options options, QWidget *parent)
    : QMainWindow(parent)
    , m_loop(std::make_shared<QtMainLoop>())
    , m_view(std::make_shared<QtControllerView>(this))
{
    setWindowTitle(QString::fromLatin1(kApplicationName));
    setWindowIcon(QIcon(QStringLiteral(":/icons/ferrydeck.png")));
    // The widgets come first: the controller shows its stepper while it is made.
    buildTables();
    drawer = new SettingsDrawer;
    buildPanels();
    const std::string preferences =
        options.preferencesPath.empty() ? PreferencesStore::defaultFilePath() : options.preferencesPath;
    options.controller.preferences = std::make_shared<PreferencesStore>(preferences);
    options.controller.queueStore = std::make_shared<QueueStore>(QueueStore::besidePreferences(preferences));
    m_controller = std::make_unique<AppController>(m_view, m_loop, std::move(options.controller));
    drawer->attach(*m_controller, *m_view);
    connectTables();
    buildToolbar();

    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(kRefreshMs);
    connect(&m_refreshTimer, &QTimer::timeout, this, &FerrydeckMainWindow::flushRefresh);
    loadDefaults();
    resize(1280, 760);
}

FerrydeckMainWindow::~FerrydeckMainWindow()
{
    // Whatever workers still post finds no window; the controller then
    // cancels and joins its threads while the loop is still there.
    m_view->detach();
    m_loop->shutDown();
    m_controller.reset();
}

void FerrydeckMainWindow::buildPanels()
{
    dockDrawer = new QDockWidget(QStringLiteral("Settings"), this);
    dockDrawer->setObjectName(QStringLiteral("settingsDrawer"));
    dockDrawer->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
    auto *scroller = new QScrollArea(dockDrawer);
    scroller->setWidget(drawer);
    scroller->setWidgetResizable(true);
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller->setMinimumWidth(drawer->sizeHint().width() + scroller->verticalScrollBar()->sizeHint().width() + 4);
    dockDrawer->setWidget(scroller);
    addDockWidget(Qt::RightDockWidgetArea, dockDrawer);
    // Volumes are listed when the drawer opens, after the controller exists.
    drawerVolumes = new VolumeBrowserDrawer(
        [this] {
            auto volumes = m_controller->refreshRemovableMedia();
            const auto local = m_controller->refreshMountedMedia();
            volumes.insert(volumes.end(), local.begin(), local.end());
            return volumes;
        },
        this);
    addDockWidget(Qt::LeftDockWidgetArea, drawerVolumes);
    drawerVolumes->hide();
    // One drawer at a time, as designed.
    connect(drawerVolumes, &QDockWidget::visibilityChanged, this, [this](bool shown) {
        if (shown) dockDrawer->hide();
    });
    connect(dockDrawer, &QDockWidget::visibilityChanged, this, [this](bool shown) {
        if (shown) drawerVolumes->hide();
    });

    panelProgress = new OffloadProgressPanel(this);
    panelLog = new LogPanel(this);
    connect(panelProgress, &OffloadProgressPanel::saveLogRequested, this, [this] { m_controller->saveLog(); });
    connect(panelProgress, &OffloadProgressPanel::viewLogRequested, this, [this] { m_controller->viewLog(); });
    connect(panelProgress, &OffloadProgressPanel::cancelRequested, this,
            &FerrydeckMainWindow::cancelViewedOffloadInstance);
    connect(panelProgress, &OffloadProgressPanel::resumeRequested, this, [this] {
        if (const auto job = m_controller->viewedInstance()) m_controller->resumeJob(job);
    });
    connect(panelLog, &LogPanel::saveLogRequested, this, [this] { m_controller->saveLog(); });
}

void FerrydeckMainWindow::loadDefaults()
{
    m_controller->loadDefaults();
    m_controller->restoreQueue();
    const FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    m_controller->refreshDriveLists();
    drawer->showLoadedSettings();
    dockDrawer->setVisible(settings.settingsPanelOpen());
    // The drawer opens at its top.
    if (auto *scroller = qobject_cast<QScrollArea *>(dockDrawer->widget())) scroller->verticalScrollBar()->setValue(0);
}

bool FerrydeckMainWindow::applicationShouldTerminate()
{
    return m_controller->applicationShouldTerminate();
}

void FerrydeckMainWindow::applicationWillTerminate()
{
    if (m_terminated) return;
    m_terminated = true;
    m_controller->ferrydeckSettings().setSettingsPanelOpen(dockDrawer->isVisible());
    // Asks about unsaved logs, then saves settings and destinations with the window's texts.
    m_controller->applicationWillTerminate();
}

void FerrydeckMainWindow::closeEvent(QCloseEvent *event)
{
    if (!m_terminated && !applicationShouldTerminate()) {
        event->ignore();
        return;
    }
    applicationWillTerminate();
    panelProgress->close();
    panelLog->close();
    if (panelAbout) panelAbout->close();
    event->accept();
}

void FerrydeckMainWindow::reloadQueueTable()
{
    queueModel->setJobs(m_controller->listOffloadInstances());
}

void FerrydeckMainWindow::showDetails(const std::shared_ptr<OffloadInstance> &job)
{
    m_controller->setViewedInstance(job);
    panelProgress->configureDetailsWindowToInstance(job);
    panelProgress->show();
    panelProgress->raise();
}

void FerrydeckMainWindow::showOffloadDetails()
{
    std::shared_ptr<OffloadInstance> job;
    {
        std::lock_guard lock(m_controller->lockOffloadInstances());
        closeDetails();
        const std::vector<int> rows = tableProcessingQueue->selectedRowNumbers();
        // Nothing selected is a bad row, ignored as designed.
        if (rows.empty()) return;
        job = queueModel->jobAt(rows.front());
    }
    if (job) showDetails(job);
}

void FerrydeckMainWindow::refreshDetails(const std::shared_ptr<OffloadInstance> &)
{
    if (!m_refreshTimer.isActive()) m_refreshTimer.start();
}

void FerrydeckMainWindow::flushRefresh()
{
    queueModel->refreshRows();
    const std::shared_ptr<OffloadInstance> viewed = m_controller->viewedInstance();
    if (!viewed || panelProgress->shownInstance() != viewed) return;
    // A job busy with its display skips this refresh; the next one shows it.
    if (!panelProgress->updateDetailsWindow(viewed)) m_refreshTimer.start();
}

void FerrydeckMainWindow::closeDetails()
{
    panelProgress->close();
    panelProgress->clear();
}

void FerrydeckMainWindow::cancelViewedOffloadInstance()
{
    if (const auto viewed = m_controller->viewedInstance()) m_controller->cancelOffloadInstance(viewed);
}

void FerrydeckMainWindow::showLog(const std::string &text)
{
    // The controller hands over the plain text; the viewed job has it in colour.
    const auto viewed = m_controller->viewedInstance();
    if (viewed) panelLog->showSegments(viewed->interface()->logDetails());
    else panelLog->showText(text);
    panelLog->show();
    panelLog->raise();
}

void FerrydeckMainWindow::showConsecutiveNumber(const std::string &text)
{
    drawer->textStepperCount->setText(QString::fromStdString(text));
    const QSignalBlocker blocker(drawer->stepperConsecutiveNumber);
    drawer->stepperConsecutiveNumber->setValue(m_controller
                                                   ? m_controller->ferrydeckSettings().valueConsecutiveNumbering()
                                                   : drawer->stepperConsecutiveNumber->value());
}

void FerrydeckMainWindow::showNamingPreview(const std::string &text)
{
    drawer->textFullNameScheme->setText(pathToQString(text));
}

void FerrydeckMainWindow::setNamingFieldsVisible(bool customName, bool stepper)
{
    drawer->textCustomNameScheme->setVisible(customName);
    drawer->boxAutoIncrementScheme->setVisible(stepper);
}

void FerrydeckMainWindow::setCommonLogFolderVisible(bool visible)
{
    drawer->textCommonLogFolder->setVisible(visible);
    drawer->buttonCommonLogBrowse->setVisible(visible);
}

void FerrydeckMainWindow::makeManualItemsVisible(bool visible)
{
    for (QAction *action : {itemBrowse, itemAddAllMedia, itemProcess, itemClear}) {
        if (action) action->setVisible(visible);
    }
}

void FerrydeckMainWindow::toggleDrawer()
{
    dockDrawer->setVisible(!dockDrawer->isVisible());
}

void FerrydeckMainWindow::toggleFinderDrawer()
{
    drawerVolumes->setVisible(!drawerVolumes->isVisible());
}

} // namespace ferrydeck
