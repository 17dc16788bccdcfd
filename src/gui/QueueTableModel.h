#pragma once

#include "gui/PathTableModel.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ferrydeck {

class OffloadInstance;

// The processing queue: one row per job, in queue order, with its status
// text in its status colour. A destination is shown by what tells it apart
// (its volume's label, then its last folder names), whole in the tool tip.
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

    // The label of each path: the label of the volume it is on (when that is
    // not the system's), then as many of its last folder names as it takes to
    // tell it from every other path of the list.
    using VolumeLabelOf = std::function<QString(const std::string &)>;
    static std::vector<QString> destinationLabels(const std::vector<std::string> &paths,
                                                  const VolumeLabelOf &volumeLabelOf);
    // The label of the mounted volume holding `path`; empty on the system's own.
    static QString volumeLabel(const std::string &path);

private:
    QString destinationLabel(int row) const;

    std::vector<std::shared_ptr<OffloadInstance>> m_jobs;
    // Labels are worked out again only when a row's path changes (naming
    // gives a job its copy folder when it starts).
    mutable std::vector<std::string> m_labelledPaths;
    mutable std::vector<QString> m_labels;
    mutable std::map<std::string, QString> m_volumeLabels;
};

} // namespace ferrydeck
