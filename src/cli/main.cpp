#include "cli/CommandRegistry.h"

#include "Version.h"

#include <csignal>
#include <cstdio>

namespace {

void onBrokenPipe(int) {}

} // namespace

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
    // A reader that went away (`| head`) must not kill a command half-way:
    // writes to the closed pipe fail with EPIPE instead. A handler rather than
    // SIG_IGN, so that the programs we start get the default back.
    struct sigaction brokenPipe {};
    brokenPipe.sa_handler = onBrokenPipe;
    sigemptyset(&brokenPipe.sa_mask);
    brokenPipe.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &brokenPipe, nullptr);
    CLI::App app{"Ferrydeck offloads camera cards and folders to verified copies.", "ferrydeck-cli"};
    app.set_version_flag("--version", std::string("ferrydeck-cli ") + ferrydeck::kVersion);
    app.require_subcommand(0, 1);
    app.footer("Exit status: 0 success, 1 the work failed or was interrupted, 2 bad arguments or input.");

    int exitCode = kExitOk;
    for (const CommandSetup &setup : commandRegistry())
        setup(app, exitCode);

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
    // No command is a usage error: a script that lost its command must not pass.
    if (app.get_subcommands().empty()) {
        std::fputs(app.help().c_str(), stderr);
        return kExitUsage;
    }
    return exitCode;
}
