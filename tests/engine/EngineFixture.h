#pragma once

#include "engine/OffloadDriver.h"
#include "engine/OffloadInstance.h"
#include "fsutil/DirectoryUtilities.h"
#include "support/TestFiles.h"

#include <atomic>
#include <chrono>
#include <string>

namespace ferrydeck::test {

struct JobOptions {
    int threads = 3;
    bool contents = false;
    bool verbose = false;
};

// A job from `source` into `destination`/copy (made if missing), listed and ready to drive.
inline std::shared_ptr<OffloadInstance> preparedJob(const std::string &source, const std::string &destination,
                                                    const JobOptions &options, std::atomic<int> *sounds = nullptr)
{
    makeDirectory(destination);
    auto job = OffloadInstance::create(source, destination);
    OffloadDriver::listSource(*job);
    UniqueFd folder;
    job->setFullOffloadPath(DirectoryUtilities::createExclusiveDirectoryForPath(destination + "/copy", folder).value());
    job->setOffloadFolder(std::move(folder));
    job->setByteComparison(options.contents);
    job->setVerboseLogging(options.verbose);
    if (sounds) job->setFailureSound([sounds] { ++*sounds; });
    job->createInitialLogEntry();
    for (int i = 0; i < options.threads; ++i)
        job->addThreadToPool(job->createOffloadThread());
    return job;
}

inline OffloadInstance::Status driveJob(const std::shared_ptr<OffloadInstance> &job)
{
    OffloadDriver::Hooks hooks;
    hooks.interval = std::chrono::milliseconds(20);
    return OffloadDriver::drive(job, hooks);
}

} // namespace ferrydeck::test
