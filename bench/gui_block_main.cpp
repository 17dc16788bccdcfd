// Runs an offload of many small files through the real window (offscreen)
// while a 10 ms timer on the GUI thread records how late it fires: the
// largest gap is the longest time the window could not react.
// Each gap is split with the thread's scheduler figures into time spent
// running, time spent waiting for a processor (the machine was busy) and the
// rest, time the thread slept or was blocked: a long gap that is mostly
// waiting for a processor is the machine's load, not the window's work.
// Usage: bench-gui-block [FILES] [JOBS] [COPY_THREADS]
#include "engine/FileCopyDetails.h"
#include "engine/OffloadInstance.h"
#include "gui/FerrydeckMainWindow.h"
#include "gui/FileDetailsModel.h"
#include "gui/QtControllerView.h"
#include "gui/SettingsDrawer.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHeaderView>
#include <QSlider>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace ferrydeck;

namespace {

struct SchedStat {
    long long runNs = 0;
    long long waitNs = 0;
};

// The calling thread's time on a processor and waiting in the run queue.
SchedStat readSchedStat()
{
    SchedStat stat;
    if (FILE *file = std::fopen("/proc/thread-self/schedstat", "r")) {
        if (std::fscanf(file, "%lld %lld", &stat.runNs, &stat.waitNs) != 2) stat = {};
        std::fclose(file);
    }
    return stat;
}

struct Gap {
    qint64 ms = 0;
    double runningMs = 0;
    double waitingMs = 0;
    double idleMs() const { return std::max(0.0, static_cast<double>(ms) - runningMs - waitingMs); }
};

void makeSource(const QString &root, int files)
{
    const QByteArray bytes(700, 'x');
    for (int i = 0; i < files; ++i) {
        const QString folder = root + QStringLiteral("/DCIM/%1").arg(i / 500, 3, 10, QLatin1Char('0'));
        if (i % 500 == 0) QDir().mkpath(folder);
        QFile file(folder + QStringLiteral("/IMG_%1.JPG").arg(i, 5, 10, QLatin1Char('0')));
        if (file.open(QIODevice::WriteOnly)) file.write(bytes.left(100 + i % 600));
    }
}

// How long the GUI thread takes to take and show 100,000 file records.
void measureLargeTable()
{
    std::vector<std::shared_ptr<FileCopyDetails>> records;
    records.reserve(100000);
    for (int i = 0; i < 100000; ++i) {
        auto record = std::make_shared<FileCopyDetails>();
        record->setFilePath("/card/DCIM/IMG_" + std::to_string(i) + ".JPG");
        records.push_back(record);
    }
    FileDetailsModel model;
    QTableView view;
    view.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view.setModel(&model);
    view.resize(800, 500);
    view.show();
    QElapsedTimer clock;
    clock.start();
    model.setDetails(records);
    view.scrollToBottom();
    QApplication::processEvents();
    const qint64 shown = clock.restart();
    for (int i = 0; i < 10; ++i) {
        model.refresh();
        QApplication::processEvents();
    }
    std::printf("100,000-row file table: shown in %lld ms, one refresh %.1f ms\n", static_cast<long long>(shown),
                static_cast<double>(clock.elapsed()) / 10.0);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const int files = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20000;
    const int jobs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 4;
    const int threads = argc > 3 ? std::max(1, std::atoi(argv[3])) : 10;
    QTemporaryDir scratch;
    if (!scratch.isValid()) return 1;
    const QString root = scratch.path();
    QDir().mkpath(root + "/media");
    QDir().mkpath(root + "/backup");
    qputenv("FERRYDECK_MEDIA_ROOT", QFile::encodeName(root + "/media"));
    qputenv("FERRYDECK_CONFIG_DIR", QFile::encodeName(root));
    std::vector<std::string> sources;
    for (int j = 0; j < jobs; ++j) {
        const QString source = root + QStringLiteral("/card%1").arg(j);
        makeSource(source, files / jobs);
        sources.push_back(QFile::encodeName(source).toStdString());
    }
    measureLargeTable();

    FerrydeckMainWindow::Options options;
    options.preferencesPath = QFile::encodeName(root + "/preferences.json").toStdString();
    options.controller.playSound = [](const std::string &) {};
    FerrydeckMainWindow window(options);
    window.view().setAlertFunction([](const std::string &title, const std::string &, const std::vector<std::string> &) {
        std::fprintf(stderr, "alert: %s\n", title.c_str());
        return 0;
    });
    window.drawer->sliderThreadCount->setValue(threads);
    window.show();
    AppController &controller = window.controller();
    controller.addDirectoriesToDestinationList({QFile::encodeName(root + "/backup").toStdString()});

    QElapsedTimer sinceTick, total;
    std::vector<qint64> gaps;
    // Worst gap while the sources are listed, while copying, and at the jobs' ends.
    qint64 worstByPhase[3] = {0, 0, 0};
    int phase = 0;
    Gap worst, mostIdle;
    SchedStat last = readSchedStat();
    QTimer probe;
    probe.setInterval(10);
    probe.setTimerType(Qt::PreciseTimer);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const SchedStat now = readSchedStat();
        Gap gap{sinceTick.restart(), static_cast<double>(now.runNs - last.runNs) / 1e6,
                static_cast<double>(now.waitNs - last.waitNs) / 1e6};
        last = now;
        gaps.push_back(gap.ms);
        worstByPhase[phase] = std::max(worstByPhase[phase], gap.ms);
        if (gap.ms > worst.ms) worst = gap;
        if (gap.idleMs() > mostIdle.idleMs()) mostIdle = gap;
    });
    bool started = false;
    QTimer watch;
    watch.setInterval(50);
    QObject::connect(&watch, &QTimer::timeout, [&] {
        const auto queue = controller.listOffloadInstances();
        const bool listed = static_cast<int>(queue.size()) == jobs &&
                            std::all_of(queue.begin(), queue.end(), [](const std::shared_ptr<OffloadInstance> &job) {
                                return job->offloadStatus() == OffloadInstance::kInQueue;
                            });
        const bool anyOver =
            std::any_of(queue.begin(), queue.end(), [](const auto &job) { return job->processingTaskIsOver(); });
        if (started && anyOver) phase = 2;
        if (!started && listed) {
            started = true;
            phase = 1;
            controller.processAllItemsInTheQueue();
        }
        const bool over = started && std::all_of(queue.begin(), queue.end(),
                                                 [](const auto &job) { return job->processingTaskIsOver(); });
        if (over || total.elapsed() > 600000) app.quit();
    });
    total.start();
    sinceTick.start();
    probe.start();
    watch.start();
    controller.addDirectoriesToOffloadList(sources);
    QApplication::exec();

    std::sort(gaps.begin(), gaps.end());

    const qint64 p99 = gaps.empty() ? 0 : gaps[gaps.size() * 99 / 100];
    const auto over100 = std::count_if(gaps.begin(), gaps.end(), [](qint64 gap) { return gap > 100; });
    std::printf("worst gap %lld ms: running %.1f ms, waiting for a processor %.1f ms, asleep or blocked %.1f ms\n",
                static_cast<long long>(worst.ms), worst.runningMs, worst.waitingMs, worst.idleMs());
    std::printf("longest asleep or blocked: %.1f ms (in a gap of %lld ms)\n", mostIdle.idleMs(),
                static_cast<long long>(mostIdle.ms));
    std::printf("worst gap while listing %lld ms, while copying %lld ms, once jobs end %lld ms\n",
                static_cast<long long>(worstByPhase[0]), static_cast<long long>(worstByPhase[1]),
                static_cast<long long>(worstByPhase[2]));
    int completed = 0;
    for (const auto &job : controller.listOffloadInstances())
        completed += job->offloadStatus() == OffloadInstance::kCompleted ? 1 : 0;
    std::printf("%d files in %d jobs with %d copy threads: %d completed in %.1f s\n", files, jobs, threads, completed,
                static_cast<double>(total.elapsed()) / 1000.0);
    std::printf("GUI thread: %zu probes of 10 ms, worst gap %lld ms, 99th percentile %lld ms, %ld gaps over 100 ms\n",
                gaps.size(), static_cast<long long>(worst.ms), static_cast<long long>(p99), static_cast<long>(over100));
    return completed == jobs ? 0 : 1;
}
