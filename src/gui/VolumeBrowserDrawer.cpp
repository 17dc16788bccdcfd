#include "gui/VolumeBrowserDrawer.h"

#include "fsutil/AttachedVolume.h"
#include "gui/GuiText.h"

#include <QColumnView>
#include <QComboBox>
#include <QFileSystemModel>
#include <QVBoxLayout>

namespace ferrydeck {

VolumeBrowserDrawer::VolumeBrowserDrawer(VolumeLister listVolumes, QWidget *parent)
    : QDockWidget(QStringLiteral("Volumes"), parent)
    , m_listVolumes(std::move(listVolumes))
{
    setObjectName(QStringLiteral("volumeBrowserDrawer"));
    setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
    auto *content = new QWidget(this);
    auto *layout = new QVBoxLayout(content);
    popupVolumes = new QComboBox(content);
    model = new QFileSystemModel(this);
    // Browsing only: nothing is renamed, moved or dropped here.
    model->setReadOnly(true);
    model->setFilter(QDir::AllEntries | QDir::NoDotAndDotDot);
    browser = new QColumnView(content);
    browser->setModel(model);
    browser->setMinimumWidth(420);
    layout->addWidget(popupVolumes);
    layout->addWidget(browser, 1);
    setWidget(content);
    connect(popupVolumes, &QComboBox::currentIndexChanged, this, &VolumeBrowserDrawer::showVolume);
}

int VolumeBrowserDrawer::numberOfRowsInColumn() const
{
    return popupVolumes->count();
}

void VolumeBrowserDrawer::refreshVolumes()
{
    const QString current = popupVolumes->currentData().toString();
    popupVolumes->blockSignals(true);
    popupVolumes->clear();
    for (const auto &volume : m_listVolumes())
        popupVolumes->addItem(pathToQString(volume->volumeName()), pathToQString(volume->volumePath()));
    const int kept = popupVolumes->findData(current);
    popupVolumes->setCurrentIndex(kept >= 0 ? kept : 0);
    popupVolumes->blockSignals(false);
    showVolume(popupVolumes->currentIndex());
}

void VolumeBrowserDrawer::showEvent(QShowEvent *event)
{
    refreshVolumes();
    QDockWidget::showEvent(event);
}

void VolumeBrowserDrawer::showVolume(int index)
{
    if (index < 0) return;
    const QString path = popupVolumes->itemData(index).toString();
    browser->setRootIndex(model->setRootPath(path));
}

} // namespace ferrydeck
