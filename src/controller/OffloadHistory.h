#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// What Ferrydeck remembers of each card's last offload, so that nothing is
// erased from a card unless verified copies of it exist. One record per card
// identity (VolumeService::volumeIdentity): a new offload of the card
// replaces the record as soon as its jobs are queued, and each job fills in
// its own entry when it ends or is dropped. A job that never reports keeps
// "In Queue", which refuses any reformat: a crash leaves the card protected.
// Stored as JSON in the state folder, written atomically; any thread and any
// process may use it (one lock per process, an advisory file lock between
// processes).
class OffloadHistory {
public:
    struct File {
        std::string path; // relative to the card, no leading slash
        uint64_t size = 0;
        int64_t modificationTime = 0; // nanoseconds since the epoch
    };
    struct Job {
        std::string destination;
        std::string status = "In Queue"; // a job status text, or kDropped
        std::string verification;        // "size", "contents", "none", "" while unknown
        std::vector<File> files;         // the copies this job verified
    };
    struct Card {
        std::string identity;
        std::string mountPath; // where the card was when it was queued
        int64_t queuedAt = 0;  // seconds since the epoch; also tells offloads apart
        std::vector<Job> jobs;
    };
    // Which job of which offload a queued job is, to report its end.
    struct Ticket {
        std::string identity;
        int64_t queuedAt = 0;
        size_t index = 0;
    };

    static constexpr const char *kDropped = "Dropped";
    static constexpr const char *kFileName = "offload-history.json";
    // A history past this size is not read: nothing is recorded then.
    static constexpr int64_t kMaximumBytes = 64 * 1024 * 1024;
    // Cards remembered; a card not seen for that many offloads is refused a reformat.
    static constexpr ptrdiff_t kMaximumCards = 1000;

    // The state folder of UserDirectories when `directory` is empty.
    explicit OffloadHistory(std::string directory = {});

    const std::string &filePath() const { return m_file; }

    // Starts a new record for the card, replacing its previous one; one job
    // per destination, in order. None when the history could not be written.
    std::optional<Ticket> beginOffload(const std::string &identity, const std::string &mountPath,
                                       const std::vector<std::string> &destinations) const;
    // Fills in the ticket's job; ignored when a newer offload of the card
    // replaced the record meanwhile. False when the history could not be written.
    bool recordJob(const Ticket &ticket, const Job &job) const;

    // Every record; `error` (when given) tells why the file was not usable,
    // in which case nothing is recorded.
    std::vector<Card> cards(std::string *error = nullptr) const;
    std::optional<Card> lastOffload(const std::string &identity) const;

private:
    std::vector<Card> read(std::string *error) const;
    bool write(const std::vector<Card> &cards) const;

    std::string m_directory;
    std::string m_file;
};

} // namespace ferrydeck
