#include "gui/SettingsDrawer.h"

#include "controller/AppController.h"
#include "fsutil/DirectoryUtilities.h"
#include "gui/QtControllerView.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>

#include <algorithm>

namespace ferrydeck {

namespace {
void checkButton(QButtonGroup *group, int id)
{
    QAbstractButton *button = group->button(id);
    if (!button) button = group->buttons().value(group->buttons().size() - 1);
    if (button) button->setChecked(true);
}

void bindCheck(QCheckBox *box, FerrydeckSettings &settings, void (FerrydeckSettings::*setter)(bool))
{
    QObject::connect(box, &QCheckBox::toggled, box, [&settings, setter](bool on) { (settings.*setter)(on); });
}
} // namespace

void SettingsDrawer::attach(AppController &controller, QtControllerView &view)
{
    m_controller = &controller;
    m_view = &view;
    FerrydeckSettings &settings = controller.ferrydeckSettings();
    {
        const QSignalBlocker blocker(popupNamingSchemes);
        popupNamingSchemes->clear();
        for (const std::string &title : controller.listNamingSchemeOptions())
            popupNamingSchemes->addItem(QString::fromStdString(title));
    }
    for (const std::string &title : controller.listMediaTitles())
        popupMediaType->addItem(QString::fromStdString(title));
    stepperConsecutiveNumber->setRange(AppController::kStepperMinimum, AppController::kStepperMaximum);
    sliderThreadCount->setRange(settings.minimumThreads(), settings.maximumThreads());
    connectNaming();
    connectOptions();
}

void SettingsDrawer::connectNaming()
{
    FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    connect(popupNamingSchemes, &QComboBox::currentIndexChanged, this, [this, &settings](int index) {
        settings.setNamingConventionIndex(index);
        publishControls();
        m_controller->selectSchemeAtIndex(index);
    });
    connect(stepperConsecutiveNumber, &QSpinBox::valueChanged, this,
            [this](int value) { m_controller->configureStepper(value); });
    connect(buttonResetStepper, &QPushButton::clicked, this, [this] { m_controller->resetStepper(); });
    connect(checkPrefix, &QCheckBox::toggled, this, [this, &settings](bool on) {
        settings.setAddPrefix(on);
        m_controller->configureFullNamingSchemeTextBox();
    });
    connect(checkSuffix, &QCheckBox::toggled, this, [this, &settings](bool on) {
        settings.setAddSuffix(on);
        m_controller->configureFullNamingSchemeTextBox();
    });
    // Settings and preview follow a field when its editing ends, not per keystroke.
    for (QLineEdit *field : {textCustomNameScheme, textPrefix, textSuffix, textRenameCard}) {
        connect(field, &QLineEdit::editingFinished, this, [this] { controlTextDidEndEditing(); });
    }
}

void SettingsDrawer::connectOptions()
{
    FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    connect(m_verifyGroup, &QButtonGroup::idToggled, this, [this, &settings](int id, bool on) {
        if (!on) return;
        settings.setVerificationOption(id == FerrydeckSettings::kVerifyByChecksum
                                           ? FerrydeckSettings::kVerifyByChecksum + popupChecksum->currentIndex()
                                           : id);
        publishControls();
    });
    connect(popupChecksum, &QComboBox::currentIndexChanged, this, [this, &settings](int index) {
        // Picking a checksum is choosing to verify by it.
        settings.setVerificationOption(FerrydeckSettings::kVerifyByChecksum + std::max(index, 0));
        const QSignalBlocker quiet(m_verifyGroup);
        buttonChecksumVerify->setChecked(true);
        publishControls();
    });
    connect(m_detailGroup, &QButtonGroup::idToggled, this, [this, &settings](int id, bool on) {
        if (!on) return;
        settings.setSelectedLogOption(id);
        publishControls();
    });
    connect(m_logGroup, &QButtonGroup::idToggled, this, [this, &settings](int id, bool on) {
        if (!on) return;
        settings.setLogOptionIndex(id);
        m_controller->toggleLogSaveMode();
    });
    connect(m_modeGroup, &QButtonGroup::idToggled, this, [this, &settings](int id, bool on) {
        if (!on) return;
        settings.setOffloadModeIndex(id);
        m_controller->toggleOffloadMode();
    });
    connect(popupMediaType, &QComboBox::currentIndexChanged, this,
            [&settings](int index) { settings.setVolumeTypeIndex(index); });
    connect(textCommonLogFolder, &QLineEdit::textEdited, this,
            [&settings](const QString &text) { settings.setTextLogDirectory(text.toStdString()); });
    connect(buttonCommonLogBrowse, &QPushButton::clicked, this, [this, &settings] {
        m_controller->browse();
        textCommonLogFolder->setText(QString::fromStdString(settings.textLogDirectory()));
    });
    connect(sliderThreadCount, &QSlider::valueChanged, this, [this] { sliderMoved(); });
    bindCheck(checkAutoSaveLogs, settings, &FerrydeckSettings::setAutoSaveLogs);
    bindCheck(checkFormatCard, settings, &FerrydeckSettings::setFormatCard);
    bindCheck(checkRenameCard, settings, &FerrydeckSettings::setRenameCard);
    bindCheck(checkIncrementRenameTitle, settings, &FerrydeckSettings::setIncrementRenameTitle);
    bindCheck(checkEjectCard, settings, &FerrydeckSettings::setEjectCard);
    bindCheck(checkPlaySound, settings, &FerrydeckSettings::setPlaySound);
    bindCheck(checkWarnBeforeFormatting, settings, &FerrydeckSettings::setWarnBeforeFormatting);
    bindCheck(checkAlertOnFailedFormat, settings, &FerrydeckSettings::setAlertOnFailedFormat);
    bindCheck(checkAlertWhenLogsNotSaved, settings, &FerrydeckSettings::setAlertWhenLogsNotSaved);
}

void SettingsDrawer::showLoadedSettings()
{
    FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    {
        // Showing what was loaded must not write it back half-shown.
        const QSignalBlocker blockers[] = {
            QSignalBlocker(popupNamingSchemes), QSignalBlocker(m_verifyGroup), QSignalBlocker(m_detailGroup),
            QSignalBlocker(m_logGroup),         QSignalBlocker(m_modeGroup),   QSignalBlocker(popupMediaType),
            QSignalBlocker(sliderThreadCount),  QSignalBlocker(checkPrefix),   QSignalBlocker(checkSuffix)};
        const DefaultsPersistence::WindowTexts texts = DefaultsPersistence::windowTexts(settings);
        textRenameCard->setText(QString::fromStdString(texts.renameCard));
        textCustomNameScheme->setText(QString::fromStdString(texts.customName));
        textPrefix->setText(QString::fromStdString(texts.prefix));
        textSuffix->setText(QString::fromStdString(texts.suffix));
        textCommonLogFolder->setText(QString::fromStdString(texts.logDirectory));
        popupNamingSchemes->setCurrentIndex(
            std::clamp(settings.namingConventionIndex(), 0, popupNamingSchemes->count() - 1));
        const std::optional<HashMethod> checksum = FerrydeckSettings::checksumForOption(settings.verificationOption());
        checkButton(m_verifyGroup, checksum
                                       ? FerrydeckSettings::kVerifyByChecksum
                                       // An option this version does not know verifies by size rather than not at all.
                                       : FerrydeckSettings::verificationOptionForName(
                                             FerrydeckSettings::verificationName(settings.verificationOption()))
                                             .value_or(0));
        const QSignalBlocker quiet(popupChecksum);
        if (checksum)
            popupChecksum->setCurrentIndex(settings.verificationOption() - FerrydeckSettings::kVerifyByChecksum);
        checkButton(m_detailGroup, settings.selectedLogOption());
        checkButton(m_logGroup, settings.logOptionIndex() == 0 ? 0 : 1);
        checkButton(m_modeGroup, settings.offloadModeIndex() == 0 ? 0 : 1);
        popupMediaType->setCurrentIndex(std::clamp(settings.volumeTypeIndex(), 0, popupMediaType->count() - 1));
        sliderThreadCount->setValue(settings.amountOfCopyThreads());
        checkPrefix->setChecked(settings.addPrefix());
        checkSuffix->setChecked(settings.addSuffix());
    }
    checkAutoSaveLogs->setChecked(settings.autoSaveLogs());
    checkFormatCard->setChecked(settings.formatCard());
    checkRenameCard->setChecked(settings.renameCard());
    checkIncrementRenameTitle->setChecked(settings.incrementRenameTitle());
    checkEjectCard->setChecked(settings.ejectCard());
    checkPlaySound->setChecked(settings.playSound());
    checkWarnBeforeFormatting->setChecked(settings.warnBeforeFormatting());
    checkAlertOnFailedFormat->setChecked(settings.alertOnFailedFormat());
    checkAlertWhenLogsNotSaved->setChecked(settings.alertWhenLogsNotSaved());
    publishControls();

    m_controller->configureStepper(settings.valueConsecutiveNumbering());
    m_controller->configureFullNamingSchemeTextBox();
    m_controller->toggleOffloadMode();
    m_controller->toggleLogSaveMode();
    // The shared pool keeps its 4 per processor until the slider is moved.
    textNumberOfThreads->setText(QString::number(settings.amountOfCopyThreads()));
    m_controller->selectSchemeAtIndex(popupNamingSchemes->currentIndex());
}

void SettingsDrawer::publishControls()
{
    if (!m_view) return;
    // The controller names folders with what the fields will hold once cleaned.
    auto cleaned = [](QLineEdit *field) {
        return DirectoryUtilities::removeInvalidPathCharactersFromString(field->text().toStdString());
    };
    m_view->setNamingControls({popupNamingSchemes->currentText().toStdString(), cleaned(textCustomNameScheme),
                               cleaned(textPrefix), cleaned(textSuffix)});
    VerificationControls verification;
    if (buttonContentsVerify->isChecked()) verification.verification = Verification::Contents;
    else if (buttonNoFileVerification->isChecked()) verification.verification = Verification::None;
    else if (buttonChecksumVerify->isChecked()) {
        verification.verification = Verification::Checksum;
        verification.checksum =
            FerrydeckSettings::kChecksumOptions[static_cast<size_t>(std::clamp(popupChecksum->currentIndex(), 0, 5))];
    }
    verification.verboseLogging = buttonVerboseLogging->isChecked();
    m_view->setVerificationControls(verification);
    m_view->setRenameCardText(cleaned(textRenameCard));
}

void SettingsDrawer::controlTextDidEndEditing()
{
    for (QLineEdit *field : {textRenameCard, textCustomNameScheme, textPrefix, textSuffix}) {
        const std::string cleaned =
            DirectoryUtilities::removeInvalidPathCharactersFromString(field->text().toStdString());
        if (field->text().toStdString() != cleaned) field->setText(QString::fromStdString(cleaned));
    }
    textDidEndEditing();
}

void SettingsDrawer::textDidEndEditing()
{
    FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    auto cleaned = [](QLineEdit *field) {
        return DirectoryUtilities::removeInvalidPathCharactersFromString(field->text().toStdString());
    };
    settings.setTextRenameCard(cleaned(textRenameCard));
    settings.setTextCustomName(cleaned(textCustomNameScheme));
    settings.setTextPrefix(cleaned(textPrefix));
    settings.setTextSuffix(cleaned(textSuffix));
    publishControls();
    m_controller->configureFullNamingSchemeTextBox();
}

void SettingsDrawer::sliderMoved()
{
    FerrydeckSettings &settings = m_controller->ferrydeckSettings();
    settings.setAmountOfCopyThreads(sliderThreadCount->value());
    textNumberOfThreads->setText(QString::number(settings.amountOfCopyThreads()));
    m_controller->setCopyThreadCount(settings.amountOfCopyThreads());
}

} // namespace ferrydeck
