// moxley-bench-view: the timeline view over the store, computed and painted offscreen.
// timeline ROOT NOW ZONE REPS: ROOT holds tasks.json, LaunchAgents, Scripts and Logs.
#include "store/TaskStore.h"
#include "ui/DayTimelineView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
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

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    if (args.size() != 6 || args[1] != u"timeline") {
        std::fprintf(stderr, "usage: moxley-bench-view timeline ROOT NOW ZONE REPS\n");
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
