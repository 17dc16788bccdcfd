#pragma once

#include <string>
#include <vector>

namespace ferrydeck {

// Runs external programs from an argument vector, never through a shell, so
// no file name can be read as a command.
class Process {
public:
    // CaptureAll: standard output and standard error into one text, for
    // programs that report on standard error.
    enum class Output { Inherit, ToStandardError, Discard, Capture, CaptureAll };

    struct Result {
        bool started = false; // false when the program could not be started
        int status = -1;      // the wait status word, as waitpid returns it
        int exitCode = -1;    // the exit code when the program exited, else -1
        std::string output;   // what was captured
        bool succeeded() const { return started && exitCode == 0; }
    };

    // argv[0] is looked up in PATH unless it holds a slash.
    static Result run(const std::vector<std::string> &argv, Output output = Output::Inherit);

    // The command as a person would type it, each argument quoted for a POSIX
    // shell; for diagnostics only.
    static std::string displayCommand(const std::vector<std::string> &argv);
};

} // namespace ferrydeck
