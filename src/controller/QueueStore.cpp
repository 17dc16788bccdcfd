#include "controller/QueueStore.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SmallFile.h"
#include "fsutil/SystemLog.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>

namespace ferrydeck {

namespace {

using json = nlohmann::ordered_json;

constexpr OffloadInstance::Status kStatuses[] = {
    OffloadInstance::kInQueue, OffloadInstance::kProcessing, OffloadInstance::kCanceled, OffloadInstance::kCompleted,
    OffloadInstance::kError,   OffloadInstance::kIdle,       OffloadInstance::kIndexing,
};

bool isVerificationName(const std::string &name)
{
    return name == "size" || name == "contents" || name == "none" || hashMethodFromName(name).has_value();
}

bool isUtf8(const std::string &text)
{
    try {
        (void)json(text).dump();
        return true;
    } catch (const std::exception &) {
        return false;
    }
}

// Paths are bytes: one that is not UTF-8 is kept as hexadecimal rather than
// replaced, so that the job comes back with its own source.
json textToJson(const std::string &text)
{
    if (isUtf8(text)) return text;
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (const unsigned char c : text) {
        hex += digits[c >> 4];
        hex += digits[c & 15];
    }
    return json{{"hex", hex}};
}

std::optional<std::string> textFromJson(const json &value)
{
    if (value.is_string()) return value.get<std::string>();
    const auto hex = value.is_object() ? value.find("hex") : value.end();
    if (hex == value.end() || !hex->is_string()) return std::nullopt;
    const std::string digits = hex->get<std::string>();
    if (digits.size() % 2 != 0) return std::nullopt;
    std::string text;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const auto nibble = [](char c) {
            if (c >= '0' && c <= '9') return c - '0';
            if (c >= 'a' && c <= 'f') return c - 'a' + 10;
            return -1;
        };
        const int high = nibble(digits[i]), low = nibble(digits[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        text += static_cast<char>(high * 16 + low);
    }
    return text;
}

json jobToJson(const SavedJob &job)
{
    return json{
        {"source", textToJson(job.source)},
        {"destination", textToJson(job.destination)},
        {"copyFolder", textToJson(job.copyFolder)},
        {"naming",
         {{"scheme", textToJson(job.naming.schemeTitle)},
          {"customName", textToJson(job.naming.customName)},
          {"prefix", textToJson(job.naming.prefix)},
          {"suffix", textToJson(job.naming.suffix)}}},
        {"verification", job.verification},
        {"verboseLogging", job.verboseLogging},
        {"status", OffloadInstance::statusText(job.status)},
        {"files", job.files},
        {"filesDone", job.filesDone},
        {"bytes", job.bytes},
        {"bytesCopied", job.bytesCopied},
        {"timeCompleted", textToJson(job.timeCompleted)},
        {"duration", textToJson(job.duration)},
        {"logPath", textToJson(job.logPath)},
        {"log", textToJson(job.logText.size() > QueueStore::kMaximumLogBytes ? std::string() : job.logText)},
    };
}

// Every field must be there and of its kind: a queue that reads half-way is
// not restored half-way.
std::optional<SavedJob> jobFromJson(const json &entry)
{
    if (!entry.is_object()) return std::nullopt;
    SavedJob job;
    const auto text = [&](const json &object, const char *key, std::string &into) {
        const auto found = object.find(key);
        if (found == object.end()) return false;
        const auto value = textFromJson(*found);
        if (value) into = *value;
        return value.has_value();
    };
    const auto count = [&](const char *key, uint64_t &into) {
        const auto found = entry.find(key);
        if (found == entry.end() || !found->is_number_unsigned()) return false;
        into = found->get<uint64_t>();
        return true;
    };
    const auto naming = entry.find("naming");
    if (naming == entry.end() || !naming->is_object()) return std::nullopt;
    const bool fields = text(entry, "source", job.source) && text(entry, "destination", job.destination) &&
                        text(entry, "copyFolder", job.copyFolder) && text(*naming, "scheme", job.naming.schemeTitle) &&
                        text(*naming, "customName", job.naming.customName) &&
                        text(*naming, "prefix", job.naming.prefix) && text(*naming, "suffix", job.naming.suffix) &&
                        count("files", job.files) && count("filesDone", job.filesDone) && count("bytes", job.bytes) &&
                        count("bytesCopied", job.bytesCopied) && text(entry, "timeCompleted", job.timeCompleted) &&
                        text(entry, "duration", job.duration) && text(entry, "logPath", job.logPath) &&
                        text(entry, "log", job.logText);
    if (!fields || job.source.empty() || job.destination.empty()) return std::nullopt;

    std::string status;
    if (!text(entry, "status", status) || !text(entry, "verification", job.verification)) return std::nullopt;
    const auto statusFound = std::find_if(std::begin(kStatuses), std::end(kStatuses), [&](OffloadInstance::Status s) {
        return status == OffloadInstance::statusText(s);
    });
    const auto verbose = entry.find("verboseLogging");
    if (statusFound == std::end(kStatuses) || !isVerificationName(job.verification) || verbose == entry.end() ||
        !verbose->is_boolean())
        return std::nullopt;
    job.status = *statusFound;
    job.verboseLogging = verbose->get<bool>();
    return job;
}

} // namespace

std::string QueueStore::besidePreferences(const std::string &preferencesPath)
{
    // Another preferences file (a test's, a second station's) gets a queue of its own.
    const std::string name = path::lastComponent(preferencesPath);
    if (name == "preferences.json") return path::parent(preferencesPath) + "/" + kFileName;
    return path::parent(preferencesPath) + "/" + name.substr(0, name.rfind('.')) + "." + kFileName;
}

QueueStore::QueueStore(std::string filePath)
    : m_filePath(std::move(filePath))
{
}

std::string QueueStore::encode(const std::vector<SavedJob> &jobs)
{
    json list = json::array();
    for (const SavedJob &job : jobs)
        list.push_back(jobToJson(job));
    return json{{"format", kFormat}, {"version", kVersion}, {"jobs", std::move(list)}}.dump(1) + "\n";
}

std::optional<std::vector<SavedJob>> QueueStore::decode(const std::string &text)
{
    const json document = json::parse(text, nullptr, false);
    if (!document.is_object()) return std::nullopt;
    const auto format = document.find("format");
    const auto version = document.find("version");
    const auto list = document.find("jobs");
    if (format == document.end() || *format != kFormat || version == document.end() || *version != kVersion ||
        list == document.end() || !list->is_array())
        return std::nullopt;
    std::vector<SavedJob> jobs;
    for (const json &entry : *list) {
        auto job = jobFromJson(entry);
        if (!job) return std::nullopt;
        jobs.push_back(std::move(*job));
    }
    return jobs;
}

OffloadInstance::Status QueueStore::restoredStatus(OffloadInstance::Status saved)
{
    switch (saved) {
    case OffloadInstance::kCompleted:
    case OffloadInstance::kError:
    case OffloadInstance::kCanceled:
        return saved;
    default:
        return OffloadInstance::kInQueue;
    }
}

std::vector<SavedJob> QueueStore::load() const
{
    std::string text;
    int error = 0;
    const fsutil::SmallFileRead read = fsutil::readSmallFile(m_filePath, kMaximumFileSize, text, error);
    if (read == fsutil::SmallFileRead::Failed) {
        if (error != ENOENT)
            systemLog("queue: cannot read %s: %s; starting with an empty queue", m_filePath.c_str(),
                      std::strerror(error));
        return {};
    }
    if (read == fsutil::SmallFileRead::NotAFile) {
        // A FIFO or a device is not ours to move.
        systemLog("queue: %s is not a regular file; starting with an empty queue", m_filePath.c_str());
        return {};
    }
    if (read == fsutil::SmallFileRead::Read) {
        if (auto jobs = decode(text)) return std::move(*jobs);
    }
    const std::string aside = m_filePath + ".bad";
    if (::rename(m_filePath.c_str(), aside.c_str()) == 0) {
        systemLog("queue: %s is not a saved queue; kept as %s, starting with an empty queue", m_filePath.c_str(),
                  aside.c_str());
    } else {
        systemLog("queue: %s is not a saved queue and cannot be moved aside (%s); starting with an empty queue",
                  m_filePath.c_str(), std::strerror(errno));
    }
    return {};
}

bool QueueStore::save(const std::vector<SavedJob> &jobs) const
{
    const std::string folder = path::parent(m_filePath);
    if (!fsutil::makePrivateFolders(folder)) {
        systemLog("queue: cannot create the folder %s: %s; queue not saved", folder.c_str(), std::strerror(errno));
        return false;
    }
    switch (fsutil::replaceFileAtomically(m_filePath, encode(jobs), {.mode = 0600})) {
    case fsutil::ReplaceResult::Replaced:
    case fsutil::ReplaceResult::FolderNotFlushed:
        return true;
    case fsutil::ReplaceResult::NoTemporary:
    case fsutil::ReplaceResult::Failed:
        break;
    }
    systemLog("queue: cannot write %s: %s; the previous queue file is kept", m_filePath.c_str(), std::strerror(errno));
    return false;
}

} // namespace ferrydeck
