#include "gui/FileDetailsModel.h"

#include "engine/FileCopyDetails.h"
#include "gui/GuiText.h"

#include <algorithm>
#include <string>

namespace ferrydeck {

namespace {
QString exactBytes(uint64_t bytes)
{
    return QStringLiteral("%1 bytes").arg(bytes);
}
} // namespace

void FileDetailsModel::setDetails(std::vector<std::shared_ptr<FileCopyDetails>> details)
{
    // The job's own list is in copy order; a person looks for a file by its path.
    std::stable_sort(details.begin(), details.end(),
                     [](const auto &a, const auto &b) { return a->filePath() < b->filePath(); });
    beginResetModel();
    m_details = std::move(details);
    endResetModel();
}

void FileDetailsModel::refresh()
{
    if (m_details.empty()) return;
    emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1), {Qt::DisplayRole, Qt::ForegroundRole});
}

int FileDetailsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_details.size());
}

int FileDetailsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant FileDetailsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || static_cast<size_t>(index.row()) >= m_details.size()) return {};
    const FileCopyDetails &record = *m_details[static_cast<size_t>(index.row())];
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        // Sizes in short units, exact in the tool tip; the name, its whole path in the tool tip.
        const bool tip = role == Qt::ToolTipRole;
        const auto size = [tip](uint64_t bytes) { return tip ? exactBytes(bytes) : humanSize(bytes); };
        switch (index.column()) {
        case File:
            return pathToQString(tip ? record.filePath() : record.fileName());
        case Size:
            return size(record.rawFileSize());
        case Copied: {
            // A copy that vanished before its check keeps the designed text, not a count.
            const std::string text = record.bytesCopied();
            return text == std::to_string(record.rawBytesCopied()) ? size(record.rawBytesCopied()) : toQString(text);
        }
        case Duration:
            return toQString(record.duration());
        case Status:
            return toQString(record.status());
        case Output:
            return pathToQString(record.outputPath());
        case Checksum: {
            // A failed file shows why, so a mismatch is read with both values.
            const std::string reason = record.failureReason();
            return toQString(record.rawStatus() == FileCopyDetails::kCopyError && !reason.empty() ? reason
                                                                                                  : record.hashValue());
        }
        default:
            return {};
        }
    }
    if (role == Qt::ForegroundRole && index.column() == Status) {
        switch (record.rawStatus()) {
        case FileCopyDetails::kCopyVerified:
            return qtColor(DisplayColor::Green);
        case FileCopyDetails::kCopyError:
            return qtColor(DisplayColor::Red);
        case FileCopyDetails::kInProcess:
            return qtColor(DisplayColor::Blue);
        default:
            return {};
        }
    }
    if (role == Qt::TextAlignmentRole && (index.column() == Size || index.column() == Copied))
        return int(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

QVariant FileDetailsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    static const char *const titles[] = {"File", "Size", "Copied", "Duration", "Status", "Copy", "Checksum"};
    return section >= 0 && section < ColumnCount ? QString::fromLatin1(titles[section]) : QVariant();
}

} // namespace ferrydeck
