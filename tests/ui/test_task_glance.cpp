#include "SidebarRowPainting.h"
#include "UiWorld.h"
#include "ui/ContentView.h"
#include "ui/DayTimelineView.h"
#include "ui/SidebarView.h"
#include "ui/TaskDetailView.h"
#include "ui/TaskGlance.h"
#include "ui/TaskGlanceSection.h"
#include "ui/TimelineItemView.h"
#include "ui/ViewStyle.h"

#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QToolTip>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QDateTime utc(int month, int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2025, month, day), QTime(hour, minute), QTimeZone::utc());
}

QString runLine(const QDateTime &start, int exitCode)
{
    const QString format = u"yyyy-MM-ddTHH:mm:ssZ"_s;
    return start.toString(format) + u'\t' + start.addSecs(5).toString(format) + u'\t' + QString::number(exitCode) +
           u'\n';
}

QStringList texts(const QWidget *root, const QString &name)
{
    QStringList out;
    for (const QLabel *label : root->findChildren<QLabel *>(name)) {
        out << label->text();
    }
    return out;
}

} // namespace

class TaskGlanceTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<UiWorld> world;
    std::unique_ptr<TaskStore> store;

    // Daily at 9:00, its job installed on 1 March: by 5 March 14:30 it ran late on 2 March, on time
    // on 4 March, failed on 5 March, and missed 1 and 3 March.
    ScheduledTask openBusyTask()
    {
        ScheduledTask task = UiWorld::task(u"Backup"_s, u"true"_s, TaskSchedule::daily({{9, 0}}), true);
        world->writeTasks({task});
        store = world->openStore();
        installAt(task, utc(3, 1, 0));
        Sandbox::writeFile(
            store->launchdService().runsPath(task),
            (runLine(utc(3, 2, 11, 40), 0) + runLine(utc(3, 4, 9), 0) + runLine(utc(3, 5, 9), 2)).toUtf8());
        return task;
    }

    void installAt(const ScheduledTask &task, const QDateTime &time) const
    {
        const QString plist = store->launchdService().plistPath(task);
        if (!QFile::exists(plist)) {
            Sandbox::writeFile(plist, "<plist/>");
        }
        QFile job(plist);
        QVERIFY(job.open(QIODevice::ReadWrite));
        QVERIFY(job.setFileTime(time, QFileDevice::FileModificationTime));
    }

    TaskStatus::Status statusOf(const ScheduledTask &task) const
    {
        return TaskGlance::status(*store, task, UiWorld::now(), QTimeZone::utc());
    }

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom)); }
    void init() { world = std::make_unique<UiWorld>(); }
    void cleanup()
    {
        store.reset();
        flushDeletes();
        world.reset();
    }

    void relative_readsAsHoursAndMinutesOrDays()
    {
        const QDateTime now = UiWorld::now();
        QCOMPARE(TaskGlance::relative(now, now.addSecs(200 * 60)), u"in 3 h 20 min"_s);
        QCOMPARE(TaskGlance::relative(now, now.addSecs(45 * 60 + 59)), u"in 45 min"_s);
        QCOMPARE(TaskGlance::relative(now, now.addSecs(3 * 3600)), u"in 3 h"_s);
        QCOMPARE(TaskGlance::relative(now, now.addSecs(28 * 3600 + 10 * 60)), u"in 1 d 4 h"_s);
        QCOMPARE(TaskGlance::relative(now, now.addSecs(30)), u"in under a minute"_s);
        QCOMPARE(TaskGlance::relative(now, now.addSecs(-60)), u"now"_s);
    }

    void row_failedLastRunAndMissedRuns_showMarksWithTooltips()
    {
        const ScheduledTask task = openBusyTask();
        const TaskStatus::Status status = statusOf(task);
        SidebarRows::TaskLook look = SidebarRows::taskLook(task);
        SidebarRows::setGlance(look, status.lastRun, status.missed.size());
        const QDateTime started = utc(3, 5, 9).toLocalTime();
        const QLocale locale;
        QCOMPARE(look.failedTip, u"Last run failed: "_s + locale.toString(started.date(), QLocale::ShortFormat) + u' ' +
                                     locale.toString(started.time(), QLocale::ShortFormat) + u", exit status 2"_s);
        QCOMPARE(look.missedTip, u"2 runs missed in the last 7 days"_s);
        // The failed mark sits beside the dot, drawn in red; the missed mark after it, in orange.
        const SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(look, QRect(0, 0, 240, 44));
        const QImage image = paintedTask(look);
        QVERIFY(pixelsNear(image.copy(geometry.failed), ViewStyle::red()) > 10);
        QVERIFY2(pixelsNear(image.copy(geometry.missed), ViewStyle::orange()) > 6,
                 qPrintable(QString::number(pixelsNear(image.copy(geometry.missed), ViewStyle::orange()))));
        QVERIFY(geometry.failed.left() > geometry.dot.right());
        QVERIFY(geometry.missed.left() > geometry.failed.right());
        QVERIFY(geometry.name.left() > geometry.missed.right());
    }

    void row_goodLastRunNothingMissed_showsNoMarks()
    {
        const ScheduledTask task = openBusyTask();
        Sandbox::writeFile(store->launchdService().runsPath(task),
                           (runLine(utc(3, 1, 9), 0) + runLine(utc(3, 2, 9), 0) + runLine(utc(3, 3, 9), 0) +
                            runLine(utc(3, 4, 9), 0) + runLine(utc(3, 5, 9), 0))
                               .toUtf8());
        const TaskStatus::Status status = statusOf(task);
        SidebarRows::TaskLook look = SidebarRows::taskLook(task);
        SidebarRows::setGlance(look, status.lastRun, status.missed.size());
        QVERIFY(look.failedTip.isEmpty());
        QVERIFY(look.missedTip.isEmpty());
        const SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(look, QRect(0, 0, 240, 44));
        QVERIFY(geometry.failed.isEmpty() && geometry.missed.isEmpty());
        const QImage image = paintedTask(look);
        QCOMPARE(pixelsNear(image, ViewStyle::red()), 0);
        QCOMPARE(pixelsNear(image, ViewStyle::orange()), 0);
    }

    void row_oneMissedRun_saysRun()
    {
        SidebarRows::TaskLook look = SidebarRows::taskLook(UiWorld::task(u"a"_s, u"true"_s));
        SidebarRows::setGlance(look, std::nullopt, 1);
        QVERIFY(look.failedTip.isEmpty());
        QCOMPARE(look.missedTip, u"1 run missed in the last 7 days"_s);
    }

    void sidebar_taskWhoseLastRunFailed_showsFailedMarkAndItsTip()
    {
        const ScheduledTask task = openBusyTask();
        ContentView view(*store);
        view.resize(900, 600);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const std::optional<SidebarRows::TaskLook> look = view.sidebar()->taskLook(task.id);
        QVERIFY(look);
        QVERIFY(look->failedTip.startsWith(u"Last run failed: "_s));
        // Drawn in the list, and its tip shown over it.
        QListWidget *list = view.sidebar()->list();
        const QRect row = list->visualItemRect(view.sidebar()->item(SidebarSection::task(task.id)));
        const QRect mark = SidebarRows::taskGeometry(*look, row).failed;
        QVERIFY(pixelsNear(list->viewport()->grab().toImage().copy(mark), ViewStyle::red()) > 10);
        QHelpEvent help(QEvent::ToolTip, mark.center(), list->viewport()->mapToGlobal(mark.center()));
        QApplication::sendEvent(list->viewport(), &help);
        QTRY_COMPARE(QToolTip::text(), look->failedTip);
        const QPoint name = SidebarRows::taskGeometry(*look, row).name.center();
        QHelpEvent onName(QEvent::ToolTip, name, list->viewport()->mapToGlobal(name));
        QApplication::sendEvent(list->viewport(), &onName);
        QTRY_COMPARE(QToolTip::text(), task.name);
    }

    void section_listsNextRunsLastResultAndMissedWithReasons()
    {
        const ScheduledTask task = openBusyTask();
        const QList<PowerHistory::Interval> power{
            {PowerHistory::State::off, utc(3, 1, 8), utc(3, 1, 10)},
            {PowerHistory::State::asleep, utc(3, 3, 8), utc(3, 3, 12)},
        };
        TaskGlanceSection section(statusOf(task), power, UiWorld::now(), QTimeZone::utc());
        section.show();
        QCOMPARE(texts(&section, u"glance-next-runs"_s),
                 QStringList{u"Thu 6 Mar 09:00 (in 18 h 30 min)\nFri 7 Mar 09:00 (in 1 d 18 h)\n"
                             u"Sat 8 Mar 09:00 (in 2 d 18 h)"_s});
        QCOMPARE(texts(&section, u"glance-last-result"_s),
                 QStringList{u"Failed with exit status 2, Wed 5 Mar 09:00"_s});
        QCOMPARE(texts(&section, u"glance-missed-time"_s), (QStringList{u"Mon 3 Mar 09:00"_s, u"Sat 1 Mar 09:00"_s}));
        QCOMPARE(texts(&section, u"glance-missed-reason"_s),
                 (QStringList{u"the computer was asleep"_s, u"the computer was off"_s}));
        QVERIFY(texts(&section, u"glance-no-missed"_s).isEmpty());
    }

    void section_missedWithoutPowerRecords_saysNoRunRecorded()
    {
        const ScheduledTask task = openBusyTask();
        TaskGlanceSection section(statusOf(task), {}, UiWorld::now(), QTimeZone::utc());
        QCOMPARE(texts(&section, u"glance-missed-reason"_s), (QStringList{u"no run recorded"_s, u"no run recorded"_s}));
    }

    void section_neverRunDisabledTask_saysSo()
    {
        ScheduledTask task = UiWorld::task(u"Idle"_s, u"true"_s, TaskSchedule::daily({{9, 0}}), false);
        world->writeTasks({task});
        store = world->openStore();
        TaskGlanceSection section(statusOf(task), {}, UiWorld::now(), QTimeZone::utc());
        QCOMPARE(texts(&section, u"glance-next-runs"_s), QStringList{u"None while the task is disabled."_s});
        QCOMPARE(texts(&section, u"glance-last-result"_s), QStringList{u"No runs recorded yet."_s});
        QCOMPARE(texts(&section, u"glance-no-missed"_s), QStringList{u"No runs missed in the last 7 days."_s});
        QVERIFY(texts(&section, u"glance-missed-time"_s).isEmpty());
    }

    void detail_showsTheGlanceSection()
    {
        const ScheduledTask task = openBusyTask();
        TaskDetailView view(*store, task);
        view.resize(700, 900);
        view.show();
        QVERIFY(visibleChild<QWidget>(&view, u"glance-section"_s));
        QCOMPARE(visibleChild<QLabel>(&view, u"glance-last-result"_s)->text().left(26),
                 u"Failed with exit status 2,"_s);
    }

    void timeline_missedOccurrence_drawnHollowRedWithReasonInTooltip()
    {
        const ScheduledTask task =
            UiWorld::task(u"Sync"_s, u"true"_s, TaskSchedule::daily({{9, 0}, {11, 0}, {16, 0}}), true);
        world->writeTasks({task});
        store = world->openStore();
        installAt(task, utc(3, 1, 0));
        Sandbox::writeFile(store->launchdService().runsPath(task), runLine(utc(3, 5, 11), 0).toUtf8());
        DayTimelineView timeline(*store, {});
        timeline.setTimeZone(QTimeZone::utc());
        timeline.setClock([] { return UiWorld::now(); });
        timeline.resize(2000, 400);
        timeline.show();
        QVERIFY(QTest::qWaitForWindowExposed(&timeline));
        flushDeletes();
        auto *lane = visibleChild<TimelineItemView>(&timeline, u"timeline-task-row"_s);
        QVERIFY(lane);
        QCOMPARE(lane->missed().size(), 1);
        QCOMPARE(lane->missed().first().minute, 9 * 60);
        // No power records in this container: the reason is the plain one.
        QVERIFY2(lane->toolTip().endsWith(u"\nMissed 09:00: no run recorded"_s), qPrintable(lane->toolTip()));

        const QImage image = lane->grab().toImage();
        const QRectF area = lane->timeArea();
        const auto markAt = [&](int minute) {
            const int left = int(lane->xForMinute(minute));
            return image.copy(QRect(left, int(area.top()), 6, int(area.height())));
        };
        const QColor kind = TimelineItemView::kindColor(task.schedule.kind());
        QVERIFY(pixelsNear(markAt(9 * 60), TimelineItemView::missedColor()) > 4);
        QCOMPARE(pixelsNear(markAt(9 * 60), kind), 0);
        // Still to come: the pending mark in the schedule's colour, nothing red.
        QVERIFY(pixelsNear(markAt(16 * 60), kind) > 4);
        QCOMPARE(pixelsNear(markAt(16 * 60), TimelineItemView::missedColor()), 0);
    }
};

QTEST_MAIN(TaskGlanceTest)
#include "test_task_glance.moc"
