#include "cli/JobReport.h"

#include "engine/OffloadInstance.h"

#include <cstdio>

namespace ferrydeck::cli {

namespace {

std::string verificationText(const OffloadInstance &job)
{
    const std::string name = job.verificationName();
    if (name == "none") return "not verified";
    if (job.hashMethod()) return name + " checksums";
    return "verified by " + name;
}

double bytesPerSecond(const OffloadInstance &job)
{
    const double seconds = job.secondsTaken();
    return seconds > 0 ? static_cast<double>(job.bytesCopied()) / seconds : 0.0;
}

} // namespace

nlohmann::json jobJson(const OffloadInstance &job, const std::optional<std::string> &log, bool withFiles)
{
    const OffloadInstance::Status status = job.offloadStatus();
    nlohmann::json failures = nlohmann::json::array();
    nlohmann::json files = nlohmann::json::array();
    for (const OffloadInstance::Details &record : job.fileDetails()) {
        const FileCopyDetails::Status fileStatus = record->rawStatus();
        if (fileStatus == FileCopyDetails::kCopyError) {
            const std::string reason = record->failureReason();
            failures.push_back({{"path", record->filePath()}, {"reason", reason.empty() ? "copy failed" : reason}});
        }
        if (!withFiles) continue;
        nlohmann::json file = {{"path", record->filePath()},
                               {"copy", record->outputPath()},
                               {"size", record->rawFileSize()},
                               {"status", FileCopyDetails::statusText(fileStatus)}};
        if (const std::string hash = record->hashValue(); !hash.empty()) file["hash"] = hash;
        if (record->carriedOver()) file["carriedOver"] = true;
        files.push_back(std::move(file));
    }
    const std::string hashList = job.hashListPath();
    nlohmann::json result = {
        {"source", job.sourceDirectory()},
        {"destination", job.fullOffloadPath()},
        {"status", OffloadInstance::statusText(status)},
        {"verification", job.verificationName()},
        {"verified", status == OffloadInstance::kCompleted && job.verificationName() != "none"},
        {"files", job.itemsProcessed()},
        {"filesAtSource", job.totalFilesAtSource()},
        {"bytes", job.bytesCopied()},
        {"bytesAtSource", job.bytesAtSource()},
        {"seconds", job.secondsTaken()},
        {"bytesPerSecond", bytesPerSecond(job)},
        {"failed", std::move(failures)},
        {"hashList", hashList.empty() ? nlohmann::json(nullptr) : nlohmann::json(hashList)},
        {"log", log ? nlohmann::json(*log) : nlohmann::json(nullptr)},
    };
    if (job.resumed()) result["carriedOver"] = job.filesCarriedOver();
    if (const std::string refusal = job.resumeRefusal(); !refusal.empty()) result["notResumed"] = refusal;
    if (withFiles) result["fileList"] = std::move(files);
    return result;
}

std::string jobSummaryText(const OffloadInstance &job)
{
    char figures[160];
    std::snprintf(figures, sizeof figures, "%d of %llu files, %.1f MB in %.1f s (%.1f MB/s)", job.itemsProcessed(),
                  static_cast<unsigned long long>(job.totalFilesAtSource()),
                  static_cast<double>(job.bytesCopied()) / 1e6, job.secondsTaken(), bytesPerSecond(job) / 1e6);
    std::string text = "  " + verificationText(job) + "; " + figures + "\n";
    if (const std::string hashList = job.hashListPath(); !hashList.empty()) text += "  hash list: " + hashList + "\n";
    if (job.resumed()) text += "  resumed: " + std::to_string(job.filesCarriedOver()) + " files carried over\n";
    if (const std::string refusal = job.resumeRefusal(); !refusal.empty())
        text += "  not resumed, copied into a new folder: " + refusal + "\n";
    for (const OffloadInstance::Details &record : job.fileDetails()) {
        if (record->rawStatus() != FileCopyDetails::kCopyError) continue;
        const std::string reason = record->failureReason();
        text += "  failed: " + record->filePath() + ": " + (reason.empty() ? "copy failed" : reason) + "\n";
    }
    return text;
}

} // namespace ferrydeck::cli
