#pragma once

#include "cli/CommandRegistry.h"

#include "controller/AppController.h"
#include "controller/StdMainLoop.h"

#include <csignal>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ferrydeck::cli {

class ProgressBoard;

// The options `offload` and `watch` share, as given on the command line.
struct OffloadOptions {
    std::vector<std::string> sources;
    std::vector<std::string> destinations;
    std::string verify = "size";
    std::string logDetail = "minimal";
    bool verboseLog = false;
    std::string scheme = "none";
    std::string name;
    int number = 1;
    std::string prefix;
    std::string suffix;
    int threads = 0;
    std::string logDir;
    bool logInCopy = false;
    bool noLog = false;
    bool resume = false;
    bool resumeVerify = false;
    bool saved = false;
    bool yes = false;
    bool json = false;
    bool jsonFiles = false;
    bool quiet = false;
    // Card actions, used by `watch`.
    std::string rename;
    bool increment = false;
    int renameCounter = 1;
    bool eject = false;
    bool reformat = false;
    bool sound = false;
    // Long names of the options actually given, so that they win over --saved.
    std::set<std::string> given;
};

// The options of how jobs copy, log and report.
void addCopyOptions(CLI::App &command, OffloadOptions &options);
// addCopyOptions with the destinations, the naming and --saved.
void addOffloadOptions(CLI::App &command, OffloadOptions &options);
// The sub-command's callback: notes which options were given (they win over
// --saved), then runs `run` and keeps its exit status.
void runWhenParsed(CLI::App &command, std::shared_ptr<OffloadOptions> options, int &exitCode,
                   int (*run)(OffloadOptions &));

// `offload` of options.sources; `copy` is the same run with one destination.
int runOffload(OffloadOptions &options);

// The controller of one command run, its main loop and its command-line view.
class OffloadSession {
public:
    explicit OffloadSession(OffloadOptions &options);
    ~OffloadSession();
    OffloadSession(const OffloadSession &) = delete;
    OffloadSession &operator=(const OffloadSession &) = delete;

    // Fills in --saved, checks every path and configures the controller;
    // kExitOk or kExitUsage with one line on standard error. Nothing is made
    // before everything is checked.
    int prepare(bool sourcesRequired);

    AppController &controller() { return *m_controller; }
    StdMainLoop &loop() { return *m_loop; }
    // Ctrl-C, SIGTERM, SIGHUP or SIGPIPE since the session began; the first one
    // cancels every job.
    bool interrupted();
    bool cancelled() const { return m_cancelled; }
    // Serves the main loop until `done` answers true or an interrupt has
    // been handled and the workers are over; draws progress meanwhile.
    void runUntil(const std::function<bool()> &done);
    // Prints one summary or JSON line per job; true when all are Completed.
    bool report(const std::vector<AppController::Job> &jobs);
    // Reports each job as soon as it is finished instead of at the end.
    void reportJobsAsTheyFinish();

private:
    class View;
    int loadSaved();

    OffloadOptions &m_options;
    std::shared_ptr<StdMainLoop> m_loop;
    std::shared_ptr<View> m_view;
    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<ProgressBoard> m_progress;
    bool m_cancelled = false;
    // Restored when the session ends: INT, TERM, HUP, PIPE.
    struct sigaction m_previous[4]{};
};

} // namespace ferrydeck::cli
