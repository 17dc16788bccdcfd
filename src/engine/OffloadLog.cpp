#include "engine/OffloadInstance.h"

#include "Version.h"
#include "fsutil/SystemLog.h"

#include <cstdio>
#include <ctime>

namespace ferrydeck {

namespace {

std::string number(uint64_t value)
{
    return std::to_string(value);
}

// A control character in a name is written as an escape (\n, \x1b, \u0085),
// so that a hostile file name cannot end a log line and forge the next one,
// nor drive the terminal of whoever reads the log.
void appendEscaped(std::string &text, unsigned codePoint)
{
    static const char *const kNamed[] = {"\\a", "\\b", "\\t", "\\n", "\\v", "\\f", "\\r"};
    if (codePoint >= 0x07 && codePoint <= 0x0D) {
        text += kNamed[codePoint - 0x07];
        return;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, codePoint < 0x80 ? "\\x%02x" : "\\u%04x", codePoint);
    text += escaped;
}

// File names are bytes, the log is UTF-8: a byte that does not belong to a
// well-formed sequence becomes U+FFFD, so the log stays readable and still
// names the file.
std::string readable(const std::string &name)
{
    std::string text;
    text.reserve(name.size());
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(name[i]); };
    for (size_t i = 0; i < name.size();) {
        const unsigned char lead = byte(i);
        size_t length = 0;
        unsigned char low = 0x80, high = 0xBF; // bounds of the second byte
        if (lead < 0x80) length = 1;
        else if (lead >= 0xC2 && lead <= 0xDF) length = 2;
        else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0) low = 0xA0;  // overlong
            if (lead == 0xED) high = 0x9F; // surrogates
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0) low = 0x90;
            if (lead == 0xF4) high = 0x8F; // above U+10FFFF
        }
        size_t k = 1;
        while (length > 0 && k < length && i + k < name.size()) {
            const unsigned char c = byte(i + k);
            if (k == 1 ? (c < low || c > high) : (c < 0x80 || c > 0xBF)) break;
            ++k;
        }
        if (length == 1 && (lead < 0x20 || lead == 0x7F)) {
            appendEscaped(text, lead);
        } else if (length == 2 && k == 2 && lead == 0xC2 && byte(i + 1) < 0xA0) {
            appendEscaped(text, byte(i + 1)); // C1 controls, NEL among them
        } else if (length == 3 && k == 3 && lead == 0xE2 && byte(i + 1) == 0x80 &&
                   (byte(i + 2) == 0xA8 || byte(i + 2) == 0xA9)) {
            appendEscaped(text, 0x2000u + byte(i + 2) - 0x80u); // line and paragraph separators
        } else if (length > 0 && k == length) {
            text.append(name, i, length);
        } else {
            // A sequence broken off is one replacement, as decoders count it.
            text += "\xEF\xBF\xBD";
        }
        i += k;
    }
    return text;
}

} // namespace

void OffloadInstance::createInitialLogEntry()
{
    std::lock_guard lock(m_lockCopyDetails);
    std::string text = std::string("Ferrydeck by Brightwater (") + kMakerWebAddress + ")\n";
    // The display model's start time is still the job's creation time here.
    text += "Offload Began at " + dateText(m_interface->startTime()) + "\n";
    text += "Offloading files from " + readable(sourceDirectory()) + " to " + readable(fullOffloadPath()) + "\n";
    text += "Total files at source:" + number(totalFilesAtSource()) + "\n";
    text += "Total bytes at source:" + number(bytesAtSource()) + "\n";
    // The designed methods keep the designed header; a checksum names itself.
    if (const std::optional<HashMethod> method = hashMethod())
        text += "Verification: " + std::string(hashMethodName(*method)) +
                " checksum of the source as read, against the copy read back\n";
    if (resumed()) text += "Resuming an interrupted offload: files it verified that are unchanged are carried over\n";
    else if (!resumeRefusal().empty())
        text += "Not resumed, copying into a new folder: " + readable(resumeRefusal()) + "\n";
    text += "\n\n\n";
    m_interface->addLogEntryToLogDetails({text, DisplayColor::Default});
}

void OffloadInstance::createLogEntriesForCopies(const std::vector<Details> &copies, bool didError)
{
    // Minimal logging lists the files only when something went wrong.
    if (!verboseLogging() && !didError) return;
    std::lock_guard lock(m_lockCopyDetails);
    const bool contents = byteComparison();
    const std::optional<HashMethod> method = hashMethod();
    const std::string checksum = method ? std::string(hashMethodName(*method)) : std::string();
    for (const Details &record : copies) {
        const std::string from = readable(record->filePath());
        const std::string to = readable(record->outputPath());
        // The missing quotation mark after the second path is part of the text.
        std::string text = "\nComparing \"" + from + "\" to \"" + to + ":\n";
        DisplayColor color = DisplayColor::Black;
        if (record->carriedOver()) text += "Carried over from the interrupted offload, verified then\n";
        switch (record->rawStatus()) {
        case FileCopyDetails::kCopyVerified:
            if (method) {
                const std::string value = record->hashValue();
                text += "File " + checksum + " checksum verification succeeded: " +
                        (value.empty() ? std::string("the link leads to the same place")
                                       : "source and copy are both " + value) +
                        "\n";
                color = DisplayColor::Green;
                break;
            }
            text += contents ? "File contents compare verification succeeded: The file contents are the same\n"
                             : "File size verification complete: Both files are the same size\n";
            color = DisplayColor::Green;
            break;
        case FileCopyDetails::kCopyError:
            if (method) {
                text +=
                    "File " + checksum + " checksum verification failure: " + readable(record->failureReason()) + "\n";
                color = DisplayColor::Red;
                break;
            }
            // The same words whether the copy or the comparison failed.
            text += contents ? "File contents compare verification failure: The files are different sizes\n"
                             : "File size verification failure: The files are different sizes\n";
            color = DisplayColor::Red;
            break;
        default:
            text = "Copying file \"" + from + "\" to \"" + to + "\" did not have a chance to process";
            break;
        }
        m_interface->addLogEntryToLogDetails({text, color});
    }
}

void OffloadInstance::insertFinalLogEntry()
{
    std::lock_guard lock(m_lockCopyDetails);
    int hours = 0, minutes = 0, seconds = 0;
    const std::chrono::duration<double> elapsed = Clock::now() - m_interface->startTime();
    breakSecondsIntoHoursMinutesSeconds(elapsed.count(), hours, minutes, seconds);
    const Status status = offloadStatus();

    std::string text = "\n\nFerrydeck Offload Summary\n";
    text += "Total Files at source:" + number(totalFilesAtSource()) + "\n";
    text += "Total files copied:" + std::to_string(itemsProcessed()) + "\n";
    text += "Total bytes at source:" + number(bytesAtSource()) + "\n";
    text += "Total bytes copied:" + number(bytesCopied()) + "\n";
    if (resumed()) text += "Files carried over from the interrupted offload:" + number(filesCarriedOver()) + "\n";
    text += "Total offload duration (HH:MM:SS):" + convertIntToTimeString(hours) + ":" +
            convertIntToTimeString(minutes) + ":" + convertIntToTimeString(seconds) + "\n";
    text += "Verification Status:";
    if (status == kCompleted) text += "Offload Verified\n";
    else if (status == kError) text += "Offload Errored\n";
    else if (status == kCanceled) text += "Offload Canceled\n";
    text += "\nFerrydeck offload ended at " + dateText(Clock::now());
    const DisplayColor color = (status == kError || status == kCanceled) ? DisplayColor::Red : DisplayColor::Green;
    m_interface->addLogEntryToLogDetails({text, color});
}

std::string OffloadInstance::convertIntToTimeString(int value)
{
    // -3 reads "0-3": only values above 9 go without the leading zero.
    return value > 9 ? std::to_string(value) : "0" + std::to_string(value);
}

void OffloadInstance::breakSecondsIntoHoursMinutesSeconds(double seconds, int &hours, int &minutes, int &secs)
{
    const double clamped = seconds > 2147483647.0 ? 2147483647.0 : seconds < -2147483648.0 ? -2147483648.0 : seconds;
    const auto whole = static_cast<int32_t>(clamped);
    hours = whole / 3600;
    minutes = (whole % 3600) / 60;
    secs = whole % 60;
}

std::string OffloadInstance::createClockTimeFromDate(Clock::time_point from, Clock::time_point to)
{
    int hours = 0, minutes = 0, seconds = 0;
    breakSecondsIntoHoursMinutesSeconds(std::chrono::duration<double>(to - from).count(), hours, minutes, seconds);
    return convertIntToTimeString(hours) + ":" + convertIntToTimeString(minutes) + ":" +
           convertIntToTimeString(seconds);
}

std::string OffloadInstance::createTimeOfDayFromCalenderDate(Clock::time_point date)
{
    const std::time_t t = Clock::to_time_t(date);
    std::tm local{};
    localtime_r(&t, &local);
    int hour = local.tm_hour;
    // Hours 0 to 12 read AM, so 12:30 is "12:30 AM"; intended.
    const char *half = "AM";
    if (hour > 12) {
        hour -= 12;
        half = "PM";
    }
    return convertIntToTimeString(hour) + ":" + convertIntToTimeString(local.tm_min) + " " + half;
}

std::string OffloadInstance::dateText(Clock::time_point date)
{
    const std::time_t t = Clock::to_time_t(date);
    std::tm local{};
    localtime_r(&t, &local);
    char buffer[64];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S %z", &local);
    return buffer;
}

} // namespace ferrydeck
