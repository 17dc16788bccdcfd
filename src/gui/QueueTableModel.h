#pragma once

#include "gui/PathTableModel.h"

#include <memory>
#include <vector>

namespace ferrydeck {

class OffloadInstance;

// The processing queue: one row per job, in queue order, with its status
// text in its status colour.
class QueueTableModel : public PathTableModel {
    Q_OBJECT
public:
    enum Column { Source, Destination, Size, Files, Status, ColumnCount };

    using PathTableModel::PathTableModel;

    void setJobs(std::vector<std::shared_ptr<OffloadInstance>> jobs);
    const std::vector<std::shared_ptr<OffloadInstance>> &jobs() const { return m_jobs; }
    std::shared_ptr<OffloadInstance> jobAt(int row) const;
    // The jobs' figures changed: repaints without resetting the selection.
    void refreshRows();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<std::shared_ptr<OffloadInstance>> m_jobs;
};

} // namespace ferrydeck
