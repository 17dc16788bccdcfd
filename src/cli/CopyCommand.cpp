// ferrydeck-cli copy SOURCE DEST: `offload` of one folder to one destination
// without a naming scheme, so the copy is a new folder named after the source.
#include "cli/CommandRegistry.h"
#include "cli/OffloadSession.h"

namespace ferrydeck::cli {

namespace {

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto options = std::make_shared<OffloadOptions>();
    options->sources.resize(1);
    options->destinations.resize(1);
    CLI::App *command = app.add_subcommand("copy", "Offload one folder into a new folder inside DEST and verify it");
    command->add_option("SOURCE", options->sources.front(), "Folder or card to offload")->required();
    command->add_option("DEST", options->destinations.front(), "Destination folder")->required();
    addCopyOptions(*command, *options);
    runWhenParsed(*command, options, exitCode, runOffload);
});

} // namespace

} // namespace ferrydeck::cli
