#include "controller/QueueStore.h"
#include "engine/FileCopyDetails.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/FileDetailsModel.h"
#include "gui/GuiText.h"
#include "gui/QueueTableModel.h"

#include <QTemporaryDir>
#include <QTest>

using namespace ferrydeck;

class QueueReadabilityTest : public QObject {
    Q_OBJECT

private slots:
    void destinationsAreToldApartByTheirDistinguishingEnd()
    {
        struct Case {
            std::vector<std::string> paths;
            std::map<std::string, QString> volumes;
            std::vector<QString> labels;
        };
        const QString e = QStringLiteral("\u2026");
        const Case cases[] = {
            {{"/srv/RAID/Backup/A001", "/srv/SSD/Backup/A001"}, {}, {e + "/RAID/Backup/A001", e + "/SSD/Backup/A001"}},
            {{"/srv/RAID/Backup/A001", "/srv/RAID/Backup/A002"}, {}, {e + "/Backup/A001", e + "/Backup/A002"}},
            // Two volumes with the same folders are told apart by their labels alone.
            {{"/media/T7/Day1/A001", "/media/SHUTTLE/Day1/A001"},
             {{"/media/T7/Day1/A001", "T7"}, {"/media/SHUTTLE/Day1/A001", "SHUTTLE"}},
             {"T7: " + e + "/Day1/A001", "SHUTTLE: " + e + "/Day1/A001"}},
            {{"/A001", "/x/A001"}, {}, {"/A001", "/x/A001"}},
        };
        for (const Case &c : cases) {
            const auto labels = QueueTableModel::destinationLabels(c.paths, [&](const std::string &path) {
                const auto found = c.volumes.find(path);
                return found == c.volumes.end() ? QString() : found->second;
            });
            QCOMPARE(labels, c.labels);
        }
    }

    void queueRowShowsTheLabelAndTheWholePathInItsTooltip()
    {
        QueueTableModel model;
        model.setJobs({OffloadInstance::create("/media/CARD", "/srv/a/Backup"),
                       OffloadInstance::create("/media/CARD", "/srv/b/Backup")});
        const QModelIndex first = model.index(0, QueueTableModel::Destination);
        const QModelIndex second = model.index(1, QueueTableModel::Destination);
        QVERIFY(model.data(first, Qt::DisplayRole) != model.data(second, Qt::DisplayRole));
        QCOMPARE(model.data(second, Qt::ToolTipRole).toString(), QStringLiteral("/srv/b/Backup"));
    }

    void detailsAreSortedByPathWithHumanSizes()
    {
        std::vector<std::shared_ptr<FileCopyDetails>> details;
        for (const auto &[path, size] : std::vector<std::pair<std::string, uint64_t>>{
                 {"/card/CLIP/B.MOV", 2'500'000}, {"/card/A.XML", 950}, {"/card/CLIP/A.MOV", 1'000'000'000}}) {
            auto record = std::make_shared<FileCopyDetails>();
            record->setFilePath(path);
            record->setRawFileSize(size);
            record->setHashValue("xxh64 of " + path);
            details.push_back(record);
        }
        FileDetailsModel model;
        model.setDetails(details);
        QStringList shown, sizes;
        for (int row = 0; row < model.rowCount(); ++row) {
            shown << model.data(model.index(row, FileDetailsModel::File), Qt::ToolTipRole).toString();
            // Each checksum stays on its own file's row once sorted.
            QCOMPARE(model.data(model.index(row, FileDetailsModel::Checksum), Qt::DisplayRole).toString(),
                     "xxh64 of " + shown.back());
            sizes << model.data(model.index(row, FileDetailsModel::Size), Qt::DisplayRole).toString();
        }
        QCOMPARE(shown, QStringList({"/card/A.XML", "/card/CLIP/A.MOV", "/card/CLIP/B.MOV"}));
        QCOMPARE(sizes, QStringList({"950 B", "1.00 GB", "2.50 MB"}));
        QCOMPARE(model.data(model.index(2, FileDetailsModel::Size), Qt::ToolTipRole).toString(),
                 QStringLiteral("2500000 bytes"));
    }

    void humanSizesRoundIntoTheNextUnit()
    {
        const std::pair<uint64_t, const char *> cases[] = {
            {0, "0 B"},          {999, "999 B"},       {1000, "1.00 kB"},       {99'949, "99.9 kB"},
            {999'499, "999 kB"}, {999'999, "1.00 MB"}, {23'456'789, "23.5 MB"}, {512'000'000'000, "512 GB"},
        };
        for (const auto &[bytes, text] : cases)
            QCOMPARE(humanSize(bytes), QString::fromLatin1(text));
    }

    void windowRestoresTheSavedQueue()
    {
        QTemporaryDir root;
        const std::string preferences = (root.path() + "/preferences.json").toStdString();
        SavedJob done, running;
        for (SavedJob *job : {&done, &running}) {
            job->source = "/media/" + std::string(job == &done ? "A001" : "A002");
            job->destination = "/srv/Backup";
        }
        done.status = OffloadInstance::kCompleted;
        running.status = OffloadInstance::kProcessing;
        QVERIFY(QueueStore(QueueStore::besidePreferences(preferences)).save({done, running}));
        FerrydeckMainWindow::Options options;
        options.preferencesPath = preferences;
        FerrydeckMainWindow window(options);
        QCOMPARE(window.queueModel->rowCount(), 2);
        const auto status = [&](int row) {
            return window.queueModel->data(window.queueModel->index(row, QueueTableModel::Status), Qt::DisplayRole);
        };
        QCOMPARE(status(0).toString(), QStringLiteral("Completed"));
        QCOMPARE(status(1).toString(), QStringLiteral("In Queue"));
    }
};

int runQueueReadabilityTest(int argc, char **argv)
{
    QueueReadabilityTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "QueueReadabilityTest.moc"
