#pragma once

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

    std::string sourceDirectory() const;
    void setSourceDirectory(const std::string &value);
    std::string offloadDirectory() const;
    void setOffloadDirectory(const std::string &value);
    std::string sourceSize() const;
    void setSourceSize(const std::string &value);
    std::string filesOffloaded() const;
    std::string estimatedTimeRemaining() const;
    void setEstimatedTimeRemaining(const std::string &value);
    std::string estimatedCompletionTime() const;
    void setEstimatedCompletionTime(const std::string &value);
    std::string currentOffloadFile() const;
    void setCurrentOffloadFile(const std::string &value);
    std::string currentStatus() const;
    void setCurrentStatus(const std::string &value);
    std::string timeCompleted() const;
    void setTimeCompleted(const std::string &value);
    DisplayColor statusColor() const;
    void setStatusColor(DisplayColor value);
    std::string totalDuration() const;
    void setTotalDuration(const std::string &value);
    Clock::time_point startTime() const;
    void setStartTime(Clock::time_point value);

    void addLogEntryToLogDetails(const LogSegment &entry);
    std::vector<LogSegment> logDetails() const;
    std::string logText() const;

private:
    mutable std::mutex m_fields; // each property store or read is atomic on its own
    std::mutex m_lockInterface;
    std::string m_sourceDirectory;
    std::string m_offloadDirectory;
    std::string m_sourceSize = "0";
    std::string m_filesOffloaded = "0";
    std::string m_estimatedTimeRemaining = "Loading...";
    std::string m_estimatedCompletionTime = "N/A";
    std::string m_currentOffloadFile;
    std::string m_currentStatus;
    std::string m_timeCompleted = "N/A";
    DisplayColor m_statusColor = DisplayColor::Black;
    std::string m_totalDuration = "00:00:00";
    Clock::time_point m_startTime = Clock::now();
    std::vector<LogSegment> m_logDetails;
};

} // namespace ferrydeck
