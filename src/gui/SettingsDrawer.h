#pragma once

#include "controller/DefaultsPersistence.h"

#include <QWidget>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSlider;
class QSpinBox;

namespace ferrydeck {

class AppController;
class QtControllerView;

// The settings drawer: naming, verification, log, card-action, warning, mode
// and thread-count controls. Every change goes straight into the settings or
// the controller, and the controls the controller reads are published to the
// view.
class SettingsDrawer : public QWidget {
    Q_OBJECT
public:
    explicit SettingsDrawer(QWidget *parent = nullptr);

    // Wires the controls once the controller exists.
    void attach(AppController &controller, QtControllerView &view);
    // Shows the settings as loaded, then brings the window in line with them
    // in the designed order.
    void showLoadedSettings();
    DefaultsPersistence::WindowTexts windowTexts() const;

    void controlTextDidEndEditing();
    void textDidEndEditing();
    void sliderMoved();
    void publishControls();

    QComboBox *popupNamingSchemes = nullptr;
    QLineEdit *textCustomNameScheme = nullptr;
    QWidget *boxAutoIncrementScheme = nullptr;
    QSpinBox *stepperConsecutiveNumber = nullptr;
    QLabel *textStepperCount = nullptr;
    QPushButton *buttonResetStepper = nullptr;
    QCheckBox *checkPrefix = nullptr;
    QLineEdit *textPrefix = nullptr;
    QCheckBox *checkSuffix = nullptr;
    QLineEdit *textSuffix = nullptr;
    QLabel *textFullNameScheme = nullptr;
    QRadioButton *buttonSizeVerify = nullptr;
    QRadioButton *buttonContentsVerify = nullptr;
    QRadioButton *buttonNoFileVerification = nullptr;
    // A checksum proves each copy and leaves an ASC MHL hash list beside it.
    QRadioButton *buttonChecksumVerify = nullptr;
    QComboBox *popupChecksum = nullptr;
    QRadioButton *buttonVerboseLogging = nullptr;
    QRadioButton *buttonMinimalLogging = nullptr;
    QRadioButton *buttonLogToCommonFolder = nullptr;
    QRadioButton *buttonLogToOffloadFolder = nullptr;
    QLineEdit *textCommonLogFolder = nullptr;
    QPushButton *buttonCommonLogBrowse = nullptr;
    QCheckBox *checkAutoSaveLogs = nullptr;
    QCheckBox *checkFormatCard = nullptr;
    QCheckBox *checkRenameCard = nullptr;
    QLineEdit *textRenameCard = nullptr;
    QCheckBox *checkIncrementRenameTitle = nullptr;
    QCheckBox *checkEjectCard = nullptr;
    QCheckBox *checkPlaySound = nullptr;
    QCheckBox *checkWarnBeforeFormatting = nullptr;
    QCheckBox *checkAlertOnFailedFormat = nullptr;
    QCheckBox *checkAlertWhenLogsNotSaved = nullptr;
    QRadioButton *buttonManualOffload = nullptr;
    QRadioButton *buttonAutoOffload = nullptr;
    QComboBox *popupMediaType = nullptr;
    QSlider *sliderThreadCount = nullptr;
    QLabel *textNumberOfThreads = nullptr;

private:
    void buildNaming(QWidget *box);
    void buildLogs(QWidget *verifyBox, QWidget *detailBox, QWidget *logBox);
    void buildCardActions(QWidget *cardBox, QWidget *warnBox);
    void buildMode(QWidget *modeBox, QWidget *threadBox);
    void connectNaming();
    void connectOptions();

    AppController *m_controller = nullptr;
    QtControllerView *m_view = nullptr;
    QButtonGroup *m_verifyGroup = nullptr;
    QButtonGroup *m_detailGroup = nullptr;
    QButtonGroup *m_logGroup = nullptr;
    QButtonGroup *m_modeGroup = nullptr;
};

} // namespace ferrydeck
