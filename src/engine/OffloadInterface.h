#pragma once

#include "fsutil/Guarded.h"

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

namespace ferrydeck {

// Named colours of statuses and log entries; Default is the text view's own.
enum class DisplayColor { Default, Black, Blue, Red, Green, White };
const char *displayColorName(DisplayColor color);

// One coloured piece of a job's log; the saved log is the plain concatenation.
struct LogSegment {
    std::string text;
    DisplayColor color = DisplayColor::Default;
};

// What the progress and log panels show for one job. Every accessor is safe
// from any thread; lockInterface() is the lock that groups several changes
// into one consistent set, and the panels only try it.
class OffloadInterface {
public:
    using Clock = std::chrono::system_clock;

    OffloadInterface();
    OffloadInterface(const OffloadInterface &) = delete;
    OffloadInterface &operator=(const OffloadInterface &) = delete;

    std::mutex &lockInterface() { return m_lockInterface; }

    std::string sourceDirectory() const { return m_fields.get<&Fields::sourceDirectory>(); }
    void setSourceDirectory(const std::string &value) { m_fields.set<&Fields::sourceDirectory>(value); }
    std::string offloadDirectory() const { return m_fields.get<&Fields::offloadDirectory>(); }
    void setOffloadDirectory(const std::string &value) { m_fields.set<&Fields::offloadDirectory>(value); }
    std::string sourceSize() const { return m_fields.get<&Fields::sourceSize>(); }
    void setSourceSize(const std::string &value) { m_fields.set<&Fields::sourceSize>(value); }
    std::string estimatedTimeRemaining() const { return m_fields.get<&Fields::estimatedTimeRemaining>(); }
    void setEstimatedTimeRemaining(const std::string &value) { m_fields.set<&Fields::estimatedTimeRemaining>(value); }
    std::string estimatedCompletionTime() const { return m_fields.get<&Fields::estimatedCompletionTime>(); }
    void setEstimatedCompletionTime(const std::string &value) { m_fields.set<&Fields::estimatedCompletionTime>(value); }
    std::string currentOffloadFile() const { return m_fields.get<&Fields::currentOffloadFile>(); }
    void setCurrentOffloadFile(const std::string &value) { m_fields.set<&Fields::currentOffloadFile>(value); }
    std::string currentStatus() const { return m_fields.get<&Fields::currentStatus>(); }
    void setCurrentStatus(const std::string &value) { m_fields.set<&Fields::currentStatus>(value); }
    std::string timeCompleted() const { return m_fields.get<&Fields::timeCompleted>(); }
    void setTimeCompleted(const std::string &value) { m_fields.set<&Fields::timeCompleted>(value); }
    DisplayColor statusColor() const { return m_fields.get<&Fields::statusColor>(); }
    void setStatusColor(DisplayColor value) { m_fields.set<&Fields::statusColor>(value); }
    std::string totalDuration() const { return m_fields.get<&Fields::totalDuration>(); }
    void setTotalDuration(const std::string &value) { m_fields.set<&Fields::totalDuration>(value); }
    Clock::time_point startTime() const { return m_fields.get<&Fields::startTime>(); }
    void setStartTime(Clock::time_point value) { m_fields.set<&Fields::startTime>(value); }

    void addLogEntryToLogDetails(const LogSegment &entry);
    std::vector<LogSegment> logDetails() const { return m_fields.get<&Fields::logDetails>(); }
    std::string logText() const;

    // --- kept for the design, without a caller ------------------------------
    std::string filesOffloaded() const { return m_fields.get<&Fields::filesOffloaded>(); }

private:
    // Each property store or read is atomic on its own.
    struct Fields {
        std::string sourceDirectory;
        std::string offloadDirectory;
        std::string sourceSize = "0";
        std::string filesOffloaded = "0";
        std::string estimatedTimeRemaining = "Loading...";
        std::string estimatedCompletionTime = "N/A";
        std::string currentOffloadFile;
        std::string currentStatus;
        std::string timeCompleted = "N/A";
        DisplayColor statusColor = DisplayColor::Black;
        std::string totalDuration = "00:00:00";
        Clock::time_point startTime = Clock::now();
        std::vector<LogSegment> logDetails;
    };
    Guarded<Fields> m_fields;
    std::mutex m_lockInterface;
};

} // namespace ferrydeck
