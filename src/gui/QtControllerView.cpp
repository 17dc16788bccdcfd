#include "gui/QtControllerView.h"

#include "gui/FerrydeckMainWindow.h"
#include "gui/SettingsDrawer.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

namespace ferrydeck {

QtControllerView::QtControllerView(FerrydeckMainWindow *window)
    : m_window(window)
{
}

void QtControllerView::detach()
{
    m_window = nullptr;
}

std::optional<DefaultsPersistence::WindowTexts> QtControllerView::windowTexts() const
{
    if (!m_window || !m_window->drawer) return std::nullopt;
    return m_window->drawer->windowTexts();
}

int QtControllerView::messageBox(QWidget *parent, const std::string &title, const std::string &message,
                                 const std::vector<std::string> &buttons)
{
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QString::fromStdString(title));
    box.setText(QString::fromStdString(title));
    box.setInformativeText(QString::fromStdString(message));
    std::vector<QAbstractButton *> added;
    for (const std::string &label : buttons)
        added.push_back(box.addButton(QString::fromStdString(label), QMessageBox::AcceptRole));
    if (added.empty()) added.push_back(box.addButton(QMessageBox::Ok));
    box.setDefaultButton(qobject_cast<QPushButton *>(added.front()));
    box.exec();
    for (size_t i = 0; i < added.size(); ++i) {
        if (box.clickedButton() == added[i]) return static_cast<int>(i);
    }
    // Closed without a button: the default one.
    return 0;
}

int QtControllerView::showAlert(const std::string &title, const std::string &message,
                                const std::vector<std::string> &buttons)
{
    if (m_alert) return m_alert(title, message, buttons);
    return messageBox(m_window, title, message, buttons);
}

std::optional<std::string> QtControllerView::chooseFolder(const std::string &message, const std::string &title)
{
    if (m_chooseFolder) return m_chooseFolder(message, title);
    QFileDialog dialog(m_window, QString::fromStdString(title.empty() ? message : title));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Choose"));
    dialog.setToolTip(QString::fromStdString(message));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return QFile::encodeName(dialog.selectedFiles().front()).toStdString();
}

std::optional<std::string> QtControllerView::chooseSaveFile(const std::string &message, const std::string &directory,
                                                            const std::string &proposedName)
{
    if (m_chooseSave) return m_chooseSave(message, directory, proposedName);
    const QString start = QFile::decodeName(QByteArray::fromStdString(directory + "/" + proposedName));
    const QString chosen =
        QFileDialog::getSaveFileName(m_window, QString::fromStdString(message), start, QStringLiteral("Text (*.txt)"));
    if (chosen.isEmpty()) return std::nullopt;
    return QFile::encodeName(chosen).toStdString();
}

void QtControllerView::reloadQueueTable()
{
    if (m_window) m_window->reloadQueueTable();
}

void QtControllerView::reloadDestinationTable()
{
    if (m_window) m_window->reloadDestinationTable();
}

void QtControllerView::showDetails(const std::shared_ptr<OffloadInstance> &job)
{
    if (m_window) m_window->showDetails(job);
}

void QtControllerView::refreshDetails(const std::shared_ptr<OffloadInstance> &job)
{
    if (m_window) m_window->refreshDetails(job);
}

void QtControllerView::closeDetails()
{
    if (m_window) m_window->closeDetails();
}

void QtControllerView::showLog(const std::string &text)
{
    if (m_window) m_window->showLog(text);
}

void QtControllerView::showConsecutiveNumber(const std::string &text)
{
    if (m_window) m_window->showConsecutiveNumber(text);
}

void QtControllerView::showNamingPreview(const std::string &text)
{
    if (m_window) m_window->showNamingPreview(text);
}

void QtControllerView::setNamingFieldsVisible(bool customName, bool stepper)
{
    if (m_window) m_window->setNamingFieldsVisible(customName, stepper);
}

void QtControllerView::setCommonLogFolderVisible(bool visible)
{
    if (m_window) m_window->setCommonLogFolderVisible(visible);
}

void QtControllerView::reloadDriveTables()
{
    if (m_window) m_window->reloadDriveTables();
}

void QtControllerView::makeManualItemsVisible(bool visible)
{
    if (m_window) m_window->makeManualItemsVisible(visible);
}

} // namespace ferrydeck
