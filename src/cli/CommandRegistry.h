#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <vector>

namespace ferrydeck::cli {

// Exit codes scripts can rely on.
enum ExitCode : int {
    kExitOk = 0,
    kExitFailed = 1, // the work ran and did not succeed (a job ended in Error, ...)
    kExitUsage = 2,  // bad arguments or missing input
};

// Each sub-command lives in its own file and registers itself here, so that
// adding one never touches main.
using CommandSetup = std::function<void(CLI::App &app, int &exitCode)>;

std::vector<CommandSetup> &commandRegistry();

struct RegisterCommand {
    explicit RegisterCommand(CommandSetup setup) { commandRegistry().push_back(std::move(setup)); }
};

} // namespace ferrydeck::cli
