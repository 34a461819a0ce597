#include "systemd/CronSchedule.h"

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

QList<int> marks(const QString &line, const QDate &date)
{
    const std::optional<CronSchedule> schedule = CronSchedule::parse(line.split(u' ', Qt::SkipEmptyParts));
    return schedule ? schedule->minutesOn(date) : QList<int>{-1};
}

} // namespace

class TestCronSchedule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cronLine_firesAtItsTimesOfTheDay_data();
    void cronLine_firesAtItsTimesOfTheDay();
    void everyMinute_gives1440Marks();
    void malformedFields_areRefusedWithTheField_data();
    void malformedFields_areRefusedWithTheField();
    void specialWords_standForTheirFields();
};

void TestCronSchedule::cronLine_firesAtItsTimesOfTheDay_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("expected");

    // 2026-11-24 is a Tuesday, 2026-11-29 a Sunday, 2026-11-01 a Sunday.
    const QDate tuesday(2026, 11, 24);
    const QDate sunday(2026, 11, 29);
    QTest::newRow("plain time") << u"30 3 * * *"_s << tuesday << u"3:30"_s;
    QTest::newRow("e2scrub weekly, on its day") << u"30 3 * * 0"_s << sunday << u"3:30"_s;
    QTest::newRow("e2scrub weekly, other day") << u"30 3 * * 0"_s << tuesday << u""_s;
    QTest::newRow("7 is Sunday too") << u"0 9 * * 7"_s << sunday << u"9:00"_s;
    QTest::newRow("day names") << u"0 9 * * Sun,tue"_s << tuesday << u"9:00"_s;
    QTest::newRow("day-name range") << u"0 9 * * mon-fri"_s << sunday << u""_s;
    QTest::newRow("list of hours") << u"0 6,18 * * *"_s << tuesday << u"6:00 18:00"_s;
    QTest::newRow("hour range") << u"15 22-23 * * *"_s << tuesday << u"22:15 23:15"_s;
    QTest::newRow("step over all") << u"*/20 1 * * *"_s << tuesday << u"1:00 1:20 1:40"_s;
    QTest::newRow("step over a range") << u"0 1-9/4 * * *"_s << tuesday << u"1:00 5:00 9:00"_s;
    QTest::newRow("start with step runs to the end") << u"50/5 23 * * *"_s << tuesday << u"23:50 23:55"_s;
    // A step as large as an int holds is taken once; counting on from the first value must not
    // run past the largest int.
    QTest::newRow("largest step") << u"1/2147483647 23 * * *"_s << tuesday << u"23:01"_s;
    QTest::newRow("largest step over a range") << u"0 5-9/2147483647 * * *"_s << tuesday << u"5:00"_s;
    QTest::newRow("month name, this month") << u"0 0 * nov *"_s << tuesday << u"0:00"_s;
    QTest::newRow("month name, other month") << u"0 0 * Dec *"_s << tuesday << u""_s;
    QTest::newRow("month number range") << u"0 0 * 10-12 *"_s << tuesday << u"0:00"_s;
    QTest::newRow("day of month") << u"5 4 24 * *"_s << tuesday << u"4:05"_s;
    QTest::newRow("other day of month") << u"5 4 25 * *"_s << tuesday << u""_s;
    // Both day fields restricted: either one matching is enough.
    QTest::newRow("day or weekday: weekday matches") << u"0 12 1 * tue"_s << tuesday << u"12:00"_s;
    QTest::newRow("day or weekday: day matches") << u"0 12 24 * mon"_s << tuesday << u"12:00"_s;
    QTest::newRow("day or weekday: neither") << u"0 12 1 * mon"_s << tuesday << u""_s;
    QTest::newRow("first Sunday by day") << u"0 12 1 * 0"_s << QDate(2026, 11, 1) << u"12:00"_s;
    // A "*" in one day field (even with a step) makes both fields count.
    QTest::newRow("star day, weekday decides") << u"0 12 * * mon"_s << tuesday << u""_s;
    QTest::newRow("stepped star day is still a star") << u"0 12 */2 * tue"_s << tuesday << u""_s;
    QTest::newRow("stepped star day and weekday both match")
        << u"0 12 */2 * tue"_s << QDate(2026, 11, 17) << u"12:00"_s;
    QTest::newRow("31st in a 30-day month") << u"0 0 31 * *"_s << QDate(2026, 11, 30) << u""_s;
    QTest::newRow("29 February in a leap year") << u"0 0 29 2 *"_s << QDate(2028, 2, 29) << u"0:00"_s;
    QTest::newRow("mixed list") << u"0,30 8,20 * * 1-5"_s << tuesday << u"8:00 8:30 20:00 20:30"_s;
}

void TestCronSchedule::cronLine_firesAtItsTimesOfTheDay()
{
    QFETCH(QString, line);
    QFETCH(QDate, date);
    QFETCH(QString, expected);
    QCOMPARE(minuteText(marks(line, date)), expected);
}

void TestCronSchedule::everyMinute_gives1440Marks()
{
    const QList<int> all = marks(u"* * * * *"_s, QDate(2026, 11, 24));
    QCOMPARE(all.size(), 1440);
    QCOMPARE(all.first(), 0);
    QCOMPARE(all.last(), 1439);
    QCOMPARE(marks(u"*/7 * * * *"_s, QDate(2026, 11, 24)).size(), 24 * 9);
}

void TestCronSchedule::malformedFields_areRefusedWithTheField_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");
    QTest::newRow("minute 60") << u"60 * * * *"_s << u"bad minute field: 60"_s;
    QTest::newRow("hour 24") << u"0 24 * * *"_s << u"bad hour field: 24"_s;
    QTest::newRow("day 0") << u"0 0 0 * *"_s << u"bad day of month field: 0"_s;
    QTest::newRow("month 13") << u"0 0 * 13 *"_s << u"bad month field: 13"_s;
    QTest::newRow("weekday 8") << u"0 0 * * 8"_s << u"bad day of week field: 8"_s;
    QTest::newRow("backwards range") << u"0 9-5 * * *"_s << u"bad hour field: 9-5"_s;
    QTest::newRow("step 0") << u"*/0 * * * *"_s << u"bad minute field: */0"_s;
    QTest::newRow("empty list item") << u"1,,2 * * * *"_s << u"bad minute field: 1,,2"_s;
    QTest::newRow("unknown name") << u"0 0 * * funday"_s << u"bad day of week field: funday"_s;
    QTest::newRow("negative") << u"-1 0 * * *"_s << u"bad minute field: -1"_s;
    QTest::newRow("four fields") << u"0 0 * *"_s << u"expected five time fields"_s;
}

void TestCronSchedule::malformedFields_areRefusedWithTheField()
{
    QFETCH(QString, line);
    QFETCH(QString, error);
    QString problem;
    QVERIFY(!CronSchedule::parse(line.split(u' '), &problem));
    QCOMPARE(problem, error);
}

void TestCronSchedule::specialWords_standForTheirFields()
{
    QCOMPARE(CronSchedule::fieldsOf(u"@daily"_s)->join(u' '), u"0 0 * * *"_s);
    QCOMPARE(CronSchedule::fieldsOf(u"@MIDNIGHT"_s)->join(u' '), u"0 0 * * *"_s);
    QCOMPARE(CronSchedule::fieldsOf(u"@hourly"_s)->join(u' '), u"0 * * * *"_s);
    QCOMPARE(CronSchedule::fieldsOf(u"@weekly"_s)->join(u' '), u"0 0 * * 0"_s);
    QCOMPARE(CronSchedule::fieldsOf(u"@monthly"_s)->join(u' '), u"0 0 1 * *"_s);
    QCOMPARE(CronSchedule::fieldsOf(u"@yearly"_s)->join(u' '), u"0 0 1 1 *"_s);
    QCOMPARE(CronSchedule::fieldsOf(u"@annually"_s)->join(u' '), u"0 0 1 1 *"_s);
    QVERIFY(!CronSchedule::fieldsOf(u"@reboot"_s));
    QVERIFY(!CronSchedule::fieldsOf(u"@sometimes"_s));
}

QTEST_GUILESS_MAIN(TestCronSchedule)
#include "test_cron_schedule.moc"
