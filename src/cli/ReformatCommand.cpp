#include "cli/CliPaths.h"
#include "cli/CommandRegistry.h"

#include "cards/HDUtilities.h"
#include "cards/VolumeUtilities.h"
#include "controller/AlertTexts.h"
#include "controller/OffloadHistory.h"
#include "controller/ReformatGate.h"
#include "fsutil/FileUtilities.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

namespace ferrydeck::cli {

namespace {

// The window's own lines follow ours, so a person who knows the window sees its words.
void printAlert(const AlertText &alert)
{
    std::fprintf(stderr, "%s\n", alert.line().c_str());
}

bool confirmed(const std::string &drive, const std::string &title)
{
    std::fprintf(stderr, "Reformat %s (%s)? Every clip on it will be deleted.\n", drive.c_str(), title.c_str());
    std::fprintf(stderr, "%s [y/N] ", AlertTexts::reformatWarning(drive).line().c_str());
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) return false;
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "YES";
}

int runReformat(const std::string &argument, bool yes, bool force)
{
    const std::string target = absolutePath(argument);
    if (argument.empty() || !path::isDirectory(target)) {
        std::fprintf(stderr, "ferrydeck-cli: no such folder: %s\n", argument.c_str());
        return kExitUsage;
    }
    const auto drive = HDUtilities::removableDriveForPath(target);
    if (!drive) {
        std::fprintf(stderr, "ferrydeck-cli: %s is not a removable volume; nothing was touched\n", argument.c_str());
        return kExitUsage;
    }
    const int32_t type = HDUtilities::volumeTypeFromDrivePath(*drive);
    // Not a card at all: no flag makes it one.
    if (const auto reason = ReformatGate::notACard(*drive, type)) {
        std::fprintf(stderr, "ferrydeck-cli: %s; nothing was touched\n", reason->c_str());
        return kExitUsage;
    }
    if (const auto reason = ReformatGate::notSafelyOffloaded(*drive, type, OffloadHistory())) {
        if (!force) {
            std::fprintf(stderr, "ferrydeck-cli: reformat refused: %s; nothing was touched (--force overrides)\n",
                         reason->c_str());
            return kExitFailed;
        }
        std::fprintf(stderr, "ferrydeck-cli: --force: reformatting although %s\n", reason->c_str());
    }
    const std::string title = HDUtilities::volumeTitleForType(type);
    if (!yes && !confirmed(*drive, title)) {
        std::fprintf(stderr, "ferrydeck-cli: not confirmed; nothing was touched\n");
        printAlert(AlertTexts::reformatAborted());
        return kExitFailed;
    }
    if (!HDUtilities::reformatDrive(*drive)) {
        std::fprintf(stderr, "ferrydeck-cli: the reformat of %s failed; the card may be partly emptied\n",
                     drive->c_str());
        printAlert(AlertTexts::reformatFailed(*drive));
        return kExitFailed;
    }
    std::printf("Reformatted %s (%s)\n", drive->c_str(), title.c_str());
    return kExitOk;
}

void setupReformat(CLI::App &app, int &exitCode)
{
    CLI::App *command = app.add_subcommand("reformat", "Empty a camera card the way its camera expects.");
    auto target = std::make_shared<std::string>();
    auto yes = std::make_shared<bool>(false);
    command->add_option("DRIVE", *target, "Mount path of the card.")->required();
    auto force = std::make_shared<bool>(false);
    command->add_flag("--yes,-y", *yes, "Do not ask before deleting.");
    command->add_flag(
        "--force", *force,
        "Reformat even when the offload history does not show verified copies of every file on the card.");
    command->footer("Only a mounted card (removable medium, known card structure) is touched, and only when its last "
                    "offload (see `history`) completed, was verified, and its verified copies hold every file now on "
                    "it. Exit status 0 reformatted, 1 refused by that check, not confirmed or failed, 2 not a card.");
    command->callback([target, yes, force, &exitCode] { exitCode = runReformat(*target, *yes, *force); });
}

const RegisterCommand registration(setupReformat);

} // namespace

} // namespace ferrydeck::cli
