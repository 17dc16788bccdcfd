#include "engine/OffloadInterface.h"

namespace ferrydeck {

const char *displayColorName(DisplayColor color)
{
    switch (color) {
    case DisplayColor::Default:
        return "default";
    case DisplayColor::Black:
        return "black";
    case DisplayColor::Blue:
        return "blue";
    case DisplayColor::Red:
        return "red";
    case DisplayColor::Green:
        return "green";
    case DisplayColor::White:
        return "white";
    }
    return "default";
}

OffloadInterface::OffloadInterface() = default;

void OffloadInterface::addLogEntryToLogDetails(const LogSegment &entry)
{
    m_fields.update([&](Fields &fields) { fields.logDetails.push_back(entry); });
}

std::string OffloadInterface::logText() const
{
    return m_fields.read([](const Fields &fields) {
        std::string text;
        for (const LogSegment &segment : fields.logDetails)
            text += segment.text;
        return text;
    });
}

} // namespace ferrydeck
