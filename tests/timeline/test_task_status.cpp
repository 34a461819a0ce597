#include "timeline/TaskStatus.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QTimeZone kBerlin("Europe/Berlin");

QDateTime berlin(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), kBerlin);
}

ScheduledTask makeTask(TaskSchedule schedule, bool enabled = true)
{
    ScheduledTask task;
    task.id = QUuid::createUuid();
    task.name = u"t"_s;
    task.command = u"true"_s;
    task.schedule = std::move(schedule);
    task.isEnabled = enabled;
    return task;
}

TaskRunRecord run(const QDateTime &start, int seconds = 5, qint32 exitCode = 0)
{
    const std::chrono::sys_seconds started{std::chrono::seconds(start.toSecsSinceEpoch())};
    return TaskRunRecord{QUuid::createUuid(), started, started + std::chrono::seconds(seconds), exitCode};
}

QStringList local(const QList<QDateTime> &times)
{
    QStringList out;
    for (const QDateTime &time : times) {
        out.append(time.toTimeZone(kBerlin).toString(u"yyyy-MM-dd HH:mm t"_s));
    }
    return out;
}

const QDateTime kLongAgo = berlin(2024, 1, 1, 0, 0);

} // namespace

class TaskStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dailyWithoutRuns_everyDueTimeOfTheLastSevenDaysIsMissed()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        const QList<QDateTime> missed = TaskStatus::missedRuns(task, {}, kLongAgo, berlin(2025, 3, 8, 7, 0), kBerlin);
        // 1 March 07:00 is exactly seven days back and counts; 8 March 07:00 is not 5 minutes old.
        QCOMPARE(local(missed),
                 (QStringList{u"2025-03-01 07:00 CET"_s, u"2025-03-02 07:00 CET"_s, u"2025-03-03 07:00 CET"_s,
                              u"2025-03-04 07:00 CET"_s, u"2025-03-05 07:00 CET"_s, u"2025-03-06 07:00 CET"_s,
                              u"2025-03-07 07:00 CET"_s}));
    }

    void graceOfFiveMinutes()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{8, 56}}));
        const QDateTime installed = berlin(2025, 3, 8, 8, 0);
        QVERIFY(TaskStatus::missedRuns(task, {}, installed, berlin(2025, 3, 8, 9, 0), kBerlin).isEmpty());
        QCOMPARE(local(TaskStatus::missedRuns(task, {}, installed, berlin(2025, 3, 8, 9, 1), kBerlin)),
                 QStringList{u"2025-03-08 08:56 CET"_s});
    }

    void dueTimesBeforeTheJobWasInstalled_areNotMissed()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        const QDateTime now = berlin(2025, 3, 8, 12, 0);
        QCOMPARE(local(TaskStatus::missedRuns(task, {}, berlin(2025, 3, 6, 12, 0), now, kBerlin)),
                 (QStringList{u"2025-03-07 07:00 CET"_s, u"2025-03-08 07:00 CET"_s}));
        // Installed at the due time itself: that one was not the job's to run.
        QCOMPARE(local(TaskStatus::missedRuns(task, {}, berlin(2025, 3, 8, 7, 0), now, kBerlin)), QStringList{});
        QVERIFY(TaskStatus::missedRuns(task, {}, std::nullopt, now, kBerlin).isEmpty());
    }

    void lateRunAfterAWake_coversItsDueTime()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        const QList<TaskRunRecord> runs{run(berlin(2025, 3, 7, 7, 0, 2)), run(berlin(2025, 3, 8, 10, 15))};
        QVERIFY(
            TaskStatus::missedRuns(task, runs, berlin(2025, 3, 7, 0, 0), berlin(2025, 3, 8, 12, 0), kBerlin).isEmpty());
    }

    void runMustStartBeforeTheNextDueTime()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}, {19, 0}}));
        // Early by a second, and one exactly at the next due time: neither covers 07:00.
        const QList<TaskRunRecord> runs{run(berlin(2025, 3, 8, 6, 59, 59)), run(berlin(2025, 3, 8, 19, 0))};
        QCOMPARE(
            local(TaskStatus::missedRuns(task, runs, berlin(2025, 3, 8, 0, 0), berlin(2025, 3, 8, 20, 0), kBerlin)),
            QStringList{u"2025-03-08 07:00 CET"_s});
    }

    void runAfterNow_doesNotCount()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        const QList<TaskRunRecord> runs{run(berlin(2025, 3, 8, 9, 30))};
        QCOMPARE(local(TaskStatus::missedRuns(task, runs, berlin(2025, 3, 8, 0, 0), berlin(2025, 3, 8, 9, 0), kBerlin)),
                 QStringList{u"2025-03-08 07:00 CET"_s});
    }

    void springForward_theSkippedTimeIsNotDue()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{2, 30}}));
        QCOMPARE(local(TaskStatus::missedRuns(task, {}, kLongAgo, berlin(2025, 3, 31, 12, 0), kBerlin)),
                 (QStringList{u"2025-03-25 02:30 CET"_s, u"2025-03-26 02:30 CET"_s, u"2025-03-27 02:30 CET"_s,
                              u"2025-03-28 02:30 CET"_s, u"2025-03-29 02:30 CET"_s, u"2025-03-31 02:30 CEST"_s}));
    }

    void autumn_theRepeatedHourIsDueOnce()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{2, 30}}));
        const QDateTime now = berlin(2025, 10, 27, 12, 0);
        QCOMPARE(local(TaskStatus::missedRuns(task, {}, berlin(2025, 10, 25, 12, 0), now, kBerlin)),
                 (QStringList{u"2025-10-26 02:30 CEST"_s, u"2025-10-27 02:30 CET"_s}));
        // A run in the second 2:30 hour still comes before the next due time.
        const QDateTime secondPass = QDateTime(QDate(2025, 10, 26), QTime(1, 31), QTimeZone::utc());
        QCOMPARE(local(TaskStatus::missedRuns(task, {run(secondPass)}, berlin(2025, 10, 25, 12, 0), now, kBerlin)),
                 QStringList{u"2025-10-27 02:30 CET"_s});
    }

    void monthEnd_lastDayOfFebruary()
    {
        const ScheduledTask task = makeTask(TaskSchedule::monthlyLastDay({{23, 30}}));
        QCOMPARE(local(TaskStatus::missedRuns(task, {}, kLongAgo, berlin(2025, 3, 2, 12, 0), kBerlin)),
                 QStringList{u"2025-02-28 23:30 CET"_s});
        const ScheduledTask day31 = makeTask(TaskSchedule::monthly(31, {{7, 0}}));
        QVERIFY(TaskStatus::missedRuns(day31, {}, kLongAgo, berlin(2025, 3, 2, 12, 0), kBerlin).isEmpty());
    }

    void noCalendarOrDisabled_missesNothing()
    {
        const QDateTime now = berlin(2025, 3, 8, 12, 0);
        for (const ScheduledTask &task : {makeTask(TaskSchedule::interval(5)), makeTask(TaskSchedule::runAtLoad()),
                                          makeTask(TaskSchedule::daily({{7, 0}}), false)}) {
            QVERIFY(TaskStatus::missedRuns(task, {}, kLongAgo, now, kBerlin).isEmpty());
        }
    }

    void compute_lastAndNextRun()
    {
        const ScheduledTask daily = makeTask(TaskSchedule::daily({{7, 0}, {19, 0}}));
        const ScheduledTask off = makeTask(TaskSchedule::daily({{7, 0}}), false);
        const ScheduledTask every = makeTask(TaskSchedule::interval(15));
        TaskStatus::Inputs inputs;
        QList<QDateTime> asked;
        inputs.runsOf = [&](const ScheduledTask &task, const QDateTime &since) {
            asked.append(since);
            if (task.id != daily.id) {
                return QList<TaskRunRecord>{};
            }
            // Out of order in the file: the latest start wins, not the last line.
            return QList<TaskRunRecord>{run(berlin(2025, 3, 8, 7, 0), 5, 3), run(berlin(2025, 3, 7, 19, 0))};
        };
        inputs.installedAt = [](const ScheduledTask &) { return std::optional(kLongAgo); };
        const QList<TaskStatus::Status> statuses =
            TaskStatus::compute({daily, off, every}, inputs, berlin(2025, 3, 8, 12, 0), kBerlin);
        QCOMPARE(statuses.size(), 3);
        // Only the week the missed runs look at is asked for (and the last run).
        QCOMPARE(asked, QList<QDateTime>(3, berlin(2025, 3, 1, 12, 0).addMSecs(-1)));
        QCOMPARE(statuses[0].task.id, daily.id);
        QVERIFY(statuses[0].lastRun);
        QCOMPARE(statuses[0].lastRun->exitCode, 3);
        QCOMPARE(statuses[0].nextRun, std::optional(berlin(2025, 3, 8, 19, 0)));
        QCOMPARE(statuses[0].missed.size(), 12); // 1 March 19:00 to 7 March 07:00
        QCOMPARE(statuses[1].nextRun, std::nullopt);
        QVERIFY(!statuses[1].lastRun);
        QCOMPARE(statuses[2].nextRun, std::nullopt);
        inputs.intervalNextRun = [](const ScheduledTask &) { return std::optional(berlin(2025, 3, 8, 12, 10)); };
        QCOMPARE(TaskStatus::compute(every, inputs, berlin(2025, 3, 8, 12, 0), kBerlin).nextRun,
                 std::optional(berlin(2025, 3, 8, 12, 10)));
    }
};

QTEST_GUILESS_MAIN(TaskStatusTest)
#include "test_task_status.moc"
