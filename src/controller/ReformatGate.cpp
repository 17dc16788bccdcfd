#include "controller/ReformatGate.h"

#include "cards/HDUtilities.h"
#include "cards/PanasonicP2Utilities.h"
#include "cards/VolumeUtilities.h"
#include "engine/OffloadInstance.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/DirectoryWalk.h"
#include "fsutil/SystemLog.h"
#include "fsutil/UniqueFd.h"
#include "fsutil/VolumeService.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <tuple>

namespace ferrydeck {

namespace {

// Files the type's reformat writes back or removes itself and that hold no
// footage: P2's last-clip note (rewritten from a template) and its
// AppleDouble companion. Only at the top of the card; nothing else is
// excused, hidden files included, because the offload never copies those.
bool isRecreatedSystemFile(int32_t cardType, const std::string &relative)
{
    return cardType == PanasonicP2Utilities::kVolumeType &&
           (relative == "LASTCLIP.TXT" || relative == "._LASTCLIP.TXT");
}

bool sameFile(const OffloadHistory::File &a, const OffloadHistory::File &b)
{
    return std::tie(a.path, a.size, a.modificationTime) == std::tie(b.path, b.size, b.modificationTime);
}

bool fileLess(const OffloadHistory::File &a, const OffloadHistory::File &b)
{
    return std::tie(a.path, a.size, a.modificationTime) < std::tie(b.path, b.size, b.modificationTime);
}

} // namespace

std::optional<std::vector<OffloadHistory::File>> ReformatGate::cardFiles(const std::string &mountPath,
                                                                         std::string *error)
{
    std::vector<OffloadHistory::File> files;
    std::string unreadable;
    const auto noteUnreadable = [&](const std::string &relative, int errorNumber) {
        if (unreadable.empty())
            unreadable = (relative.empty() ? mountPath : relative) + ": " + std::strerror(errorNumber);
    };
    const auto visit = [&](const DirectoryWalk::Entry &entry) {
        if (entry.isDirectory) {
            // The walk skips a folder it cannot open; here that must refuse, not pass.
            UniqueFd probe(::openat(entry.parentFd, entry.name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (!probe && unreadable.empty()) unreadable = entry.relativePath + ": " + std::strerror(errno);
            return DirectoryWalk::Step::Descend;
        }
        struct stat info {};
        if (::fstatat(entry.parentFd, entry.name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            if (unreadable.empty()) unreadable = entry.relativePath + ": " + std::strerror(errno);
        } else if (S_ISREG(info.st_mode)) {
            files.push_back({entry.relativePath, static_cast<uint64_t>(info.st_size),
                             static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec});
        }
        return DirectoryWalk::Step::Descend;
    };
    const bool opened = DirectoryWalk::walk(mountPath, visit, noteUnreadable);
    if (!opened && unreadable.empty()) unreadable = mountPath + ": " + std::strerror(errno);
    if (!unreadable.empty()) {
        if (error) *error = unreadable;
        return std::nullopt;
    }
    std::sort(files.begin(), files.end(), fileLess);
    return files;
}

std::optional<std::string> ReformatGate::notACard(const std::string &mountPath, int32_t cardType)
{
    if (!DirectoryUtilities::driveIsRemovable(mountPath))
        return stringWithFormat("%s is not a mounted removable volume", mountPath.c_str());
    if (!VolumeService::current()->hasRemovableMedium(mountPath))
        return stringWithFormat("%s is not on a removable medium (a fixed or external disk is never reformatted)",
                                mountPath.c_str());
    if (cardType == VolumeUtilities::kVolumeType)
        return stringWithFormat("%s holds no known card structure", mountPath.c_str());
    const auto utility = HDUtilities::utilityForType(cardType);
    if (!utility->reformatLayoutKnown())
        return stringWithFormat("%s is a %s card, whose layout after a format is not known: format this card in its "
                                "camera",
                                mountPath.c_str(), utility->volumeTitle().c_str());
    return std::nullopt;
}

std::optional<std::string> ReformatGate::notSafelyOffloaded(const std::string &mountPath, int32_t cardType,
                                                            const OffloadHistory &history)
{
    const std::optional<std::string> identity = VolumeService::current()->volumeIdentity(mountPath);
    if (!identity)
        return stringWithFormat("%s cannot be identified, so its offload cannot be checked", mountPath.c_str());
    std::string error;
    std::vector<OffloadHistory::Card> cards = history.cards(&error);
    if (!error.empty()) return "the offload history cannot be read (" + error + ")";
    const auto card = std::find_if(cards.begin(), cards.end(),
                                   [&](const OffloadHistory::Card &entry) { return entry.identity == *identity; });
    if (card == cards.end() || card->jobs.empty())
        return stringWithFormat("no offload of %s is recorded", mountPath.c_str());

    for (const OffloadHistory::Job &job : card->jobs) {
        if (job.status != OffloadInstance::statusText(OffloadInstance::kCompleted))
            return stringWithFormat("the last offload to %s did not complete (%s)", job.destination.c_str(),
                                    job.status.c_str());
        if (job.verification != "size" && job.verification != "contents")
            return stringWithFormat("the last offload to %s was not verified", job.destination.c_str());
    }

    const std::optional<std::vector<OffloadHistory::File>> now = cardFiles(mountPath, &error);
    if (!now) return "the card cannot be read whole (" + error + ")";
    for (OffloadHistory::Job &job : card->jobs)
        std::sort(job.files.begin(), job.files.end(), fileLess);
    for (const OffloadHistory::File &file : *now) {
        if (isRecreatedSystemFile(cardType, file.path)) continue;
        // Every destination must hold it: two copies asked for are two copies kept.
        for (const OffloadHistory::Job &job : card->jobs) {
            const auto it = std::lower_bound(job.files.begin(), job.files.end(), file, fileLess);
            if (it == job.files.end() || !sameFile(*it, file))
                return stringWithFormat("%s has no verified copy in %s (added or changed since the offload?)",
                                        file.path.c_str(), job.destination.c_str());
        }
    }
    return std::nullopt;
}

std::optional<std::string> ReformatGate::refusal(const std::string &mountPath, int32_t cardType,
                                                 const OffloadHistory &history)
{
    if (auto reason = notACard(mountPath, cardType)) return reason;
    return notSafelyOffloaded(mountPath, cardType, history);
}

} // namespace ferrydeck
