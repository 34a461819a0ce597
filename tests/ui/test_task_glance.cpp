#include "UiWorld.h"
#include "ui/ContentView.h"
#include "ui/DayTimelineView.h"
#include "ui/TaskDetailView.h"
#include "ui/TaskGlance.h"
#include "ui/TaskGlanceSection.h"
#include "ui/TaskRowView.h"
#include "ui/TimelineItemView.h"
#include "ui/ViewStyle.h"

#include <QFile>
#include <QLabel>
#include <QLocale>
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

int pixelsNear(const QImage &image, const QColor &colour)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            count += std::abs(pixel.red() - colour.red()) < 24 && std::abs(pixel.green() - colour.green()) < 24 &&
                     std::abs(pixel.blue() - colour.blue()) < 24;
        }
    }
    return count;
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
        TaskRowView row(task);
        row.setGlance(status.lastRun, status.missed.size());
        row.resize(240, 44);
        row.show();
        auto *failed = row.findChild<QLabel *>(u"task-row-failed"_s);
        auto *missed = row.findChild<QLabel *>(u"task-row-missed"_s);
        QVERIFY(failed->isVisible());
        QVERIFY(missed->isVisible());
        const QDateTime started = utc(3, 5, 9).toLocalTime();
        const QLocale locale;
        QCOMPARE(failed->toolTip(), u"Last run failed: "_s + locale.toString(started.date(), QLocale::ShortFormat) +
                                        u' ' + locale.toString(started.time(), QLocale::ShortFormat) +
                                        u", exit status 2"_s);
        QCOMPARE(missed->toolTip(), u"2 runs missed in the last 7 days"_s);
        // The failed mark sits beside the dot, drawn in red.
        const QImage image = row.grab().toImage();
        QVERIFY(pixelsNear(image.copy(failed->geometry()), ViewStyle::red()) > 10);
        QVERIFY2(pixelsNear(image.copy(missed->geometry()), ViewStyle::orange()) > 6,
                 qPrintable(QString::number(pixelsNear(image.copy(missed->geometry()), ViewStyle::orange()))));
        const QWidget *dot = row.findChild<QWidget *>(u"task-row-dot"_s);
        QVERIFY(failed->geometry().left() > dot->geometry().right());
        QVERIFY(failed->geometry().right() < row.findChild<QLabel *>(u"task-row-name"_s)->geometry().left());
    }

    void row_goodLastRunNothingMissed_showsNoMarks()
    {
        const ScheduledTask task = openBusyTask();
        Sandbox::writeFile(store->launchdService().runsPath(task),
                           (runLine(utc(3, 1, 9), 0) + runLine(utc(3, 2, 9), 0) + runLine(utc(3, 3, 9), 0) +
                            runLine(utc(3, 4, 9), 0) + runLine(utc(3, 5, 9), 0))
                               .toUtf8());
        const TaskStatus::Status status = statusOf(task);
        TaskRowView row(task);
        row.setGlance(status.lastRun, status.missed.size());
        row.show();
        QVERIFY(!row.findChild<QLabel *>(u"task-row-failed"_s)->isVisible());
        QVERIFY(!row.findChild<QLabel *>(u"task-row-missed"_s)->isVisible());
    }

    void row_oneMissedRun_saysRun()
    {
        TaskRowView row(UiWorld::task(u"a"_s, u"true"_s));
        row.setGlance(std::nullopt, 1);
        row.show();
        QVERIFY(!row.findChild<QLabel *>(u"task-row-failed"_s)->isVisible());
        QCOMPARE(row.findChild<QLabel *>(u"task-row-missed"_s)->toolTip(), u"1 run missed in the last 7 days"_s);
    }

    void sidebar_taskWhoseLastRunFailed_showsFailedMark()
    {
        const ScheduledTask task = openBusyTask();
        ContentView view(*store);
        view.resize(900, 600);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        flushDeletes();
        QVERIFY(visibleChild<QLabel>(&view, u"task-row-failed"_s));
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
