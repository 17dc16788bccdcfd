#include "controller/AppController.h"

#include "fsutil/AttachedVolume.h"
#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/Resources.h"
#include "fsutil/SystemLog.h"
#include "fsutil/SystemSound.h"

#include <exception>

namespace ferrydeck {

namespace {
bool endsWith(const std::string &text, const std::string &suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}
} // namespace

void AppController::runPostOffloadDriveModificationsForInstance(const Job &job)
{
    const std::string source = job->sourceDirectory();
    if (!isDirectoryARemovableDrive(source)) return;
    if (!m_settings.renameCard() && !m_settings.ejectCard() && !m_settings.formatCard()) return;

    std::string cardName;
    for (const auto &volume : refreshRemovableMedia()) {
        if (endsWith(source, volume->volumeName())) {
            cardName = volume->volumeName();
            break;
        }
    }
    if (cardName.empty()) return;

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

    if (m_settings.formatCard()) attemptToFormatDrive(source);

    if (m_settings.renameCard()) {
        const std::string text = m_view->renameCardText().value_or(m_settings.textRenameCard());
        std::string newName = text;
        if (m_settings.incrementRenameTitle()) {
            newName = stringWithFormat("%s-%d", text.c_str(), m_settings.renameCounter());
            // The number is used up even when the rename fails: intended.
            m_settings.setRenameCounter(m_settings.renameCounter() + 1);
        }
        if (DirectoryUtilities::renameDrive(newName, cardName)) {
            {
                std::lock_guard lock(m_lockAutoTimer);
                std::vector<std::shared_ptr<AttachedVolume>> last = drivesMountedLastTick();
                // The bare name, not a mount path, as designed.
                auto renamed = std::make_shared<AttachedVolume>();
                renamed->setVolumePath(newName);
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
            // The eject looks for the setting's text, without any counter.
            cardName = m_settings.textRenameCard();
        } else {
            alert(stringWithFormat("Rename Card Failure:\n%s could not be renamed", newName.c_str()),
                  "Check for illegal characters in the new name", {"OK"});
        }
    }

    if (m_settings.ejectCard()) DirectoryUtilities::ejectDrive(cardName);
}

bool AppController::attemptToFormatDrive(const std::string &path)
{
    if (!DirectoryUtilities::driveIsRemovable(path)) return false;
    if (!DirectoryUtilities::unlockDirectory(path)) return false;
    if (m_options.cardTypeOfDrive(path) == kUndefinedCardType) {
        // Deliberately no alert: an unknown card is simply left alone.
        systemLog("Drive \"%s\" did not match any known drive formats & could not be reformatted", path.c_str());
        return false;
    }

    std::string failure;
    if (m_settings.warnBeforeFormatting() &&
        alert("Reformat Warning",
              stringWithFormat("Ferrydeck will attempt to reformat drive \"%s\"\nProceed?", path.c_str()),
              {"NO", "YES"}) == 0) {
        failure = "Reformat attempt was aborted";
    } else {
        if (m_options.reformatDrive(path)) return true;
        failure = stringWithFormat("Ferrydeck's attempt to format drive \"%s\" has failed", path.c_str());
    }
    if (m_settings.alertOnFailedFormat()) alert("Error", failure, {"OK"});
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
