#include "model/ScheduledTask.h"
#include "model/Weekdays.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class ScheduleDescriptionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void descriptions_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::addColumn<QString>("expected");
        QTest::newRow("interval 1") << TaskSchedule::interval(1) << "Every 1 min";
        QTest::newRow("interval 15") << TaskSchedule::interval(15) << "Every 15 min";
        QTest::newRow("interval 120 stays in minutes") << TaskSchedule::interval(120) << "Every 120 min";
        QTest::newRow("daily sorted") << TaskSchedule::daily({{14, 0}, {9, 5}}) << "Daily at 9:05, 14:00";
        QTest::newRow("weekly") << TaskSchedule::weekly({6, 2, 4}, {{9, 0}}) << "Mon, Wed, Fri at 9:00";
        QTest::newRow("weekly sun sat") << TaskSchedule::weekly({7, 1}, {{9, 0}}) << "Sun, Sat at 9:00";
        QTest::newRow("weekly unknown day") << TaskSchedule::weekly({0}, {{9, 0}}) << "? at 9:00";
        QTest::newRow("weekly no days") << TaskSchedule::weekly({}, {{9, 0}}) << " at 9:00";
        QTest::newRow("monthly") << TaskSchedule::monthly(31, {{0, 0}}) << "Monthly on day 31 at 0:00";
        QTest::newRow("last day") << TaskSchedule::monthlyLastDay({{18, 30}, {6, 0}})
                                  << "Last day of month at 6:00, 18:30";
        QTest::newRow("nth") << TaskSchedule::monthlyNthWeekday(4, 6, {{18, 0}}) << "4th Friday at 18:00";
        QTest::newRow("nth 2nd tuesday") << TaskSchedule::monthlyNthWeekday(2, 3, {{8, 30}}) << "2nd Tuesday at 8:30";
        QTest::newRow("nth unknown weekday")
            << TaskSchedule::monthlyNthWeekday(4, 9, {{18, 0}}) << "4th Unknown at 18:00";
        QTest::newRow("run at load") << TaskSchedule::runAtLoad() << "Run at load";
        QTest::newRow("daily empty") << TaskSchedule::daily({}) << "Daily at ";
        QTest::newRow("monthly empty") << TaskSchedule::monthly(3, {}) << "Monthly on day 3 at ";
        QTest::newRow("last day empty") << TaskSchedule::monthlyLastDay({}) << "Last day of month at ";
        QTest::newRow("weekly empty both") << TaskSchedule::weekly({}, {}) << " at ";
        QTest::newRow("equal times keep both") << TaskSchedule::daily({{9, 0}, {9, 0}}) << "Daily at 9:00, 9:00";
    }

    void descriptions()
    {
        QFETCH(TaskSchedule, schedule);
        QFETCH(QString, expected);
        QCOMPARE(schedule.description(), expected);
    }

    void description_doesNotReorderStoredTimes()
    {
        const TaskSchedule schedule = TaskSchedule::daily({{14, 0}, {9, 5}});
        QCOMPARE(schedule.description(), u"Daily at 9:05, 14:00"_s);
        const QList<TimeOfDay> stored{{14, 0}, {9, 5}};
        QCOMPARE(*schedule.times(), stored);
    }

    void timeFormatting()
    {
        QCOMPARE((TimeOfDay{9, 5}).formatted(), u"9:05"_s);
        QCOMPARE((TimeOfDay{14, 0}).formatted(), u"14:00"_s);
        QCOMPARE((TimeOfDay{0, 0}).formatted(), u"0:00"_s);
        QCOMPARE((TimeOfDay{23, 59}).minuteOfDay(), 1439);
    }

    void equality_comparesListsInOrder()
    {
        QVERIFY(TaskSchedule::daily({{9, 0}, {10, 0}}) == TaskSchedule::daily({{9, 0}, {10, 0}}));
        QVERIFY(!(TaskSchedule::daily({{9, 0}, {10, 0}}) == TaskSchedule::daily({{10, 0}, {9, 0}})));
        QVERIFY(!(TaskSchedule::daily({{9, 0}}) == TaskSchedule::monthlyLastDay({{9, 0}})));
        QVERIFY(!(TaskSchedule::weekly({2, 3}, {{9, 0}}) == TaskSchedule::weekly({3, 2}, {{9, 0}})));
        QVERIFY(TaskSchedule::runAtLoad() == TaskSchedule::runAtLoad());
        QVERIFY(!(TaskSchedule::interval(5) == TaskSchedule::interval(6)));
    }

    void sortedTimes_isStable()
    {
        const QList<TimeOfDay> sorted = sortedTimes({{18, 0}, {7, 30}, {7, 30}, {0, 1}});
        const QList<TimeOfDay> expected{{0, 1}, {7, 30}, {7, 30}, {18, 0}};
        QCOMPARE(sorted, expected);
    }

    void weekdayNames()
    {
        QCOMPARE(Weekdays::abbreviation(1), u"Sun"_s);
        QCOMPARE(Weekdays::abbreviation(7), u"Sat"_s);
        QCOMPARE(Weekdays::abbreviation(8), u"?"_s);
        QCOMPARE(Weekdays::fullName(4), u"Wednesday"_s);
        QCOMPARE(Weekdays::fullName(0), u"Unknown"_s);
        QCOMPARE(Weekdays::ordinal(1), u"1st"_s);
        QCOMPARE(Weekdays::ordinal(3), u"3rd"_s);
    }

    void ids()
    {
        ScheduledTask task;
        task.id = QUuid::fromString(u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"_s);
        QCOMPARE(task.fullId(), u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
        QCOMPARE(task.shortId(), u"0a1b2c3d"_s);
        QCOMPARE(ScheduledTask::shortId(QUuid::fromString(u"00000000-0000-4000-8000-000000000001"_s)), u"00000000"_s);
        QCOMPARE(ScheduledTask::shortId(QUuid::fromString(u"FFFFFFFF-FFFF-4FFF-8FFF-FFFFFFFFFFFF"_s)), u"ffffffff"_s);
    }

    void parseId_onlyTheCanonicalSpelling()
    {
        const QUuid id = QUuid::fromString(u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"_s);
        QCOMPARE(ScheduledTask::parseId(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"), std::optional(id));
        QCOMPARE(ScheduledTask::parseId(u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"), std::optional(id));
        QCOMPARE(ScheduledTask::parseId(u"00000000-0000-0000-0000-000000000000"), std::optional(QUuid()));
        for (const char16_t *wrong :
             {u"{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}", u"0a1b2c3d4e5f607182934a4b5c6d7e8f9",
              u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8fg", u"0a1b2c3d_4e5f-6071-8293-a4b5c6d7e8f9", u"0a1b2c3d", u""}) {
            QVERIFY2(!ScheduledTask::parseId(QStringView(wrong)), qPrintable(QString::fromUtf16(wrong)));
        }
    }

    // The UTF-16 and the Latin-1 overloads against the rule itself and against QUuid's own reading:
    // every character of Latin-1, and a few beyond it, in every place of a valid id.
    void parseId_eachCharacterInEachPlace()
    {
        const QByteArray valid = "0a1B2c3D-4e5F-6071-8293-A4b5C6d7E8f9";
        const QList<char16_t> beyond{u'\u0130', u'\u0660',        u'\uFF10', u'\uFF21',
                                     u'\u2010', char16_t(0xD83D), u'\uFFFD'};
        for (qsizetype at = 0; at < valid.size(); ++at) {
            const bool hyphenPlace = at == 8 || at == 13 || at == 18 || at == 23;
            for (int c = 0; c < 256; ++c) {
                QByteArray latin1 = valid;
                latin1[at] = char(c);
                const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
                const bool takes = hyphenPlace ? c == '-' : hex;
                const QString text = QString::fromLatin1(latin1);
                const auto fromLatin1 = ScheduledTask::parseId(QLatin1StringView(latin1));
                const auto fromUtf16 = ScheduledTask::parseId(QStringView(text));
                const QByteArray where = QByteArray::number(at) + ' ' + QByteArray::number(c);
                QVERIFY2(fromLatin1.has_value() == takes, where.constData());
                QCOMPARE(fromUtf16, fromLatin1);
                if (takes) {
                    QCOMPARE(*fromLatin1, QUuid::fromString(text));
                }
            }
            for (char16_t c : beyond) {
                QString text = QString::fromLatin1(valid);
                text[at] = QChar(c);
                QVERIFY2(!ScheduledTask::parseId(QStringView(text)), qPrintable(text));
            }
        }
    }

    void parseId_randomIdsInEitherCase()
    {
        for (int round = 0; round < 2000; ++round) {
            const QUuid id = QUuid::createUuid();
            const QString lower = id.toString(QUuid::WithoutBraces);
            QString mixed = lower;
            for (qsizetype i = 0; i < mixed.size(); i += 2) {
                mixed[i] = mixed[i].toUpper();
            }
            for (const QString &text : {lower, lower.toUpper(), mixed}) {
                QCOMPARE(ScheduledTask::parseId(QStringView(text)), std::optional(id));
                QCOMPARE(ScheduledTask::parseId(QLatin1StringView(text.toLatin1())), std::optional(id));
            }
        }
        for (const char *wrong : {"", "0a1b2c3d", "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9a",
                                  "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f", "{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}"}) {
            QVERIFY2(!ScheduledTask::parseId(QLatin1StringView(wrong)), wrong);
        }
    }

    void kindNames()
    {
        QCOMPARE(TaskSchedule::interval(1).kindName(), u"interval"_s);
        QCOMPARE(TaskSchedule::monthlyNthWeekday(1, 2, {}).kindName(), u"monthlyNthWeekday"_s);
        QCOMPARE(TaskSchedule::runAtLoad().kindName(), u"runAtLoad"_s);
    }
};

QTEST_GUILESS_MAIN(ScheduleDescriptionTest)
#include "test_schedule_description.moc"
