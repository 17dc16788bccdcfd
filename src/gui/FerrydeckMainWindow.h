#pragma once

#include "controller/AppController.h"
#include "settings/PreferencesStore.h"

#include <QMainWindow>
#include <QTimer>

#include <memory>
#include <string>
#include <vector>

class QAction;
class QDialog;
class QDockWidget;
class QMimeData;
class QPushButton;
class QTableView;

namespace ferrydeck {

class BrightwaterTableView;
class DestinationTableModel;
class DriveTableModel;
class LogPanel;
class OffloadProgressPanel;
class QtControllerView;
class QtMainLoop;
class QueueTableModel;
class SettingsDrawer;
class VolumeBrowserDrawer;

// The main window: drive tables, processing queue, destinations, the
// settings drawer, the toolbar, and the details, log and About panels. It
// owns the controller and is its window through QtControllerView. Its code is
// split by concern: lifecycle and panels here, MainWindowTables.cpp (tables,
// drops, double-clicks), MainWindowToolbar.cpp (actions, menus, About).
class FerrydeckMainWindow : public QMainWindow {
    Q_OBJECT
public:
    struct Options {
        AppController::Options controller;
        // The preferences file; the user's own when empty.
        std::string preferencesPath;
    };
    enum class DropTarget { Queue, Destinations, RemovableDrives };

    explicit FerrydeckMainWindow(Options options = Options(), QWidget *parent = nullptr);
    ~FerrydeckMainWindow() override;

    AppController &controller() { return *m_controller; }
    QtControllerView &view() { return *m_view; }

    // --- what the controller asks through its view ------------------------------
    void reloadQueueTable();
    void reloadDestinationTable();
    void reloadDriveTables();
    void showDetails(const std::shared_ptr<OffloadInstance> &job);
    // Many refreshes arrive per second during an offload; they are gathered
    // into one repaint of the queue and the details panel every kRefreshMs.
    void refreshDetails(const std::shared_ptr<OffloadInstance> &job);
    void closeDetails();
    void showLog(const std::string &text);
    void showConsecutiveNumber(const std::string &text);
    void showNamingPreview(const std::string &text);
    void setNamingFieldsVisible(bool customName, bool stepper);
    void setCommonLogFolderVisible(bool visible);
    void makeManualItemsVisible(bool visible);

    // --- actions ------------------------------------------------------------------
    void addRowToQueue();
    void addDestinationFromChooser();
    void removeSelectedDestination();
    void showOffloadDetails();
    void addMountedDriveToQueue(QTableView *table);
    void cancelViewedOffloadInstance();
    void toggleDrawer();
    void toggleFinderDrawer();
    void openAbout();
    // A drop onto one of the tables; the paths are queued or added once the
    // drag has finished.
    bool acceptDrop(const QMimeData &data, DropTarget target);
    // Rows dragged out of the removable-drive table.
    void writeRowsToDrag(const std::vector<std::string> &paths) { m_listDroppedUrls = paths; }

    // --- lifecycle -------------------------------------------------------------------
    bool applicationShouldTerminate();
    void applicationWillTerminate();

    static constexpr int kRefreshMs = 200;

    BrightwaterTableView *tableProcessingQueue = nullptr;
    QTableView *tableOffloadDestinations = nullptr;
    QTableView *tableRemovableDrives = nullptr;
    QTableView *tableLocalDrives = nullptr;
    QueueTableModel *queueModel = nullptr;
    DestinationTableModel *destinationModel = nullptr;
    DriveTableModel *removableModel = nullptr;
    DriveTableModel *localModel = nullptr;
    QPushButton *buttonAddDestination = nullptr;
    QPushButton *buttonRemoveDestination = nullptr;
    SettingsDrawer *drawer = nullptr;
    QDockWidget *dockDrawer = nullptr;
    VolumeBrowserDrawer *drawerVolumes = nullptr;
    OffloadProgressPanel *panelProgress = nullptr;
    LogPanel *panelLog = nullptr;
    QDialog *panelAbout = nullptr;
    QAction *itemBrowse = nullptr;
    QAction *itemAddAllMedia = nullptr;
    QAction *itemProcess = nullptr;
    QAction *itemCancelAll = nullptr;
    QAction *itemClear = nullptr;
    QAction *itemSettings = nullptr;
    QAction *itemVolumes = nullptr;
    QAction *itemAbout = nullptr;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void buildTables();
    void connectTables();
    void buildToolbar();
    void buildPanels();
    void loadDefaults();
    void flushRefresh();

    std::shared_ptr<QtMainLoop> m_loop;
    std::shared_ptr<QtControllerView> m_view;
    std::unique_ptr<AppController> m_controller;
    std::vector<std::string> m_listDroppedUrls;
    QTimer m_refreshTimer;
    bool m_terminated = false;
};

} // namespace ferrydeck
