#pragma once

#include <cstddef>
#include <string>

namespace ferrydeck {

// The titles and messages of the alerts the window shows, word for word, for
// the controller and for the command line, which prints them as
// "TITLE: MESSAGE" where it refuses or warns about the same thing.
struct AlertText {
    std::string title;
    std::string message;
    std::string line() const { return title + ": " + message; }
};

namespace AlertTexts {
AlertText sourceIsADestination(const std::string &source);
// Without the lines of the refused jobs (see insufficientSpaceLine).
AlertText insufficientSpace();
std::string insufficientSpaceLine(const std::string &source, const std::string &destination);
AlertText destinationNotWritable(const std::string &destination);
AlertText offloadNotWritable(const std::string &destination);
AlertText reformatWarning(const std::string &drive);
AlertText reformatAborted();
AlertText reformatFailed(const std::string &drive);
// Ours, for the queue kept across restarts.
AlertText waitingJobsAtQuit(size_t count);
AlertText restoredSourceMissing(const std::string &source);
} // namespace AlertTexts

} // namespace ferrydeck
