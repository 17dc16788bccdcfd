#include "engine/FileCopyDetails.h"

#include "fsutil/FileUtilities.h"

#include <sys/stat.h>

namespace ferrydeck {

namespace {

// A value and the text the table shows of it change together.
template <typename Fields, typename Value>
void setShown(Guarded<Fields> &fields, Value Fields::*value, std::string Fields::*text, Value newValue,
              std::string shown)
{
    fields.update([&](Fields &all) {
        all.*value = std::move(newValue);
        all.*text = std::move(shown);
    });
}

} // namespace

const char *FileCopyDetails::statusText(Status status)
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
    case kNone:
        break;
    }
    return "N/A";
}

std::shared_ptr<FileCopyDetails> FileCopyDetails::detailsFromFile(const std::string &path)
{
    struct stat info {};
    // The attributes of the entry itself: a link is a file of its own size.
    if (::lstat(path.c_str(), &info) != 0) return std::make_shared<FileCopyDetails>();
    return detailsFromFile(path, info);
}

std::shared_ptr<FileCopyDetails> FileCopyDetails::detailsFromFile(const std::string &path, const struct stat &info)
{
    auto details = std::make_shared<FileCopyDetails>();
    details->setFilePath(path);
    details->setRawStatus(kInQueue);
    details->setRawFileSize(static_cast<uint64_t>(info.st_size));
    details->setRawModificationTime(static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec);
    details->m_fields.set<&Fields::listedAsFile>(S_ISREG(info.st_mode));
    return details;
}

void FileCopyDetails::setFilePath(const std::string &value)
{
    setShown(m_fields, &Fields::filePath, &Fields::fileName, value, path::lastComponent(value));
}

void FileCopyDetails::setRawFileSize(uint64_t value)
{
    setShown(m_fields, &Fields::rawFileSize, &Fields::fileSize, value, std::to_string(value));
}

void FileCopyDetails::setRawBytesCopied(uint64_t value)
{
    setShown(m_fields, &Fields::rawBytesCopied, &Fields::bytesCopied, value, std::to_string(value));
}

void FileCopyDetails::setRawStatus(Status value)
{
    setShown(m_fields, &Fields::rawStatus, &Fields::status, value, std::string(statusText(value)));
}

} // namespace ferrydeck
