#pragma once

#include <QAbstractTableModel>

#include <functional>
#include <string>
#include <vector>

namespace ferrydeck {

// A table that takes dropped folders and volumes: every drop is allowed, and
// the window's handler decides what the dropped paths become.
class PathTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using DropHandler = std::function<bool(const QMimeData &)>;

    using QAbstractTableModel::QAbstractTableModel;

    void setDropHandler(DropHandler handler) { m_dropHandler = std::move(handler); }

    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QStringList mimeTypes() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                         const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                      const QModelIndex &parent) override;

private:
    DropHandler m_dropHandler;
};

} // namespace ferrydeck
