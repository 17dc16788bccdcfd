#include "controller/AppController.h"

#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

#include <sys/statvfs.h>

#include <algorithm>

namespace ferrydeck {

namespace {
uint64_t statvfsFreeSpace(const std::string &folder)
{
    struct statvfs info {};
    // A folder the system cannot measure has no room to offer.
    if (::statvfs(folder.c_str(), &info) != 0) return 0;
    return static_cast<uint64_t>(info.f_bavail) * static_cast<uint64_t>(info.f_frsize);
}
} // namespace

void AppController::addDirectoriesToDestinationList(const std::vector<std::string> &paths)
{
    std::vector<Destination> destinations = listOffloadDestinations();
    for (const std::string &path : paths) {
        if (!path::isDirectory(path)) continue;
        const bool listed = std::any_of(destinations.begin(), destinations.end(),
                                        [&](const Destination &entry) { return entry->destinationPath() == path; });
        // Tested before the duplicate check, so an unwritable duplicate still raises the alert.
        if (!DirectoryUtilities::doesPathHaveWritePermissions(path)) {
            alert("Insufficient Permissions",
                  stringWithFormat("%s does not have write-permissions & may not be added as a destination",
                                   path.c_str()),
                  {"OK"});
        } else if (!listed) {
            destinations.push_back(std::make_shared<OffloadDestination>(path));
        }
    }
    setListOffloadDestinations(std::move(destinations));
}

void AppController::removeRowFromDestinationTable(int selectedRow)
{
    if (selectedRow < 0) return;
    Destination destination;
    {
        std::lock_guard lock(m_lockOffloadDestination);
        const std::vector<Destination> destinations = listOffloadDestinations();
        if (static_cast<size_t>(selectedRow) >= destinations.size()) return;
        destination = destinations[static_cast<size_t>(selectedRow)];
    }
    const std::string path = destination->destinationPath();
    bool active = false;
    {
        std::lock_guard lock(m_lockOffloadInstances);
        for (const Job &job : listOffloadInstances()) {
            if (job->offloadDirectory() == path && !canInstanceBeDequeued(job)) active = true;
        }
    }
    if (active) {
        alert("Removal Error",
              stringWithFormat("There exist active offloads with \"%s\" as a destination.\nPlease wait until they "
                               "complete and try again",
                               path.c_str()),
              {"OK"});
        return;
    }
    removeDirectoryPathFromDestinationList(path);
}

void AppController::removeDirectoryPathFromDestinationList(const std::string &path)
{
    {
        std::lock_guard lock(m_lockOffloadDestination);
        std::vector<Destination> destinations = listOffloadDestinations();
        std::erase_if(destinations, [&](const Destination &entry) { return entry->destinationPath() == path; });
        setListOffloadDestinations(std::move(destinations));
    }
    removeDirectoryDestinationFromOffloadInstanceList(path);
}

void AppController::removeDirectoryDestinationFromOffloadInstanceList(const std::string &path)
{
    std::lock_guard lock(m_lockOffloadInstances);
    std::vector<Job> queue = listOffloadInstances();
    std::erase_if(queue, [&](const Job &job) { return job->offloadDirectory() == path; });
    setListOffloadInstances(std::move(queue));
}

bool AppController::directoryIsAnOffloadDestination(const std::string &path)
{
    std::lock_guard lock(m_lockOffloadDestination);
    // A plain text search: /Volumes/A conflicts with /Volumes/AB/Copies, deliberately broad.
    for (const Destination &destination : listOffloadDestinations()) {
        if (destination->destinationPath().find(path) != std::string::npos) return true;
    }
    return false;
}

int AppController::numberOfSelectedOffloadDestinations()
{
    std::lock_guard lock(m_lockOffloadDestination);
    const std::vector<Destination> destinations = listOffloadDestinations();
    return static_cast<int>(std::count_if(destinations.begin(), destinations.end(),
                                          [](const Destination &entry) { return entry->inUse(); }));
}

bool AppController::areAnyDestinationsSelected()
{
    if (numberOfSelectedOffloadDestinations() > 0) return true;
    alert("Error",
          "No offload destinations have been selected.\nPlease open Ferrydeck settings and add at least one active "
          "offload destination.",
          {"OK"});
    return false;
}

bool AppController::isSufficentSpaceAvailableForOffload(const Job &job)
{
    const std::string folder = job->offloadDirectory();
    uint64_t free = m_options.freeSpace ? m_options.freeSpace(folder) : statvfsFreeSpace(folder);
    // Space is reserved per destination folder text, the job itself included, as designed.
    std::lock_guard lock(m_lockOffloadInstances);
    for (const Job &queued : listOffloadInstances()) {
        if (queued->offloadDirectory() != folder) continue;
        const uint64_t need = queued->bytesLeftToCopy();
        if (free < need) return false;
        free -= need;
    }
    return true;
}

} // namespace ferrydeck
