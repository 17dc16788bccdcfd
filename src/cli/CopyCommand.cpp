// ferrydeck-cli copy: one offload job run directly on the engine.
#include "cli/CliPaths.h"
#include "cli/CommandRegistry.h"
#include "cli/TerminalProgress.h"

#include "controller/StdMainLoop.h"
#include "engine/OffloadDriver.h"
#include "engine/OffloadInstance.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/UniqueFd.h"

#include <nlohmann/json.hpp>

#include <sys/statvfs.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>

namespace ferrydeck::cli {

namespace {

std::atomic<bool> g_interrupted{false};

void onInterrupt(int)
{
    g_interrupted = true;
}

struct CopyOptions {
    std::string source;
    std::string destination;
    std::string verify = "size";
    int threads = 8;
    bool verboseLog = false;
    bool json = false;
};

int runCopy(const CopyOptions &options)
{
    const std::string source = absolutePath(options.source);
    const std::string destination = absolutePath(options.destination);
    if (!path::isDirectory(source)) {
        std::fprintf(stderr, "ferrydeck-cli: source %s is not a folder\n", source.c_str());
        return kExitUsage;
    }
    if (!path::isDirectory(destination)) {
        std::fprintf(stderr, "ferrydeck-cli: destination %s is not a folder\n", destination.c_str());
        return kExitUsage;
    }
    if (isInside(destination, source)) {
        std::fprintf(stderr, "ferrydeck-cli: destination %s lies inside the source\n", destination.c_str());
        return kExitUsage;
    }

    auto loop = std::make_shared<StdMainLoop>();
    auto job = OffloadInstance::create(source, destination, loop);
    OffloadDriver::listSource(*job);
    if (job->fileDetails().empty()) {
        std::fprintf(stderr, "ferrydeck-cli: %s holds no files to offload\n", source.c_str());
        return kExitUsage;
    }
    struct statvfs space {};
    if (::statvfs(destination.c_str(), &space) == 0 &&
        static_cast<uint64_t>(space.f_bavail) * space.f_frsize < job->bytesAtSource()) {
        std::fprintf(stderr, "ferrydeck-cli: %s could not be copied to %s: not enough free space\n", source.c_str(),
                     destination.c_str());
        return kExitFailed;
    }

    // The copy goes into a new folder named after the source, never over an earlier one.
    const std::string wanted = destination + "/" + path::lastComponent(source);
    UniqueFd folder;
    job->setFullOffloadPath(DirectoryUtilities::createExclusiveDirectoryForPath(wanted, folder).value_or(wanted));
    job->setOffloadFolder(std::move(folder));
    job->setByteComparison(options.verify == "contents");
    job->setNoFileVerification(options.verify == "none");
    job->setVerboseLogging(options.verboseLog);
    auto progress = std::make_shared<TerminalProgress>(loop);
    job->setDelegate(progress);
    job->updateInterfaceEstimatedTime();
    job->createInitialLogEntry();
    for (int i = 0; i < options.threads; ++i)
        job->addThreadToPool(job->createOffloadThread());

    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    std::atomic<bool> driven{false};
    auto driver = WorkerThread::create([job, &driven](WorkerThread &) {
        OffloadDriver::Hooks hooks;
        hooks.permissionDenied = [&job] {
            std::fprintf(stderr, "Insufficient Permissions: %s does not have write-permissions & cannot be offloaded\n",
                         job->offloadDirectory().c_str());
        };
        OffloadDriver::drive(job, hooks);
        driven = true;
    });
    driver->start();
    loop->runUntil(
        [&] {
            if (g_interrupted && !job->processingTaskIsOver()) job->cancelOffloadingTasks();
            progress->show(*job);
            return driven.load();
        },
        std::chrono::hours(24 * 365));
    driver->waitUntilFinished();
    progress->finish();
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);

    const int32_t status = job->offloadStatus();
    if (options.json) {
        nlohmann::json result = {
            {"status", OffloadInstance::statusText(status)},
            {"source", source},
            {"destination", job->fullOffloadPath()},
            {"filesAtSource", job->totalFilesAtSource()},
            {"filesCopied", job->itemsProcessed()},
            {"bytesAtSource", job->bytesAtSource()},
            {"bytesCopied", job->bytesCopied()},
            {"log", job->interface()->logText()},
        };
        nlohmann::json files = nlohmann::json::array();
        for (const auto &record : job->fileDetails()) {
            files.push_back({{"source", record->filePath()},
                             {"destination", record->outputPath()},
                             {"size", record->rawFileSize()},
                             {"status", record->status()}});
        }
        result["files"] = std::move(files);
        // Names that are not UTF-8 are written with replacement characters.
        std::cout << result.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
    } else {
        std::cout << job->interface()->logText() << std::endl;
    }
    // An interrupted job ended Canceled, with its log written: a failure like any other.
    return status == OffloadInstance::kCompleted ? kExitOk : kExitFailed;
}

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto options = std::make_shared<CopyOptions>();
    CLI::App *copy = app.add_subcommand("copy", "Offload one folder into a new folder inside DEST and verify it");
    copy->add_option("SOURCE", options->source, "Folder or card to offload")->required();
    copy->add_option("DEST", options->destination, "Destination folder")->required();
    copy->add_option("--verify", options->verify, "Verification: size, contents (byte for byte) or none")
        ->check(CLI::IsMember({"size", "contents", "none"}))
        ->capture_default_str();
    copy->add_option("--threads", options->threads, "Copy threads")->check(CLI::Range(1, 64))->capture_default_str();
    copy->add_flag("--verbose-log", options->verboseLog, "Log every file, not only failures");
    copy->add_flag("--json", options->json, "Print the result as JSON instead of the log");
    copy->callback([options, &exitCode] { exitCode = runCopy(*options); });
});

} // namespace

} // namespace ferrydeck::cli
