#include "gui/DriveTableModel.h"

#include "fsutil/AttachedVolume.h"
#include "gui/GuiText.h"

#include <QIcon>
#include <QMimeData>

#include <set>

namespace ferrydeck {

namespace {
// "removable.tif" (or a path ending in it) names the picture ":/icons/removable.png".
QIcon iconForImage(const std::string &image)
{
    const std::string name = image.substr(image.rfind('/') + 1);
    const std::string stem = name.substr(0, name.rfind('.'));
    return QIcon(QStringLiteral(":/icons/%1.png").arg(QString::fromStdString(stem)));
}
} // namespace

DriveTableModel::DriveTableModel(MountType mountType, QObject *parent)
    : PathTableModel(parent)
    , m_mountType(mountType)
{
}

void DriveTableModel::setVolumes(const std::vector<std::shared_ptr<AttachedVolume>> &allVolumes)
{
    beginResetModel();
    m_volumes.clear();
    for (const auto &volume : allVolumes) {
        if (volume->mountType() == m_mountType) m_volumes.push_back(volume);
    }
    endResetModel();
}

std::shared_ptr<AttachedVolume> DriveTableModel::volumeAt(int row) const
{
    if (row < 0 || static_cast<size_t>(row) >= m_volumes.size()) return nullptr;
    return m_volumes[static_cast<size_t>(row)];
}

int DriveTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_volumes.size());
}

int DriveTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant DriveTableModel::data(const QModelIndex &index, int role) const
{
    const auto volume = volumeAt(index.row());
    if (!volume) return {};
    if (role == Qt::DisplayRole) return pathToQString(volume->volumeName());
    if (role == Qt::ToolTipRole) return pathToQString(volume->volumePath());
    if (role == Qt::DecorationRole && index.column() == Name) return iconForImage(volume->volumeImage());
    return {};
}

QVariant DriveTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    if (section == Name)
        return m_mountType == MountTypeRemovable ? QStringLiteral("Removable") : QStringLiteral("Local");
    return {};
}

Qt::ItemFlags DriveTableModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags flags = PathTableModel::flags(index);
    if (index.isValid() && m_dragHandler) flags |= Qt::ItemIsDragEnabled;
    return flags;
}

Qt::DropActions DriveTableModel::supportedDragActions() const
{
    return Qt::CopyAction | Qt::LinkAction;
}

QMimeData *DriveTableModel::mimeData(const QModelIndexList &indexes) const
{
    if (!m_dragHandler) return nullptr;
    std::set<int> rows;
    for (const QModelIndex &index : indexes)
        rows.insert(index.row());
    std::vector<std::string> paths;
    for (const int row : rows) {
        if (const auto volume = volumeAt(row)) paths.push_back(volume->volumePath());
    }
    m_dragHandler(paths);
    auto *data = new QMimeData;
    data->setData(QStringLiteral("text/uri-list"), QByteArray());
    return data;
}

} // namespace ferrydeck
