#include "gui/GuiText.h"

#include "engine/OffloadInstance.h"

#include <QFile>

#include <iterator>

namespace ferrydeck {

QString pathToQString(const std::string &path)
{
    return QFile::decodeName(QByteArray::fromStdString(path));
}

std::string pathFromQString(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

QString humanSize(uint64_t bytes)
{
    if (bytes < 1000) return QStringLiteral("%1 B").arg(bytes);
    static const char *const units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    double value = static_cast<double>(bytes) / 1000.0;
    size_t unit = 0;
    // Rounding may carry 999.95 kB up to "1000 kB": that one goes up a unit.
    while (value >= 999.5 && unit + 1 < std::size(units)) {
        value /= 1000.0;
        ++unit;
    }
    const int decimals = value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    return QStringLiteral("%1 %2").arg(value, 0, 'f', decimals).arg(QString::fromLatin1(units[unit]));
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
