#include "cli/CommandRegistry.h"

#include "Version.h"

#include <cstdio>

namespace ferrydeck::cli {

std::vector<CommandSetup> &commandRegistry()
{
    static std::vector<CommandSetup> registry;
    return registry;
}

} // namespace ferrydeck::cli

int main(int argc, char **argv)
{
    using namespace ferrydeck::cli;
    CLI::App app{"Ferrydeck offloads camera cards and folders to verified copies.", "ferrydeck-cli"};
    app.set_version_flag("--version", std::string("ferrydeck-cli ") + ferrydeck::kVersion);
    app.require_subcommand(0, 1);
    app.footer("Exit status: 0 success, 1 the work failed or was interrupted, 2 bad arguments or input.");

    int exitCode = kExitOk;
    for (const CommandSetup &setup : commandRegistry()) setup(app, exitCode);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &help) {
        return app.exit(help);
    } catch (const CLI::CallForAllHelp &help) {
        return app.exit(help);
    } catch (const CLI::CallForVersion &version) {
        return app.exit(version);
    } catch (const CLI::ParseError &error) {
        app.exit(error);
        return kExitUsage;
    }
    if (app.get_subcommands().empty()) {
        std::fputs(app.help().c_str(), stdout);
        return kExitOk;
    }
    return exitCode;
}
