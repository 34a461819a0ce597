#include "platform/PowerHistory.h"

#include <QFile>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QTimeZone kBerlin("Europe/Berlin");

QString sample(const char *name)
{
    QFile file(QStringLiteral(MOXLEY_TEST_DATA_DIR "/power/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("missing sample %s", name);
    }
    return QString::fromUtf8(file.readAll());
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
}

QDateTime berlin(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), kBerlin);
}

PowerHistory::Interval off(const QDateTime &from, const QDateTime &to)
{
    return {PowerHistory::State::off, from, to};
}

PowerHistory::Interval asleep(const QDateTime &from, const QDateTime &to)
{
    return {PowerHistory::State::asleep, from, to};
}

QString describe(const QList<PowerHistory::Interval> &intervals)
{
    QStringList out;
    for (const PowerHistory::Interval &interval : intervals) {
        out.append((interval.state == PowerHistory::State::off ? u"off "_s : u"asleep "_s) +
                   interval.from.toUTC().toString(Qt::ISODate) + u" to "_s + interval.to.toUTC().toString(Qt::ISODate));
    }
    return out.join(u'\n');
}

} // namespace

class PowerHistoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void journalBoots_gapsBetweenBootsAreOff()
    {
        const auto intervals = PowerHistory::parseJournalBoots(sample("journal-list-boots.txt"), kBerlin);
        QCOMPARE(describe(intervals), describe({off(utc(2025, 3, 3, 22, 41, 7), utc(2025, 3, 4, 8, 3, 55)),
                                                off(utc(2025, 3, 5, 23, 12, 30), utc(2025, 3, 6, 9, 30, 2)),
                                                off(utc(2025, 3, 6, 18, 2, 44), utc(2025, 3, 8, 6, 45, 19))}));
    }

    void journalBoots_localTimesAcrossTheAutumnChange()
    {
        // The older layout, local times joined by a dash; 02:40 CEST comes before 02:20 CET.
        const auto intervals = PowerHistory::parseJournalBoots(sample("journal-list-boots-local.txt"), kBerlin);
        QCOMPARE(describe(intervals), describe({off(utc(2025, 10, 26, 0, 40), utc(2025, 10, 26, 1, 20)),
                                                off(utc(2025, 10, 26, 8, 0), utc(2025, 10, 27, 6, 10))}));
    }

    void journalSleep_suspendToResume()
    {
        const auto intervals = PowerHistory::parseJournalSleep(sample("journal-sleep.txt"));
        QCOMPARE(describe(intervals), describe({asleep(utc(2025, 3, 4, 12, 30, 11), utc(2025, 3, 4, 13, 5, 49)),
                                                asleep(utc(2025, 3, 4, 23, 59, 2), utc(2025, 3, 5, 6, 47, 30)),
                                                asleep(utc(2025, 3, 7, 21, 15), utc(2025, 3, 8, 5, 2, 10))}));
    }

    void pmsetLog_sleepToFullWake_darkWakeStaysAsleep()
    {
        const auto intervals = PowerHistory::parsePmsetLog(sample("pmset-log.txt"));
        QCOMPARE(describe(intervals), describe({asleep(utc(2025, 3, 4, 22, 58, 41), utc(2025, 3, 5, 6, 47, 5)),
                                                asleep(utc(2025, 3, 7, 21, 15), utc(2025, 3, 8, 5, 2, 10))}));
    }

    void last_shutdownToReboot_yearsFromNow()
    {
        const auto intervals = PowerHistory::parseLast(sample("last.txt"), berlin(2025, 3, 8, 12, 0), kBerlin);
        QCOMPARE(describe(intervals), describe({off(berlin(2024, 12, 31, 18, 0), berlin(2025, 1, 2, 8, 0)),
                                                off(berlin(2025, 3, 5, 23, 10), berlin(2025, 3, 6, 10, 30)),
                                                off(berlin(2025, 3, 6, 19, 5), berlin(2025, 3, 8, 7, 45))}));
    }

    void reasons()
    {
        QList<PowerHistory::Interval> intervals =
            PowerHistory::parseJournalBoots(sample("journal-list-boots.txt"), kBerlin);
        intervals += PowerHistory::parseJournalSleep(sample("journal-sleep.txt"));
        // 7 March 07:00 Berlin: between the boots of the 6th and the 8th.
        QCOMPARE(PowerHistory::reasonFor(berlin(2025, 3, 7, 7, 0), intervals), PowerHistory::Reason::off);
        // 5 March 07:00 Berlin (06:00 UTC): suspended since just before midnight.
        QCOMPARE(PowerHistory::reasonFor(berlin(2025, 3, 5, 7, 0), intervals), PowerHistory::Reason::asleep);
        QCOMPARE(PowerHistory::reasonFor(berlin(2025, 3, 5, 12, 0), intervals), PowerHistory::Reason::noRunRecorded);
        QCOMPARE(PowerHistory::reasonText(PowerHistory::Reason::off), u"the computer was off"_s);
        QCOMPARE(PowerHistory::reasonText(PowerHistory::Reason::asleep), u"the computer was asleep"_s);
        QCOMPARE(PowerHistory::reasonText(PowerHistory::Reason::noRunRecorded), u"no run recorded"_s);
    }

    void unrelatedText_givesNothing()
    {
        const QString noise = u"No journal files were found.\n-- No entries --\nrandom words\n"_s;
        QVERIFY(PowerHistory::parseJournalBoots(noise, kBerlin).isEmpty());
        QVERIFY(PowerHistory::parseJournalSleep(noise).isEmpty());
        QVERIFY(PowerHistory::parsePmsetLog(noise).isEmpty());
        QVERIFY(PowerHistory::parseLast(noise, berlin(2025, 3, 8, 12, 0), kBerlin).isEmpty());
    }
};

QTEST_GUILESS_MAIN(PowerHistoryTest)
#include "test_power_history.moc"
