#pragma once

#include <QTableView>

#include <functional>

namespace ferrydeck {

// The processing queue's table: the delete key performs the stored action
// (removing the selected jobs); every other key is swallowed without the
// table's own handling, as designed.
class BrightwaterTableView : public QTableView {
    Q_OBJECT
public:
    using Action = std::function<void()>;

    explicit BrightwaterTableView(QWidget *parent = nullptr);

    void setMySel(Action action) { m_mySel = std::move(action); }
    // Ascending rows of the current selection.
    std::vector<int> selectedRowNumbers() const;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    Action m_mySel;
};

} // namespace ferrydeck
