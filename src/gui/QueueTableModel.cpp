#include "gui/QueueTableModel.h"

#include "engine/OffloadInstance.h"
#include "gui/GuiText.h"

namespace ferrydeck {

void QueueTableModel::setJobs(std::vector<std::shared_ptr<OffloadInstance>> jobs)
{
    if (jobs == m_jobs) {
        refreshRows();
        return;
    }
    beginResetModel();
    m_jobs = std::move(jobs);
    endResetModel();
}

std::shared_ptr<OffloadInstance> QueueTableModel::jobAt(int row) const
{
    if (row < 0 || static_cast<size_t>(row) >= m_jobs.size()) return nullptr;
    return m_jobs[static_cast<size_t>(row)];
}

void QueueTableModel::refreshRows()
{
    if (m_jobs.empty()) return;
    emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

int QueueTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_jobs.size());
}

int QueueTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant QueueTableModel::data(const QModelIndex &index, int role) const
{
    const std::shared_ptr<OffloadInstance> job = jobAt(index.row());
    if (!job) return {};
    const auto &shown = job->interface();
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        switch (index.column()) {
        case Source:
            return pathToQString(job->sourceDirectory());
        case Destination: {
            const std::string full = job->fullOffloadPath();
            return pathToQString(full.empty() ? job->offloadDirectory() : full);
        }
        case Size:
            return toQString(shown->sourceSize());
        case Files:
            return QStringLiteral("%1 / %2").arg(job->itemsProcessed()).arg(job->totalFilesAtSource());
        case Status:
            return toQString(shown->currentStatus());
        default:
            return {};
        }
    }
    if (index.column() == Status) {
        const QColor color = qtColor(shown->statusColor());
        const bool painted = shown->statusColor() == DisplayColor::Blue || shown->statusColor() == DisplayColor::Red ||
                             shown->statusColor() == DisplayColor::Green;
        if (role == Qt::BackgroundRole && painted) return color;
        if (role == Qt::ForegroundRole && painted) return QColor(Qt::white);
    }
    if (role == Qt::TextAlignmentRole && (index.column() == Size || index.column() == Files))
        return int(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

QVariant QueueTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    static const char *const titles[] = {"Source", "Destination", "Size", "Files", "Status"};
    return section >= 0 && section < ColumnCount ? QString::fromLatin1(titles[section]) : QVariant();
}

} // namespace ferrydeck
