#pragma once

#include "fsutil/AttachedVolume.h"
#include "gui/PathTableModel.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ferrydeck {

class AttachedVolume;

// One of the two drive tables: the mounted volumes of one mount type.
// Dragging rows out hands their paths to the window, which keeps them until
// a drop takes them; the drag itself carries an empty URL list, as designed.
class DriveTableModel : public PathTableModel {
    Q_OBJECT
public:
    using DragHandler = std::function<void(const std::vector<std::string> &)>;
    // The path is the tool tip: the name is what a person looks for.
    enum Column { Name, ColumnCount };

    DriveTableModel(MountType mountType, QObject *parent = nullptr);

    void setVolumes(const std::vector<std::shared_ptr<AttachedVolume>> &allVolumes);
    std::shared_ptr<AttachedVolume> volumeAt(int row) const;
    // Only a table with a drag handler lets rows be dragged out.
    void setDragHandler(DragHandler handler) { m_dragHandler = std::move(handler); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    Qt::DropActions supportedDragActions() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;

private:
    MountType m_mountType;
    std::vector<std::shared_ptr<AttachedVolume>> m_volumes;
    DragHandler m_dragHandler;
};

} // namespace ferrydeck
