#pragma once

#include <QWidget>

#include <memory>

class QLabel;
class QProgressBar;
class QPushButton;
class QTableView;

namespace ferrydeck {

class FileDetailsModel;
class OffloadInstance;

// The details panel of one job: its figures, the file being copied in the
// status colour, and the per-file table.
class OffloadProgressPanel : public QWidget {
    Q_OBJECT
public:
    explicit OffloadProgressPanel(QWidget *parent = nullptr);

    void configureDetailsWindowToInstance(const std::shared_ptr<OffloadInstance> &job);
    // False when the job's display lock was busy and nothing was shown: the
    // caller tries again at its next refresh.
    bool updateDetailsWindow(const std::shared_ptr<OffloadInstance> &job);
    void clear();
    const std::shared_ptr<OffloadInstance> &shownInstance() const { return m_job; }

    QLabel *labelFileCount = nullptr;
    QLabel *labelByteCount = nullptr;
    QLabel *labelSourceDirectory = nullptr;
    QLabel *labelDestinationDirectory = nullptr;
    QLabel *labelFilesCopied = nullptr;
    QLabel *labelBytesCopied = nullptr;
    QLabel *labelFileBeingOffloaded = nullptr;
    QLabel *labelEstTimeRemaining = nullptr;
    QLabel *labelEstCompletionTime = nullptr;
    QLabel *labelTimeCompleted = nullptr;
    QLabel *labelTotalDuration = nullptr;
    QProgressBar *indicatorProgress = nullptr;
    QPushButton *buttonSaveLog = nullptr;
    QPushButton *buttonViewLog = nullptr;
    QPushButton *buttonCancelOffload = nullptr;
    QPushButton *buttonResumeOffload = nullptr;
    QPushButton *buttonCloseWindow = nullptr;
    QTableView *tableFileDetails = nullptr;

signals:
    void saveLogRequested();
    void viewLogRequested();
    void cancelRequested();
    void resumeRequested();

private:
    void loadFileDetails();

    std::shared_ptr<OffloadInstance> m_job;
    FileDetailsModel *m_details = nullptr;
};

} // namespace ferrydeck
