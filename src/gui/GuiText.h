#pragma once

#include "engine/OffloadInstance.h"

#include <QColor>
#include <QString>

#include <cstdint>
#include <string>

namespace ferrydeck {

// Paths are bytes on Linux: Qt's file-name codec keeps them intact both ways.
QString pathToQString(const std::string &path);
std::string pathFromQString(const QString &path);
inline QString toQString(const std::string &text)
{
    return QString::fromStdString(text);
}

// Bytes in 1000-based units (B, kB, MB, GB, TB), as the rest of the tool
// counts them: "950 B", "1.50 kB", "23.4 MB", "512 GB".
QString humanSize(uint64_t bytes);

// The colour a model's named colour stands for; invalid for the view's own.
QColor qtColor(DisplayColor color);
// The details panel's colour of a status: green done, red failed or
// canceled, blue for everything in between.
QColor detailsStatusColor(OffloadInstance::Status status);

} // namespace ferrydeck
