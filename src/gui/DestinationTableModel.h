#pragma once

#include "gui/PathTableModel.h"

#include <memory>
#include <vector>

namespace ferrydeck {

class OffloadDestination;

// The destination folders with their in-use ticks; a tick changes the record
// itself, which the controller reads when it queues sources.
class DestinationTableModel : public PathTableModel {
    Q_OBJECT
public:
    enum Column { InUse, Path, ColumnCount };

    using PathTableModel::PathTableModel;

    void setDestinations(std::vector<std::shared_ptr<OffloadDestination>> destinations);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<std::shared_ptr<OffloadDestination>> m_destinations;
};

} // namespace ferrydeck
