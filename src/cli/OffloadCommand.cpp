// ferrydeck-cli offload: the application's controller without a window.
#include "cli/CommandRegistry.h"
#include "cli/OffloadSession.h"

namespace ferrydeck::cli {

int runOffload(OffloadOptions &options)
{
    OffloadSession session(options);
    if (const int invalid = session.prepare(true); invalid != kExitOk) return invalid;
    AppController &controller = session.controller();

    controller.addDirectoriesToOffloadList(options.sources);
    const size_t queued = controller.listOffloadInstances().size();
    if (queued == 0) return kExitUsage;

    // Listing first: a job the space check drops is gone before processing.
    session.runUntil([&] { return !controller.hasActiveWorkers(); });
    const bool dropped = controller.listOffloadInstances().size() < queued;
    if (!session.cancelled()) controller.processAllItemsInTheQueue();
    session.runUntil([&] { return !controller.hasActiveWorkers(); });

    const bool allCompleted = session.report(controller.listOffloadInstances());
    if (session.cancelled()) return kExitFailed; // the running jobs ended Canceled with their logs written
    return allCompleted && !dropped ? kExitOk : kExitFailed;
}

namespace {

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto options = std::make_shared<OffloadOptions>();
    CLI::App *command =
        app.add_subcommand("offload", "Offload folders or cards to every destination and verify each copy");
    command->add_option("SOURCE", options->sources, "Folders or cards to offload")->required();
    addOffloadOptions(*command, *options);
    runWhenParsed(*command, options, exitCode, runOffload);
});

} // namespace

} // namespace ferrydeck::cli
