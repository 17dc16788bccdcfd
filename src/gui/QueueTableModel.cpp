#include "gui/QueueTableModel.h"

#include "engine/OffloadInstance.h"
#include "gui/GuiText.h"

#include <QDir>
#include <QStorageInfo>

#include <algorithm>

namespace ferrydeck {

namespace {
std::vector<std::string> componentsOf(const std::string &path)
{
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t end = std::min(path.find('/', start), path.size());
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string lastComponents(const std::vector<std::string> &parts, size_t count)
{
    std::string joined;
    for (size_t i = parts.size() - std::min(count, parts.size()); i < parts.size(); ++i)
        joined += (joined.empty() ? "" : "/") + parts[i];
    return joined;
}

std::string destinationOf(const OffloadInstance &job)
{
    const std::string full = job.fullOffloadPath();
    return full.empty() ? job.offloadDirectory() : full;
}
} // namespace

std::vector<QString> QueueTableModel::destinationLabels(const std::vector<std::string> &paths,
                                                        const VolumeLabelOf &volumeLabelOf)
{
    const size_t count = paths.size();
    std::vector<std::vector<std::string>> parts(count);
    std::vector<QString> volumes(count);
    // Two names at first: a copy folder is usually named after its source,
    // the same on every destination.
    std::vector<size_t> depth(count);
    for (size_t i = 0; i < count; ++i) {
        parts[i] = componentsOf(paths[i]);
        volumes[i] = volumeLabelOf(paths[i]);
        depth[i] = std::min<size_t>(2, parts[i].size());
    }
    for (bool grown = true; grown;) {
        grown = false;
        for (size_t i = 0; i < count; ++i) {
            for (size_t j = 0; j < count; ++j) {
                if (i == j || paths[i] == paths[j] || volumes[i] != volumes[j]) continue;
                if (lastComponents(parts[i], depth[i]) != lastComponents(parts[j], depth[j])) continue;
                for (const size_t k : {i, j}) {
                    if (depth[k] < parts[k].size()) {
                        ++depth[k];
                        grown = true;
                    }
                }
            }
        }
    }
    std::vector<QString> labels;
    for (size_t i = 0; i < count; ++i) {
        QString tail = pathToQString(lastComponents(parts[i], depth[i]));
        if (depth[i] < parts[i].size()) tail.prepend(QStringLiteral("\u2026/"));
        else tail.prepend(QLatin1Char('/'));
        labels.push_back(volumes[i].isEmpty() ? tail : volumes[i] + QStringLiteral(": ") + tail);
    }
    return labels;
}

QString QueueTableModel::volumeLabel(const std::string &path)
{
    const QStorageInfo volume(pathToQString(path));
    if (!volume.isValid() || volume.isRoot()) return {};
    const QString name = volume.name();
    return name.isEmpty() ? QDir(volume.rootPath()).dirName() : name;
}

QString QueueTableModel::destinationLabel(int row) const
{
    std::vector<std::string> paths;
    for (const auto &job : m_jobs)
        paths.push_back(destinationOf(*job));
    if (paths != m_labelledPaths) {
        m_labels = destinationLabels(paths, [this](const std::string &path) {
            auto found = m_volumeLabels.find(path);
            if (found == m_volumeLabels.end()) found = m_volumeLabels.emplace(path, volumeLabel(path)).first;
            return found->second;
        });
        m_labelledPaths = std::move(paths);
    }
    return static_cast<size_t>(row) < m_labels.size() ? m_labels[static_cast<size_t>(row)] : QString();
}

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
    if (role == Qt::ToolTipRole && index.column() == Destination) return pathToQString(destinationOf(*job));
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        switch (index.column()) {
        case Source:
            return pathToQString(job->sourceDirectory());
        case Destination:
            return destinationLabel(index.row());
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
