#include "gui/LogPanel.h"

#include "gui/GuiText.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPushButton>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextEdit>
#include <QVBoxLayout>

namespace ferrydeck {

LogPanel::LogPanel(QWidget *parent)
    : QWidget(parent, Qt::Window)
{
    setWindowTitle(QStringLiteral("Offload Log"));
    viewLog = new QTextEdit(this);
    viewLog->setReadOnly(true);
    viewLog->setLineWrapMode(QTextEdit::WidgetWidth);
    viewLog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    buttonSaveLog = new QPushButton(QStringLiteral("Save Log"), this);
    buttonCloseWindow = new QPushButton(QStringLiteral("Close"), this);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(buttonSaveLog);
    buttons->addStretch(1);
    buttons->addWidget(buttonCloseWindow);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(viewLog, 1);
    layout->addLayout(buttons);
    connect(buttonSaveLog, &QPushButton::clicked, this, &LogPanel::saveLogRequested);
    connect(buttonCloseWindow, &QPushButton::clicked, this, &QWidget::close);
    resize(760, 520);
}

void LogPanel::showSegments(const std::vector<LogSegment> &segments)
{
    viewLog->clear();
    QTextCursor cursor(viewLog->document());
    cursor.beginEditBlock();
    for (const LogSegment &segment : segments) {
        QTextCharFormat format;
        const QColor color = qtColor(segment.color);
        if (color.isValid()) format.setForeground(color);
        cursor.insertText(QString::fromStdString(segment.text), format);
    }
    cursor.endEditBlock();
    viewLog->moveCursor(QTextCursor::Start);
}

void LogPanel::showText(const std::string &text)
{
    showSegments({LogSegment{text, DisplayColor::Default}});
}

} // namespace ferrydeck
