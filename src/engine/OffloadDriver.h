#pragma once

#include "engine/OffloadInstance.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ferrydeck {

// The steps that take a job from its source folder to its end: listing the
// source into the job, and driving a prepared job on the calling thread until
// it is over. The controller and the command line share them.
class OffloadDriver {
public:
    // Lists the source into the job (records, counts, sub-folders, a free
    // probe path) and sets it In Queue.
    static void listSource(OffloadInstance &job);

    // Re-creates the source's visible sub-folder tree in the job's folder,
    // open as `destinationFd`, or at the path `destination`.
    static void createOffloadDirectories(const std::vector<std::string> &subDirectories, const std::string &source,
                                         int destinationFd);
    static void createOffloadDirectories(const std::vector<std::string> &subDirectories, const std::string &source,
                                         const std::string &destination);
    // Gives the copied folders (and the job's folder) their source's times,
    // once no file is written into them any more.
    static void copyFolderModificationTimes(const OffloadInstance &job);

    struct Hooks {
        std::function<void()> permissionDenied; // the destination cannot be written
        std::function<void()> refresh;          // every interval while the job runs
        std::chrono::milliseconds interval = std::chrono::seconds(5);
        // Held while the sub-folder tree is made (the window's interface lock).
        std::mutex *folderCreationLock = nullptr;
    };

    // Checks write permission, starts the job's threads, refreshes the
    // estimate until the job is over, then waits for its threads to stop and
    // writes the summary. Returns the final status.
    static OffloadInstance::Status drive(const std::shared_ptr<OffloadInstance> &job, const Hooks &hooks);
};

} // namespace ferrydeck
