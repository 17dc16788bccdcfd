#include "cli/CliPaths.h"
#include "cli/CommandRegistry.h"

#include "cards/HDUtilities.h"
#include "cards/VolumeUtilities.h"
#include "fsutil/FileUtilities.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>

namespace ferrydeck::cli {

namespace {

int runIdentify(const std::string &argument, bool json)
{
    const std::string target = absolutePath(argument);
    if (argument.empty() || !path::exists(target)) {
        std::fprintf(stderr, "ferrydeck-cli: no such file or folder: %s\n", argument.c_str());
        return kExitUsage;
    }
    std::string kind = "file";
    std::string reported = target;
    int32_t type = 0;
    if (path::isDirectory(target)) {
        // Card structures are only looked for on removable volumes; any other
        // folder is "Volume", whatever it holds.
        const auto drive = HDUtilities::removableDriveForPath(target);
        kind = drive ? "drive" : "folder";
        if (drive) reported = *drive;
        type = drive ? HDUtilities::volumeTypeFromDrivePath(*drive) : VolumeUtilities::kVolumeType;
    } else {
        type = HDUtilities::volumeTypeFromFilePath(target);
    }
    const std::string title = HDUtilities::volumeTitleForType(type);
    if (json) {
        const nlohmann::ordered_json document = {{"path", reported}, {"kind", kind}, {"type", type}, {"title", title}};
        std::printf("%s\n", document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    } else {
        std::printf("%d\t%s\t%s\t%s\n", type, title.c_str(), kind.c_str(), reported.c_str());
    }
    return kExitOk;
}

void setupIdentify(CLI::App &app, int &exitCode)
{
    CLI::App *command = app.add_subcommand("identify", "Tell which camera card type a drive or a clip file is.");
    auto target = std::make_shared<std::string>();
    auto json = std::make_shared<bool>(false);
    command->add_option("PATH", *target, "Mount path of a card, or a clip file on one.")->required();
    command->add_flag("--json", *json, "Print a JSON object: path, kind (drive, folder, file), type, title.");
    command->footer("Only removable volumes are examined as drives; type 11 (\"Volume\") means no known type.");
    command->callback([target, json, &exitCode] { exitCode = runIdentify(*target, *json); });
}

const RegisterCommand registration(setupIdentify);

} // namespace

} // namespace ferrydeck::cli
