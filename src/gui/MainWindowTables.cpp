#include "gui/FerrydeckMainWindow.h"

#include "fsutil/AttachedVolume.h"
#include "fsutil/FileUtilities.h"
#include "gui/BrightwaterTableView.h"
#include "gui/DestinationTableModel.h"
#include "gui/DriveTableModel.h"
#include "gui/GuiText.h"
#include "gui/QueueTableModel.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QUrl>
#include <QVBoxLayout>

namespace ferrydeck {

namespace {
QWidget *titled(const QString &title, QWidget *table, QLayout *extra = nullptr)
{
    auto *box = new QWidget;
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(4, 4, 4, 4);
    auto *label = new QLabel(title);
    label->setStyleSheet(QStringLiteral("font-weight: bold"));
    layout->addWidget(label);
    layout->addWidget(table, 1);
    if (extra) layout->addLayout(extra);
    return box;
}

void setUpTable(QTableView *table, QAbstractItemModel *model, QAbstractItemView::DragDropMode mode)
{
    table->setModel(model);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setShowGrid(false);
    table->setWordWrap(false);
    // Paths differ at their ends: the middle is what can go.
    table->setTextElideMode(Qt::ElideMiddle);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setHighlightSections(false);
    table->setDragDropMode(mode);
    table->setDefaultDropAction(Qt::CopyAction);
    table->setDropIndicatorShown(true);
    table->setAcceptDrops(true);
    table->viewport()->setAcceptDrops(true);
}
} // namespace

void FerrydeckMainWindow::buildTables()
{
    queueModel = new QueueTableModel(this);
    destinationModel = new DestinationTableModel(this);
    removableModel = new DriveTableModel(MountTypeRemovable, this);
    localModel = new DriveTableModel(MountTypeLocal, this);

    tableProcessingQueue = new BrightwaterTableView;
    setUpTable(tableProcessingQueue, queueModel, QAbstractItemView::DropOnly);
    QHeaderView *queueHeader = tableProcessingQueue->horizontalHeader();
    queueHeader->setStretchLastSection(false);
    queueHeader->setSectionResizeMode(QueueTableModel::Source, QHeaderView::Stretch);
    queueHeader->setSectionResizeMode(QueueTableModel::Destination, QHeaderView::Stretch);
    tableProcessingQueue->setColumnWidth(QueueTableModel::Size, 90);
    tableProcessingQueue->setColumnWidth(QueueTableModel::Files, 100);
    tableProcessingQueue->setColumnWidth(QueueTableModel::Status, 100);
    tableOffloadDestinations = new QTableView;
    setUpTable(tableOffloadDestinations, destinationModel, QAbstractItemView::DropOnly);
    tableOffloadDestinations->setColumnWidth(DestinationTableModel::InUse, 44);
    tableRemovableDrives = new QTableView;
    setUpTable(tableRemovableDrives, removableModel, QAbstractItemView::DragDrop);
    tableRemovableDrives->setDragEnabled(true);
    tableLocalDrives = new QTableView;
    setUpTable(tableLocalDrives, localModel, QAbstractItemView::NoDragDrop);
    for (QTableView *drives : {tableRemovableDrives, tableLocalDrives}) {
        drives->horizontalHeader()->hide();
        drives->setIconSize(QSize(20, 20));
    }

    buttonAddDestination = new QPushButton(QStringLiteral("Add..."));
    buttonRemoveDestination = new QPushButton(QStringLiteral("Remove"));
    auto *destinationButtons = new QHBoxLayout;
    destinationButtons->addWidget(new QLabel(QStringLiteral("Drop folders here or")));
    destinationButtons->addWidget(buttonAddDestination);
    destinationButtons->addWidget(buttonRemoveDestination);
    destinationButtons->addStretch(1);

    auto *drives = new QSplitter(Qt::Vertical);
    drives->addWidget(titled(QStringLiteral("Removable Drives"), tableRemovableDrives));
    drives->addWidget(titled(QStringLiteral("Local Drives"), tableLocalDrives));
    auto *work = new QSplitter(Qt::Vertical);
    work->addWidget(titled(QStringLiteral("Processing Queue"), tableProcessingQueue));
    work->addWidget(titled(QStringLiteral("Destinations"), tableOffloadDestinations, destinationButtons));
    work->setStretchFactor(0, 3);
    work->setStretchFactor(1, 1);
    auto *main = new QSplitter(Qt::Horizontal);
    main->addWidget(drives);
    main->addWidget(work);
    main->setStretchFactor(0, 1);
    main->setStretchFactor(1, 3);
    main->setSizes({220, 980});
    setCentralWidget(main);
}

void FerrydeckMainWindow::connectTables()
{
    queueModel->setDropHandler([this](const QMimeData &data) { return acceptDrop(data, DropTarget::Queue); });
    destinationModel->setDropHandler(
        [this](const QMimeData &data) { return acceptDrop(data, DropTarget::Destinations); });
    removableModel->setDropHandler(
        [this](const QMimeData &data) { return acceptDrop(data, DropTarget::RemovableDrives); });
    removableModel->setDragHandler([this](const std::vector<std::string> &paths) { writeRowsToDrag(paths); });

    tableProcessingQueue->setMySel(
        [this] { m_controller->removeRowFromProcessingQueue(tableProcessingQueue->selectedRowNumbers()); });
    connect(tableProcessingQueue, &QTableView::doubleClicked, this, [this] { showOffloadDetails(); });
    connect(tableRemovableDrives, &QTableView::doubleClicked, this,
            [this] { addMountedDriveToQueue(tableRemovableDrives); });
    connect(buttonAddDestination, &QPushButton::clicked, this, &FerrydeckMainWindow::addDestinationFromChooser);
    connect(buttonRemoveDestination, &QPushButton::clicked, this, &FerrydeckMainWindow::removeSelectedDestination);
}

bool FerrydeckMainWindow::acceptDrop(const QMimeData &data, DropTarget target)
{
    if (!data.hasUrls()) return false;
    std::vector<std::string> paths;
    for (const QUrl &url : data.urls()) {
        if (url.isLocalFile()) paths.push_back(pathFromQString(url.toLocalFile()));
    }
    for (const std::string &path : m_listDroppedUrls) {
        if (path::exists(path)) paths.push_back(path);
    }
    m_listDroppedUrls.clear();
    if (target == DropTarget::RemovableDrives) return true;
    // Alerts the controller may raise wait until the drag has ended.
    QMetaObject::invokeMethod(
        this,
        [this, target, paths] {
            if (target == DropTarget::Queue) m_controller->addDirectoriesToOffloadList(paths);
            else m_controller->addDirectoriesToDestinationList(paths);
        },
        Qt::QueuedConnection);
    return true;
}

void FerrydeckMainWindow::reloadDestinationTable()
{
    destinationModel->setDestinations(m_controller->listOffloadDestinations());
}

void FerrydeckMainWindow::reloadDriveTables()
{
    const auto volumes = m_controller->listMountedMedia();
    removableModel->setVolumes(volumes);
    localModel->setVolumes(volumes);
}

void FerrydeckMainWindow::addMountedDriveToQueue(QTableView *table)
{
    const QModelIndex current = table->currentIndex();
    if (!current.isValid()) return;
    auto *model = static_cast<DriveTableModel *>(table->model());
    if (const auto volume = model->volumeAt(current.row()))
        m_controller->addDirectoriesToOffloadList({volume->volumePath()});
}

void FerrydeckMainWindow::addRowToQueue()
{
    if (!m_controller->areAnyDestinationsSelected()) return;
    const auto chosen =
        m_controller->browseForDirectoryWithMessage("Please select a directory to offload", "Add to Offload Queue");
    if (chosen) m_controller->addDirectoriesToOffloadList({*chosen});
}

void FerrydeckMainWindow::addDestinationFromChooser()
{
    const auto chosen = m_controller->browseForDirectoryWithMessage("Please select a directory", "Open");
    if (chosen) m_controller->addDirectoriesToDestinationList({*chosen});
}

void FerrydeckMainWindow::removeSelectedDestination()
{
    const QModelIndexList rows = tableOffloadDestinations->selectionModel()->selectedRows();
    m_controller->removeRowFromDestinationTable(rows.isEmpty() ? -1 : rows.front().row());
}

} // namespace ferrydeck
