// Renders the System Jobs browser over this Linux machine's real timers and cron lines, a timer's
// detail and the timeline's system lane into PNG files, for a person to look at:
//   xvfb-run -a systemd_screenshots OUTPUT_FOLDER
// A user timer of its own is started in a private `systemd --user`, so that its next run shows.
// Not a test: it checks nothing by itself.
#include "PrivateSystemdManager.h"
#include "ScreenshotRun.h"
#include "UiWorld.h"

#include "ui/ContentView.h"
#include "ui/DayTimelineView.h"
#include "ui/SidebarView.h"

#include <QApplication>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QString out = ScreenshotRun::start(argc, argv);

    UiWorld world;
    world.writeTasks(
        {UiWorld::task(u"Nightly build"_s, u"cd ~/src/app && make"_s, TaskSchedule::daily({{2, 30}}), true)});
    auto store = world.openStore();

    const QString units = world.sandbox.home() + u"/.config/systemd/user"_s;
    Sandbox::writeFile(units + u"/photo-backup.timer"_s,
                       "[Unit]\nDescription=Back up the photo library\n\n[Timer]\nOnCalendar=*-*-* 07,19:15\n"
                       "Persistent=true\n\n[Install]\nWantedBy=timers.target\n");
    Sandbox::writeFile(units + u"/photo-backup.service"_s,
                       "[Unit]\nDescription=Photo backup\n\n[Service]\nType=oneshot\n"
                       "ExecStart=/usr/bin/rsync -a %h/Pictures /srv/backup/pictures\n");
    QDir().mkpath(units + u"/timers.target.wants"_s);
    QFile::link(units + u"/photo-backup.timer"_s, units + u"/timers.target.wants/photo-backup.timer"_s);
    // While it lives, this process's XDG_RUNTIME_DIR and XDG_CONFIG_HOME point to it.
    const PrivateSystemdManager manager(world.sandbox.home());
    manager.systemctl({u"start"_s, u"photo-backup.timer"_s});

    // The machine itself, not the sandbox's stand-ins.
    qunsetenv("MOXLEY_SYSROOT");
    qputenv("MOXLEY_SCHEDULER", "systemd");
    ContentView view(*store);
    view.setWindowTitle(u"Moxley"_s);
    view.resize(1100, 760);
    view.show();
    QSignalSpy scanned(&view, &ContentView::systemJobsScanned);
    scanned.wait(10000);
    ScreenshotRun::settle();

    auto shoot = [&](const QString &name) {
        ScreenshotRun::settle();
        view.grab().save(out % u'/' % name);
    };
    view.setShowSystemJobs(true);
    for (const TimerUnit &timer : view.systemdJobs().timers) {
        if (timer.name == u"apt-daily.timer") {
            view.setSelection(SidebarSection::systemJob(timer.id));
        }
    }
    shoot(u"linux-system-jobs.png"_s);
    for (const TimerUnit &timer : view.systemdJobs().timers) {
        if (timer.name == u"photo-backup.timer") {
            view.setSelection(SidebarSection::systemJob(timer.id));
        }
    }
    shoot(u"linux-user-timer.png"_s);
    view.setSelection(SidebarSection::timeline());
    if (auto *timeline = qobject_cast<DayTimelineView *>(view.detailWidget())) {
        timeline->setShowSystemJobs(true);
    }
    shoot(u"linux-timeline.png"_s);
    return 0;
}
