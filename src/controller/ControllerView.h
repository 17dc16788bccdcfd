#pragma once

#include "controller/DefaultsPersistence.h"
#include "proof/HashMethod.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

class OffloadInstance;

// The naming controls of the main window as they stand.
struct NamingControls {
    std::string schemeTitle;
    std::string customName;
    std::string prefix;
    std::string suffix;

    bool operator==(const NamingControls &) const = default;
};

enum class Verification { Size, Contents, None, Checksum };

struct VerificationControls {
    Verification verification = Verification::Size;
    HashMethod checksum = HashMethod::Xxh64; // for Verification::Checksum
    bool verboseLogging = false;
};

// Everything the controller asks of a window. The controller calls it on the
// main thread, worker threads through the main loop; the one exception is
// renameCardText, which a job's card actions read on the job's thread.
class ControllerView {
public:
    virtual ~ControllerView() = default;

    // Shows a modal alert and answers the index of the pressed button; the
    // first button is the default one.
    virtual int showAlert(const std::string &title, const std::string &message,
                          const std::vector<std::string> &buttons) = 0;
    virtual NamingControls namingControls() const = 0;
    virtual VerificationControls verificationControls() const = 0;
    // A folder chosen by the person, none when cancelled.
    virtual std::optional<std::string> chooseFolder(const std::string &message, const std::string &title) = 0;
    // The file to save to, starting in `directory` with `proposedName`; none when cancelled.
    virtual std::optional<std::string> chooseSaveFile(const std::string &message, const std::string &directory,
                                                      const std::string &proposedName) = 0;

    // What follows only changes what is shown; a view without such a control
    // leaves it alone.
    virtual void reloadQueueTable() {}
    virtual void reloadDestinationTable() {}
    virtual void showDetails(const std::shared_ptr<OffloadInstance> &) {}
    virtual void refreshDetails(const std::shared_ptr<OffloadInstance> &) {}
    virtual void closeDetails() {}
    virtual void showLog(const std::string &) {}
    virtual void showConsecutiveNumber(const std::string &) {}
    virtual void showNamingPreview(const std::string &) {}
    virtual void setNamingFieldsVisible(bool /*customName*/, bool /*stepper*/) {}
    virtual void setCommonLogFolderVisible(bool) {}
    // A job is over and every step after it (card actions, log save) is done.
    virtual void offloadFinished(const std::shared_ptr<OffloadInstance> &) {}
    // The removable and local drive tables.
    virtual void reloadDriveTables() {}
    // Shows or hides the controls that only matter in manual mode.
    virtual void makeManualItemsVisible(bool) {}
    // The window's five text fields, saved with the settings; none keeps the settings' own.
    virtual std::optional<DefaultsPersistence::WindowTexts> windowTexts() const { return std::nullopt; }
    // The rename text typed in the window; none leaves the saved setting.
    virtual std::optional<std::string> renameCardText() const { return std::nullopt; }
};

} // namespace ferrydeck
