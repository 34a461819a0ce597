#include "timeline/DayTimeline.h"

#include <QProcess>
#include <QtTest>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

const QTimeZone kBerlin("Europe/Berlin");

QDateTime berlin(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), kBerlin);
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
}

ScheduledTask makeTask(const QString &name, TaskSchedule schedule, bool enabled = true, bool wake = false)
{
    ScheduledTask task;
    task.id = QUuid::createUuid();
    task.name = name;
    task.command = u"true"_s;
    task.schedule = std::move(schedule);
    task.isEnabled = enabled;
    task.wakeBeforeRun = wake;
    return task;
}

TaskRunRecord run(const QDateTime &start, int seconds, qint32 exitCode = 0)
{
    const std::chrono::sys_seconds started{std::chrono::seconds(start.toSecsSinceEpoch())};
    return TaskRunRecord{QUuid::createUuid(), started, started + std::chrono::seconds(seconds), exitCode};
}

QList<int> minutes(const Timeline::TaskRow &row)
{
    QList<int> out;
    for (const auto &occurrence : row.occurrences) {
        out.append(occurrence.minute);
    }
    return out;
}

QList<bool> ran(const Timeline::TaskRow &row)
{
    QList<bool> out;
    for (const auto &occurrence : row.occurrences) {
        out.append(occurrence.ran);
    }
    return out;
}

// The occurrences of one task on the day of `now`, in Berlin.
QList<int> occurrencesOn(const TaskSchedule &schedule, const QDateTime &now)
{
    const auto day = Timeline::compute({makeTask(u"t"_s, schedule)}, {}, {}, now, kBerlin);
    return day.tasks.isEmpty() ? QList<int>{-1} : minutes(day.tasks.first());
}

Timeline::Day computeWithRuns(const ScheduledTask &task, const QList<TaskRunRecord> &runs, const QDateTime &now)
{
    return Timeline::compute(
        {task}, [&](const ScheduledTask &) { return runs; }, {}, now, kBerlin);
}

LaunchdJob job(const QString &label)
{
    LaunchdJob job;
    job.label = label;
    job.id = u"/Library/LaunchDaemons/"_s + label + u".plist"_s;
    job.url = job.id;
    return job;
}

const QList<TimeOfDay> kSix{TimeOfDay{6, 0}};

} // namespace

class DayTimelineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The runs that started in the day's window are all that compute() places: given only those,
    // the day comes out the same, on days of 23, 24 and 25 hours and in a zone without transitions.
    void runWindow_holdsEveryRunTheDayPlaces_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QByteArray>("zone");
        QTest::newRow("spring forward") << utc(2025, 3, 30, 12, 0, 0) << QByteArray("Europe/Berlin");
        QTest::newRow("fall back") << utc(2025, 10, 26, 12, 0, 0) << QByteArray("Europe/Berlin");
        QTest::newRow("ordinary day") << utc(2025, 6, 1, 23, 30, 0) << QByteArray("Pacific/Kiritimati");
        QTest::newRow("utc") << utc(2025, 6, 1, 0, 0, 0) << QByteArray("UTC");
    }

    void runWindow_holdsEveryRunTheDayPlaces()
    {
        QFETCH(QDateTime, now);
        QFETCH(QByteArray, zone);
        const QTimeZone timeZone = zone == "UTC" ? QTimeZone::utc() : QTimeZone(zone);
        QList<TimeOfDay> hourly;
        for (int hour = 0; hour < 24; ++hour) {
            hourly.append(TimeOfDay{hour, 5});
        }
        const ScheduledTask task = makeTask(u"t"_s, TaskSchedule::daily(hourly));
        QList<TaskRunRecord> runs;
        for (qint64 t = now.toSecsSinceEpoch() - 3 * 86400; t < now.toSecsSinceEpoch() + 3 * 86400; t += 613) {
            runs.append(run(QDateTime::fromSecsSinceEpoch(t, QTimeZone::utc()), 30, qint32(t % 7)));
        }
        const Timeline::RunWindow window = Timeline::runWindow(now, timeZone);
        QList<TaskRunRecord> inWindow = runs;
        inWindow.removeIf(
            [&](const TaskRunRecord &r) { return r.startedAt < window.from || r.startedAt >= window.to; });
        QVERIFY(inWindow.size() < runs.size());
        const auto all = Timeline::compute(
            {task}, [&](const ScheduledTask &) { return runs; }, {}, now, timeZone);
        const auto windowed = Timeline::compute(
            {task}, [&](const ScheduledTask &) { return inWindow; }, {}, now, timeZone);
        QVERIFY(!all.tasks.first().runs.isEmpty());
        QCOMPARE(windowed.tasks.first().runs.size(), all.tasks.first().runs.size());
        for (qsizetype i = 0; i < all.tasks.first().runs.size(); ++i) {
            QCOMPARE(windowed.tasks.first().runs[i].startMinute, all.tasks.first().runs[i].startMinute);
            QCOMPARE(windowed.tasks.first().runs[i].exitCode, all.tasks.first().runs[i].exitCode);
        }
        QCOMPARE(ran(windowed.tasks.first()), ran(all.tasks.first()));
    }

    void initTestCase() { QVERIFY(kBerlin.isValid()); }

    void interval45_has32Occurrences()
    {
        const QList<int> got = occurrencesOn(TaskSchedule::interval(45), berlin(2025, 3, 1, 12, 0));
        QCOMPARE(got.size(), 32);
        QCOMPARE(got.first(), 0);
        QCOMPARE(got.at(1), 45);
        QCOMPARE(got.last(), 1395);
    }

    void interval7_marksUpTo1435()
    {
        const QList<int> got = occurrencesOn(TaskSchedule::interval(7), berlin(2025, 3, 1, 12, 0));
        QCOMPARE(got.size(), 206);
        QCOMPARE(got.last(), 1435);
        QCOMPARE(occurrencesOn(TaskSchedule::interval(1440), berlin(2025, 3, 1, 12, 0)), QList<int>{0});
        QCOMPARE(occurrencesOn(TaskSchedule::interval(1), berlin(2025, 3, 1, 12, 0)).size(), 1440);
    }

    void daily_keepsStoredOrderAndDuplicates()
    {
        const auto schedule = TaskSchedule::daily({TimeOfDay{18, 30}, TimeOfDay{6, 0}, TimeOfDay{6, 0}});
        QCOMPARE(occurrencesOn(schedule, berlin(2025, 3, 1, 12, 0)), (QList<int>{1110, 360, 360}));
    }

    void monthlyDay15_isShownOnEveryDay()
    {
        const auto schedule = TaskSchedule::monthly(15, {TimeOfDay{9, 30}});
        QCOMPARE(occurrencesOn(schedule, berlin(2025, 3, 3, 12, 0)), QList<int>{570});
        QCOMPARE(occurrencesOn(schedule, berlin(2025, 3, 15, 12, 0)), QList<int>{570});
    }

    void weeklyWeekday2_onlyOnMondays()
    {
        const auto schedule = TaskSchedule::weekly({2}, kSix);
        QCOMPARE(occurrencesOn(schedule, berlin(2025, 3, 3, 12, 0)), QList<int>{360}); // Monday
        for (int day : {1, 2, 4, 5, 6, 7, 8}) {
            QCOMPARE(occurrencesOn(schedule, berlin(2025, 3, day, 12, 0)), QList<int>{});
        }
        // 1 is Sunday, 7 is Saturday.
        QCOMPARE(occurrencesOn(TaskSchedule::weekly({1}, kSix), berlin(2025, 3, 2, 12, 0)), QList<int>{360});
        QCOMPARE(occurrencesOn(TaskSchedule::weekly({7}, kSix), berlin(2025, 3, 1, 12, 0)), QList<int>{360});
        QCOMPARE(occurrencesOn(TaskSchedule::weekly({7, 1}, kSix), berlin(2025, 3, 2, 12, 0)), QList<int>{360});
    }

    void lastDay_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<bool>("shown");
        QTest::newRow("31 January") << berlin(2025, 1, 31, 12, 0) << true;
        QTest::newRow("30 January") << berlin(2025, 1, 30, 12, 0) << false;
        QTest::newRow("28 February, common year") << berlin(2025, 2, 28, 12, 0) << true;
        QTest::newRow("28 February, leap year") << berlin(2024, 2, 28, 12, 0) << false;
        QTest::newRow("29 February, leap year") << berlin(2024, 2, 29, 12, 0) << true;
        QTest::newRow("30 April") << berlin(2025, 4, 30, 12, 0) << true;
        QTest::newRow("31 December, late") << berlin(2025, 12, 31, 23, 59) << true;
        QTest::newRow("1 January") << berlin(2026, 1, 1, 0, 0) << false;
        // 23:30 UTC on 30 January is already the 31st in Berlin.
        QTest::newRow("UTC date differs") << utc(2025, 1, 30, 23, 30) << true;
    }

    void lastDay()
    {
        QFETCH(QDateTime, now);
        QFETCH(bool, shown);
        const auto got = occurrencesOn(TaskSchedule::monthlyLastDay({TimeOfDay{22, 0}}), now);
        QCOMPARE(got, shown ? QList<int>{1320} : QList<int>{});
    }

    void nthWeekday_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<int>("nth");
        QTest::addColumn<int>("weekday");
        QTest::addColumn<bool>("shown");
        // 8 March 2025 is a Saturday (7): (8 - 1) / 7 + 1 = 2.
        QTest::newRow("8th, nth 2") << berlin(2025, 3, 8, 12, 0) << 2 << 7 << true;
        QTest::newRow("8th, nth 1") << berlin(2025, 3, 8, 12, 0) << 1 << 7 << false;
        QTest::newRow("8th, nth 3") << berlin(2025, 3, 8, 12, 0) << 3 << 7 << false;
        QTest::newRow("8th, other weekday") << berlin(2025, 3, 8, 12, 0) << 2 << 6 << false;
        QTest::newRow("7th, nth 1") << berlin(2025, 3, 7, 12, 0) << 1 << 6 << true;
        QTest::newRow("1st, nth 1") << berlin(2025, 3, 1, 12, 0) << 1 << 7 << true;
        QTest::newRow("28th, nth 4") << berlin(2025, 3, 28, 12, 0) << 4 << 6 << true;
        QTest::newRow("29th, nth 5") << berlin(2025, 3, 29, 12, 0) << 5 << 7 << true;
        QTest::newRow("29th, nth 4") << berlin(2025, 3, 29, 12, 0) << 4 << 7 << false;
        QTest::newRow("31st, nth 5") << berlin(2025, 3, 31, 12, 0) << 5 << 2 << true;
    }

    void nthWeekday()
    {
        QFETCH(QDateTime, now);
        QFETCH(int, nth);
        QFETCH(int, weekday);
        QFETCH(bool, shown);
        const auto got = occurrencesOn(TaskSchedule::monthlyNthWeekday(nth, weekday, kSix), now);
        QCOMPARE(got, shown ? QList<int>{360} : QList<int>{});
    }

    void disabledAndRunAtLoadTasks_neverAppear()
    {
        const QList<ScheduledTask> tasks{
            makeTask(u"off"_s, TaskSchedule::daily(kSix), false),
            makeTask(u"first"_s, TaskSchedule::interval(60)),
            makeTask(u"load"_s, TaskSchedule::runAtLoad()),
            makeTask(u"off load"_s, TaskSchedule::runAtLoad(), false),
            makeTask(u"weekly elsewhere"_s, TaskSchedule::weekly({2}, kSix)),
            makeTask(u"last"_s, TaskSchedule::daily(kSix)),
        };
        QStringList asked;
        const auto day = Timeline::compute(
            tasks,
            [&](const ScheduledTask &task) {
                asked << task.name;
                return QList<TaskRunRecord>{};
            },
            {}, berlin(2025, 3, 1, 12, 0), kBerlin);
        QStringList names;
        for (const auto &row : day.tasks) {
            names << row.task.name;
        }
        // Placed in store order; a task with no occurrence today is still placed.
        QCOMPARE(names, (QStringList{u"first"_s, u"weekly elsewhere"_s, u"last"_s}));
        QCOMPARE(asked, names);
        QCOMPARE(day.tasks.at(1).task, tasks.at(4));
        QVERIFY(day.tasks.at(1).occurrences.isEmpty());
        QVERIFY(
            Timeline::compute({tasks.at(0), tasks.at(2)}, {}, {}, berlin(2025, 3, 1, 12, 0), kBerlin).tasks.isEmpty());
    }

    void dateAndCurrentHour_inTheGivenZone()
    {
        const auto day = Timeline::compute({}, {}, {}, utc(2025, 3, 1, 23, 30), kBerlin);
        QCOMPARE(day.date, QDate(2025, 3, 2));
        QCOMPARE(day.currentHour, 0);
        const auto newYork = Timeline::compute({}, {}, {}, utc(2025, 3, 1, 23, 30), QTimeZone("America/New_York"));
        QCOMPARE(newYork.date, QDate(2025, 3, 1));
        QCOMPARE(newYork.currentHour, 18);
        QCOMPARE(Timeline::compute({}, {}, {}, berlin(2025, 3, 1, 6, 59), kBerlin).currentHour, 6);
    }

    void runStartedWithin4Minutes_marksTheOccurrence()
    {
        const auto task = makeTask(u"t"_s, TaskSchedule::daily(kSix));
        const auto now = berlin(2025, 3, 1, 12, 0);
        const auto marked = [&](int hour, int minute, int second = 0) {
            const auto day = computeWithRuns(task, {run(berlin(2025, 3, 1, hour, minute, second), 5)}, now);
            return day.tasks.first().occurrences.first().ran;
        };
        QVERIFY(marked(6, 0));
        QVERIFY(marked(6, 4));
        QVERIFY(marked(6, 4, 59));
        QVERIFY(!marked(6, 5));
        QVERIFY(marked(5, 56));
        QVERIFY(!marked(5, 55));
        QVERIFY(!marked(18, 0));
        QVERIFY(!computeWithRuns(task, {}, now).tasks.first().occurrences.first().ran);
    }

    void oneRun_canMarkTwoNearbyOccurrences()
    {
        const auto task = makeTask(u"t"_s, TaskSchedule::daily({TimeOfDay{6, 0}, TimeOfDay{6, 4}, TimeOfDay{6, 9}}));
        const auto day = computeWithRuns(task, {run(berlin(2025, 3, 1, 6, 2), 60)}, berlin(2025, 3, 1, 12, 0));
        QCOMPARE(ran(day.tasks.first()), (QList<bool>{true, true, false}));
        QCOMPARE(day.tasks.first().runs.size(), 1);
    }

    void onlyTodaysRuns_countAndAreDrawn()
    {
        const auto task = makeTask(u"t"_s, TaskSchedule::daily({TimeOfDay{0, 0}, TimeOfDay{23, 58}}));
        const QList<TaskRunRecord> runs{
            run(berlin(2025, 3, 1, 23, 58), 30),    // yesterday, at the same minute
            run(utc(2025, 3, 1, 23, 1), 30, 3),     // 00:01 today in Berlin
            run(berlin(2025, 3, 2, 23, 58), 30, 0), // today
            run(berlin(2025, 3, 3, 0, 0), 30, 0),   // tomorrow
        };
        const auto day = computeWithRuns(task, runs, berlin(2025, 3, 2, 12, 0));
        const auto &row = day.tasks.first();
        QCOMPARE(row.runs.size(), 2);
        QCOMPARE(row.runs.at(0).startMinute, 1);
        QCOMPARE(row.runs.at(0).exitCode, 3);
        QCOMPARE(row.runs.at(1).startMinute, 1438);
        QCOMPARE(ran(row), (QList<bool>{true, true}));
        // Without today's runs, yesterday's 23:58 and tomorrow's 0:00 mark nothing.
        const auto other = computeWithRuns(task, {runs.at(0), runs.at(3)}, berlin(2025, 3, 2, 12, 0));
        QCOMPARE(ran(other.tasks.first()), (QList<bool>{false, false}));
        QVERIFY(other.tasks.first().runs.isEmpty());
    }

    void runLength_isTheDurationInMinutesAtLeastOne()
    {
        const auto task = makeTask(u"t"_s, TaskSchedule::daily(kSix));
        const QList<TaskRunRecord> runs{
            run(berlin(2025, 3, 1, 6, 0), 10),         run(berlin(2025, 3, 1, 7, 0), 150, 1),
            run(berlin(2025, 3, 1, 8, 0), 0),          run(berlin(2025, 3, 1, 9, 0), -30),
            run(berlin(2025, 3, 1, 10, 0), 3600, -15),
        };
        const auto day = computeWithRuns(task, runs, berlin(2025, 3, 1, 12, 0));
        const auto &drawn = day.tasks.first().runs;
        QCOMPARE(drawn.size(), 5);
        QCOMPARE(drawn.at(0).minutes, 1.0);
        QCOMPARE(drawn.at(0).startMinute, 360);
        QCOMPARE(drawn.at(1).minutes, 2.5);
        QCOMPARE(drawn.at(1).exitCode, 1);
        QCOMPARE(drawn.at(2).minutes, 1.0);
        QCOMPARE(drawn.at(3).minutes, 1.0);
        QCOMPARE(drawn.at(4).minutes, 60.0);
        QCOMPARE(drawn.at(4).exitCode, -15);
    }

    void wakeWindows_onlyForWakingTasks()
    {
        const auto schedule = TaskSchedule::daily({TimeOfDay{0, 2}, TimeOfDay{6, 0}, TimeOfDay{0, 5}});
        const auto waking = makeTask(u"w"_s, schedule, true, true);
        const auto quiet = makeTask(u"q"_s, schedule, true, false);
        const auto day = Timeline::compute({waking, quiet}, {}, {}, berlin(2025, 3, 1, 12, 0), kBerlin);
        const auto &windows = day.tasks.at(0).wakeWindows;
        QCOMPARE(windows.size(), 3);
        QCOMPARE(windows.at(0).startMinute, 0);
        QCOMPARE(windows.at(1).startMinute, 355);
        QCOMPARE(windows.at(2).startMinute, 0);
        for (const auto &window : windows) {
            QCOMPARE(window.minutes, 5);
        }
        QVERIFY(day.tasks.at(1).wakeWindows.isEmpty());
        // No occurrence today, no window.
        const auto monday = makeTask(u"m"_s, TaskSchedule::weekly({2}, kSix), true, true);
        QVERIFY(Timeline::compute({monday}, {}, {}, berlin(2025, 3, 1, 12, 0), kBerlin)
                    .tasks.first()
                    .wakeWindows.isEmpty());
    }

    // Rows come in the tasks' order, each with its own task's runs, in a zone with transitions and
    // in one without (where every run is converted).
    void manyTasks_rowsInOrderWithTheirOwnRuns_data()
    {
        QTest::addColumn<QTimeZone>("zone");
        QTest::newRow("Berlin") << kBerlin;
        QTest::newRow("fixed offset") << QTimeZone(3600);
    }

    void manyTasks_rowsInOrderWithTheirOwnRuns()
    {
        QFETCH(QTimeZone, zone);
        QList<ScheduledTask> tasks;
        QList<int> shown;
        for (int i = 0; i < 300; ++i) {
            const int minute = (i * 7) % 1440;
            ScheduledTask task = makeTask(u"t" + QString::number(i),
                                          i % 5 == 0 ? TaskSchedule::runAtLoad()
                                                     : TaskSchedule::daily({TimeOfDay{minute / 60, minute % 60}}),
                                          i % 3 != 0);
            if (task.isEnabled && i % 5 != 0) {
                shown.append(i);
            }
            tasks.append(task);
        }
        const QDateTime now(QDate(2025, 3, 1), QTime(23, 59), zone);
        const auto runsFor = [&](const ScheduledTask &task) {
            const int i = task.name.mid(1).toInt();
            const int minute = (i * 7) % 1440;
            const QDateTime today(QDate(2025, 3, 1), QTime(minute / 60, minute % 60), zone);
            return QList<TaskRunRecord>{run(today.addDays(-1), 30, i), run(today, 90, i)};
        };
        const auto day = Timeline::compute(tasks, runsFor, {}, now, zone);
        QCOMPARE(day.tasks.size(), shown.size());
        for (qsizetype row = 0; row < shown.size(); ++row) {
            const int i = shown.at(row);
            const Timeline::TaskRow &got = day.tasks.at(row);
            QCOMPARE(got.task.name, u"t" + QString::number(i));
            QCOMPARE(got.runs.size(), 1);
            QCOMPARE(got.runs.first().exitCode, i);
            QCOMPARE(got.runs.first().startMinute, (i * 7) % 1440);
            QCOMPARE(got.runs.first().minutes, 1.5);
            QCOMPARE(ran(got), QList<bool>{true});
        }
    }

    // 30 March 2025: Berlin skips from 2:00 to 3:00. Minutes are wall-clock minutes of the day.
    void springForward_usesWallClockMinutes()
    {
        const auto now = berlin(2025, 3, 30, 12, 0);
        QCOMPARE(now.offsetFromUtc(), 7200);
        const auto hourly = occurrencesOn(TaskSchedule::interval(60), now);
        QCOMPARE(hourly.size(), 24); // 1440 minutes of numbers though the day has 23 hours
        const auto task = makeTask(u"t"_s, TaskSchedule::daily({TimeOfDay{0, 30}, TimeOfDay{2, 30}, TimeOfDay{3, 30}}));
        const QList<TaskRunRecord> runs{
            run(utc(2025, 3, 29, 23, 30), 60), // 00:30 CET
            run(utc(2025, 3, 30, 1, 30), 60),  // 03:30 CEST, one real hour after 01:30 CET
        };
        const auto day = computeWithRuns(task, runs, now);
        const auto &row = day.tasks.first();
        QCOMPARE(day.date, QDate(2025, 3, 30));
        QCOMPARE(row.runs.at(0).startMinute, 30);
        QCOMPARE(row.runs.at(1).startMinute, 210);
        // 2:30 never happens on this day: it stays on the ruler and nothing marks it.
        QCOMPARE(ran(row), (QList<bool>{true, false, true}));
    }

    // 26 October 2025: Berlin goes from 3:00 back to 2:00; both passes of 2:30 are minute 150.
    void fallBack_mapsBothPassesToTheSameMinutes()
    {
        const auto task = makeTask(u"t"_s, TaskSchedule::daily({TimeOfDay{2, 30}, TimeOfDay{23, 0}}));
        const QList<TaskRunRecord> runs{
            run(utc(2025, 10, 26, 0, 30), 60), // 02:30 CEST
            run(utc(2025, 10, 26, 1, 30), 60), // 02:30 CET
            run(utc(2025, 10, 26, 22, 0), 60), // 23:00 CET
        };
        const auto day = computeWithRuns(task, runs, berlin(2025, 10, 26, 23, 30));
        const auto &row = day.tasks.first();
        QCOMPARE(row.runs.size(), 3);
        QCOMPARE(row.runs.at(0).startMinute, 150);
        QCOMPARE(row.runs.at(1).startMinute, 150);
        QCOMPARE(row.runs.at(2).startMinute, 1380);
        QCOMPARE(ran(row), (QList<bool>{true, true}));
        QCOMPARE(day.currentHour, 23);
    }

    void systemJobs_filteredInReceivedOrder()
    {
        LaunchdJob own = job(u"com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
        own.startInterval = 3600;
        LaunchdJob ownOther = job(u"com.moxley.helper"_s); // only the narrower prefix is dropped here
        ownOther.startInterval = 3600;
        LaunchdJob disabled = job(u"com.example.disabled"_s);
        disabled.startInterval = 3600;
        disabled.disabled = true;
        LaunchdJob timeless = job(u"com.example.keepalive"_s);
        timeless.keepAlive = true;
        timeless.runAtLoad = true;
        LaunchdJob calendar = job(u"com.apple.backupd.auto"_s);
        calendar.startCalendarInterval = QMap<QString, qint64>{{u"Weekday"_s, 1}, {u"Hour"_s, 9}};
        LaunchdJob hourly = job(u"periodic"_s);
        hourly.startInterval = 3600;

        const auto day = Timeline::compute({}, {}, {own, calendar, disabled, ownOther, timeless, hourly},
                                           berlin(2025, 3, 1, 12, 0), kBerlin);
        QCOMPARE(day.systemJobs.size(), 3);
        QCOMPARE(day.systemJobs.at(0).job.label, calendar.label);
        QCOMPARE(day.systemJobs.at(0).name, u"backupd.auto"_s);
        QCOMPARE(day.systemJobs.at(0).marks, QList<int>{540}); // every day, whatever the weekday
        QCOMPARE(day.systemJobs.at(1).name, u"moxley.helper"_s);
        QCOMPARE(day.systemJobs.at(2).name, u"periodic"_s);
        QCOMPARE(day.systemJobs.at(2).marks.size(), 24);
        QCOMPARE(day.systemJobs.at(2).marks.at(23), 1380);
    }

    void systemJobMarks_data()
    {
        QTest::addColumn<qint64>("interval"); // -1: none
        QTest::addColumn<QVariantMap>("calendar");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<int>("second");
        const QVariantMap none;
        QTest::newRow("interval 30: no marks") << qint64(30) << none << 0 << -1 << -1 << -1;
        QTest::newRow("interval 59: no marks") << qint64(59) << none << 0 << -1 << -1 << -1;
        QTest::newRow("interval 60") << qint64(60) << none << 1440 << 0 << 1439 << 1;
        QTest::newRow("interval 90: every minute") << qint64(90) << none << 1440 << 0 << 1439 << 1;
        QTest::newRow("interval 150") << qint64(150) << none << 720 << 0 << 1438 << 2;
        QTest::newRow("interval 86400") << qint64(86400) << none << 1 << 0 << 0 << -1;
        QTest::newRow("interval wins over calendar")
            << qint64(30) << QVariantMap{{u"Hour"_s, 9}} << 0 << -1 << -1 << -1;
        QTest::newRow("hour 9, weekday 1")
            << qint64(-1) << QVariantMap{{u"Weekday"_s, 1}, {u"Hour"_s, 9}} << 1 << 540 << 540 << -1;
        QTest::newRow("minute only") << qint64(-1) << QVariantMap{{u"Minute"_s, 30}} << 1 << 30 << 30 << -1;
        QTest::newRow("empty calendar") << qint64(-1) << QVariantMap{{u"Day"_s, 15}} << 1 << 0 << 0 << -1;
        QTest::newRow("hour and minute") << qint64(-1)
                                         << QVariantMap{{u"Hour"_s, 23}, {u"Minute"_s, 45}, {u"Month"_s, 2}} << 1
                                         << 1425 << 1425 << -1;
    }

    void systemJobMarks()
    {
        QFETCH(qint64, interval);
        QFETCH(QVariantMap, calendar);
        QFETCH(int, count);
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(int, second);
        LaunchdJob subject = job(u"com.example.job"_s);
        if (interval >= 0) {
            subject.startInterval = interval;
        }
        if (!calendar.isEmpty()) {
            QMap<QString, qint64> map;
            for (auto it = calendar.cbegin(); it != calendar.cend(); ++it) {
                map.insert(it.key(), it.value().toLongLong());
            }
            subject.startCalendarInterval = map;
        }
        const auto day = Timeline::compute({}, {}, {subject}, berlin(2025, 3, 1, 12, 0), kBerlin);
        QCOMPARE(day.systemJobs.size(), 1); // placed even when it gets no marks
        const QList<int> marks = day.systemJobs.first().marks;
        QCOMPARE(marks.size(), count);
        if (count > 0) {
            QCOMPARE(marks.first(), first);
            QCOMPARE(marks.last(), last);
        }
        if (second >= 0) {
            QCOMPARE(marks.at(1), second);
        }
    }

    void systemJobNames_lastTwoParts_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("name");
        QTest::newRow("four parts") << u"com.apple.backupd.auto"_s << u"backupd.auto"_s;
        QTest::newRow("three parts") << u"org.cups.cupsd"_s << u"cups.cupsd"_s;
        QTest::newRow("two parts") << u"a.b"_s << u"a.b"_s;
        QTest::newRow("one part") << u"periodic"_s << u"periodic"_s;
        QTest::newRow("trailing dot") << u"com.example."_s << u"example."_s;
        QTest::newRow("leading dot") << u".hidden"_s << u".hidden"_s;
        QTest::newRow("empty") << QString() << QString();
    }

    void systemJobNames_lastTwoParts()
    {
        QFETCH(QString, label);
        QFETCH(QString, name);
        LaunchdJob subject = job(label);
        subject.startInterval = 3600;
        const auto day = Timeline::compute({}, {}, {subject}, berlin(2025, 3, 1, 12, 0), kBerlin);
        QCOMPARE(day.systemJobs.first().name, name);
    }

    // The tasks file reader refuses it; built another way, it is drawn with no marks, no abort.
    void intervalZero_noMarksNoAbort()
    {
        QProcess probe;
        probe.start(QCoreApplication::applicationFilePath(), {u"--probe-interval-zero"_s});
        QVERIFY(probe.waitForFinished(60000));
        QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
        QCOMPARE(probe.exitCode(), 0);
    }
};

int main(int argc, char *argv[])
{
    if (argc == 2 && std::strcmp(argv[1], "--probe-interval-zero") == 0) {
        Timeline::compute({makeTask(QStringLiteral("zero"), TaskSchedule::interval(0))}, {}, {},
                          QDateTime::currentDateTimeUtc(), QTimeZone::utc());
        return 0;
    }
    QCoreApplication app(argc, argv);
    DayTimelineTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_day_timeline.moc"
