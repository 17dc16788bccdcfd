// ferrydeck-cli watch: automatic mode without a window, an ingest station.
#include "cli/CommandRegistry.h"
#include "cli/OffloadSession.h"

#include <cstdio>

namespace ferrydeck::cli {

namespace {

// The callback takes only the shared options; one watch per process.
bool g_notify = false;

int runWatch(OffloadOptions &options)
{
    OffloadSession session(options);
    if (const int invalid = session.prepare(false); invalid != kExitOk) return invalid;
    AppController &controller = session.controller();
    if (g_notify) controller.setCardFinishedHandler(&AppController::notifyDesktop);
    session.reportJobsAsTheyFinish();
    controller.ferrydeckSettings().setOffloadModeIndex(1);
    controller.toggleOffloadMode();
    // Said only once the cards already present are known, so that a script
    // can wait for it before inserting the next card.
    if (!options.quiet) std::fprintf(stderr, "Watching for new cards; Ctrl-C stops.\n");
    // Runs until interrupted; a job still running then is canceled with its log.
    session.runUntil([] { return false; });
    controller.ferrydeckSettings().setOffloadModeIndex(0);
    controller.toggleOffloadMode();

    for (const auto &job : controller.listOffloadInstances()) {
        const OffloadInstance::Status status = job->offloadStatus();
        if (status != OffloadInstance::kCompleted && job->processingTaskHasBegun()) return kExitFailed;
    }
    return kExitOk;
}

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto options = std::make_shared<OffloadOptions>();
    CLI::App *command = app.add_subcommand(
        "watch", "Offload every removable volume that appears to every destination, until Ctrl-C. Exit status 0 "
                 "when every offload it ran was Completed, 1 otherwise (an offload cut short by Ctrl-C included)");
    addOffloadOptions(*command, *options);
    command->add_option("--rename", options->rename, "After a card's last offload, rename it to TEXT");
    command->add_flag("--increment", options->increment, "Add -N to the new name, N counting up from 1");
    command->add_flag("--eject", options->eject, "Eject the card after its last offload");
    command->add_flag("--reformat", options->reformat,
                      "Reformat the card as its camera expects after its last offload (asks first; --yes agrees)");
    command->add_flag("--sound", options->sound, "Play a sound when an offload completes or a copy fails");
    command->add_flag("--notify", g_notify,
                      "Send a desktop notification when a card's last offload ends, with the counts of files verified "
                      "and failed; nothing without a session bus");
    runWhenParsed(*command, options, exitCode, runWatch);
});

} // namespace

} // namespace ferrydeck::cli
