#include "gui/SettingsDrawer.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace ferrydeck {

namespace {
QGroupBox *group(const char *title, QWidget *parent)
{
    return new QGroupBox(QString::fromLatin1(title), parent);
}

QRadioButton *radio(const char *title, QButtonGroup *buttons, int id, QLayout *layout)
{
    auto *button = new QRadioButton(QString::fromLatin1(title));
    buttons->addButton(button, id);
    layout->addWidget(button);
    return button;
}

QCheckBox *check(const char *title, QLayout *layout)
{
    auto *box = new QCheckBox(QString::fromLatin1(title));
    layout->addWidget(box);
    return box;
}
} // namespace

SettingsDrawer::SettingsDrawer(QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    QGroupBox *modeBox = group("Offload Mode", this);
    QGroupBox *namingBox = group("Folder Naming", this);
    QGroupBox *verifyBox = group("Verification", this);
    QGroupBox *detailBox = group("Log Detail", this);
    QGroupBox *logBox = group("Log Files", this);
    QGroupBox *cardBox = group("After a Card's Last Offload", this);
    QGroupBox *warnBox = group("Warnings", this);
    QGroupBox *threadBox = group("Copy Threads", this);
    buildMode(modeBox, threadBox);
    buildNaming(namingBox);
    buildLogs(verifyBox, detailBox, logBox);
    buildCardActions(cardBox, warnBox);
    for (QGroupBox *box : {modeBox, namingBox, verifyBox, detailBox, logBox, cardBox, warnBox, threadBox})
        layout->addWidget(box);
    layout->addStretch(1);
}

void SettingsDrawer::buildMode(QWidget *modeBox, QWidget *threadBox)
{
    auto *mode = new QVBoxLayout(modeBox);
    m_modeGroup = new QButtonGroup(this);
    auto *row = new QHBoxLayout;
    buttonManualOffload = radio("Manual", m_modeGroup, 0, row);
    buttonAutoOffload = radio("Automatic", m_modeGroup, 1, row);
    row->addStretch(1);
    mode->addLayout(row);
    auto *media = new QFormLayout;
    popupMediaType = new QComboBox(modeBox);
    media->addRow(QStringLiteral("Media:"), popupMediaType);
    mode->addLayout(media);

    auto *threads = new QHBoxLayout(threadBox);
    sliderThreadCount = new QSlider(Qt::Horizontal, threadBox);
    sliderThreadCount->setTickPosition(QSlider::TicksBelow);
    sliderThreadCount->setTickInterval(1);
    sliderThreadCount->setPageStep(1);
    textNumberOfThreads = new QLabel(threadBox);
    textNumberOfThreads->setMinimumWidth(textNumberOfThreads->fontMetrics().horizontalAdvance(QStringLiteral("00")));
    textNumberOfThreads->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    threads->addWidget(sliderThreadCount, 1);
    threads->addWidget(textNumberOfThreads);
}

void SettingsDrawer::buildNaming(QWidget *box)
{
    auto *form = new QFormLayout(box);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    popupNamingSchemes = new QComboBox(box);
    form->addRow(QStringLiteral("Scheme:"), popupNamingSchemes);
    textCustomNameScheme = new QLineEdit(box);
    textCustomNameScheme->setPlaceholderText(QStringLiteral("Custom name"));
    form->addRow(textCustomNameScheme);

    boxAutoIncrementScheme = new QWidget(box);
    auto *stepper = new QHBoxLayout(boxAutoIncrementScheme);
    stepper->setContentsMargins(0, 0, 0, 0);
    stepperConsecutiveNumber = new QSpinBox(boxAutoIncrementScheme);
    textStepperCount = new QLabel(boxAutoIncrementScheme);
    buttonResetStepper = new QPushButton(QStringLiteral("Reset"), boxAutoIncrementScheme);
    stepper->addWidget(new QLabel(QStringLiteral("Number:"), boxAutoIncrementScheme));
    stepper->addWidget(stepperConsecutiveNumber);
    stepper->addWidget(textStepperCount, 1);
    stepper->addWidget(buttonResetStepper);
    form->addRow(boxAutoIncrementScheme);

    checkPrefix = new QCheckBox(QStringLiteral("Prefix"), box);
    textPrefix = new QLineEdit(box);
    form->addRow(checkPrefix, textPrefix);
    checkSuffix = new QCheckBox(QStringLiteral("Suffix"), box);
    textSuffix = new QLineEdit(box);
    form->addRow(checkSuffix, textSuffix);
    textFullNameScheme = new QLabel(box);
    textFullNameScheme->setTextInteractionFlags(Qt::TextSelectableByMouse);
    textFullNameScheme->setStyleSheet(QStringLiteral("font-weight: bold"));
    textFullNameScheme->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    form->addRow(QStringLiteral("Preview:"), textFullNameScheme);
}

void SettingsDrawer::buildLogs(QWidget *verifyBox, QWidget *detailBox, QWidget *logBox)
{
    auto *verify = new QVBoxLayout(verifyBox);
    m_verifyGroup = new QButtonGroup(this);
    buttonSizeVerify = radio("By size", m_verifyGroup, 0, verify);
    buttonContentsVerify = radio("By contents (byte for byte)", m_verifyGroup, 1, verify);
    buttonNoFileVerification = radio("None", m_verifyGroup, 2, verify);
    auto *checksum = new QHBoxLayout;
    buttonChecksumVerify =
        radio("By checksum, with an ASC MHL hash list:", m_verifyGroup, FerrydeckSettings::kVerifyByChecksum, checksum);
    popupChecksum = new QComboBox(verifyBox);
    for (const HashMethod method : FerrydeckSettings::kChecksumOptions)
        popupChecksum->addItem(QString::fromUtf8(hashMethodName(method).data(), hashMethodName(method).size()));
    checksum->addWidget(popupChecksum);
    checksum->addStretch(1);
    verify->addLayout(checksum);

    auto *detail = new QHBoxLayout(detailBox);
    m_detailGroup = new QButtonGroup(this);
    buttonVerboseLogging = radio("Verbose", m_detailGroup, 0, detail);
    buttonMinimalLogging = radio("Minimal", m_detailGroup, 1, detail);
    detail->addStretch(1);

    auto *logs = new QVBoxLayout(logBox);
    m_logGroup = new QButtonGroup(this);
    buttonLogToCommonFolder = radio("In a common folder", m_logGroup, 0, logs);
    auto *folder = new QHBoxLayout;
    textCommonLogFolder = new QLineEdit(logBox);
    buttonCommonLogBrowse = new QPushButton(QStringLiteral("Browse..."), logBox);
    folder->addWidget(textCommonLogFolder, 1);
    folder->addWidget(buttonCommonLogBrowse);
    logs->addLayout(folder);
    buttonLogToOffloadFolder = radio("In the offload folder", m_logGroup, 1, logs);
    checkAutoSaveLogs = check("Save logs automatically", logs);
}

void SettingsDrawer::buildCardActions(QWidget *cardBox, QWidget *warnBox)
{
    auto *card = new QVBoxLayout(cardBox);
    checkFormatCard = check("Reformat the card", card);
    checkRenameCard = check("Rename the card to:", card);
    textRenameCard = new QLineEdit(cardBox);
    card->addWidget(textRenameCard);
    checkIncrementRenameTitle = check("Add a running number to the name", card);
    checkEjectCard = check("Eject the card", card);
    checkPlaySound = check("Play a sound", card);

    auto *warn = new QVBoxLayout(warnBox);
    checkWarnBeforeFormatting = check("Ask before reformatting", warn);
    checkAlertOnFailedFormat = check("Tell when a reformat fails", warn);
    checkAlertWhenLogsNotSaved = check("Tell when logs are not saved", warn);
}

DefaultsPersistence::WindowTexts SettingsDrawer::windowTexts() const
{
    DefaultsPersistence::WindowTexts texts;
    texts.renameCard = textRenameCard->text().toStdString();
    texts.customName = textCustomNameScheme->text().toStdString();
    texts.prefix = textPrefix->text().toStdString();
    texts.suffix = textSuffix->text().toStdString();
    texts.logDirectory = textCommonLogFolder->text().toStdString();
    return texts;
}

} // namespace ferrydeck
