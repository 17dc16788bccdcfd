#include "cli/OffloadSession.h"

#include "cli/CliPaths.h"
#include "cli/JobReport.h"
#include "cli/ProgressBoard.h"
#include "fsutil/SystemLog.h"
#include "controller/AlertTexts.h"
#include "controller/OffloadNamingScheme.h"
#include "fsutil/FileUtilities.h"
#include "controller/DefaultsPersistence.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <map>

namespace ferrydeck::cli {

namespace {

std::atomic<bool> g_interrupted{false};

void onInterrupt(int)
{
    g_interrupted = true;
}

// Every way a terminal session ends a command: Ctrl-C, kill, a closed SSH
// session, and a reader of our output that went away. Each cancels the jobs
// so that their logs are still written; a write to the closed pipe then just
// fails with EPIPE instead of killing the process.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

const std::map<std::string, int32_t> kSchemes{
    {"custom", OffloadNamingScheme::kCustomVolumeName},
    {"number", OffloadNamingScheme::kConsecutiveNumbering},
    {"card", OffloadNamingScheme::kCardName},
    {"created", OffloadNamingScheme::kDateVolumeCreated},
    {"modified", OffloadNamingScheme::kDateVolumeModified},
    {"today", OffloadNamingScheme::kTodaysDate},
    {"none", OffloadNamingScheme::kNone},
};

int usage(const std::string &message)
{
    std::fprintf(stderr, "ferrydeck-cli: %s\n", message.c_str());
    return kExitUsage;
}

} // namespace

void addCopyOptions(CLI::App &command, OffloadOptions &options)
{
    command
        .add_option("--verify", options.verify,
                    "Verification: size, contents (byte for byte), none, or a checksum written to an ASC MHL hash "
                    "list in each copy: xxh64, xxh3, xxh128, md5, sha1, c4")
        ->check(CLI::IsMember({"size", "contents", "none", "xxh64", "xxh3", "xxh128", "md5", "sha1", "c4"}))
        ->capture_default_str();
    command.add_option("--log-detail", options.logDetail, "Log detail: minimal or verbose")
        ->check(CLI::IsMember({"minimal", "verbose"}))
        ->capture_default_str();
    command.add_flag("--verbose-log", options.verboseLog, "Same as --log-detail verbose");
    command.add_option("--threads", options.threads, "Copy threads shared by all jobs (default 4 per processor)")
        ->check(CLI::Range(1, 256));
    auto *logDir = command.add_option("--log-dir", options.logDir, "Save each log into this folder");
    auto *logInCopy =
        command.add_flag("--log-in-copy,--log-to-offload-folder", options.logInCopy, "Save each log into its copy");
    logDir->excludes(logInCopy);
    auto *noLog =
        command.add_flag("--no-log", options.noLog, "Keep no log (by default each log is saved into its copy folder)");
    noLog->excludes(logDir)->excludes(logInCopy);
    command.add_flag("--resume", options.resume,
                     "Continue an interrupted offload of the same source in its copy folder, keeping the files it "
                     "verified that are unchanged");
    command.add_flag("--resume-verify", options.resumeVerify,
                     "Like --resume, but read every kept copy back and check it first");
    command.add_flag("--yes", options.yes, "Answer YES where the window would ask");
    command.add_flag("--json", options.json, "One JSON object per job on standard output");
    command.add_flag("--json-files", options.jsonFiles,
                     "With --json: every file of each job, with its status and checksum");
    command.add_flag("--quiet", options.quiet, "No progress lines and no summary");
}

void addOffloadOptions(CLI::App &command, OffloadOptions &options)
{
    command.add_option("--dest", options.destinations, "Destination folder (repeat for several)");
    command.add_option("--scheme", options.scheme, "Naming: custom, number, card, created, modified, today or none")
        ->check(CLI::IsMember({"custom", "number", "card", "created", "modified", "today", "none"}))
        ->capture_default_str();
    command.add_option("--name", options.name, "Folder name for --scheme custom");
    command.add_option("--number", options.number, "First consecutive number for --scheme number")
        ->check(CLI::Range(AppController::kStepperMinimum, AppController::kStepperMaximum));
    command.add_option("--prefix", options.prefix, "Text before the scheme's part of the name");
    command.add_option("--suffix", options.suffix, "Text after the scheme's part of the name");
    command.add_flag("--saved", options.saved,
                     "Take destinations and options from the desktop application's saved preferences (read only)");
    addCopyOptions(command, options);
}

void runWhenParsed(CLI::App &command, std::shared_ptr<OffloadOptions> options, int &exitCode,
                   int (*run)(OffloadOptions &))
{
    command.callback([&command, options, &exitCode, run] {
        for (const CLI::Option *option : command.get_options()) {
            if (option->count() > 0) options->given.insert(option->get_name());
        }
        exitCode = run(*options);
    });
}

// The window as flags and standard error: alerts are printed, a YES/NO
// question takes YES only when --yes was given, otherwise the default button.
class OffloadSession::View : public ControllerView {
public:
    explicit View(const OffloadOptions &options)
        : m_options(options)
    {
    }

    int showAlert(const std::string &title, const std::string &message,
                  const std::vector<std::string> &buttons) override
    {
        printError(title + ": " + message + "\n");
        if (m_options.yes) {
            for (size_t i = 0; i < buttons.size(); ++i) {
                if (buttons[i] == "YES") return static_cast<int>(i);
            }
        }
        return 0;
    }
    NamingControls namingControls() const override
    {
        return {OffloadNamingScheme::titleForScheme(kSchemes.at(m_options.scheme)), m_options.name, m_options.prefix,
                m_options.suffix};
    }
    VerificationControls verificationControls() const override
    {
        VerificationControls controls;
        if (m_options.verify == "contents") controls.verification = Verification::Contents;
        if (m_options.verify == "none") controls.verification = Verification::None;
        if (const std::optional<HashMethod> method = hashMethodFromName(m_options.verify)) {
            controls.verification = Verification::Checksum;
            controls.checksum = *method;
        }
        controls.verboseLogging = m_options.verboseLog || m_options.logDetail == "verbose";
        return controls;
    }
    std::optional<std::string> renameCardText() const override { return m_options.rename; }
    void offloadFinished(const std::shared_ptr<OffloadInstance> &job) override
    {
        if (onFinished) onFinished(job);
    }

    std::function<void(const std::shared_ptr<OffloadInstance> &)> onFinished;
    std::function<void(const std::string &)> printError = [](const std::string &text) {
        std::fputs(text.c_str(), stderr);
    };
    std::optional<std::string> chooseFolder(const std::string &, const std::string &) override { return std::nullopt; }
    std::optional<std::string> chooseSaveFile(const std::string &, const std::string &, const std::string &) override
    {
        return std::nullopt;
    }

private:
    const OffloadOptions &m_options;
};

OffloadSession::OffloadSession(OffloadOptions &options)
    : m_options(options)
    , m_loop(std::make_shared<StdMainLoop>())
    , m_view(std::make_shared<View>(options))
    , m_progress(std::make_unique<ProgressBoard>(options.quiet || options.json || options.jsonFiles))
{
    // Alerts and diagnostics take the board's place instead of breaking it.
    m_view->printError = [this](const std::string &text) { m_progress->print(text); };
    setSystemLogWriter([this](const std::string &line) { m_progress->print(line); });
    g_interrupted = false;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (size_t i = 0; i < std::size(kEndingSignals); ++i)
        ::sigaction(kEndingSignals[i], &action, &m_previous[i]);
}

OffloadSession::~OffloadSession()
{
    m_controller.reset();
    setSystemLogWriter(nullptr);
    for (size_t i = 0; i < std::size(kEndingSignals); ++i)
        ::sigaction(kEndingSignals[i], &m_previous[i], nullptr);
}

// Saved settings fill every option that was not given on the command line;
// the preferences file is only read.
int OffloadSession::loadSaved()
{
    PreferencesStore store;
    store.loadWithoutRepair();
    FerrydeckSettings saved(1);
    std::vector<std::string> ticked;
    for (const auto &destination : DefaultsPersistence::loadDefaults(store, saved, {})) {
        if (destination->inUse()) ticked.push_back(destination->destinationPath());
    }
    // The saved destinations come first, as the window would list them.
    m_options.destinations.insert(m_options.destinations.begin(), ticked.begin(), ticked.end());
    auto fill = [&](const char *flag, auto &field, auto value) {
        if (!m_options.given.count(flag)) field = value;
    };
    static const int32_t kPopupOrder[] = {1, 2, 3, 7, 4, 5, 6};
    const int32_t index = saved.namingConventionIndex();
    const int32_t scheme = index >= 0 && index < 7 ? kPopupOrder[index] : OffloadNamingScheme::kNone;
    for (const auto &[key, id] : kSchemes) {
        if (id == scheme) fill("--scheme", m_options.scheme, key);
    }
    fill("--name", m_options.name, saved.textCustomName());
    fill("--prefix", m_options.prefix, saved.addPrefix() ? saved.textPrefix() : std::string());
    fill("--suffix", m_options.suffix, saved.addSuffix() ? saved.textSuffix() : std::string());
    fill("--number", m_options.number, saved.valueConsecutiveNumbering());
    fill("--verify", m_options.verify, FerrydeckSettings::verificationName(saved.verificationOption()));
    if (!m_options.given.count("--verbose-log"))
        fill("--log-detail", m_options.logDetail,
             std::string(saved.selectedLogOption() == FerrydeckSettings::kLogVerbose ? "verbose" : "minimal"));
    if (!m_options.given.count("--log-dir") && !m_options.given.count("--log-in-copy") && saved.autoSaveLogs()) {
        if (saved.logOptionIndex() == 0) m_options.logDir = saved.textLogDirectory();
        else m_options.logInCopy = true;
    }
    // The saved thread count is not taken: the window too keeps 4 copy
    // threads per processor until the person moves the slider.
    fill("--rename", m_options.rename, saved.renameCard() ? saved.textRenameCard() : std::string());
    fill("--increment", m_options.increment, saved.incrementRenameTitle());
    m_options.renameCounter = saved.renameCounter();
    fill("--eject", m_options.eject, saved.ejectCard());
    fill("--reformat", m_options.reformat, saved.formatCard());
    fill("--sound", m_options.sound, saved.playSound());
    return kExitOk;
}

int OffloadSession::prepare(bool sourcesRequired)
{
    if (m_options.saved) loadSaved();
    // Every offload keeps its log: into its copy folder unless told where, or told not to.
    if (m_options.noLog) {
        m_options.logDir.clear();
        m_options.logInCopy = false;
    } else if (m_options.logDir.empty()) {
        m_options.logInCopy = true;
    }
    if (m_options.destinations.empty()) return usage("no destination given (--dest DIR)");
    if (sourcesRequired && m_options.sources.empty()) return usage("no source given");
    for (std::string &source : m_options.sources) {
        source = absolutePath(source);
        if (!path::exists(source)) return usage("source " + source + " does not exist");
        if (!path::isDirectory(source)) return usage("source " + source + " is not a folder");
    }
    std::vector<std::string> destinations;
    for (std::string destination : m_options.destinations) {
        destination = absolutePath(destination);
        if (!path::isDirectory(destination)) return usage("destination " + destination + " is not an existing folder");
        for (const std::string &source : m_options.sources) {
            if (!isInside(destination, source)) continue;
            const int status = usage("destination " + destination + " lies inside a source");
            std::fprintf(stderr, "%s\n", AlertTexts::sourceIsADestination(source).line().c_str());
            return status;
        }
        // One folder named twice, in any spelling, is one destination.
        const bool named = std::any_of(destinations.begin(), destinations.end(), [&](const std::string &earlier) {
            return path::real(earlier) == path::real(destination);
        });
        if (!named) destinations.push_back(destination);
    }
    m_options.destinations = std::move(destinations);
    if (!m_options.logDir.empty()) {
        m_options.logDir = absolutePath(m_options.logDir);
        if (!path::isDirectory(m_options.logDir))
            return usage("log folder " + m_options.logDir + " is not an existing folder");
    }
    // A saved custom scheme without a name copies into the destination itself, as the window does.
    if (m_options.scheme == "custom" && m_options.name.empty() && m_options.given.count("--scheme"))
        return usage("--scheme custom needs --name TEXT");

    AppController::Options controllerOptions;
    const bool sound = m_options.sound;
    controllerOptions.playSound = [sound](const std::string &name) {
        if (sound) AppController::playSystemSound(name);
    };
    m_controller = std::make_unique<AppController>(m_view, m_loop, controllerOptions);
    m_controller->setResumeInterrupted(m_options.resume || m_options.resumeVerify, m_options.resumeVerify);
    FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    settings.setAlertWhenLogsNotSaved(false);
    settings.setAddPrefix(!m_options.prefix.empty());
    settings.setAddSuffix(!m_options.suffix.empty());
    settings.setAutoSaveLogs(m_options.logInCopy || !m_options.logDir.empty());
    settings.setLogOptionIndex(m_options.logInCopy ? 1 : 0);
    settings.setTextLogDirectory(m_options.logDir);
    settings.setRenameCard(!m_options.rename.empty());
    settings.setTextRenameCard(m_options.rename);
    settings.setIncrementRenameTitle(m_options.increment);
    settings.setRenameCounter(m_options.renameCounter);
    settings.setEjectCard(m_options.eject);
    settings.setFormatCard(m_options.reformat);
    settings.setPlaySound(m_options.sound);
    // A reformat asks first unless --yes; its failure is always told.
    settings.setWarnBeforeFormatting(true);
    settings.setAlertOnFailedFormat(true);
    if (m_options.threads > 0) m_controller->setCopyThreadCount(m_options.threads);
    m_controller->configureStepper(m_options.number);
    m_controller->addDirectoriesToDestinationList(m_options.destinations);
    if (m_controller->numberOfSelectedOffloadDestinations() == 0) return kExitUsage;
    return kExitOk;
}

bool OffloadSession::interrupted()
{
    if (g_interrupted && !m_cancelled) {
        m_cancelled = true;
        // Only what still runs: cancelling a finished job would turn its
        // Completed into Canceled.
        std::vector<AppController::Job> running;
        for (const auto &job : m_controller->listOffloadInstances()) {
            if (!job->processingTaskIsOver()) running.push_back(job);
        }
        m_controller->cancelInstancesInList(running);
    }
    return m_cancelled;
}

void OffloadSession::runUntil(const std::function<bool()> &done)
{
    m_loop->runUntil(
        [&] {
            m_progress->draw(m_controller->listOffloadInstances());
            if (interrupted()) return !m_controller->hasActiveWorkers();
            return done();
        },
        std::chrono::hours(24 * 365));
    m_loop->processEvents();
}

void OffloadSession::reportJobsAsTheyFinish()
{
    m_view->onFinished = [this](const std::shared_ptr<OffloadInstance> &job) { report({job}); };
}

bool OffloadSession::report(const std::vector<AppController::Job> &jobs)
{
    bool allCompleted = true;
    // The summary takes the board's place; the board starts again below it.
    m_progress->clear();
    for (const auto &job : jobs) {
        const OffloadInstance::Status status = job->offloadStatus();
        if (status != OffloadInstance::kCompleted) allCompleted = false;
        const std::optional<std::string> log = m_controller->savedLogPath(job);
        if (m_options.json || m_options.jsonFiles) {
            const nlohmann::json result = jobJson(*job, log, m_options.jsonFiles);
            // Names that are not UTF-8 are written with replacement characters.
            std::cout << result.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
        } else if (!m_options.quiet) {
            std::cout << OffloadInstance::statusText(status) << ": " << job->sourceDirectory() << " -> "
                      << job->fullOffloadPath() << (log ? " (log " + *log + ")" : std::string()) << std::endl;
            std::fputs(jobSummaryText(*job).c_str(), stderr);
        }
    }
    return allCompleted;
}

} // namespace ferrydeck::cli
