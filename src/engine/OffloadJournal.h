#pragma once

#include "fsutil/UniqueFd.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace ferrydeck {

// The hidden record, in a job's copy folder, of every file the job has
// verified: what a rerun needs to carry those files over instead of copying
// a whole card again after a pulled cable, a crash or a kill.
//
// One header line names the source and the verification method, then one
// line per verified file: its path below the source, size, modification
// time (ns), checksum ("-" without one) and the time it was verified. Fields
// are separated by tabs; "%", tabs, line breaks and other control bytes of a
// name are written as %XX. A line is only trusted whole: the text after the
// last line break (a write cut short by a crash) is ignored.
//
// The journal is removed once its job has Completed (the log and the hash
// list are then the record); a job that ends otherwise keeps it.
class OffloadJournal {
public:
    static constexpr const char *kFileName = ".ferrydeck-journal";

    struct Entry {
        std::string path; // below the source, "/" separated
        uint64_t size = 0;
        int64_t modificationTime = 0; // nanoseconds since the epoch
        std::string hash;             // empty without a checksum
        int64_t verifiedAt = 0;       // seconds since the epoch
    };
    struct Contents {
        std::string source;
        std::string method; // as verificationName() gives it
        std::unordered_map<std::string, Entry> entries;
    };

    static std::string headerLine(const std::string &source, const std::string &method);
    static std::string entryLine(const Entry &entry);
    // Whole lines only; none (with why) when the text is not a journal.
    static std::optional<Contents> parse(std::string_view text, std::string &error);
    static std::optional<Contents> read(int folderFd, std::string &error);

    OffloadJournal() = default;
    OffloadJournal(const OffloadJournal &) = delete;
    OffloadJournal &operator=(const OffloadJournal &) = delete;

    // Starts a fresh journal in the folder, or, when `resume`, adds to the
    // one there. False (with why) when it cannot be written; the job then
    // copies on without one.
    bool open(int folderFd, const std::string &source, const std::string &method, bool resume, std::string &error);
    // Thread-safe; the lines reach the medium at least every `kFlushEvery`.
    void append(const Entry &entry);
    // Flushes what was appended and stops taking lines.
    void close();
    // After a Completed job: the journal has done its work.
    void remove(int folderFd);

    static constexpr std::chrono::seconds kFlushEvery{2};

private:
    std::mutex m_lock;
    UniqueFd m_file;
    std::chrono::steady_clock::time_point m_lastFlush{};
    bool m_dirty = false;
};

// Where a rerun may continue an interrupted job, and what it may keep.
struct ResumePlan {
    std::string folder; // the copy folder to continue in
    std::shared_ptr<UniqueFd> folderFd;
    std::shared_ptr<const OffloadJournal::Contents> journal;
    std::string refusal; // why not, for a person; empty when resumable
    bool resumable() const { return refusal.empty(); }
};

// The latest copy folder `wanted` or `wanted-N` whose journal belongs to
// this source and method; another card's journal (none of its files on the
// source as recorded) is never resumed into.
ResumePlan planResume(const std::string &wanted, const std::string &source, const std::string &method);
// The same, for one given copy folder.
ResumePlan planResumeInto(const std::string &folder, const std::string &source, const std::string &method);

// A journal's file that is on the source exactly as it was verified.
bool unchangedAtSource(const std::string &source, const OffloadJournal::Entry &entry);

} // namespace ferrydeck
