// Renders the main window's views with sample data into PNG files, for a person to look at:
//   xvfb-run -a ui_screenshots OUTPUT_FOLDER [WIDTHxHEIGHT | min]
// at the main window's default size (900x600), another size, or the narrowest the views allow.
// Not a test: it checks nothing by itself.
#include "ScreenshotRun.h"
#include "UiWorld.h"

#include "ui/ContentView.h"
#include "ui/DayTimelineView.h"
#include "ui/SidebarView.h"

#include <QApplication>
#include <QFile>
#include <QListWidget>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QString runLine(const QDateTime &start, int seconds, int exitCode)
{
    const QString format = u"yyyy-MM-ddTHH:mm:ssZ"_s;
    return start.toUTC().toString(format) % u'\t' % start.addSecs(seconds).toUTC().toString(format) % u'\t' %
           QString::number(exitCode) % u'\n';
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QString out = ScreenshotRun::start(argc, argv);

    UiWorld world;
    const QDateTime now = QDateTime::currentDateTime();
    world.pmset.setOutput("Repeating power events:\n  wakepoweron at 2:25AM every day\n", u"-g"_s);

    ScheduledTask build =
        UiWorld::task(u"Nightly build"_s, u"cd ~/src/app && npm run build"_s, TaskSchedule::daily({{2, 30}}), true);
    build.workingDirectory = u"/Users/sam/src/app"_s;
    build.envFilePath = u"/Users/sam/src/app/.env"_s;
    build.wakeBeforeRun = true;
    ScheduledTask backup = UiWorld::task(u"Backup photos"_s, u"rsync -a ~/Pictures /Volumes/Backup/"_s,
                                         TaskSchedule::weekly({2, 4, 6}, {{7, 0}}), true);
    ScheduledTask report = UiWorld::task(u"Monthly report"_s, u"python3 report.py --month last"_s,
                                         TaskSchedule::monthlyLastDay({{18, 0}}), true);
    ScheduledTask poll = UiWorld::task(u"Poll status page"_s, u"curl -fsS https://status.example.org/ping"_s,
                                       TaskSchedule::interval(90), true);
    ScheduledTask old = UiWorld::task(u"Clean downloads"_s, u"find ~/Downloads -mtime +30 -delete"_s,
                                      TaskSchedule::monthlyNthWeekday(1, 2, {{9, 0}}), false);
    world.writeJob(world.sandbox.launchAgentsDir(), u"com.example.sync-agent"_s,
                   "<key>ProgramArguments</key><array><string>/usr/local/bin/sync-agent</string>"
                   "<string>--daemon</string></array><key>RunAtLoad</key><true/><key>KeepAlive</key><true/>"
                   "<key>StandardOutPath</key><string>/tmp/sync-agent.out</string>"
                   "<key>StandardErrorPath</key><string>/tmp/sync-agent.err</string>");
    world.writeJob(world.globalAgentsDir(), u"com.vendor.updater.check"_s,
                   "<key>Program</key><string>/Library/Vendor/updater</string>"
                   "<key>StartInterval</key><integer>14400</integer>");
    world.writeJob(world.globalDaemonsDir(), u"org.example.backupd"_s,
                   "<key>ProgramArguments</key><array><string>/usr/libexec/backupd</string></array>"
                   "<key>StartCalendarInterval</key><dict><key>Hour</key><integer>3</integer>"
                   "<key>Minute</key><integer>15</integer></dict>");
    world.writeJob(world.globalDaemonsDir(), u"org.example.disabled"_s, "<key>Disabled</key><true/>");

    world.writeTasks({build, backup, report, poll, old});
    auto store = world.openStore();
    const LaunchdService &files = store->launchdServiceForViews();
    QString runs;
    for (int day = 13; day >= 0; --day) {
        const QDateTime start(now.date().addDays(-day), QTime(2, 30));
        runs += runLine(start, 95 + day * 7, day == 4 ? 1 : 0);
    }
    Sandbox::writeFile(files.runsPath(build), runs.toUtf8());
    QByteArray log;
    for (int i = 1; i <= 64; ++i) {
        log += "[build] step " + QByteArray::number(i) + ": compiled module " + QByteArray::number(i * 7) + " ok\n";
    }
    Sandbox::writeFile(files.stdoutLogPath(build), log);
    QString backupRuns;
    if (now.time() > QTime(7, 10)) {
        backupRuns += runLine(QDateTime(now.date(), QTime(7, 1)), 600, 0);
    }
    Sandbox::writeFile(files.runsPath(backup), backupRuns.toUtf8());
    // Installed ten days ago, so its due times of the past week without a run show as missed.
    QFile backupJob(store->launchdService().plistPath(backup));
    if (backupJob.open(QIODevice::ReadWrite)) {
        backupJob.setFileTime(now.addDays(-10), QFileDevice::FileModificationTime);
    }
    QString pollRuns;
    for (int minute = 0; minute < now.time().hour() * 60 + now.time().minute() - 90; minute += 90) {
        pollRuns += runLine(QDateTime(now.date(), QTime(minute / 60, minute % 60, 5)), 2, minute == 540 ? 7 : 0);
    }
    Sandbox::writeFile(files.runsPath(poll), pollRuns.toUtf8());

    ContentView view(*store);
    view.setWindowTitle(u"Moxley"_s);
    const QString size = argc > 2 ? QString::fromLocal8Bit(argv[2]) : u"900x600"_s;
    if (size == u"min") {
        view.resize(1, 600);
    } else {
        view.resize(size.section(u'x', 0, 0).toInt(), size.section(u'x', 1, 1).toInt());
    }
    view.show();
    ScreenshotRun::settle();

    auto shoot = [&](const QString &name) {
        ScreenshotRun::settle();
        view.grab().save(out % u'/' % name);
    };
    view.setSelection(std::nullopt);
    shoot(u"main-window.png"_s);
    view.setSelection(SidebarSection::task(build.id));
    shoot(u"task-detail.png"_s);
    if (auto *detail = qobject_cast<QScrollArea *>(view.detailWidget())) {
        detail->verticalScrollBar()->setValue(620);
    }
    shoot(u"task-detail-output.png"_s);
    view.setSelection(SidebarSection::task(backup.id));
    shoot(u"task-glance.png"_s);
    view.setShowSystemJobs(true);
    view.setSelection(SidebarSection::systemJob(world.sandbox.launchAgentsDir() % u"/com.example.sync-agent.plist"));
    shoot(u"system-job.png"_s);
    view.setSelection(SidebarSection::timeline());
    if (auto *timeline = qobject_cast<DayTimelineView *>(view.detailWidget())) {
        timeline->setShowSystemJobs(true);
    }
    shoot(u"timeline.png"_s);
    view.setShowSystemJobs(false);
    view.enterSelectMode();
    view.toggleTick(build.id);
    view.toggleTick(report.id);
    shoot(u"select-mode.png"_s);
    return 0;
}
