#include "gui/PathTableModel.h"

#include <QMimeData>

namespace ferrydeck {

Qt::ItemFlags PathTableModel::flags(const QModelIndex &index) const
{
    return QAbstractTableModel::flags(index) | Qt::ItemIsDropEnabled;
}

QStringList PathTableModel::mimeTypes() const
{
    return {QStringLiteral("text/uri-list")};
}

Qt::DropActions PathTableModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

bool PathTableModel::canDropMimeData(const QMimeData *, Qt::DropAction, int, int, const QModelIndex &) const
{
    return true;
}

bool PathTableModel::dropMimeData(const QMimeData *data, Qt::DropAction, int, int, const QModelIndex &)
{
    if (!data || !m_dropHandler) return false;
    return m_dropHandler(*data);
}

} // namespace ferrydeck
