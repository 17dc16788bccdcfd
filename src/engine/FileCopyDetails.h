#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace ferrydeck {

// One source file of a job: its paths, sizes, copy duration and status.
// Copy threads write it while the window reads it, so every field is
// read and written under the record's own mutex.
class FileCopyDetails {
public:
    enum Status : int32_t {
        kInQueue = 10001,
        kInProcess = 10002,
        kCopyVerified = 10003,
        kCopyError = 10004,
    };
    static const char *statusText(int32_t status);

    FileCopyDetails() = default;
    FileCopyDetails(const FileCopyDetails &) = delete;
    FileCopyDetails &operator=(const FileCopyDetails &) = delete;

    // A record for the file at `path`; one that does not exist keeps the
    // initial values (status "").
    static std::shared_ptr<FileCopyDetails> detailsFromFile(const std::string &path);

    std::string filePath() const;
    void setFilePath(const std::string &value);
    std::string fileName() const;
    std::string fileSize() const;
    std::string bytesCopied() const;
    void setBytesCopiedText(const std::string &value);
    std::string duration() const;
    void setDuration(const std::string &value);
    std::string status() const;
    std::string outputPath() const;
    void setOutputPath(const std::string &value);
    uint64_t rawFileSize() const;
    void setRawFileSize(uint64_t value);
    uint64_t rawBytesCopied() const;
    void setRawBytesCopied(uint64_t value);
    int32_t rawStatus() const;
    void setRawStatus(int32_t value);
    // The source's modification time (nanoseconds since the epoch) as the
    // copy saw it; the offload history fingerprints a card with it.
    int64_t rawModificationTime() const;
    void setRawModificationTime(int64_t value);

private:
    template <typename T> T read(const T &member) const
    {
        std::lock_guard lock(m_mutex);
        return member;
    }
    void write(std::string &member, const std::string &value)
    {
        std::lock_guard lock(m_mutex);
        member = value;
    }

    mutable std::mutex m_mutex;
    std::string m_filePath;
    std::string m_fileName;
    std::string m_fileSize = "0";
    std::string m_bytesCopied = "0";
    std::string m_duration = "N/A";
    std::string m_status;
    std::string m_outputPath;
    uint64_t m_rawFileSize = 0;
    uint64_t m_rawBytesCopied = 0;
    int32_t m_rawStatus = 0;
    int64_t m_rawModificationTime = 0;
};

} // namespace ferrydeck
