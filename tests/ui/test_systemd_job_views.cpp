#include "ScopedTimeZone.h"
#include "UiWorld.h"
#include "systemd/SystemdTimerScanner.h"
#include "ui/ContentView.h"
#include "ui/CronEntryDetailView.h"
#include "ui/DayTimelineView.h"
#include "ui/SidebarView.h"
#include "ui/TimerDetailView.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QStandardPaths>
#include <QToolButton>

using namespace Qt::StringLiterals;

namespace {

const QString kDebianUnits = QStringLiteral(MOXLEY_TEST_DATA_DIR "/systemd/usr/lib/systemd/system");

QString labelText(const QWidget &parent, const QString &name)
{
    const auto *label = parent.findChild<QLabel *>(name);
    return label ? label->text() : u"(no %1)"_s.arg(name);
}

void writeMachine(const Sandbox &sandbox)
{
    const QString usrLib = sandbox.sysroot() + u"/usr/lib/systemd/system"_s;
    QDir().mkpath(usrLib);
    for (const QString &file : QDir(kDebianUnits).entryList(QDir::Files)) {
        QVERIFY(QFile::copy(kDebianUnits + u'/' + file, usrLib + u'/' + file));
    }
    const QString wants = sandbox.sysroot() + u"/etc/systemd/system/timers.target.wants"_s;
    QDir().mkpath(wants);
    QVERIFY(QFile::link(u"/lib/systemd/system/apt-daily.timer"_s, wants + u"/apt-daily.timer"_s));
    const QString user = sandbox.home() + u"/.config/systemd/user"_s;
    Sandbox::writeFile(user + u"/backup.timer"_s, "[Unit]\nDescription=My backup\n[Timer]\nOnCalendar=*-*-* 12:30\n");
    Sandbox::writeFile(user + u"/backup.service"_s, "[Service]\nExecStart=/usr/bin/rsync -a /home /mnt\n");
    QDir().mkpath(user + u"/timers.target.wants"_s);
    QVERIFY(QFile::link(user + u"/backup.timer"_s, user + u"/timers.target.wants/backup.timer"_s));
    Sandbox::writeFile(sandbox.sysroot() + u"/etc/cron.d/e2scrub_all"_s,
                       "30 3 * * 0 root /usr/lib/e2scrub_all_cron\n@reboot root /sbin/e2scrub_all -A -r\n");
    QDir().mkpath(sandbox.sysroot() + u"/usr/bin"_s);
    QVERIFY(QFile::link(QStandardPaths::findExecutable(u"systemd-analyze"_s),
                        sandbox.sysroot() + u"/usr/bin/systemd-analyze"_s));
}

// An empty timer when there is none of that name, which the checks that follow then fail on.
TimerUnit timerNamed(const QList<TimerUnit> &timers, const QString &name)
{
    for (const TimerUnit &timer : timers) {
        if (timer.name == name) {
            return timer;
        }
    }
    return {};
}

QStringList sidebarRowLabels(const ContentView &view)
{
    QStringList labels;
    for (int i = 0; i < view.sidebar()->list()->count(); ++i) {
        if (const SidebarRows::JobLook *look = view.sidebar()->jobLookAt(i)) {
            labels << look->title + u" | "_s + look->source;
        }
    }
    return labels;
}

void clickRow(const ContentView &view, const QString &id)
{
    QListWidget *list = view.sidebar()->list();
    QListWidgetItem *item = view.sidebar()->item(SidebarSection::systemJob(id));
    QVERIFY2(item, qPrintable(id));
    list->scrollToItem(item);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

} // namespace

class SystemdJobViewsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<UiWorld>();
        qputenv("XDG_CONFIG_HOME", (world->sandbox.home() + u"/.config"_s).toUtf8());
        writeMachine(world->sandbox);
    }
    void cleanup()
    {
        qunsetenv("MOXLEY_SCHEDULER");
        qunsetenv("XDG_CONFIG_HOME");
        world.reset();
    }

    void timerDetail_showsCommandScheduleRunsAndUnitText()
    {
        TimerUnit apt = timerNamed(SystemdTimerScanner().scan(), u"apt-daily.timer"_s);
        apt.nextElapse = QDateTime(QDate(2026, 11, 24), QTime(18, 0), QTimeZone::utc());
        const ScopedTimeZone zone("UTC");
        TimerDetailView view(apt);
        QCOMPARE(labelText(view, u"job-detail-title"_s), u"apt-daily.timer"_s);
        QCOMPARE(labelText(view, u"timer-detail-description"_s), u"Daily apt download activities"_s);
        QCOMPARE(labelText(view, u"job-badge-source-text"_s), u"System Timers"_s);
        QCOMPARE(labelText(view, u"job-badge-state-text"_s), u"Enabled"_s);
        QCOMPARE(labelText(view, u"job-detail-command"_s), u"/usr/lib/apt/apt.systemd.daily update"_s);
        QCOMPARE(labelText(view, u"job-detail-schedule"_s), u"OnCalendar=*-*-* 6,18:00"_s);
        QCOMPARE(labelText(view, u"timer-detail-elapses"_s), u"Next: 2026-11-24 18:00:00\nLast: never"_s);
        const QString units = labelText(view, u"timer-detail-units"_s);
        QVERIFY(units.contains(u"[Timer]\nOnCalendar=*-*-* 6,18:00\nRandomizedDelaySec=12h"_s));
        QVERIFY(units.contains(u"ExecStart=/usr/lib/apt/apt.systemd.daily update"_s));
        QVERIFY(!view.findChild<QLabel *>(u"timer-detail-problems"_s));
    }

    void timerDetail_withoutManager_templateAndProblems()
    {
        Sandbox::writeFile(world->sandbox.sysroot() + u"/usr/lib/systemd/system/lonely.timer"_s,
                           "[Timer]\nOnBootSec=5min\n");
        const QList<TimerUnit> timers = SystemdTimerScanner().scan();
        TimerDetailView lonely(timerNamed(timers, u"lonely.timer"_s));
        QCOMPARE(labelText(lonely, u"job-badge-state-text"_s), u"Not Enabled"_s);
        QCOMPARE(labelText(lonely, u"job-detail-command"_s), u"(unknown)"_s);
        QCOMPARE(labelText(lonely, u"job-detail-schedule"_s), u"OnBootSec=5min"_s);
        QCOMPARE(labelText(lonely, u"timer-detail-problems"_s), u"no service lonely.service found"_s);
        QVERIFY(labelText(lonely, u"timer-detail-elapses"_s).contains(u"files alone"_s));

        TimerDetailView pattern(timerNamed(timers, u"pg_dump@.timer"_s));
        QCOMPARE(labelText(pattern, u"job-badge-template-text"_s), u"Template"_s);
    }

    void cronDetail_showsCommandScheduleUserAndLine()
    {
        const QList<CronEntry> entries = CronTable::scan();
        QCOMPARE(entries.size(), 2);
        CronEntryDetailView weekly(entries.at(0));
        QCOMPARE(labelText(weekly, u"job-detail-title"_s), u"e2scrub_all:1"_s);
        QCOMPARE(labelText(weekly, u"job-badge-source-text"_s), u"Cron"_s);
        QCOMPARE(labelText(weekly, u"job-detail-command"_s), u"/usr/lib/e2scrub_all_cron"_s);
        QCOMPARE(labelText(weekly, u"job-detail-schedule"_s), u"30 3 * * 0, as root"_s);
        QCOMPARE(labelText(weekly, u"cron-detail-line"_s), u"30 3 * * 0 root /usr/lib/e2scrub_all_cron"_s);
        QVERIFY(!weekly.findChild<QWidget *>(u"job-badge-run-at-load"_s));
        CronEntryDetailView atBoot(entries.at(1));
        QCOMPARE(labelText(atBoot, u"job-badge-run-at-load-text"_s), u"Run at Load"_s);
    }

    void contentView_withSystemd_listsTimersAndCron_andOpensTheirDetail()
    {
        qputenv("MOXLEY_SCHEDULER", "systemd");
        auto store = world->openStore();
        ContentView view(*store);
        QSignalSpy scanned(&view, &ContentView::systemJobsScanned);
        view.resize(900, 700);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QTRY_COMPARE(scanned.size(), 1);
        QVERIFY(view.systemJobs().isEmpty());
        QCOMPARE(view.sidebar()->systemJobsCount()->text(), u"9"_s); // 7 timers, 2 cron lines
        QTest::mouseClick(view.sidebar()->systemJobsDisclosure(), Qt::LeftButton);
        QTRY_COMPARE(sidebarRowLabels(view).size(), 9);
        QCOMPARE(sidebarRowLabels(view).first(), u"apt-daily-upgrade.timer | System Timers"_s);
        QVERIFY(sidebarRowLabels(view).contains(u"backup.timer | User Timers"_s));
        QCOMPARE(sidebarRowLabels(view).last(), u"e2scrub_all:2 | Cron"_s);

        const TimerUnit backup = timerNamed(view.systemdJobs().timers, u"backup.timer"_s);
        clickRow(view, backup.id);
        auto *timerDetail = qobject_cast<TimerDetailView *>(view.detailWidget());
        QVERIFY(timerDetail);
        QCOMPARE(timerDetail->timer().name, u"backup.timer"_s);

        clickRow(view, view.systemdJobs().cron.first().id);
        auto *cronDetail = qobject_cast<CronEntryDetailView *>(view.detailWidget());
        QVERIFY(cronDetail);
        QCOMPARE(cronDetail->entry().line, 1);

        QTest::keyClicks(view.sidebar()->filterField(), u"RSYNC"_s);
        QTRY_COMPARE(sidebarRowLabels(view), QStringList{u"backup.timer | User Timers"_s});
    }

    void timeline_systemLane_marksTimersAndCronOfTheDay()
    {
        qputenv("MOXLEY_SCHEDULER", "systemd");
        const ScopedTimeZone zone("UTC");
        auto store = world->openStore();
        DayTimelineView view(*store, {});
        view.setTimeZone(QTimeZone::utc());
        view.setClock([] { return QDateTime(QDate(2026, 11, 29), QTime(10, 0), QTimeZone::utc()); });
        view.setSystemdJobs(SystemdJobs::scan());
        QVERIFY(view.day().systemJobs.isEmpty()); // hidden: systemd is not asked
        view.setShowSystemJobs(true);
        QStringList lanes;
        for (const Timeline::SystemRow &row : view.day().systemJobs) {
            QStringList marks;
            for (const int mark : row.marks) {
                marks << QString::number(mark);
            }
            lanes << row.name + u' ' + marks.join(u',');
        }
        QCOMPARE(lanes, (QStringList{u"apt-daily 360,1080"_s, u"backup 750"_s, u"e2scrub_all:1 210"_s}));
    }

private:
    std::unique_ptr<UiWorld> world;
};

QTEST_MAIN(SystemdJobViewsTest)
#include "test_systemd_job_views.moc"
