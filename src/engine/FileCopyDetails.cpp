#include "engine/FileCopyDetails.h"

#include "fsutil/FileUtilities.h"

#include <sys/stat.h>

namespace ferrydeck {

const char *FileCopyDetails::statusText(int32_t status)
{
    switch (status) {
    case kInQueue:
        return "In Queue";
    case kInProcess:
        return "In Process";
    case kCopyVerified:
        return "Copy Verified";
    case kCopyError:
        return "Copy Error";
    default:
        return "N/A";
    }
}

std::shared_ptr<FileCopyDetails> FileCopyDetails::detailsFromFile(const std::string &path)
{
    auto details = std::make_shared<FileCopyDetails>();
    struct stat info {};
    // The attributes of the entry itself: a link is a file of its own size.
    if (::lstat(path.c_str(), &info) != 0) return details;
    details->setFilePath(path);
    details->setRawStatus(kInQueue);
    details->setRawFileSize(static_cast<uint64_t>(info.st_size));
    details->setRawModificationTime(static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec);
    return details;
}

std::string FileCopyDetails::filePath() const
{
    return read(m_filePath);
}

void FileCopyDetails::setFilePath(const std::string &value)
{
    std::lock_guard lock(m_mutex);
    m_filePath = value;
    m_fileName = path::lastComponent(value);
}

std::string FileCopyDetails::fileName() const
{
    return read(m_fileName);
}

std::string FileCopyDetails::fileSize() const
{
    return read(m_fileSize);
}

std::string FileCopyDetails::bytesCopied() const
{
    return read(m_bytesCopied);
}

void FileCopyDetails::setBytesCopiedText(const std::string &value)
{
    write(m_bytesCopied, value);
}

std::string FileCopyDetails::duration() const
{
    return read(m_duration);
}

void FileCopyDetails::setDuration(const std::string &value)
{
    write(m_duration, value);
}

std::string FileCopyDetails::status() const
{
    return read(m_status);
}

std::string FileCopyDetails::outputPath() const
{
    return read(m_outputPath);
}

void FileCopyDetails::setOutputPath(const std::string &value)
{
    write(m_outputPath, value);
}

uint64_t FileCopyDetails::rawFileSize() const
{
    return read(m_rawFileSize);
}

void FileCopyDetails::setRawFileSize(uint64_t value)
{
    std::lock_guard lock(m_mutex);
    m_rawFileSize = value;
    m_fileSize = std::to_string(value);
}

uint64_t FileCopyDetails::rawBytesCopied() const
{
    return read(m_rawBytesCopied);
}

void FileCopyDetails::setRawBytesCopied(uint64_t value)
{
    std::lock_guard lock(m_mutex);
    m_rawBytesCopied = value;
    m_bytesCopied = std::to_string(value);
}

int32_t FileCopyDetails::rawStatus() const
{
    return read(m_rawStatus);
}

void FileCopyDetails::setRawStatus(int32_t value)
{
    std::lock_guard lock(m_mutex);
    m_rawStatus = value;
    m_status = statusText(value);
}

int64_t FileCopyDetails::rawModificationTime() const
{
    return read(m_rawModificationTime);
}

void FileCopyDetails::setRawModificationTime(int64_t value)
{
    std::lock_guard lock(m_mutex);
    m_rawModificationTime = value;
}

} // namespace ferrydeck
