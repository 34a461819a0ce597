#include "model/NextRuns.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QTimeZone kBerlin("Europe/Berlin");

QDateTime berlin(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), kBerlin);
}

QDateTime utc(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone::utc());
}

// Local wall-clock texts with the offset, so that the two 2:30s of an autumn night differ.
QStringList local(const QList<QDateTime> &runs)
{
    QStringList out;
    for (const QDateTime &run : runs) {
        out.append(run.toTimeZone(kBerlin).toString(u"yyyy-MM-dd HH:mm t"_s));
    }
    return out;
}

} // namespace

class NextRunsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(kBerlin.isValid()); }

    void calendarKinds_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::addColumn<QDateTime>("after");
        QTest::addColumn<int>("count");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("daily, times in order of the day")
            << TaskSchedule::daily({{18, 30}, {7, 0}}) << berlin(2026, 1, 10, 7, 0) << 3
            << QStringList{u"2026-01-10 18:30 CET"_s, u"2026-01-11 07:00 CET"_s, u"2026-01-11 18:30 CET"_s};
        QTest::newRow("weekly sunday and monday")
            << TaskSchedule::weekly({2, 1}, {{9, 0}}) << berlin(2026, 1, 1, 0, 0) << 3
            << QStringList{u"2026-01-04 09:00 CET"_s, u"2026-01-05 09:00 CET"_s, u"2026-01-11 09:00 CET"_s};
        QTest::newRow("monthly 31 skips february and april")
            << TaskSchedule::monthly(31, {{7, 0}}) << berlin(2026, 1, 31, 7, 0) << 3
            << QStringList{u"2026-03-31 07:00 CEST"_s, u"2026-05-31 07:00 CEST"_s, u"2026-07-31 07:00 CEST"_s};
        QTest::newRow("monthly 29 in a leap february")
            << TaskSchedule::monthly(29, {{7, 0}}) << berlin(2028, 1, 30, 0, 0) << 2
            << QStringList{u"2028-02-29 07:00 CET"_s, u"2028-03-29 07:00 CEST"_s};
        QTest::newRow("last day, february of a leap year")
            << TaskSchedule::monthlyLastDay({{7, 0}}) << berlin(2028, 1, 31, 8, 0) << 3
            << QStringList{u"2028-02-29 07:00 CET"_s, u"2028-03-31 07:00 CEST"_s, u"2028-04-30 07:00 CEST"_s};
        QTest::newRow("last day, february of a common year")
            << TaskSchedule::monthlyLastDay({{7, 0}}) << berlin(2027, 2, 1, 0, 0) << 1
            << QStringList{u"2027-02-28 07:00 CET"_s};
        QTest::newRow("2nd tuesday is on days 8 to 14")
            << TaskSchedule::monthlyNthWeekday(2, 3, {{7, 0}}) << berlin(2026, 9, 1, 0, 0) << 3
            << QStringList{u"2026-09-08 07:00 CEST"_s, u"2026-10-13 07:00 CEST"_s, u"2026-11-10 07:00 CET"_s};
        QTest::newRow("4th friday never falls in a 5th week")
            << TaskSchedule::monthlyNthWeekday(4, 6, {{18, 0}}) << berlin(2026, 5, 1, 0, 0) << 2
            << QStringList{u"2026-05-22 18:00 CEST"_s, u"2026-06-26 18:00 CEST"_s};
        QTest::newRow("spring forward: 2:30 does not exist that night")
            << TaskSchedule::daily({{2, 30}}) << berlin(2026, 3, 28, 12, 0) << 2
            << QStringList{u"2026-03-30 02:30 CEST"_s, u"2026-03-31 02:30 CEST"_s};
        QTest::newRow("autumn: the repeated 2:30 fires once, the first time")
            << TaskSchedule::daily({{2, 30}}) << berlin(2026, 10, 24, 12, 0) << 2
            << QStringList{u"2026-10-25 02:30 CEST"_s, u"2026-10-26 02:30 CET"_s};
        QTest::newRow("autumn: from inside the repeated hour, the second 2:30")
            << TaskSchedule::daily({{2, 30}}) << utc(2026, 10, 25, 1, 10) << 2
            << QStringList{u"2026-10-25 02:30 CET"_s, u"2026-10-26 02:30 CET"_s};
        QTest::newRow("autumn: a wall-clock time already passed does not come again")
            << TaskSchedule::daily({{2, 30}}) << utc(2026, 10, 25, 0, 40) << 1
            << QStringList{u"2026-10-26 02:30 CET"_s};
    }

    void calendarKinds()
    {
        QFETCH(TaskSchedule, schedule);
        QFETCH(QDateTime, after);
        QFETCH(int, count);
        QFETCH(QStringList, expected);
        QCOMPARE(local(nextRuns(schedule, after, count, kBerlin)), expected);
    }

    void strictlyAfter_aDueTimeItselfIsNotNext()
    {
        const TaskSchedule schedule = TaskSchedule::daily({{7, 0}});
        QCOMPARE(nextRuns(schedule, berlin(2026, 1, 10, 7, 0), 1, kBerlin).first(), berlin(2026, 1, 11, 7, 0));
        QCOMPARE(nextRuns(schedule, berlin(2026, 1, 10, 7, 0).addMSecs(-1), 1, kBerlin).first(),
                 berlin(2026, 1, 10, 7, 0));
    }

    void noCalendar_givesNothing_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::newRow("interval") << TaskSchedule::interval(5);
        QTest::newRow("run at load") << TaskSchedule::runAtLoad();
        QTest::newRow("no times") << TaskSchedule::daily({});
        QTest::newRow("only impossible times") << TaskSchedule::daily({{24, 0}, {7, 60}});
        QTest::newRow("no weekdays") << TaskSchedule::weekly({}, {{9, 0}});
        QTest::newRow("weekday 0") << TaskSchedule::weekly({0, 8}, {{9, 0}});
        QTest::newRow("day 32") << TaskSchedule::monthly(32, {{9, 0}});
        QTest::newRow("day 0") << TaskSchedule::monthly(0, {{9, 0}});
        QTest::newRow("nth 6") << TaskSchedule::monthlyNthWeekday(6, 2, {{9, 0}});
        QTest::newRow("nth weekday 9") << TaskSchedule::monthlyNthWeekday(2, 9, {{9, 0}});
    }

    void noCalendar_givesNothing()
    {
        QFETCH(TaskSchedule, schedule);
        QVERIFY(nextRuns(schedule, berlin(2026, 1, 1, 0, 0), 1000, kBerlin).isEmpty());
        QVERIFY(runsBetween(schedule, berlin(2026, 1, 1, 0, 0), berlin(2027, 1, 1, 0, 0), kBerlin).isEmpty());
    }

    void monthly31_aThousandRuns_allOnThe31stInOrder()
    {
        const QList<QDateTime> runs = nextRuns(TaskSchedule::monthly(31, {{7, 0}}), berlin(2026, 1, 1, 0, 0), 1000,
                                               kBerlin);
        QCOMPARE(runs.size(), 1000);
        for (qsizetype i = 0; i < runs.size(); ++i) {
            QCOMPARE(runs[i].toTimeZone(kBerlin).date().day(), 31);
            QCOMPARE(runs[i].toTimeZone(kBerlin).time(), QTime(7, 0));
            if (i > 0) {
                QVERIFY(runs[i - 1] < runs[i]);
            }
        }
        // Seven months in twelve have a 31st: 1000 runs take 142 years and 10 months.
        QCOMPARE(runs.last().toTimeZone(kBerlin).date(), QDate(2168, 10, 31));
    }

    void zeroOrNegativeCount_givesNothing()
    {
        QVERIFY(nextRuns(TaskSchedule::daily({{7, 0}}), berlin(2026, 1, 1, 0, 0), 0, kBerlin).isEmpty());
        QVERIFY(nextRuns(TaskSchedule::daily({{7, 0}}), berlin(2026, 1, 1, 0, 0), -3, kBerlin).isEmpty());
    }

    void runsBetween_excludesFromIncludesTo()
    {
        const TaskSchedule schedule = TaskSchedule::daily({{7, 0}, {19, 0}});
        QCOMPARE(local(runsBetween(schedule, berlin(2026, 2, 27, 7, 0), berlin(2026, 3, 1, 7, 0), kBerlin)),
                 (QStringList{u"2026-02-27 19:00 CET"_s, u"2026-02-28 07:00 CET"_s, u"2026-02-28 19:00 CET"_s,
                              u"2026-03-01 07:00 CET"_s}));
        QVERIFY(runsBetween(schedule, berlin(2026, 3, 1, 7, 0), berlin(2026, 3, 1, 7, 0), kBerlin).isEmpty());
        QVERIFY(runsBetween(schedule, berlin(2026, 3, 2, 0, 0), berlin(2026, 3, 1, 0, 0), kBerlin).isEmpty());
    }

    void runsOnDate_byKind()
    {
        QVERIFY(runsOnDate(TaskSchedule::monthlyLastDay({{7, 0}}), QDate(2028, 2, 29)));
        QVERIFY(!runsOnDate(TaskSchedule::monthlyLastDay({{7, 0}}), QDate(2028, 2, 28)));
        QVERIFY(runsOnDate(TaskSchedule::monthlyNthWeekday(2, 3, {{7, 0}}), QDate(2026, 9, 8)));
        QVERIFY(!runsOnDate(TaskSchedule::monthlyNthWeekday(2, 3, {{7, 0}}), QDate(2026, 9, 1)));
        QVERIFY(runsOnDate(TaskSchedule::weekly({1}, {{7, 0}}), QDate(2026, 3, 29)));
        QVERIFY(!runsOnDate(TaskSchedule::interval(5), QDate(2026, 3, 29)));
    }
};

QTEST_GUILESS_MAIN(NextRunsTest)
#include "test_next_runs.moc"
