#include "controller/OffloadHistory.h"

#include "fsutil/AtomicFile.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"
#include "fsutil/UserDirectories.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>

namespace ferrydeck {

namespace {

using nlohmann::json;

// Jobs of one process end on several threads; the file lock covers other processes.
std::mutex g_historyMutex;

// Holds the advisory lock file of the state folder for one read-change-write.
class FileLock {
public:
    explicit FileLock(const std::string &directory)
    {
        if (!fsutil::makePrivateFolders(directory)) return;
        m_fd.reset(
            ::open((directory + "/.offload-history.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        while (m_fd && ::flock(m_fd.get(), LOCK_EX) != 0 && errno == EINTR) {
        }
    }

private:
    UniqueFd m_fd;
};

std::string textOf(const json &object, const char *key)
{
    const auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

template <typename T> T numberOf(const json &object, const char *key)
{
    const auto it = object.find(key);
    return it != object.end() && it->is_number_integer() ? it->get<T>() : T{};
}

json toJson(const OffloadHistory::Card &card)
{
    json jobs = json::array();
    for (const OffloadHistory::Job &job : card.jobs) {
        json files = json::array();
        for (const OffloadHistory::File &file : job.files)
            files.push_back({file.path, file.size, file.modificationTime});
        jobs.push_back({{"destination", job.destination},
                        {"status", job.status},
                        {"verification", job.verification},
                        {"files", std::move(files)}});
    }
    return {{"identity", card.identity}, {"mountPath", card.mountPath}, {"queuedAt", card.queuedAt}, {"jobs", jobs}};
}

// Lenient: an entry of the wrong shape is left out, never trusted in part.
std::optional<OffloadHistory::Card> cardFromJson(const json &object)
{
    if (!object.is_object()) return std::nullopt;
    OffloadHistory::Card card;
    card.identity = textOf(object, "identity");
    card.mountPath = textOf(object, "mountPath");
    card.queuedAt = numberOf<int64_t>(object, "queuedAt");
    const auto jobs = object.find("jobs");
    if (card.identity.empty() || jobs == object.end() || !jobs->is_array()) return std::nullopt;
    for (const json &entry : *jobs) {
        if (!entry.is_object()) return std::nullopt;
        OffloadHistory::Job job;
        job.destination = textOf(entry, "destination");
        job.status = textOf(entry, "status");
        job.verification = textOf(entry, "verification");
        const auto files = entry.find("files");
        if (files == entry.end() || !files->is_array()) return std::nullopt;
        for (const json &file : *files) {
            if (!file.is_array() || file.size() != 3 || !file[0].is_string() || !file[1].is_number_unsigned() ||
                !file[2].is_number_integer())
                return std::nullopt;
            job.files.push_back({file[0].get<std::string>(), file[1].get<uint64_t>(), file[2].get<int64_t>()});
        }
        card.jobs.push_back(std::move(job));
    }
    return card;
}

} // namespace

OffloadHistory::OffloadHistory(std::string directory)
    : m_directory(directory.empty() ? UserDirectories::stateDirectory() : std::move(directory))
    , m_file(m_directory + "/" + kFileName)
{
}

std::vector<OffloadHistory::Card> OffloadHistory::read(std::string *error) const
{
    auto fail = [&](const std::string &why) {
        if (error) *error = why;
        return std::vector<Card>{};
    };
    // Non-blocking and not through a link: a FIFO or a device planted there must not hang us.
    UniqueFd fd(::open(m_file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (!fd) {
        if (errno == ENOENT) return {};
        return fail(stringWithFormat("cannot open %s: %s", m_file.c_str(), std::strerror(errno)));
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return fail(m_file + " is not a regular file");
    if (info.st_size > kMaximumBytes) return fail(m_file + " is too large to be an offload history");
    std::string text(static_cast<size_t>(info.st_size), '\0');
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t got = ::read(fd.get(), text.data() + done, text.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return fail(stringWithFormat("cannot read %s: %s", m_file.c_str(), std::strerror(errno)));
        done += static_cast<size_t>(got);
    }
    const json document = json::parse(text, nullptr, false);
    const auto list = document.is_object() ? document.find("cards") : document.end();
    if (document.is_discarded() || list == document.end() || !list->is_array())
        return fail(m_file + " is not an offload history (corrupt)");
    std::vector<Card> cards;
    for (const json &entry : *list) {
        if (auto card = cardFromJson(entry)) cards.push_back(std::move(*card));
    }
    return cards;
}

bool OffloadHistory::write(const std::vector<Card> &cards) const
{
    json list = json::array();
    for (const Card &card : cards)
        list.push_back(toJson(card));
    const std::string text =
        json{{"version", 1}, {"cards", std::move(list)}}.dump(1, ' ', false, json::error_handler_t::replace);
    // The rename itself must survive a power cut.
    return fsutil::replaceFileAtomically(m_file, text, {.mode = 0600}) == fsutil::ReplaceResult::Replaced;
}

std::optional<OffloadHistory::Ticket> OffloadHistory::beginOffload(const std::string &identity,
                                                                   const std::string &mountPath,
                                                                   const std::vector<std::string> &destinations) const
{
    std::lock_guard lock(g_historyMutex);
    FileLock fileLock(m_directory);
    std::string error;
    std::vector<Card> cards = read(&error);
    if (!error.empty()) {
        // Kept aside for a person to look at; the history starts afresh.
        systemLog("offload history: %s; it is set aside as %s.corrupt", error.c_str(), m_file.c_str());
        ::rename(m_file.c_str(), (m_file + ".corrupt").c_str());
    }
    Card card{
        identity,
        mountPath,
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count(),
        {}};
    // Two offloads of one card within a second stay apart.
    for (const Card &old : cards) {
        if (old.identity == identity && old.queuedAt >= card.queuedAt) card.queuedAt = old.queuedAt + 1;
    }
    for (const std::string &destination : destinations)
        card.jobs.push_back({destination, "In Queue", "", {}});
    std::erase_if(cards, [&](const Card &old) { return old.identity == identity; });
    cards.push_back(card);
    // Records are kept in queue order, so the oldest go first when the history grows long.
    if (cards.size() > kMaximumCards) cards.erase(cards.begin(), cards.end() - kMaximumCards);
    if (!write(cards)) {
        systemLog("offload history: cannot write %s: %s", m_file.c_str(), std::strerror(errno));
        return std::nullopt;
    }
    return Ticket{identity, card.queuedAt, 0};
}

bool OffloadHistory::recordJob(const Ticket &ticket, const Job &job) const
{
    std::lock_guard lock(g_historyMutex);
    FileLock fileLock(m_directory);
    std::vector<Card> cards = read(nullptr);
    const auto card = std::find_if(cards.begin(), cards.end(), [&](const Card &entry) {
        return entry.identity == ticket.identity && entry.queuedAt == ticket.queuedAt;
    });
    if (card == cards.end() || ticket.index >= card->jobs.size()) return true;
    card->jobs[ticket.index] = job;
    if (write(cards)) return true;
    systemLog("offload history: cannot write %s: %s", m_file.c_str(), std::strerror(errno));
    return false;
}

std::vector<OffloadHistory::Card> OffloadHistory::cards(std::string *error) const
{
    std::lock_guard lock(g_historyMutex);
    return read(error);
}

std::optional<OffloadHistory::Card> OffloadHistory::lastOffload(const std::string &identity) const
{
    for (Card &card : cards()) {
        if (card.identity == identity) return std::move(card);
    }
    return std::nullopt;
}

} // namespace ferrydeck
