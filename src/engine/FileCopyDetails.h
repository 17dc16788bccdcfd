#pragma once

#include "fsutil/Guarded.h"

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>

namespace ferrydeck {

// One source file of a job: its paths, sizes, copy duration and status.
// Copy threads write it while the window reads it, so every field is
// read and written under the record's own mutex.
class FileCopyDetails {
public:
    enum class Status : int32_t {
        kNone = 0,
        kInQueue = 10001,
        kInProcess = 10002,
        kCopyVerified = 10003,
        kCopyError = 10004,
    };
    using enum Status;
    static const char *statusText(Status status);

    FileCopyDetails() = default;
    FileCopyDetails(const FileCopyDetails &) = delete;
    FileCopyDetails &operator=(const FileCopyDetails &) = delete;

    // A record for the file at `path`; one that does not exist keeps the
    // initial values (status "").
    static std::shared_ptr<FileCopyDetails> detailsFromFile(const std::string &path);
    // The same from what a listing already found at `path` (lstat).
    static std::shared_ptr<FileCopyDetails> detailsFromFile(const std::string &path, const struct stat &info);

    std::string filePath() const { return m_fields.get<&Fields::filePath>(); }
    void setFilePath(const std::string &value);
    std::string fileName() const { return m_fields.get<&Fields::fileName>(); }
    std::string fileSize() const { return m_fields.get<&Fields::fileSize>(); }
    std::string bytesCopied() const { return m_fields.get<&Fields::bytesCopied>(); }
    void setBytesCopiedText(const std::string &value) { m_fields.set<&Fields::bytesCopied>(value); }
    std::string duration() const { return m_fields.get<&Fields::duration>(); }
    void setDuration(const std::string &value) { m_fields.set<&Fields::duration>(value); }
    std::string status() const { return m_fields.get<&Fields::status>(); }
    std::string outputPath() const { return m_fields.get<&Fields::outputPath>(); }
    void setOutputPath(const std::string &value) { m_fields.set<&Fields::outputPath>(value); }
    uint64_t rawFileSize() const { return m_fields.get<&Fields::rawFileSize>(); }
    void setRawFileSize(uint64_t value);
    uint64_t rawBytesCopied() const { return m_fields.get<&Fields::rawBytesCopied>(); }
    void setRawBytesCopied(uint64_t value);
    Status rawStatus() const { return m_fields.get<&Fields::rawStatus>(); }
    void setRawStatus(Status value);
    // The source's modification time (nanoseconds since the epoch) as the
    // copy saw it; the offload history fingerprints a card with it.
    int64_t rawModificationTime() const { return m_fields.get<&Fields::rawModificationTime>(); }
    void setRawModificationTime(int64_t value) { m_fields.set<&Fields::rawModificationTime>(value); }
    // The checksum text of a file verified by checksum (empty otherwise).
    std::string hashValue() const { return m_fields.get<&Fields::hashValue>(); }
    void setHashValue(const std::string &value) { m_fields.set<&Fields::hashValue>(value); }
    // Why a failed file failed, for a person: the step and the system's
    // reason, or both values of a checksum mismatch.
    std::string failureReason() const { return m_fields.get<&Fields::failureReason>(); }
    void setFailureReason(const std::string &value) { m_fields.set<&Fields::failureReason>(value); }
    // Verified by an interrupted run of the job and kept, not copied again.
    bool carriedOver() const { return m_fields.get<&Fields::carriedOver>(); }
    void setCarriedOver(bool value) { m_fields.set<&Fields::carriedOver>(value); }
    // Listed as a regular file (not a link or a device): its copy may open
    // it without looking first, as whatever stands there now is still
    // refused unless it is a regular file.
    bool listedAsFile() const { return m_fields.get<&Fields::listedAsFile>(); }

private:
    // A text and the raw value it shows change together.
    struct Fields {
        std::string filePath;
        std::string fileName;
        std::string fileSize = "0";
        std::string bytesCopied = "0";
        std::string duration = "N/A";
        std::string status;
        std::string outputPath;
        uint64_t rawFileSize = 0;
        uint64_t rawBytesCopied = 0;
        Status rawStatus = kNone;
        int64_t rawModificationTime = 0;
        std::string hashValue;
        std::string failureReason;
        bool carriedOver = false;
        bool listedAsFile = false;
    };
    Guarded<Fields> m_fields;
};

} // namespace ferrydeck
