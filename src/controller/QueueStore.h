#pragma once

#include "controller/ControllerView.h"
#include "engine/OffloadInstance.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// One job of the window's queue as it is kept across a restart.
struct SavedJob {
    std::string source;
    std::string destination;
    // The copy folder naming gave the job; empty until it started.
    std::string copyFolder;
    // The naming controls the copy folder was made with; empty until it started.
    NamingControls naming;
    // As OffloadInstance::verificationName names it: "size", "contents",
    // "none" or a checksum's name.
    std::string verification = "size";
    bool verboseLogging = false;
    OffloadInstance::Status status = OffloadInstance::kInQueue;
    uint64_t files = 0;
    uint64_t filesDone = 0;
    uint64_t bytes = 0;
    uint64_t bytesCopied = 0;
    std::string timeCompleted;
    std::string duration;
    // Where the log was saved, empty when it never was.
    std::string logPath;
    // The log as the details panel showed it; empty when it was too long to keep.
    std::string logText;

    bool operator==(const SavedJob &) const = default;
};

// The file that keeps the window's queue across a restart: one JSON document
// beside the preferences, replaced whole on every save. Nothing here throws.
class QueueStore {
public:
    static constexpr const char *kFileName = "queue.json";
    static constexpr const char *kFormat = "ferrydeck-queue";
    static constexpr int kVersion = 1;
    static constexpr uint64_t kMaximumFileSize = 64u << 20;
    // A longer log is not kept in the queue file; its saved copy (logPath) is.
    static constexpr size_t kMaximumLogBytes = 256u << 10;

    // The queue file beside a preferences file: queue.json beside
    // preferences.json, NAME.queue.json beside any other NAME.json.
    static std::string besidePreferences(const std::string &preferencesPath);

    explicit QueueStore(std::string filePath);
    const std::string &filePath() const { return m_filePath; }

    // The saved jobs; none saved is an empty list. A file that is not a saved
    // queue (damaged, cut short, another program's, a newer version) is moved
    // aside to "<file>.bad" and reported in the system log: the queue starts
    // empty and the file is kept for a person to look at.
    std::vector<SavedJob> load() const;
    // Replaces the file atomically; on failure the old file stays and the
    // reason goes to the system log.
    bool save(const std::vector<SavedJob> &jobs) const;

    static std::string encode(const std::vector<SavedJob> &jobs);
    // None when `text` is not a saved queue of a version this program reads.
    static std::optional<std::vector<SavedJob>> decode(const std::string &text);
    // A job that had not finished comes back waiting: nothing of it runs
    // until the person starts it again.
    static OffloadInstance::Status restoredStatus(OffloadInstance::Status saved);

private:
    std::string m_filePath;
};

} // namespace ferrydeck
