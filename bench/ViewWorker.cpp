// moxley-bench-view: views offscreen.
// timeline ROOT NOW ZONE REPS: the timeline view over the store (ROOT holds tasks.json,
// LaunchAgents, Scripts and Logs), computed and painted.
// testrun COMMAND LINES: the test-run sheet running COMMAND, which prints LINES lines, until all
// of its output is shown.
#include "runner/TaskRunner.h"
#include "store/TaskStore.h"
#include "ui/DayTimelineView.h"
#include "ui/TestRunView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPlainTextEdit>
#include <QTimeZone>

#include <algorithm>
#include <cstdio>

namespace {

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0.0 : values[values.size() / 2];
}

double processCpuMs()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

int testRun(const QString &command, qint64 lines)
{
    TestRunView sheet(command, std::nullopt, std::nullopt, false);
    auto *output = sheet.findChild<QPlainTextEdit *>(QStringLiteral("test-run-output"));
    if (!output) {
        return 1;
    }
    QElapsedTimer timer;
    timer.start();
    sheet.show(); // the run starts as the sheet first appears
    // Done when the run has ended and every line it printed is either shown or counted as left out.
    const auto accounted = [&] { return output->document()->blockCount() - 1 + sheet.omittedLines(); };
    while (sheet.runner().isRunning() || !sheet.runner().exitCode() || accounted() < lines) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (timer.elapsed() > 600000) {
            return 1;
        }
    }
    std::printf("shown_ms=%.3f limit=%d kept=%lld omitted=%lld exit=%d\n", double(timer.nsecsElapsed()) / 1e6,
                TestRunView::kKeptLines, static_cast<long long>(output->document()->blockCount() - 1),
                static_cast<long long>(sheet.omittedLines()), *sheet.runner().exitCode());
    return *sheet.runner().exitCode() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    if (args.size() == 4 && args[1] == u"testrun") {
        return testRun(args[2], args[3].toLongLong());
    }
    if (args.size() != 6 || args[1] != u"timeline") {
        std::fprintf(stderr, "usage: moxley-bench-view timeline ROOT NOW ZONE REPS | testrun COMMAND LINES\n");
        return 2;
    }
    const QString root = args[2];
    const QTimeZone zone(args[4].toUtf8());
    const QDateTime wall = QDateTime::fromString(args[3], Qt::ISODate);
    const QDateTime now(wall.date(), wall.time(), zone);
    const int reps = std::max(1, args[5].toInt());

    TaskStore::Options options;
    options.tasksFile = root + u"/tasks.json";
    options.launchdService = LaunchdService(root + u"/LaunchAgents", root + u"/Scripts", root + u"/Logs");
    options.launchdServiceForViews = options.launchdService;
    TaskStore store(options);
    if (store.lastError()) {
        std::fprintf(stderr, "%s\n", qPrintable(*store.lastError()));
        return 1;
    }
    DayTimelineView view(store, {});
    view.setTimeZone(zone);
    view.setClock([now] { return now; });
    view.resize(1200, 800);
    view.show();
    QApplication::processEvents();

    QImage image(view.size() * view.devicePixelRatio(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(view.devicePixelRatio());
    QList<double> reload;
    QList<double> reloadCpu;
    QList<double> paint;
    QList<double> paintCpu;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        double cpu = processCpuMs();
        view.reload();
        // New lanes are shown and laid out through posted events: all of them before drawing.
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        reload.append(double(timer.nsecsElapsed()) / 1e6);
        reloadCpu.append(processCpuMs() - cpu);

        timer.restart();
        cpu = processCpuMs();
        view.render(&image);
        paint.append(double(timer.nsecsElapsed()) / 1e6);
        paintCpu.append(processCpuMs() - cpu);
    }
    // To look at what was measured: MOXLEY_BENCH_SAVE=file.png.
    if (qEnvironmentVariableIsSet("MOXLEY_BENCH_SAVE")) {
        image.save(qEnvironmentVariable("MOXLEY_BENCH_SAVE"));
    }
    std::printf("reload_ms=%.3f reload_cpu_ms=%.3f paint_ms=%.3f paint_cpu_ms=%.3f lanes=%lld\n", median(reload),
                median(reloadCpu), median(paint), median(paintCpu), static_cast<long long>(view.day().tasks.size()));
    return 0;
}
