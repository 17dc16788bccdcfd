#include "gui/DestinationTableModel.h"

#include "engine/OffloadDestination.h"
#include "gui/GuiText.h"

namespace ferrydeck {

void DestinationTableModel::setDestinations(std::vector<std::shared_ptr<OffloadDestination>> destinations)
{
    beginResetModel();
    m_destinations = std::move(destinations);
    endResetModel();
}

int DestinationTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_destinations.size());
}

int DestinationTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant DestinationTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || static_cast<size_t>(index.row()) >= m_destinations.size()) return {};
    const auto &destination = m_destinations[static_cast<size_t>(index.row())];
    if (index.column() == InUse && role == Qt::CheckStateRole)
        return destination->inUse() ? Qt::Checked : Qt::Unchecked;
    if (index.column() == Path && (role == Qt::DisplayRole || role == Qt::ToolTipRole))
        return pathToQString(destination->destinationPath());
    return {};
}

bool DestinationTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.column() != InUse || role != Qt::CheckStateRole) return false;
    if (static_cast<size_t>(index.row()) >= m_destinations.size()) return false;
    m_destinations[static_cast<size_t>(index.row())]->setInUse(value.toInt() == Qt::Checked);
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

Qt::ItemFlags DestinationTableModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags flags = PathTableModel::flags(index);
    if (index.isValid() && index.column() == InUse) flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QVariant DestinationTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    if (section == InUse) return QStringLiteral("Use");
    if (section == Path) return QStringLiteral("Destination");
    return {};
}

} // namespace ferrydeck
