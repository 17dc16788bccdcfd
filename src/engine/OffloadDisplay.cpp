#include "engine/OffloadInstance.h"

#include "engine/MainLoop.h"
#include "fsutil/AtomicFile.h"
#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <thread>

namespace ferrydeck {

namespace {

constexpr size_t kProbeBytes = 1000000;
// Far more rounds of the rate cuts than any real total needs; a bound all the same.
constexpr int kMaxRateCuts = 10000;

// Seconds to write the probe file to the medium; negative when it could not be written.
double timeProbeWrite(const std::string &probe)
{
    static const std::vector<char> buffer(kProbeBytes, '\0');
    ::unlink(probe.c_str());
    const auto start = std::chrono::steady_clock::now();
    UniqueFd fd(::open(probe.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!fd) return -1.0;
    if (!fsutil::writeAll(fd.get(), {buffer.data(), buffer.size()})) return -1.0;
    // Timed to the medium, not to the page cache, so the rate means something.
    if (::fdatasync(fd.get()) != 0) return -1.0;
    fd.reset();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    return took.count();
}

} // namespace

void OffloadInstance::updateCurrentInterface()
{
    updateTotalDuration();
    updateDelegateInterface();
    std::lock_guard lock(m_lockProcessing);
    if (processingTaskIsOver() || !m_mainLoop) return;
    std::weak_ptr<OffloadInstance> weak = weak_from_this();
    auto timer = m_mainLoop->scheduleOnce(1.0, [weak] {
        if (auto job = weak.lock()) job->updateCurrentInterface();
    });
    m_properties.set<&Properties::timerInterface>(std::move(timer));
}

std::string OffloadInstance::updateTotalDuration()
{
    std::lock_guard lock(m_interface->lockInterface());
    const std::string duration = createClockTimeFromDate(m_interface->startTime(), Clock::now());
    m_interface->setTotalDuration(duration);
    return duration;
}

void OffloadInstance::updateDelegateInterface()
{
    if (auto target = delegate()) target->updateDetailsWindowFromThread(shared_from_this());
}

void OffloadInstance::updateInterfaceToComplete()
{
    std::lock_guard lock(m_interface->lockInterface());
    const Clock::time_point now = Clock::now();
    m_interface->setEstimatedTimeRemaining("Complete");
    m_interface->setTimeCompleted(createTimeOfDayFromCalenderDate(now));
    m_interface->setTotalDuration(createClockTimeFromDate(m_interface->startTime(), now));
}

void OffloadInstance::updateInterfaceEstimatedTime()
{
    const std::string probe = probeFilePath();
    const double took = timeProbeWrite(probe);
    ::unlink(probe.c_str());
    double rate = took >= 0.0 ? kProbeBytes / std::max(took, 1e-9) : 0.0;
    const double previous = previousCopyRate();
    if (rate <= 0.0) {
        // No measurement (destination gone or full): estimate with the last measured rate.
        if (previous <= 0.0) return;
        rate = previous;
    } else if (previous > 0.0) {
        rate = (previous + rate) * 0.5;
    }

    const Clock::time_point now = Clock::now();
    double elapsed = std::chrono::duration<double>(now - m_interface->startTime()).count();
    if (bytesCopied() == 0) elapsed = 0.0;
    const auto total = static_cast<int64_t>(bytesAtSource());
    auto project = [&] { return static_cast<int64_t>(std::min(rate * elapsed, 9.2e18)); };
    int64_t projected = project();
    // An empty source (or a total beyond 63 bits) could never be undercut:
    // nothing is left to estimate.
    if (total <= 0) projected = total;
    int cuts = 0;
    for (int k = 1; projected >= total && total > 0 && cuts < kMaxRateCuts; k = (k + 1) % 10, ++cuts) {
        rate = rate * (10 - k) / 10;
        projected = project();
    }
    double remaining = 0.0;
    if (projected < total) remaining = static_cast<double>(total - projected) / rate;
    if (!(remaining > 0.0) || !std::isfinite(remaining)) remaining = 0.0;

    int hours = 0, minutes = 0, seconds = 0;
    breakSecondsIntoHoursMinutesSeconds(remaining, hours, minutes, seconds);
    const auto completion = now + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(remaining));
    {
        std::lock_guard lock(m_interface->lockInterface());
        // An estimate begun before the job completed must not cover "Complete".
        if (offloadStatus() == kCompleted) return;
        m_interface->setEstimatedTimeRemaining(remaining < 60.0 ? "Under 1 min"
                                                                : convertIntToTimeString(hours) + ":" +
                                                                      convertIntToTimeString(minutes) + ":" +
                                                                      convertIntToTimeString(seconds));
        m_interface->setEstimatedCompletionTime(createTimeOfDayFromCalenderDate(completion));
    }
    setPreviousCopyRate(rate);
}

void OffloadInstance::setEstimatedTimeRemaining(int hours, int minutes, int seconds)
{
    m_interface->setEstimatedTimeRemaining(convertIntToTimeString(hours) + ":" + convertIntToTimeString(minutes) + ":" +
                                           convertIntToTimeString(seconds));
}

double OffloadInstance::estimateRemainingSecondsFromBytes(uint64_t bytes)
{
    return static_cast<double>(bytes) / 1000000000.0 * 60.0;
}

double OffloadInstance::estimatedRemainingSecondsFromFiles(uint64_t files)
{
    return static_cast<double>(files) * 0.0071658904;
}

void OffloadInstance::continuallyUpdateDelegateInterface(const std::atomic<bool> &keepGoing)
{
    while (keepGoing.load()) {
        updateDelegateInterface();
        std::this_thread::sleep_for(std::chrono::seconds(2));
    }
}

} // namespace ferrydeck
