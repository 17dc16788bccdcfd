#include "cli/CliPaths.h"
#include "cli/CommandRegistry.h"

#include "cards/HDUtilities.h"
#include "cards/VolumeUtilities.h"
#include "fsutil/FileUtilities.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

namespace ferrydeck::cli {

namespace {

bool confirmed(const std::string &drive, const std::string &title)
{
    std::fprintf(stderr, "Reformat %s (%s)? Every clip on it will be deleted. [y/N] ", drive.c_str(), title.c_str());
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) return false;
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "YES";
}

int runReformat(const std::string &argument, bool yes)
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
    if (type == VolumeUtilities::kVolumeType) {
        std::fprintf(stderr, "ferrydeck-cli: no known card structure on %s; nothing was touched\n", drive->c_str());
        return kExitUsage;
    }
    const std::string title = HDUtilities::volumeTitleForType(type);
    if (!yes && !confirmed(*drive, title)) {
        std::fprintf(stderr, "ferrydeck-cli: not confirmed; nothing was touched\n");
        return kExitFailed;
    }
    if (!HDUtilities::reformatDrive(*drive)) {
        std::fprintf(stderr, "ferrydeck-cli: the reformat of %s failed; the card may be partly emptied\n",
                     drive->c_str());
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
    command->add_flag("--yes,-y", *yes, "Do not ask before deleting.");
    command->footer("Only a mounted removable volume with a known card structure is touched.");
    command->callback([target, yes, &exitCode] { exitCode = runReformat(*target, *yes); });
}

const RegisterCommand registration(setupReformat);

} // namespace

} // namespace ferrydeck::cli
