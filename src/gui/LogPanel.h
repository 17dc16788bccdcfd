#pragma once

#include "engine/OffloadInterface.h"

#include <QWidget>

#include <vector>

class QPushButton;
class QTextEdit;

namespace ferrydeck {

// Shows one job's log with its colours.
class LogPanel : public QWidget {
    Q_OBJECT
public:
    explicit LogPanel(QWidget *parent = nullptr);

    void showSegments(const std::vector<LogSegment> &segments);
    void showText(const std::string &text);

    QTextEdit *viewLog = nullptr;
    QPushButton *buttonSaveLog = nullptr;
    QPushButton *buttonCloseWindow = nullptr;

signals:
    void saveLogRequested();
};

} // namespace ferrydeck
