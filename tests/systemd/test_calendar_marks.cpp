#include "ScopedTimeZone.h"
#include "systemd/CalendarMarks.h"

#include <QStandardPaths>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString minuteText(const QList<int> &minutes)
{
    QStringList parts;
    for (const int minute : minutes) {
        parts << QString::asprintf("%d:%02d", minute / 60, minute % 60);
    }
    return parts.join(u' ');
}

QList<int> every(int step)
{
    QList<int> minutes;
    for (int minute = 0; minute < 1440; minute += step) {
        minutes << minute;
    }
    return minutes;
}

} // namespace

// The marks come from systemd-analyze itself; the expected minutes here are worked out by hand.
class TestCalendarMarks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void expression_marksItsTimesOfTheDay_data();
    void expression_marksItsTimesOfTheDay();
    void everyMinute_andFinerThanAMinute_markEveryMinute();
    void daylightSavingDay_followsSystemd();
    void unreadableExpression_hasNoMarks();
    void analyzeOutput_inUtcAndElsewhere_givesUtcTimes();
};

void TestCalendarMarks::initTestCase()
{
    if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty()) {
        QFAIL("systemd-analyze is needed (scripts/install-deps.sh installs systemd)");
    }
    qunsetenv("MOXLEY_SYSROOT");
}

void TestCalendarMarks::expression_marksItsTimesOfTheDay_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("expected");
    const QDate tuesday(2026, 11, 24);
    const QDate sunday(2026, 11, 29);
    QTest::newRow("apt-daily") << "UTC"_ba << u"*-*-* 6,18:00"_s << tuesday << u"6:00 18:00"_s;
    QTest::newRow("apt-daily in Berlin") << "Europe/Berlin"_ba << u"*-*-* 6,18:00"_s << tuesday << u"6:00 18:00"_s;
    QTest::newRow("daily") << "UTC"_ba << u"daily"_s << tuesday << u"0:00"_s;
    QTest::newRow("weekly on Monday") << "UTC"_ba << u"weekly"_s << QDate(2026, 11, 23) << u"0:00"_s;
    QTest::newRow("weekly not on Tuesday") << "UTC"_ba << u"weekly"_s << tuesday << u""_s;
    QTest::newRow("e2scrub on Sunday") << "UTC"_ba << u"Sun *-*-* 03:10:00"_s << sunday << u"3:10"_s;
    QTest::newRow("e2scrub not on Tuesday") << "UTC"_ba << u"Sun *-*-* 03:10:00"_s << tuesday << u""_s;
    QTest::newRow("weekday list") << "UTC"_ba << u"Mon..Fri 08:30"_s << tuesday << u"8:30"_s;
    QTest::newRow("monthly on the 1st") << "UTC"_ba << u"monthly"_s << QDate(2026, 12, 1) << u"0:00"_s;
    QTest::newRow("last day of month") << "UTC"_ba << u"*-*~01 23:00"_s << QDate(2026, 11, 30) << u"23:00"_s;
    QTest::newRow("quarter hours 9 to 10") << "UTC"_ba << u"*-*-* 09:00/15"_s << tuesday << u"9:00 9:15 9:30 9:45"_s;
    QTest::newRow("expression's own zone") << "UTC"_ba << u"*-*-* 12:00 Europe/Berlin"_s << tuesday << u"11:00"_s;
    QTest::newRow("hourly") << "Asia/Kolkata"_ba << u"hourly"_s << tuesday << minuteText(every(60));
}

void TestCalendarMarks::expression_marksItsTimesOfTheDay()
{
    QFETCH(QByteArray, zone);
    QFETCH(QString, expression);
    QFETCH(QDate, date);
    QFETCH(QString, expected);
    const ScopedTimeZone scoped(zone);
    QCOMPARE(minuteText(CalendarMarks::minutesOn(expression, date, QTimeZone(zone))), expected);
}

void TestCalendarMarks::everyMinute_andFinerThanAMinute_markEveryMinute()
{
    const ScopedTimeZone scoped("UTC");
    QCOMPARE(CalendarMarks::minutesOn(u"minutely"_s, QDate(2026, 11, 24), QTimeZone::utc()), every(1));
    QCOMPARE(CalendarMarks::minutesOn(u"*:0/5"_s, QDate(2026, 11, 24), QTimeZone::utc()), every(5));
    // Every 20 seconds is 4320 elapses a day, more than one call of systemd-analyze lists.
    QCOMPARE(CalendarMarks::minutesOn(u"*:*:0/20"_s, QDate(2026, 11, 25), QTimeZone::utc()), every(1));
}

void TestCalendarMarks::daylightSavingDay_followsSystemd()
{
    const ScopedTimeZone scoped("Europe/Berlin");
    const QTimeZone berlin("Europe/Berlin");
    // 2026-03-29: clocks go from 2:00 to 3:00, so a 2:30 timer does not fire that day; hourly loses 2:00.
    QCOMPARE(minuteText(CalendarMarks::minutesOn(u"*-*-* 02:30"_s, QDate(2026, 3, 29), berlin)), QString());
    QCOMPARE(CalendarMarks::minutesOn(u"hourly"_s, QDate(2026, 3, 29), berlin).size(), 23);
    QCOMPARE(minuteText(CalendarMarks::minutesOn(u"*-*-* 02:30"_s, QDate(2026, 3, 30), berlin)), u"2:30"_s);
}

void TestCalendarMarks::unreadableExpression_hasNoMarks()
{
    const ScopedTimeZone scoped("UTC");
    QVERIFY(CalendarMarks::minutesOn(u"every other blue moon"_s, QDate(2026, 11, 24), QTimeZone::utc()).isEmpty());
    QVERIFY(CalendarMarks::minutesOn(u"--help"_s, QDate(2026, 11, 24), QTimeZone::utc()).isEmpty());
}

void TestCalendarMarks::analyzeOutput_inUtcAndElsewhere_givesUtcTimes()
{
    const QByteArray berlin = "  Original form: *-*-* 6,18:00\n"
                              "Normalized form: *-*-* 06,18:00:00\n"
                              "    Next elapse: Tue 2026-11-24 06:00:00 CET\n"
                              "       (in UTC): Tue 2026-11-24 05:00:00 UTC\n"
                              "       From now: 2h 12min ago\n"
                              "       Iter. #2: Tue 2026-11-24 18:00:00 CET\n"
                              "       (in UTC): Tue 2026-11-24 17:00:00 UTC\n"
                              "       From now: 9h left\n";
    const QList<QDateTime> times = CalendarMarks::parseElapses(berlin);
    QCOMPARE(times.size(), 2);
    QCOMPARE(times.at(0), QDateTime(QDate(2026, 11, 24), QTime(5, 0), QTimeZone::utc()));
    QCOMPARE(times.at(1), QDateTime(QDate(2026, 11, 24), QTime(17, 0), QTimeZone::utc()));
    const QByteArray utc = "    Next elapse: Tue 2026-11-24 00:00:00 UTC\n"
                           "       From now: 7h ago\n"
                           "       Iter. #2: Wed 2026-11-25 00:00:00 UTC\n"
                           "   Iteration #3: Thu 2026-11-26 00:00:00 UTC\n";
    QCOMPARE(CalendarMarks::parseElapses(utc),
             (QList<QDateTime>{QDateTime(QDate(2026, 11, 24), QTime(0, 0), QTimeZone::utc()),
                               QDateTime(QDate(2026, 11, 25), QTime(0, 0), QTimeZone::utc()),
                               QDateTime(QDate(2026, 11, 26), QTime(0, 0), QTimeZone::utc())}));
    QVERIFY(CalendarMarks::parseElapses("Failed to parse 'x': Invalid argument\n").isEmpty());
}

QTEST_GUILESS_MAIN(TestCalendarMarks)
#include "test_calendar_marks.moc"
