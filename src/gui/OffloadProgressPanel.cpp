#include "gui/OffloadProgressPanel.h"

#include "engine/OffloadInstance.h"
#include "gui/FileDetailsModel.h"
#include "gui/GuiText.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>
#include <mutex>

namespace ferrydeck {

namespace {
QLabel *valueLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Long paths must not widen the panel: they are cut, and whole in the tool tip.
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    label->setMinimumWidth(80);
    return label;
}

int progressValue(uint64_t value)
{
    return value > static_cast<uint64_t>(std::numeric_limits<int>::max()) ? std::numeric_limits<int>::max()
                                                                          : static_cast<int>(value);
}

// By bytes: one large clip is most of a card's time, a sidecar file none of
// it. A job whose size is not known yet counts files.
void showProgress(QProgressBar *bar, const OffloadInstance &job)
{
    constexpr int kSteps = 1000;
    const uint64_t bytes = job.bytesAtSource();
    bar->setMinimum(0);
    if (bytes == 0) {
        bar->setMaximum(progressValue(job.totalFilesAtSource()));
        bar->setValue(std::max(0, job.itemsProcessed()));
        return;
    }
    const uint64_t copied = std::min(job.bytesCopied(), bytes);
    bar->setMaximum(kSteps);
    bar->setValue(static_cast<int>(static_cast<double>(copied) / static_cast<double>(bytes) * kSteps));
}

void setPathText(QLabel *label, const std::string &path)
{
    label->setText(pathToQString(path));
    label->setToolTip(label->text());
}
} // namespace

OffloadProgressPanel::OffloadProgressPanel(QWidget *parent)
    : QWidget(parent, Qt::Window)
{
    setWindowTitle(QStringLiteral("Offload Details"));
    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    auto add = [&](int row, int column, const char *title, QLabel *&field, int span = 1) {
        auto *caption = new QLabel(QString::fromLatin1(title), this);
        caption->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(caption, row, column * 2);
        field = valueLabel(this);
        grid->addWidget(field, row, column * 2 + 1, 1, span);
    };
    add(0, 0, "Source:", labelSourceDirectory, 3);
    add(1, 0, "Destination:", labelDestinationDirectory, 3);
    add(2, 0, "Files:", labelFileCount);
    add(2, 1, "Bytes:", labelByteCount);
    add(3, 0, "Files copied:", labelFilesCopied);
    add(3, 1, "Bytes copied:", labelBytesCopied);
    add(4, 0, "Time remaining:", labelEstTimeRemaining);
    add(4, 1, "Completion time:", labelEstCompletionTime);
    add(5, 0, "Time completed:", labelTimeCompleted);
    add(5, 1, "Duration:", labelTotalDuration);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(3, 1);

    labelFileBeingOffloaded = valueLabel(this);
    labelFileBeingOffloaded->setAutoFillBackground(true);
    labelFileBeingOffloaded->setMargin(4);
    indicatorProgress = new QProgressBar(this);
    indicatorProgress->setTextVisible(true);

    m_details = new FileDetailsModel(this);
    tableFileDetails = new QTableView(this);
    tableFileDetails->setModel(m_details);
    tableFileDetails->setSelectionBehavior(QAbstractItemView::SelectRows);
    tableFileDetails->setAlternatingRowColors(true);
    tableFileDetails->setShowGrid(false);
    tableFileDetails->setWordWrap(false);
    tableFileDetails->setTextElideMode(Qt::ElideMiddle);
    tableFileDetails->verticalHeader()->hide();
    // Fixed row heights: the view never measures 100,000 rows.
    tableFileDetails->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    tableFileDetails->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    tableFileDetails->horizontalHeader()->setStretchLastSection(true);
    tableFileDetails->setColumnWidth(FileDetailsModel::File, 200);
    tableFileDetails->setColumnWidth(FileDetailsModel::Status, 110);

    buttonSaveLog = new QPushButton(QStringLiteral("Save Log"), this);
    buttonViewLog = new QPushButton(QStringLiteral("View Log"), this);
    buttonCancelOffload = new QPushButton(QStringLiteral("Cancel Offload"), this);
    buttonResumeOffload = new QPushButton(QStringLiteral("Resume"), this);
    buttonResumeOffload->setToolTip(
        QStringLiteral("Continue this offload in its copy folder, keeping the files it verified"));
    buttonCloseWindow = new QPushButton(QStringLiteral("Close"), this);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(buttonSaveLog);
    buttons->addWidget(buttonViewLog);
    buttons->addStretch(1);
    buttons->addWidget(buttonResumeOffload);
    buttons->addWidget(buttonCancelOffload);
    buttons->addWidget(buttonCloseWindow);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(labelFileBeingOffloaded);
    layout->addWidget(indicatorProgress);
    layout->addWidget(tableFileDetails, 1);
    layout->addLayout(buttons);

    connect(buttonSaveLog, &QPushButton::clicked, this, &OffloadProgressPanel::saveLogRequested);
    connect(buttonViewLog, &QPushButton::clicked, this, &OffloadProgressPanel::viewLogRequested);
    connect(buttonCancelOffload, &QPushButton::clicked, this, &OffloadProgressPanel::cancelRequested);
    connect(buttonResumeOffload, &QPushButton::clicked, this, &OffloadProgressPanel::resumeRequested);
    connect(buttonCloseWindow, &QPushButton::clicked, this, &QWidget::close);
    resize(760, 560);
    clear();
}

void OffloadProgressPanel::clear()
{
    m_job.reset();
    m_details->setDetails({});
    for (QLabel *label : {labelFileCount, labelByteCount, labelSourceDirectory, labelDestinationDirectory,
                          labelFilesCopied, labelBytesCopied, labelFileBeingOffloaded, labelEstTimeRemaining,
                          labelEstCompletionTime, labelTimeCompleted, labelTotalDuration})
        label->clear();
    indicatorProgress->setRange(0, 1);
    indicatorProgress->setValue(0);
    buttonSaveLog->setEnabled(false);
    buttonViewLog->setEnabled(false);
    buttonCancelOffload->setEnabled(false);
    buttonResumeOffload->setEnabled(false);
}

void OffloadProgressPanel::configureDetailsWindowToInstance(const std::shared_ptr<OffloadInstance> &job)
{
    m_job = job;
    if (!job) {
        clear();
        return;
    }
    setWindowTitle(QStringLiteral("Offload Details: %1").arg(pathToQString(job->sourceDirectory())));
    labelByteCount->setText(QString::number(job->bytesAtSource()));
    labelFileCount->setText(QString::number(job->totalFilesAtSource()));
    setPathText(labelSourceDirectory, job->sourceDirectory());
    setPathText(labelDestinationDirectory, job->fullOffloadPath());
    showProgress(indicatorProgress, *job);
    loadFileDetails();
    updateDetailsWindow(job);
}

void OffloadProgressPanel::loadFileDetails()
{
    m_details->setDetails(m_job->fileDetails());
}

bool OffloadProgressPanel::updateDetailsWindow(const std::shared_ptr<OffloadInstance> &job)
{
    if (!job || job != m_job) return true;
    const auto &shown = job->interface();
    std::unique_lock lock(shown->lockInterface(), std::try_to_lock);
    if (!lock.owns_lock()) return false;

    const OffloadInstance::Status status = job->offloadStatus();
    const bool ended = job->processingTaskIsOver();
    QPalette palette = labelFileBeingOffloaded->palette();
    palette.setColor(QPalette::Window, detailsStatusColor(status));
    palette.setColor(QPalette::WindowText, Qt::white);
    labelFileBeingOffloaded->setPalette(palette);
    labelFileBeingOffloaded->setText(pathToQString(shown->currentOffloadFile()));

    // A job still being listed when the panel opened gets its rows now.
    const uint64_t total = job->totalFilesAtSource();
    if (static_cast<uint64_t>(m_details->rowCount()) != total) {
        labelFileCount->setText(QString::number(total));
        labelByteCount->setText(QString::number(job->bytesAtSource()));
        setPathText(labelDestinationDirectory, job->fullOffloadPath());
        loadFileDetails();
    } else {
        m_details->refresh();
    }
    showProgress(indicatorProgress, *job);
    labelFilesCopied->setText(QString::number(job->itemsProcessed()));
    labelEstTimeRemaining->setText(toQString(shown->estimatedTimeRemaining()));
    labelEstCompletionTime->setText(toQString(shown->estimatedCompletionTime()));
    labelTimeCompleted->setText(toQString(shown->timeCompleted()));
    labelTotalDuration->setText(toQString(shown->totalDuration()));
    labelBytesCopied->setText(QString::number(job->bytesCopied()));
    buttonSaveLog->setEnabled(ended);
    buttonViewLog->setEnabled(ended);
    buttonCancelOffload->setEnabled(!ended);
    buttonResumeOffload->setEnabled(status == OffloadInstance::kCanceled || status == OffloadInstance::kError);
    return true;
}

} // namespace ferrydeck
