#pragma once

#include <QDockWidget>

#include <functional>
#include <memory>
#include <vector>

class QColumnView;
class QComboBox;
class QFileSystemModel;

namespace ferrydeck {

class AttachedVolume;

// The volume-browser drawer: one mounted volume at a time, picked from the
// removable and local volumes listed afresh each time the drawer opens, and
// its folders in a column view.
class VolumeBrowserDrawer : public QDockWidget {
    Q_OBJECT
public:
    using VolumeLister = std::function<std::vector<std::shared_ptr<AttachedVolume>>()>;

    VolumeBrowserDrawer(VolumeLister listVolumes, QWidget *parent = nullptr);

    // The number of volumes offered, as last listed.
    int numberOfRowsInColumn() const;
    void refreshVolumes();

    QComboBox *popupVolumes = nullptr;
    QColumnView *browser = nullptr;
    QFileSystemModel *model = nullptr;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void showVolume(int index);

    VolumeLister m_listVolumes;
};

} // namespace ferrydeck
