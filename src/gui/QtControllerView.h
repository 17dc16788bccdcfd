#pragma once

#include "controller/ControllerView.h"
#include "fsutil/Guarded.h"

#include <QPointer>

#include <functional>

class QWidget;

namespace ferrydeck {

class FerrydeckMainWindow;

// The controller's window on Qt. Alerts are message boxes and choosers are
// file dialogs unless a test puts its own functions in their place. The
// controls the controller reads are kept as copies the window updates, so a
// job's thread can read them without touching a widget.
class QtControllerView : public ControllerView {
public:
    using AlertFunction =
        std::function<int(const std::string &, const std::string &, const std::vector<std::string> &)>;
    using FolderFunction = std::function<std::optional<std::string>(const std::string &, const std::string &)>;
    using SaveFunction =
        std::function<std::optional<std::string>(const std::string &, const std::string &, const std::string &)>;

    explicit QtControllerView(FerrydeckMainWindow *window);

    void setAlertFunction(AlertFunction function) { m_alert = std::move(function); }
    void setFolderFunction(FolderFunction function) { m_chooseFolder = std::move(function); }
    void setSaveFunction(SaveFunction function) { m_chooseSave = std::move(function); }
    // The window is closing: nothing is shown any more.
    void detach();

    void setNamingControls(const NamingControls &controls) { m_naming.set(controls); }
    void setVerificationControls(const VerificationControls &controls) { m_verification.set(controls); }
    void setRenameCardText(const std::string &text) { m_renameCardText.set(text); }

    int showAlert(const std::string &title, const std::string &message,
                  const std::vector<std::string> &buttons) override;
    NamingControls namingControls() const override { return m_naming.get(); }
    VerificationControls verificationControls() const override { return m_verification.get(); }
    std::optional<std::string> chooseFolder(const std::string &message, const std::string &title) override;
    std::optional<std::string> chooseSaveFile(const std::string &message, const std::string &directory,
                                              const std::string &proposedName) override;
    std::optional<std::string> renameCardText() const override { return m_renameCardText.get(); }
    std::optional<DefaultsPersistence::WindowTexts> windowTexts() const override;

    void reloadQueueTable() override;
    void reloadDestinationTable() override;
    void showDetails(const std::shared_ptr<OffloadInstance> &job) override;
    void refreshDetails(const std::shared_ptr<OffloadInstance> &job) override;
    void closeDetails() override;
    void showLog(const std::string &text) override;
    void showConsecutiveNumber(const std::string &text) override;
    void showNamingPreview(const std::string &text) override;
    void setNamingFieldsVisible(bool customName, bool stepper) override;
    void setCommonLogFolderVisible(bool visible) override;
    void reloadDriveTables() override;
    void makeManualItemsVisible(bool visible) override;

    // The message box the window shows when no test replaced it.
    static int messageBox(QWidget *parent, const std::string &title, const std::string &message,
                          const std::vector<std::string> &buttons);

private:
    QPointer<FerrydeckMainWindow> m_window;
    AlertFunction m_alert;
    FolderFunction m_chooseFolder;
    SaveFunction m_chooseSave;

    Guarded<NamingControls> m_naming;
    Guarded<VerificationControls> m_verification;
    Guarded<std::string> m_renameCardText;
};

} // namespace ferrydeck
