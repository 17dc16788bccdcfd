#include "controller/AppController.h"

#include "cards/Canon5DUtilities.h"
#include "cards/CanonAVCHDUtilities.h"
#include "cards/HDUtilities.h"
#include "cards/JVCMP4Utilities.h"
#include "cards/JVCQTUtilities.h"
#include "cards/PanasonicAVCHDUtilities.h"
#include "cards/PanasonicP2Utilities.h"
#include "cards/REDUtilities.h"
#include "cards/SonyXDCAMExUtilities.h"
#include "fsutil/AttachedVolume.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/SystemLog.h"
#include "fsutil/VolumeService.h"

#include <algorithm>
#include <exception>

namespace ferrydeck {

namespace {
constexpr double kTickSeconds = 2.0;

std::vector<std::shared_ptr<AttachedVolume>> volumesOf(const std::vector<std::string> &paths, MountType type)
{
    std::vector<std::shared_ptr<AttachedVolume>> volumes;
    volumes.reserve(paths.size());
    for (const std::string &path : paths) {
        auto volume = std::make_shared<AttachedVolume>(path, type);
        volume->setVolumeImage(type == MountTypeLocal ? AttachedVolume::kLocalImage : AttachedVolume::kRemovableImage);
        volumes.push_back(std::move(volume));
    }
    return volumes;
}
} // namespace

void AppController::setListMountedMedia(std::vector<std::shared_ptr<AttachedVolume>> volumes)
{
    m_listMountedMedia.set(std::move(volumes));
    updateView([](ControllerView &view) { view.reloadDriveTables(); });
}

void AppController::toggleOffloadMode()
{
    if (m_settings.offloadModeIndex() != 0) {
        m_view->makeManualItemsVisible(false);
        removeItemsNotStartedFromQueue();
        // Cards already inserted belong to the person, not to the tick.
        setDrivesMountedLastTick(refreshRemovableMedia());
        if (m_autoModeTimer) m_autoModeTimer->cancel();
        m_activeTimer = true;
        std::weak_ptr<int> alive = m_alive;
        m_autoModeTimer = m_mainLoop->scheduleOnce(kTickSeconds, [this, alive] {
            if (alive.lock()) automaticallyProcessRemovableMedia();
        });
    } else {
        m_view->makeManualItemsVisible(true);
        m_activeTimer = false;
        if (m_autoModeTimer) m_autoModeTimer->cancel();
        m_autoModeTimer.reset();
    }
}

void AppController::automaticallyProcessRemovableMedia()
{
    // A prompt's nested event loop still fires timers: the tick waits for the
    // person rather than run beneath a question that may hold the queue.
    if (promptOpen()) {
        if (m_activeTimer)
            m_autoModeTimer = m_mainLoop->scheduleOnce(kTickSeconds, [this, alive = std::weak_ptr<int>(m_alive)] {
                if (alive.lock()) automaticallyProcessRemovableMedia();
            });
        return;
    }
    // Each tick re-arms at its end, so a slow tick never overlaps the next.
    if (m_autoModeTimer) m_autoModeTimer->cancel();
    const std::vector<std::shared_ptr<AttachedVolume>> current = refreshRemovableMedia();
    std::vector<std::string> fresh;
    {
        std::lock_guard lock(m_lockAutoTimer);
        const std::vector<std::shared_ptr<AttachedVolume>> last = drivesMountedLastTick();
        for (const auto &volume : current) {
            const std::string path = volume->volumePath();
            const bool seen =
                std::any_of(last.begin(), last.end(), [&](const auto &old) { return old->volumePath() == path; });
            if (!seen) fresh.push_back(path);
        }
    }
    // A path is not a card: one renamed by the card action or re-inserted
    // under another name comes back as a new path, so cards are known by identity.
    std::vector<std::pair<std::string, std::string>> identified;
    std::erase_if(fresh, [&](const std::string &path) {
        const std::optional<std::string> identity = VolumeService::current()->volumeIdentity(path);
        if (!identity) return false;
        if (cardIsBusyOrUnchanged(*identity, path)) return true;
        identified.emplace_back(*identity, path);
        return false;
    });
    try {
        if (!fresh.empty()) addDirectoriesToOffloadList(fresh);
        for (const auto &[identity, path] : identified) {
            bool queued = false;
            {
                std::lock_guard lock(m_lockOffloadInstances);
                queued = isSourceAlreadyInList(path);
            }
            if (queued) rememberCardContents(identity, path, false);
        }
        processAllItemsInTheQueue();
    } catch (const std::exception &error) {
        systemLog("automatic offload tick failed: %s", error.what());
    }
    {
        std::lock_guard lock(m_lockAutoTimer);
        setDrivesMountedLastTick(current);
    }
    if (m_activeTimer) {
        std::weak_ptr<int> alive = m_alive;
        m_autoModeTimer = m_mainLoop->scheduleOnce(kTickSeconds, [this, alive] {
            if (alive.lock()) automaticallyProcessRemovableMedia();
        });
    }
}

std::vector<std::shared_ptr<AttachedVolume>> AppController::refreshRemovableMedia() const
{
    return volumesOf(DirectoryUtilities::removableDrives(), MountTypeRemovable);
}

std::vector<std::shared_ptr<AttachedVolume>> AppController::refreshMountedMedia() const
{
    const std::vector<std::string> removable = DirectoryUtilities::removableDrives();
    std::vector<std::string> local;
    for (const std::string &path : DirectoryUtilities::localVolumes()) {
        if (path == "/") continue;
        if (std::find(removable.begin(), removable.end(), path) != removable.end()) continue;
        local.push_back(path);
    }
    return volumesOf(local, MountTypeLocal);
}

void AppController::refreshDriveLists()
{
    std::vector<std::shared_ptr<AttachedVolume>> volumes = refreshRemovableMedia();
    std::vector<std::shared_ptr<AttachedVolume>> local = refreshMountedMedia();
    volumes.insert(volumes.end(), local.begin(), local.end());
    setListMountedMedia(std::move(volumes));
}

bool AppController::isDirectoryARemovableDrive(const std::string &path) const
{
    const std::vector<std::string> removable = DirectoryUtilities::removableDrives();
    return std::find(removable.begin(), removable.end(), path) != removable.end();
}

void AppController::populateMediaTitles()
{
    std::vector<std::string> titles{
        "Any Volume",
        CanonAVCHDUtilities::utility()->volumeTitle(),
        Canon5DUtilities::utility()->volumeTitle(),
        JVCMP4Utilities::utility()->volumeTitle(),
        JVCQTUtilities::utility()->volumeTitle(),
        PanasonicAVCHDUtilities::utility()->volumeTitle(),
        PanasonicP2Utilities::utility()->volumeTitle(),
        REDUtilities::utility()->volumeTitle(),
        SonyXDCAMExUtilities::utility()->volumeTitle(),
    };
    // Later cameras follow, so that a stored choice keeps its index.
    for (const auto &utility : HDUtilities::laterUtilities())
        titles.push_back(utility->volumeTitle());
    m_listMediaTitles.set(std::move(titles));
}

void AppController::addAllRemovableMediaToQueue()
{
    refreshDriveLists();
}

void AppController::addAllMountedMediaToQueue()
{
    refreshDriveLists();
    // Whole local disks are never queued in bulk: only the removable volumes.
    std::vector<std::shared_ptr<AttachedVolume>> removable;
    for (const auto &volume : listMountedMedia()) {
        if (volume->mountType() == MountTypeRemovable) removable.push_back(volume);
    }
    queueAllDrivesFromList(removable);
}

} // namespace ferrydeck
