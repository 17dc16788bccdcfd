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

#define FERRYDECK_PROPERTY(Type, getter, setter, member)                                                               \
    Type OffloadInterface::getter() const                                                                              \
    {                                                                                                                  \
        std::lock_guard lock(m_fields);                                                                                \
        return member;                                                                                                 \
    }                                                                                                                  \
    void OffloadInterface::setter(const Type &value)                                                                   \
    {                                                                                                                  \
        std::lock_guard lock(m_fields);                                                                                \
        member = value;                                                                                                \
    }

FERRYDECK_PROPERTY(std::string, sourceDirectory, setSourceDirectory, m_sourceDirectory)
FERRYDECK_PROPERTY(std::string, offloadDirectory, setOffloadDirectory, m_offloadDirectory)
FERRYDECK_PROPERTY(std::string, sourceSize, setSourceSize, m_sourceSize)
FERRYDECK_PROPERTY(std::string, estimatedTimeRemaining, setEstimatedTimeRemaining, m_estimatedTimeRemaining)
FERRYDECK_PROPERTY(std::string, estimatedCompletionTime, setEstimatedCompletionTime, m_estimatedCompletionTime)
FERRYDECK_PROPERTY(std::string, currentOffloadFile, setCurrentOffloadFile, m_currentOffloadFile)
FERRYDECK_PROPERTY(std::string, currentStatus, setCurrentStatus, m_currentStatus)
FERRYDECK_PROPERTY(std::string, timeCompleted, setTimeCompleted, m_timeCompleted)
FERRYDECK_PROPERTY(std::string, totalDuration, setTotalDuration, m_totalDuration)

#undef FERRYDECK_PROPERTY

std::string OffloadInterface::filesOffloaded() const
{
    std::lock_guard lock(m_fields);
    return m_filesOffloaded;
}

DisplayColor OffloadInterface::statusColor() const
{
    std::lock_guard lock(m_fields);
    return m_statusColor;
}

void OffloadInterface::setStatusColor(DisplayColor value)
{
    std::lock_guard lock(m_fields);
    m_statusColor = value;
}

OffloadInterface::Clock::time_point OffloadInterface::startTime() const
{
    std::lock_guard lock(m_fields);
    return m_startTime;
}

void OffloadInterface::setStartTime(Clock::time_point value)
{
    std::lock_guard lock(m_fields);
    m_startTime = value;
}

void OffloadInterface::addLogEntryToLogDetails(const LogSegment &entry)
{
    std::lock_guard lock(m_fields);
    m_logDetails.push_back(entry);
}

std::vector<LogSegment> OffloadInterface::logDetails() const
{
    std::lock_guard lock(m_fields);
    return m_logDetails;
}

std::string OffloadInterface::logText() const
{
    std::lock_guard lock(m_fields);
    std::string text;
    for (const LogSegment &segment : m_logDetails)
        text += segment.text;
    return text;
}

} // namespace ferrydeck
