#include "controller/AppController.h"
#include "controller/AlertTexts.h"
#include "controller/ReformatGate.h"

#include "fsutil/AttachedVolume.h"
#include "fsutil/DesktopNotification.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/Resources.h"
#include "fsutil/SystemLog.h"
#include "fsutil/SystemSound.h"
#include "fsutil/VolumeService.h"

#include <algorithm>
#include <tuple>

#include <exception>

namespace ferrydeck {

namespace {
std::string verificationOf(const OffloadInstance &job, bool dropped)
{
    // A dropped job was never configured: its method is unknown, not "size".
    if (dropped) return "";
    if (job.noFileVerification()) return "none";
    return job.byteComparison() ? "contents" : "size";
}

// The removable volume that is the card of `identity`, searched where a
// rename may have left it: still at `mountPath` (a relabelled real volume
// keeps its mount point), at its new name beside it (the simulated reader),
// else anywhere. None when it is not mounted.
std::optional<std::string> locateCard(const std::string &identity, const std::string &mountPath,
                                      const std::string &newName)
{
    const auto service = VolumeService::current();
    std::vector<std::string> candidates{mountPath};
    if (!newName.empty()) candidates.push_back(path::join(path::parent(mountPath), newName));
    for (const std::string &path : DirectoryUtilities::removableDrives())
        candidates.push_back(path);
    for (const std::string &path : candidates) {
        if (DirectoryUtilities::driveIsRemovable(path) && service->volumeIdentity(path) == identity) return path;
    }
    return std::nullopt;
}
} // namespace

OffloadHistory AppController::offloadHistory() const
{
    return m_options.history ? *m_options.history : OffloadHistory();
}

void AppController::beginCardOffloads(const std::vector<Job> &added)
{
    std::vector<std::string> sources;
    for (const Job &job : added) {
        if (std::find(sources.begin(), sources.end(), job->sourceDirectory()) == sources.end())
            sources.push_back(job->sourceDirectory());
    }
    const OffloadHistory history = offloadHistory();
    for (const std::string &source : sources) {
        if (!DirectoryUtilities::driveIsRemovable(source)) continue;
        const std::optional<std::string> identity = VolumeService::current()->volumeIdentity(source);
        if (!identity) continue;
        std::vector<Job> jobs;
        std::vector<std::string> destinations;
        for (const Job &job : added) {
            if (job->sourceDirectory() != source) continue;
            jobs.push_back(job);
            destinations.push_back(job->offloadDirectory());
        }
        // Replaces the card's previous record now: until these jobs report,
        // the card counts as not offloaded.
        const std::optional<OffloadHistory::Ticket> ticket = history.beginOffload(*identity, source, destinations);
        if (!ticket) continue;
        std::lock_guard lock(m_cardsMutex);
        std::erase_if(m_tickets, [](const auto &entry) { return entry.first.expired(); });
        for (size_t i = 0; i < jobs.size(); ++i) {
            OffloadHistory::Ticket own = *ticket;
            own.index = i;
            m_tickets.emplace_back(jobs[i], own);
        }
    }
}

std::optional<OffloadHistory::Ticket> AppController::ticketOf(const Job &job) const
{
    std::lock_guard lock(m_cardsMutex);
    for (const auto &[held, ticket] : m_tickets) {
        if (held.lock() == job) return ticket;
    }
    return std::nullopt;
}

void AppController::recordJobInHistory(const Job &job, bool dropped)
{
    const std::optional<OffloadHistory::Ticket> ticket = ticketOf(job);
    if (!ticket) return;
    OffloadHistory::Job entry;
    entry.destination = job->offloadDirectory();
    entry.status = dropped ? OffloadHistory::kDropped : OffloadInstance::statusText(job->offloadStatus());
    entry.verification = verificationOf(*job, dropped);
    const std::string prefix = job->sourceDirectory() + "/";
    for (const auto &details : job->fileDetails()) {
        if (details->rawStatus() != FileCopyDetails::kCopyVerified) continue;
        const std::string file = details->filePath();
        if (file.compare(0, prefix.size(), prefix) != 0) continue;
        entry.files.push_back({file.substr(prefix.size()), details->rawFileSize(), details->rawModificationTime()});
    }
    offloadHistory().recordJob(*ticket, entry);
}

void AppController::reportCardIfFinished(const Job &job)
{
    const CardFinished handler = m_cardFinished.get();
    const std::optional<OffloadHistory::Ticket> ticket = ticketOf(job);
    if (!handler || !ticket) return;
    std::vector<Job> siblings;
    {
        // Marking and checking under one lock: of jobs ending together,
        // exactly one sees all of them ended and reports the card.
        std::lock_guard lock(m_cardsMutex);
        std::erase_if(m_endedCardJobs, [](const auto &ended) { return ended.expired(); });
        m_endedCardJobs.push_back(job);
        const auto ended = [this](const Job &other) {
            return std::any_of(m_endedCardJobs.begin(), m_endedCardJobs.end(),
                               [&other](const auto &held) { return held.lock() == other; });
        };
        for (const auto &[held, other] : m_tickets) {
            const Job sibling = held.lock();
            if (!sibling || other.identity != ticket->identity || other.queuedAt != ticket->queuedAt) continue;
            if (!ended(sibling)) return;
            siblings.push_back(sibling);
        }
        std::erase_if(m_endedCardJobs, [&siblings](const auto &held) {
            return std::find(siblings.begin(), siblings.end(), held.lock()) != siblings.end();
        });
    }
    CardOutcome outcome;
    outcome.card = job->sourceDirectory();
    for (const Job &sibling : siblings) {
        ++outcome.jobs;
        if (sibling->offloadStatus() != OffloadInstance::kCompleted) ++outcome.failedJobs;
        for (const auto &details : sibling->fileDetails()) {
            if (details->rawStatus() == FileCopyDetails::kCopyVerified) ++outcome.filesVerified;
            else if (details->rawStatus() == FileCopyDetails::kCopyError) ++outcome.filesFailed;
        }
    }
    try {
        handler(outcome);
    } catch (const std::exception &error) {
        systemLog("could not report the end of card %s: %s", outcome.card.c_str(), error.what());
    }
}

std::pair<std::string, std::string> AppController::cardNotificationText(const CardOutcome &outcome)
{
    const std::string name = path::lastComponent(outcome.card);
    std::string title = outcome.failedJobs == 0 ? stringWithFormat("Card %s offloaded", name.c_str())
                                                : stringWithFormat("Card %s: offload failed", name.c_str());
    std::string body =
        stringWithFormat("%zu file copies verified, %zu failed; %zu of %zu jobs completed", outcome.filesVerified,
                         outcome.filesFailed, outcome.jobs - outcome.failedJobs, outcome.jobs);
    return {std::move(title), std::move(body)};
}

void AppController::notifyDesktop(const CardOutcome &outcome)
{
    const auto [title, body] = cardNotificationText(outcome);
    DesktopNotification::send(title, body);
}

bool AppController::cardIsBusyOrUnchanged(const std::string &identity, const std::string &mountPath) const
{
    std::vector<OffloadHistory::File> known;
    {
        std::lock_guard lock(m_cardsMutex);
        const auto found = m_takenCards.find(identity);
        if (found == m_takenCards.end()) return false;
        for (const auto &[held, ticket] : m_tickets) {
            const Job job = held.lock();
            if (job && ticket.identity == identity && !job->processingTaskIsOver()) return true;
        }
        known = found->second;
    }
    std::string error;
    const auto now = ReformatGate::cardFiles(mountPath, &error);
    if (!now) {
        systemLog("card %s cannot be read whole (%s); it is not taken again", mountPath.c_str(), error.c_str());
        return true;
    }
    // Only a file it did not hold before (new or changed) makes it worth another offload.
    return std::includes(known.begin(), known.end(), now->begin(), now->end(),
                         [](const OffloadHistory::File &a, const OffloadHistory::File &b) {
                             return std::tie(a.path, a.size, a.modificationTime) <
                                    std::tie(b.path, b.size, b.modificationTime);
                         });
}

void AppController::rememberCardContents(const std::string &identity, const std::string &mountPath, bool onlyIfKnown)
{
    std::vector<OffloadHistory::File> files =
        ReformatGate::cardFiles(mountPath).value_or(std::vector<OffloadHistory::File>{});
    std::lock_guard lock(m_cardsMutex);
    if (onlyIfKnown && m_takenCards.find(identity) == m_takenCards.end()) return;
    m_takenCards[identity] = std::move(files);
}

void AppController::runPostOffloadDriveModificationsForInstance(const Job &job)
{
    const std::string source = job->sourceDirectory();
    // The exact mount path, never a volume whose name merely ends the same way.
    if (!isDirectoryARemovableDrive(source)) return;
    if (!m_settings.renameCard() && !m_settings.ejectCard() && !m_settings.formatCard()) return;
    std::string cardName = path::lastComponent(source);

    // Only the card's last job acts on it; the others leave it alone.
    {
        std::lock_guard lock(m_lockOffloadInstances);
        try {
            for (const Job &other : listOffloadInstances()) {
                if (other == job || other->sourceDirectory().rfind(source, 0) != 0) continue;
                if (!other->processingTaskIsOver() || !other->postOffloadComplete()) return;
            }
        } catch (const std::exception &error) {
            systemLog("could not compare the card's jobs: %s", error.what());
        }
    }

    // A card swapped at the same mount point during the offload is not the one copied.
    const std::optional<OffloadHistory::Ticket> ticket = ticketOf(job);
    const std::optional<std::string> identity = VolumeService::current()->volumeIdentity(source);
    if (ticket && identity != ticket->identity) {
        systemLog("the card at %s is not the one that was offloaded; it is left alone", source.c_str());
        return;
    }

    if (m_settings.formatCard()) attemptToFormatDrive(source);

    std::string cardPath = source;
    if (m_settings.renameCard()) {
        const std::string text = m_view->renameCardText().value_or(m_settings.textRenameCard());
        std::string newName = text;
        if (m_settings.incrementRenameTitle()) {
            newName = stringWithFormat("%s-%d", text.c_str(), m_settings.renameCounter());
            // The number is used up even when the rename fails: intended.
            m_settings.setRenameCounter(m_settings.renameCounter() + 1);
        }
        if (DirectoryUtilities::renameDrive(newName, cardName)) {
            // Wherever the renamed card is mounted now; the eject acts on it.
            if (identity) {
                // An identity that carries the label changes with it; a mount point
                // still there is then the card just checked and renamed.
                cardPath = locateCard(*identity, source, newName)
                               .value_or(DirectoryUtilities::driveIsRemovable(source) ? source : std::string());
            }
            {
                std::lock_guard lock(m_lockAutoTimer);
                std::vector<std::shared_ptr<AttachedVolume>> last = drivesMountedLastTick();
                auto renamed = std::make_shared<AttachedVolume>();
                renamed->setVolumePath(cardPath.empty() ? newName : cardPath);
                renamed->setMountType(MountTypeRemovable);
                last.push_back(renamed);
                setDrivesMountedLastTick(std::move(last));
            }
            // The refresh waits for the main thread, whose tick takes
            // lockAutoTimer: so it runs after that lock is given back.
            waitForMainThread([this] {
                refreshDriveLists();
                return 0;
            });
            if (!identity) cardPath = path::join(path::parent(source), newName);
        } else {
            alert(stringWithFormat("Rename Card Failure:\n%s could not be renamed", newName.c_str()),
                  "Check for illegal characters in the new name", {"OK"});
        }
    }

    // What the card holds now, so the tick does not take it again unchanged.
    if (identity && !cardPath.empty()) rememberCardContents(*identity, cardPath, true);

    if (m_settings.ejectCard()) {
        if (cardPath.empty()) systemLog("the renamed card %s could not be found to eject", source.c_str());
        else DirectoryUtilities::ejectDrive(path::lastComponent(cardPath));
    }
}

bool AppController::attemptToFormatDrive(const std::string &path)
{
    if (!DirectoryUtilities::driveIsRemovable(path)) return false;
    const int32_t type = m_options.cardTypeOfDrive(path);
    if (type == kUndefinedCardType) {
        // Deliberately no alert: an unknown card is simply left alone.
        systemLog("Drive \"%s\" did not match any known drive formats & could not be reformatted", path.c_str());
        return false;
    }
    // Nothing is erased that has no verified copy, whatever the settings say.
    if (const auto reason = ReformatGate::refusal(path, type, offloadHistory())) {
        systemLog("reformat of %s refused: %s", path.c_str(), reason->c_str());
        alert("Reformat Refused",
              stringWithFormat("Ferrydeck did not reformat drive \"%s\": %s.\nNothing on it was deleted.", path.c_str(),
                               reason->c_str()),
              {"OK"});
        return false;
    }
    if (!DirectoryUtilities::unlockDirectory(path)) return false;

    AlertText failure;
    const AlertText warning = AlertTexts::reformatWarning(path);
    if (m_settings.warnBeforeFormatting() && alert(warning.title, warning.message, {"NO", "YES"}) == 0) {
        failure = AlertTexts::reformatAborted();
    } else {
        if (m_options.reformatDrive(path)) return true;
        failure = AlertTexts::reformatFailed(path);
    }
    if (m_settings.alertOnFailedFormat()) alert(failure.title, failure.message, {"OK"});
    return false;
}

void AppController::playOffloadCompleteSound()
{
    playNamedSound(kSoundComplete);
}

void AppController::playOffloadFailureSound()
{
    playNamedSound(kSoundFailure);
}

void AppController::playNamedSound(const std::string &name) const
{
    try {
        m_options.playSound(name);
    } catch (const std::exception &error) {
        systemLog("could not play a sound: %s", error.what());
    }
}

void AppController::playSystemSound(const std::string &name)
{
    if (name == kSoundComplete) {
        SystemSound::playEvent(name);
    } else if (const auto file = resourcePath(name + ".wav")) {
        SystemSound::playFile(*file);
    }
}

} // namespace ferrydeck
