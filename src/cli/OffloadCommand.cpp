// ferrydeck-cli offload: the application's controller without a window.
#include "cli/CliPaths.h"
#include "cli/CommandRegistry.h"

#include "controller/AppController.h"
#include "controller/OffloadNamingScheme.h"
#include "controller/StdMainLoop.h"
#include "fsutil/FileUtilities.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <map>

namespace ferrydeck::cli {

namespace {

std::atomic<bool> g_interrupted{false};

void onInterrupt(int)
{
    g_interrupted = true;
}

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
    bool yes = false;
    bool json = false;
    bool quiet = false;
};

const std::map<std::string, int32_t> kSchemes{
    {"custom", OffloadNamingScheme::kCustomVolumeName}, {"number", OffloadNamingScheme::kConsecutiveNumbering},
    {"card", OffloadNamingScheme::kCardName},           {"created", OffloadNamingScheme::kDateVolumeCreated},
    {"modified", OffloadNamingScheme::kDateVolumeModified}, {"today", OffloadNamingScheme::kTodaysDate},
    {"none", OffloadNamingScheme::kNone},
};

// The window as flags and standard error: alerts are printed, a YES/NO
// question takes YES only when --yes was given, otherwise the default button.
class CommandLineView : public ControllerView {
public:
    explicit CommandLineView(const OffloadOptions &options) : m_options(options) {}

    int showAlert(const std::string &title, const std::string &message,
                  const std::vector<std::string> &buttons) override
    {
        std::fprintf(stderr, "%s: %s\n", title.c_str(), message.c_str());
        ++alerts;
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
        controls.verboseLogging = m_options.verboseLog || m_options.logDetail == "verbose";
        return controls;
    }
    std::optional<std::string> chooseFolder(const std::string &, const std::string &) override { return std::nullopt; }
    std::optional<std::string> chooseSaveFile(const std::string &, const std::string &, const std::string &) override
    {
        return std::nullopt;
    }

    int alerts = 0;

private:
    const OffloadOptions &m_options;
};

int usage(const char *format, const std::string &path)
{
    std::fprintf(stderr, "ferrydeck-cli: ");
    std::fprintf(stderr, format, path.c_str());
    std::fprintf(stderr, "\n");
    return kExitUsage;
}

// Everything is checked before anything is made, so bad input touches nothing.
int checkInput(OffloadOptions &options)
{
    if (options.destinations.empty()) return usage("no destination given (--dest DIR)%s", "");
    for (std::string &source : options.sources) {
        source = absolutePath(source);
        if (!path::exists(source)) return usage("source %s does not exist", source);
        if (!path::isDirectory(source)) return usage("source %s is not a folder", source);
    }
    for (std::string &destination : options.destinations) {
        destination = absolutePath(destination);
        if (!path::isDirectory(destination)) return usage("destination %s is not an existing folder", destination);
        for (const std::string &source : options.sources) {
            if (isInside(destination, source)) return usage("destination %s lies inside a source", destination);
        }
    }
    if (!options.logDir.empty()) {
        options.logDir = absolutePath(options.logDir);
        if (!path::isDirectory(options.logDir)) return usage("log folder %s is not an existing folder", options.logDir);
    }
    if (options.scheme == "custom" && options.name.empty()) return usage("--scheme custom needs --name TEXT%s", "");
    return kExitOk;
}

void printProgress(const std::vector<AppController::Job> &jobs)
{
    for (const auto &job : jobs) {
        if (job->offloadStatus() != OffloadInstance::kProcessing) continue;
        const auto &shown = job->interface();
        std::fprintf(stderr, "%s -> %s: %s files, %s, %s\n", job->sourceDirectory().c_str(),
                     job->fullOffloadPath().c_str(), shown->filesOffloaded().c_str(), shown->sourceSize().c_str(),
                     shown->estimatedTimeRemaining().c_str());
    }
}

int runOffload(OffloadOptions &options)
{
    if (const int invalid = checkInput(options); invalid != kExitOk) return invalid;

    auto loop = std::make_shared<StdMainLoop>();
    auto view = std::make_shared<CommandLineView>(options);
    AppController controller(view, loop);
    FerrydeckSettings &settings = controller.ferrydeckSettings();
    // The command works on its own settings and never writes the saved preferences.
    settings.setAlertWhenLogsNotSaved(false);
    settings.setAddPrefix(!options.prefix.empty());
    settings.setAddSuffix(!options.suffix.empty());
    settings.setAutoSaveLogs(options.logInCopy || !options.logDir.empty());
    settings.setLogOptionIndex(options.logInCopy ? 1 : 0);
    settings.setTextLogDirectory(options.logDir);
    if (options.threads > 0) {
        std::lock_guard lock(controller.offloadPool().poolLock());
        controller.offloadPool().setPoolSize(options.threads);
    }
    controller.configureStepper(options.number);

    controller.addDirectoriesToDestinationList(options.destinations);
    if (controller.numberOfSelectedOffloadDestinations() == 0) return kExitUsage;
    controller.addDirectoriesToOffloadList(options.sources);
    const size_t queued = controller.listOffloadInstances().size();
    if (queued == 0) return kExitUsage;

    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    bool cancelled = false;
    auto cancelOnInterrupt = [&] {
        if (g_interrupted && !cancelled) {
            cancelled = true;
            controller.cancelAllItemsInTheQueue();
        }
    };
    loop->runUntil(
        [&] {
            cancelOnInterrupt();
            return !controller.hasActiveWorkers();
        },
        std::chrono::hours(24 * 365));
    const bool dropped = controller.listOffloadInstances().size() < queued;
    if (!cancelled) controller.processAllItemsInTheQueue();
    auto lastProgress = std::chrono::steady_clock::now();
    loop->runUntil(
        [&] {
            cancelOnInterrupt();
            const auto now = std::chrono::steady_clock::now();
            if (!options.quiet && now - lastProgress >= std::chrono::seconds(2)) {
                lastProgress = now;
                printProgress(controller.listOffloadInstances());
            }
            return !controller.hasActiveWorkers();
        },
        std::chrono::hours(24 * 365));
    loop->processEvents();
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);

    bool allCompleted = !dropped;
    for (const auto &job : controller.listOffloadInstances()) {
        const int32_t status = job->offloadStatus();
        if (status != OffloadInstance::kCompleted) allCompleted = false;
        const std::optional<std::string> log = controller.savedLogPath(job);
        if (options.json) {
            nlohmann::json result = {
                {"source", job->sourceDirectory()},
                {"destination", job->fullOffloadPath()},
                {"status", OffloadInstance::statusText(status)},
                {"files", job->itemsProcessed()},
                {"filesAtSource", job->totalFilesAtSource()},
                {"bytes", job->bytesCopied()},
                {"bytesAtSource", job->bytesAtSource()},
                {"log", log ? nlohmann::json(*log) : nlohmann::json(nullptr)},
            };
            // Names that are not UTF-8 are written with replacement characters.
            std::cout << result.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
        } else if (!options.quiet) {
            std::cout << OffloadInstance::statusText(status) << ": " << job->sourceDirectory() << " -> "
                      << job->fullOffloadPath() << (log ? " (log " + *log + ")" : std::string()) << std::endl;
        }
    }
    if (cancelled) return kExitFailed; // the jobs ended Canceled with their logs written
    return allCompleted ? kExitOk : kExitFailed;
}

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto options = std::make_shared<OffloadOptions>();
    CLI::App *command =
        app.add_subcommand("offload", "Offload folders or cards to every destination and verify each copy");
    command->add_option("SOURCE", options->sources, "Folders or cards to offload")->required();
    command->add_option("--dest", options->destinations, "Destination folder (repeat for several)");
    command->add_option("--verify", options->verify, "Verification: size, contents (byte for byte) or none")
        ->check(CLI::IsMember({"size", "contents", "none"}))
        ->capture_default_str();
    command->add_option("--log-detail", options->logDetail, "Log detail: minimal or verbose")
        ->check(CLI::IsMember({"minimal", "verbose"}))
        ->capture_default_str();
    command->add_flag("--verbose-log", options->verboseLog, "Same as --log-detail verbose");
    command->add_option("--scheme", options->scheme, "Naming: custom, number, card, created, modified, today or none")
        ->check(CLI::IsMember({"custom", "number", "card", "created", "modified", "today", "none"}))
        ->capture_default_str();
    command->add_option("--name", options->name, "Folder name for --scheme custom");
    command->add_option("--number", options->number, "First consecutive number for --scheme number")
        ->check(CLI::Range(AppController::kStepperMinimum, AppController::kStepperMaximum));
    command->add_option("--prefix", options->prefix, "Text before the scheme's part of the name");
    command->add_option("--suffix", options->suffix, "Text after the scheme's part of the name");
    command->add_option("--threads", options->threads, "Copy threads shared by all jobs (default 4 per processor)")
        ->check(CLI::Range(1, 256));
    auto *logDir = command->add_option("--log-dir", options->logDir, "Save each log into this folder");
    auto *logInCopy =
        command->add_flag("--log-in-copy,--log-to-offload-folder", options->logInCopy, "Save each log into its copy");
    logDir->excludes(logInCopy);
    command->add_flag("--yes", options->yes, "Answer YES where the window would ask");
    command->add_flag("--json", options->json, "One JSON object per job on standard output");
    command->add_flag("--quiet", options->quiet, "No progress lines and no summary");
    command->callback([options, &exitCode] { exitCode = runOffload(*options); });
});

} // namespace

} // namespace ferrydeck::cli
