#include "model/NextRuns.h"
#include "systemd/TimerCalendar.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QDateTime utc(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone::utc());
}

struct Analysis {
    int exitCode = -1;
    QByteArray output;
    QStringList normalizedForms;
    QList<QDateTime> elapses; // every expression's iterations together, sorted, each once
};

// `systemd-analyze calendar` on the expressions, from `base`, with TZ set to `zone`.
Analysis analyze(const QStringList &expressions, const QDateTime &base, int iterations, const QByteArray &zone)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TZ"_s, QString::fromUtf8(zone));
    environment.insert(u"SYSTEMD_COLORS"_s, u"0"_s);
    process.setProcessEnvironment(environment);
    QStringList arguments{u"calendar"_s, u"--iterations="_s + QString::number(iterations),
                          u"--base-time=@"_s + QString::number(base.toSecsSinceEpoch())};
    arguments += expressions;
    process.start(u"systemd-analyze"_s, arguments);
    Analysis result;
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit) {
        return result;
    }
    result.exitCode = process.exitCode();
    result.output = process.readAllStandardOutput() + process.readAllStandardError();
    // "    Next elapse: Sun 2026-03-29 03:00:00 CEST" / "       Iter. #2: ..." (from systemd 257 "Iteration #2:"), each
    // followed by "       (in UTC): Sun 2026-03-29 01:00:00 UTC" (the instant without any zone guessing) unless the
    // elapse itself is already in UTC.
    static const QRegularExpression normalized(u"^\\s*Normalized form: (.*)$"_s);
    static const QRegularExpression elapse(
        u"^\\s*(Next elapse|Iter\\. #\\d+|Iteration #\\d+|\\(in UTC\\)): \\w+ (\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}) (\\S+)$"_s);
    for (const QString &line : QString::fromUtf8(result.output).split(u'\n')) {
        if (const auto match = normalized.match(line); match.hasMatch()) {
            result.normalizedForms.append(match.captured(1));
        } else if (const auto match = elapse.match(line); match.hasMatch() && match.captured(3) == u"UTC"_s) {
            QDateTime instant = QDateTime::fromString(match.captured(2), u"yyyy-MM-dd HH:mm:ss"_s);
            instant.setTimeZone(QTimeZone::utc());
            result.elapses.append(instant);
        }
    }
    std::sort(result.elapses.begin(), result.elapses.end());
    result.elapses.erase(std::unique(result.elapses.begin(), result.elapses.end()), result.elapses.end());
    return result;
}

QStringList texts(const QList<QDateTime> &instants)
{
    QStringList out;
    for (const QDateTime &instant : instants) {
        out.append(instant.toUTC().toString(Qt::ISODate));
    }
    return out;
}

} // namespace

class TimerCalendarTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty()) {
            QFAIL("systemd-analyze is missing: scripts/install-deps.sh installs the systemd package");
        }
    }

    void exactExpressions_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("daily") << TaskSchedule::daily({{7, 0}}) << QStringList{u"*-*-* 07:00:00"_s};
        QTest::newRow("daily times sorted, repeats once") << TaskSchedule::daily({{18, 30}, {7, 5}, {18, 30}})
                                                          << QStringList{u"*-*-* 07:05:00"_s, u"*-*-* 18:30:00"_s};
        QTest::newRow("weekly monday first")
            << TaskSchedule::weekly({6, 2}, {{9, 0}}) << QStringList{u"Mon,Fri *-*-* 09:00:00"_s};
        QTest::newRow("weekly every day is daily")
            << TaskSchedule::weekly({7, 6, 5, 4, 3, 2, 1}, {{9, 0}}) << QStringList{u"*-*-* 09:00:00"_s};
        QTest::newRow("weekly sunday last")
            << TaskSchedule::weekly({1, 7, 4}, {{9, 0}}) << QStringList{u"Wed,Sat,Sun *-*-* 09:00:00"_s};
        QTest::newRow("monthly 31") << TaskSchedule::monthly(31, {{7, 0}}) << QStringList{u"*-*-31 07:00:00"_s};
        QTest::newRow("monthly 5") << TaskSchedule::monthly(5, {{0, 0}}) << QStringList{u"*-*-05 00:00:00"_s};
        QTest::newRow("last day") << TaskSchedule::monthlyLastDay({{7, 0}}) << QStringList{u"*-*~01 07:00:00"_s};
        QTest::newRow("2nd tuesday") << TaskSchedule::monthlyNthWeekday(2, 3, {{7, 0}})
                                     << QStringList{u"Tue *-*-08..14 07:00:00"_s};
        QTest::newRow("1st sunday") << TaskSchedule::monthlyNthWeekday(1, 1, {{23, 59}})
                                    << QStringList{u"Sun *-*-01..07 23:59:00"_s};
        QTest::newRow("4th friday") << TaskSchedule::monthlyNthWeekday(4, 6, {{18, 0}})
                                    << QStringList{u"Fri *-*-22..28 18:00:00"_s};
        QTest::newRow("interval") << TaskSchedule::interval(15) << QStringList{};
        QTest::newRow("run at load") << TaskSchedule::runAtLoad() << QStringList{};
        QTest::newRow("no times") << TaskSchedule::daily({}) << QStringList{};
        QTest::newRow("no weekdays") << TaskSchedule::weekly({}, {{9, 0}}) << QStringList{};
        QTest::newRow("weekday out of range left out")
            << TaskSchedule::weekly({0, 2, 8}, {{9, 0}}) << QStringList{u"Mon *-*-* 09:00:00"_s};
        QTest::newRow("time out of range left out")
            << TaskSchedule::daily({{24, 0}, {6, 60}, {6, 0}}) << QStringList{u"*-*-* 06:00:00"_s};
        QTest::newRow("day 32") << TaskSchedule::monthly(32, {{7, 0}}) << QStringList{};
    }

    void exactExpressions()
    {
        QFETCH(TaskSchedule, schedule);
        QFETCH(QStringList, expected);
        QCOMPARE(TimerCalendar::onCalendar(schedule), expected);
    }

    void nextRuns_equalSystemd_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::addColumn<QDateTime>("base");
        QTest::addColumn<int>("count");
        QTest::addColumn<QByteArray>("zone");
        const auto row = [&](const char *name, TaskSchedule schedule, QDateTime base, int count,
                             QByteArray zone = "Europe/Berlin") {
            QTest::newRow(name) << schedule << base << count << zone;
        };
        row("daily one time", TaskSchedule::daily({{7, 0}}), utc(2026, 1, 10, 6, 59), 5);
        row("daily three times", TaskSchedule::daily({{18, 30}, {0, 0}, {23, 59}}), utc(2026, 2, 27, 12, 0), 10);
        row("daily base on a due time", TaskSchedule::daily({{7, 0}}), utc(2026, 1, 10, 6, 0), 3);
        row("weekly mon fri", TaskSchedule::weekly({2, 6}, {{9, 0}, {17, 15}}), utc(2026, 5, 1, 8, 0), 12);
        row("weekly weekend", TaskSchedule::weekly({1, 7}, {{9, 0}}), utc(2026, 12, 26, 20, 0), 8);
        row("weekly every day", TaskSchedule::weekly({1, 2, 3, 4, 5, 6, 7}, {{12, 0}}), utc(2026, 6, 3, 0, 0), 9);
        row("monthly 31 skips short months", TaskSchedule::monthly(31, {{7, 0}}), utc(2026, 1, 1, 0, 0), 12);
        row("monthly 31 a thousand runs", TaskSchedule::monthly(31, {{7, 0}}), utc(2026, 1, 1, 0, 0), 1000);
        row("monthly 30 skips february", TaskSchedule::monthly(30, {{7, 0}, {19, 0}}), utc(2027, 1, 15, 0, 0), 8);
        row("monthly 29 leap years only in february", TaskSchedule::monthly(29, {{7, 0}}), utc(2027, 1, 1, 0, 0), 30);
        row("monthly 1", TaskSchedule::monthly(1, {{0, 0}}), utc(2026, 12, 31, 23, 30), 4);
        row("last day non-leap february", TaskSchedule::monthlyLastDay({{7, 0}}), utc(2027, 1, 15, 0, 0), 6);
        row("last day leap february", TaskSchedule::monthlyLastDay({{7, 0}, {22, 30}}), utc(2028, 1, 15, 0, 0), 10);
        row("last day century", TaskSchedule::monthlyLastDay({{12, 0}}), utc(2100, 1, 15, 0, 0), 3);
        row("1st monday", TaskSchedule::monthlyNthWeekday(1, 2, {{8, 0}}), utc(2026, 1, 1, 0, 0), 12);
        row("2nd tuesday", TaskSchedule::monthlyNthWeekday(2, 3, {{7, 0}, {19, 0}}), utc(2026, 3, 1, 0, 0), 12);
        row("3rd wednesday", TaskSchedule::monthlyNthWeekday(3, 4, {{7, 0}}), utc(2026, 3, 1, 0, 0), 6);
        row("4th friday, never a 5th", TaskSchedule::monthlyNthWeekday(4, 6, {{18, 0}}), utc(2026, 1, 1, 0, 0), 24);
        row("4th sunday", TaskSchedule::monthlyNthWeekday(4, 1, {{2, 30}}), utc(2026, 1, 1, 0, 0), 24);
        row("5th saturday", TaskSchedule::monthlyNthWeekday(5, 7, {{10, 0}}), utc(2026, 1, 1, 0, 0), 6);
        row("spring gap daily 2:30", TaskSchedule::daily({{2, 30}}), utc(2026, 3, 27, 12, 0), 4);
        row("spring gap 2:00 3:00 1:59", TaskSchedule::daily({{1, 59}, {2, 0}, {3, 0}}), utc(2026, 3, 28, 12, 0), 9);
        row("spring gap weekly sunday", TaskSchedule::weekly({1}, {{2, 15}, {3, 15}}), utc(2026, 3, 22, 12, 0), 5);
        row("spring gap last sunday", TaskSchedule::monthlyNthWeekday(4, 1, {{2, 30}}), utc(2027, 3, 1, 0, 0), 3);
        row("autumn daily from the day before", TaskSchedule::daily({{2, 30}}), utc(2026, 10, 24, 12, 0), 4);
        row("autumn base in first 2 o'clock hour", TaskSchedule::daily({{2, 0}, {2, 30}, {2, 50}, {3, 0}}),
            utc(2026, 10, 25, 0, 10), 8);
        row("autumn base after first 2:30", TaskSchedule::daily({{2, 30}, {2, 50}}), utc(2026, 10, 25, 0, 40), 4);
        row("autumn base in repeated hour", TaskSchedule::daily({{2, 0}, {2, 30}, {2, 50}}), utc(2026, 10, 25, 1, 10),
            6);
        row("autumn base late in repeated hour", TaskSchedule::daily({{2, 30}, {2, 50}}), utc(2026, 10, 25, 1, 40), 4);
        row("autumn weekly sunday", TaskSchedule::weekly({1}, {{1, 30}, {2, 30}, {3, 30}}), utc(2026, 10, 18, 12, 0),
            6);
        row("new york spring", TaskSchedule::daily({{2, 30}, {3, 0}}), utc(2026, 3, 7, 12, 0), 6, "America/New_York");
        row("new york autumn", TaskSchedule::daily({{1, 30}}), utc(2026, 10, 31, 12, 0), 4, "America/New_York");
        row("lord howe half hour change", TaskSchedule::daily({{1, 45}, {2, 15}}), utc(2026, 4, 3, 0, 0), 8,
            "Australia/Lord_Howe");
        row("utc", TaskSchedule::monthlyLastDay({{23, 59}}), utc(2028, 2, 28, 23, 59), 3, "UTC");
        row("kolkata", TaskSchedule::weekly({4}, {{0, 0}}), utc(2026, 6, 1, 0, 0), 4, "Asia/Kolkata");
    }

    void nextRuns_equalSystemd()
    {
        QFETCH(TaskSchedule, schedule);
        QFETCH(QDateTime, base);
        QFETCH(int, count);
        QFETCH(QByteArray, zone);
        const QStringList expressions = TimerCalendar::onCalendar(schedule);
        QVERIFY(!expressions.isEmpty());
        const Analysis analysis = analyze(expressions, base, count, zone);
        QVERIFY2(analysis.exitCode == 0, analysis.output.constData());
        // Our expressions are already in systemd's own normal form.
        QCOMPARE(analysis.normalizedForms, expressions);
        QVERIFY2(analysis.elapses.size() >= count, analysis.output.constData());
        const QList<QDateTime> expected = analysis.elapses.mid(0, count);
        const QList<QDateTime> actual = nextRuns(schedule, base, count, QTimeZone(zone));
        QCOMPARE(texts(actual), texts(expected));
    }

    void runsAreInTheZoneGiven()
    {
        const QTimeZone berlin("Europe/Berlin");
        const QList<QDateTime> runs = nextRuns(TaskSchedule::daily({{7, 0}}), utc(2026, 7, 1, 0, 0), 1, berlin);
        QCOMPARE(runs.size(), 1);
        QCOMPARE(runs.first().toTimeZone(berlin).toString(u"yyyy-MM-dd HH:mm"_s), u"2026-07-01 07:00"_s);
        QCOMPARE(runs.first(), utc(2026, 7, 1, 5, 0));
    }

    void everyKindsExpressionIsAccepted_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::newRow("daily") << TaskSchedule::daily({{0, 0}, {23, 59}});
        QTest::newRow("weekly") << TaskSchedule::weekly({1, 2, 3, 4, 5, 6, 7}, {{12, 1}});
        QTest::newRow("monthly") << TaskSchedule::monthly(1, {{1, 1}});
        QTest::newRow("last day") << TaskSchedule::monthlyLastDay({{9, 9}});
        for (int nth = 1; nth <= 5; ++nth) {
            for (int weekday = 1; weekday <= 7; ++weekday) {
                QTest::addRow("nth %d weekday %d", nth, weekday)
                    << TaskSchedule::monthlyNthWeekday(nth, weekday, {{6, 0}});
            }
        }
    }

    void everyKindsExpressionIsAccepted()
    {
        QFETCH(TaskSchedule, schedule);
        const Analysis analysis =
            analyze(TimerCalendar::onCalendar(schedule), utc(2026, 1, 1, 0, 0), 1, "Europe/Berlin");
        QVERIFY2(analysis.exitCode == 0, analysis.output.constData());
        QCOMPARE(analysis.normalizedForms, TimerCalendar::onCalendar(schedule));
    }

    void brokenExpression_isRejectedBySystemd()
    {
        // The check above can fail: systemd-analyze does reject what it cannot read.
        const Analysis analysis = analyze({u"*-*-32 07:00:00"_s}, utc(2026, 1, 1, 0, 0), 1, "Europe/Berlin");
        QVERIFY(analysis.exitCode != 0);
    }
};

QTEST_GUILESS_MAIN(TimerCalendarTest)
#include "test_timer_calendar.moc"
