#include "gui/FerrydeckMainWindow.h"

#include "Version.h"
#include "gui/OffloadProgressPanel.h"
#include "gui/VolumeBrowserDrawer.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDockWidget>
#include <QLabel>
#include <QMenuBar>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>

namespace ferrydeck {

void FerrydeckMainWindow::buildToolbar()
{
    auto action = [this](QStyle::StandardPixmap icon, const char *text, const char *tip) {
        auto *item = new QAction(style()->standardIcon(icon), QString::fromLatin1(text), this);
        item->setToolTip(QString::fromLatin1(tip));
        return item;
    };
    itemBrowse = action(QStyle::SP_DirOpenIcon, "Add to Queue", "Choose a folder to offload");
    itemAddAllMedia =
        action(QStyle::SP_DriveHDIcon, "Add All Media", "Queue every mounted removable volume not yet queued");
    itemProcess = action(QStyle::SP_MediaPlay, "Process", "Start every waiting offload");
    itemCancelAll = action(QStyle::SP_BrowserStop, "Cancel All", "Cancel every offload");
    itemClear = action(QStyle::SP_DialogResetButton, "Clear", "Remove finished and waiting offloads");
    itemSettings = dockDrawer->toggleViewAction();
    itemSettings->setIcon(style()->standardIcon(QStyle::SP_FileDialogDetailedView));
    itemSettings->setText(QStringLiteral("Settings"));
    itemVolumes = drawerVolumes->toggleViewAction();
    itemVolumes->setIcon(style()->standardIcon(QStyle::SP_DirHomeIcon));
    itemVolumes->setText(QStringLiteral("Volumes"));
    itemAbout = new QAction(QStringLiteral("About %1").arg(QString::fromLatin1(kApplicationName)), this);

    connect(itemBrowse, &QAction::triggered, this, &FerrydeckMainWindow::addRowToQueue);
    connect(itemAddAllMedia, &QAction::triggered, this, [this] { m_controller->addAllMountedMediaToQueue(); });
    connect(itemProcess, &QAction::triggered, this, [this] { m_controller->processAllItemsInTheQueue(); });
    connect(itemCancelAll, &QAction::triggered, this, [this] { m_controller->cancelAllItemsInTheQueue(); });
    connect(itemClear, &QAction::triggered, this, [this] { m_controller->clearProcessingQueue(); });
    connect(itemAbout, &QAction::triggered, this, &FerrydeckMainWindow::openAbout);

    QToolBar *toolbar = addToolBar(QStringLiteral("Offload"));
    toolbar->setObjectName(QStringLiteral("offloadToolbar"));
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolbar->addActions({itemBrowse, itemAddAllMedia});
    toolbar->addSeparator();
    toolbar->addActions({itemProcess, itemCancelAll, itemClear});
    auto *spacer = new QWidget(toolbar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    toolbar->addActions({itemVolumes, itemSettings});

    QMenu *file = menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(itemBrowse);
    file->addSeparator();
    QAction *quit = file->addAction(QStringLiteral("&Quit"), this, &QWidget::close);
    quit->setShortcut(QKeySequence::Quit);
    QMenu *offload = menuBar()->addMenu(QStringLiteral("&Offload"));
    offload->addActions({itemAddAllMedia, itemProcess, itemCancelAll, itemClear});
    QMenu *window = menuBar()->addMenu(QStringLiteral("&Window"));
    window->addActions({itemSettings, itemVolumes});
    window->addAction(QStringLiteral("Offload Details"), this, [this] {
        panelProgress->show();
        panelProgress->raise();
    });
    window->addAction(QStringLiteral("Offload Log"), this, [this] { m_controller->viewLog(); });
    menuBar()->addMenu(QStringLiteral("&Help"))->addAction(itemAbout);
}

void FerrydeckMainWindow::openAbout()
{
    if (!panelAbout) {
        panelAbout = new QDialog(this);
        panelAbout->setWindowTitle(QStringLiteral("About %1").arg(QString::fromLatin1(kApplicationName)));
        auto *layout = new QVBoxLayout(panelAbout);
        auto *icon = new QLabel(panelAbout);
        icon->setPixmap(windowIcon().pixmap(96, 96));
        icon->setAlignment(Qt::AlignCenter);
        auto *name = new QLabel(QString::fromLatin1(kApplicationName), panelAbout);
        name->setStyleSheet(QStringLiteral("font-size: 18pt; font-weight: bold"));
        name->setAlignment(Qt::AlignCenter);
        auto *labelAboutVersionNumber =
            new QLabel(QStringLiteral("Version %1").arg(QString::fromLatin1(kVersion)), panelAbout);
        labelAboutVersionNumber->setObjectName(QStringLiteral("labelAboutVersionNumber"));
        labelAboutVersionNumber->setAlignment(Qt::AlignCenter);
        auto *site = new QLabel(QString::fromLatin1(kMakerWebAddress), panelAbout);
        site->setAlignment(Qt::AlignCenter);
        auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, panelAbout);
        connect(buttons, &QDialogButtonBox::rejected, panelAbout, &QDialog::close);
        for (QWidget *widget : std::initializer_list<QWidget *>{icon, name, labelAboutVersionNumber, site, buttons})
            layout->addWidget(widget);
    }
    panelAbout->show();
    panelAbout->raise();
}

} // namespace ferrydeck
