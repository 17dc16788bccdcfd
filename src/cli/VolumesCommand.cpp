#include "cli/CommandRegistry.h"

#include "fsutil/AttachedVolume.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/VolumeService.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace ferrydeck::cli {

namespace {

const char *kindName(MountType mountType)
{
    return mountType == MountTypeRemovable ? "removable" : "local";
}

std::vector<AttachedVolume> volumesOf(const std::vector<std::string> &paths, MountType mountType)
{
    std::vector<AttachedVolume> volumes;
    for (const std::string &volumePath : paths)
        volumes.emplace_back(volumePath, mountType);
    return volumes;
}

nlohmann::ordered_json toJson(const std::vector<AttachedVolume> &volumes)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const AttachedVolume &volume : volumes) {
        list.push_back({{"path", volume.volumePath()},
                        {"name", volume.volumeName()},
                        {"kind", kindName(volume.mountType())},
                        {"mountType", static_cast<int32_t>(volume.mountType())}});
    }
    return list;
}

void printTable(const char *title, const std::vector<AttachedVolume> &volumes)
{
    std::printf("%s:\n", title);
    if (volumes.empty()) std::printf("  (none)\n");
    for (const AttachedVolume &volume : volumes) {
        std::printf("  %-9s  %-24s  %s\n", kindName(volume.mountType()), volume.volumeName().c_str(),
                    volume.volumePath().c_str());
    }
}

int runVolumes(bool json)
{
    // A mistyped media root would silently show no cards at all.
    const char *mediaRoot = std::getenv(VolumeService::kMediaRootVariable);
    if (mediaRoot && *mediaRoot && !path::isDirectory(mediaRoot)) {
        std::fprintf(stderr, "ferrydeck-cli: %s is not a folder: %s\n", VolumeService::kMediaRootVariable, mediaRoot);
        return kExitUsage;
    }

    const std::vector<AttachedVolume> removable = volumesOf(DirectoryUtilities::removableDrives(), MountTypeRemovable);
    const std::vector<AttachedVolume> local = volumesOf(DirectoryUtilities::localVolumes(), MountTypeLocal);
    if (json) {
        const nlohmann::ordered_json document = {{"removable", toJson(removable)}, {"local", toJson(local)}};
        // Mount points are bytes; replace what is not UTF-8 rather than fail.
        std::printf("%s\n", document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    } else {
        printTable("Removable volumes", removable);
        printTable("Local volumes", local);
    }
    return kExitOk;
}

void setupVolumes(CLI::App &app, int &exitCode)
{
    CLI::App *command = app.add_subcommand("volumes", "List the mounted removable and local volumes.");
    auto json = std::make_shared<bool>(false);
    command->add_flag("--json", *json, "Print a JSON object with the lists \"removable\" and \"local\".");
    command->footer("FERRYDECK_MEDIA_ROOT=DIR lists DIR's sub-folders as the removable volumes.");
    command->callback([json, &exitCode] { exitCode = runVolumes(*json); });
}

const RegisterCommand registration(setupVolumes);

} // namespace

} // namespace ferrydeck::cli
