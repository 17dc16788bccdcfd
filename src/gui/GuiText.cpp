#include "gui/GuiText.h"

#include "engine/OffloadInstance.h"

#include <QFile>

namespace ferrydeck {

QString pathToQString(const std::string &path)
{
    return QFile::decodeName(QByteArray::fromStdString(path));
}

std::string pathFromQString(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

QColor qtColor(DisplayColor color)
{
    switch (color) {
    case DisplayColor::Black:
        return QColor(0x20, 0x20, 0x20);
    case DisplayColor::Blue:
        return QColor(0x1f, 0x5f, 0xbf);
    case DisplayColor::Red:
        return QColor(0xc6, 0x28, 0x28);
    case DisplayColor::Green:
        return QColor(0x2e, 0x7d, 0x32);
    case DisplayColor::White:
        return QColor(Qt::white);
    case DisplayColor::Default:
        break;
    }
    return QColor();
}

QColor detailsStatusColor(OffloadInstance::Status status)
{
    if (status == OffloadInstance::kCompleted) return qtColor(DisplayColor::Green);
    if (status == OffloadInstance::kError || status == OffloadInstance::kCanceled) return qtColor(DisplayColor::Red);
    return qtColor(DisplayColor::Blue);
}

} // namespace ferrydeck
