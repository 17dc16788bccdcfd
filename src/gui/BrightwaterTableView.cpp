#include "gui/BrightwaterTableView.h"

#include <QHeaderView>
#include <QKeyEvent>

#include <algorithm>

namespace ferrydeck {

BrightwaterTableView::BrightwaterTableView(QWidget *parent)
    : QTableView(parent)
{
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setAlternatingRowColors(true);
    setShowGrid(false);
    verticalHeader()->hide();
    horizontalHeader()->setHighlightSections(false);
}

std::vector<int> BrightwaterTableView::selectedRowNumbers() const
{
    std::vector<int> rows;
    if (!selectionModel()) return rows;
    for (const QModelIndex &index : selectionModel()->selectedRows())
        rows.push_back(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

void BrightwaterTableView::keyPressEvent(QKeyEvent *event)
{
    // Backspace is the delete key of the keyboards the design had in mind.
    const bool deleteKey = event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace;
    if (deleteKey && m_mySel) m_mySel();
    event->accept();
}

} // namespace ferrydeck
