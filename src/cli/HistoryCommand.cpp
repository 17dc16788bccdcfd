// ferrydeck-cli history: what the offload history remembers of each card.
#include "cli/CommandRegistry.h"

#include "controller/OffloadHistory.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <memory>

namespace ferrydeck::cli {

namespace {

int runHistory(bool json)
{
    const OffloadHistory history;
    std::string error;
    const std::vector<OffloadHistory::Card> cards = history.cards(&error);
    if (!error.empty()) std::fprintf(stderr, "ferrydeck-cli: %s; nothing is recorded\n", error.c_str());
    for (const OffloadHistory::Card &card : cards) {
        if (json) {
            nlohmann::json jobs = nlohmann::json::array();
            for (const OffloadHistory::Job &job : card.jobs) {
                jobs.push_back({{"destination", job.destination},
                                {"status", job.status},
                                {"verification", job.verification},
                                {"files", job.files.size()}});
            }
            const nlohmann::json line = {{"identity", card.identity},
                                         {"mountPath", card.mountPath},
                                         {"queuedAt", card.queuedAt},
                                         {"jobs", jobs}};
            std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
            continue;
        }
        std::cout << card.mountPath << " (" << card.identity << ")" << std::endl;
        for (const OffloadHistory::Job &job : card.jobs) {
            std::cout << "  " << job.status << ", verified by "
                      << (job.verification.empty() ? std::string("?") : job.verification) << ", " << job.files.size()
                      << " files -> " << job.destination << std::endl;
        }
    }
    return error.empty() ? kExitOk : kExitFailed;
}

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto json = std::make_shared<bool>(false);
    CLI::App *command = app.add_subcommand(
        "history", "List each card's last offload as remembered for the reformat check (exit 1 when the history "
                   "cannot be read)");
    command->add_flag("--json", *json, "One JSON object per card on standard output");
    command->callback([json, &exitCode] { exitCode = runHistory(*json); });
});

} // namespace

} // namespace ferrydeck::cli
