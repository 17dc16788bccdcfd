#pragma once

#include <QAbstractTableModel>

#include <memory>
#include <vector>

namespace ferrydeck {

class FileCopyDetails;

// The per-file table of the details panel. Rows are read from the records
// only when the view paints them, so a card of 100,000 files costs what the
// visible rows cost.
class FileDetailsModel : public QAbstractTableModel {
    Q_OBJECT
public:
    // Checksum: the value a checksum-verified copy was proven with (empty otherwise).
    enum Column { File, Size, Copied, Duration, Status, Output, Checksum, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;

    void setDetails(std::vector<std::shared_ptr<FileCopyDetails>> details);
    // The records changed in place: the view repaints what it shows.
    void refresh();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<std::shared_ptr<FileCopyDetails>> m_details;
};

} // namespace ferrydeck
