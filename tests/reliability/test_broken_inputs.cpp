// The files in tests/data/broken, each with the exact message or the empty result it gets.
#include "LaunchdJobFields.h"
#include "Sandbox.h"
#include "launchd/LaunchdJob.h"
#include "model/TaskMigration.h"
#include "store/RunHistory.h"

#include <QDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QString dataFile(const QString &name)
{
    return QStringLiteral(MOXLEY_TEST_DATA_DIR "/broken/") + name;
}

QDateTime utc(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate).toUTC();
}

} // namespace

class BrokenInputsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tasksFile_failsWithItsMessage_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("message");
        const auto row = [](const char *file, const char *message) {
            QTest::newRow(file) << QString::fromUtf8(file) << QString::fromUtf8(message);
        };
        // Cut short: inside the first key, inside a string, inside an object, and one byte short.
        row("tasks-truncated-at-1.json", "Not valid JSON: unterminated object at line 1, column 2.");
        row("tasks-truncated-at-40.json", "Not valid JSON: unterminated string at line 4, column 20.");
        row("tasks-truncated-at-200.json", "Not valid JSON: unterminated object at line 10, column 11.");
        row("tasks-truncated-at-333.json", "Not valid JSON: unterminated object at line 14, column 2.");
        row("tasks-truncated-at-730.json", "Not valid JSON: unterminated object at line 37, column 1.");
        // A wrong type at every key.
        row("tasks-wrong-type-version.json", "Unrecognized tasks.json format");
        row("tasks-wrong-type-tasks.json", "Unrecognized tasks.json format");
        row("tasks-task-not-object.json", "Unrecognized tasks.json format");
        row("tasks-wrong-type-id.json", "Expected a string, found a number. (task 1, at id)");
        row("tasks-wrong-type-name.json", "Expected a string, found a number. (task 1, at name)");
        row("tasks-wrong-type-command.json", "Expected a string, found a boolean. (task 1, at command)");
        row("tasks-wrong-type-workingDirectory.json",
            "Expected a string, found a number. (task 1, at workingDirectory)");
        row("tasks-wrong-type-envFilePath.json", "Expected a string, found an array. (task 1, at envFilePath)");
        row("tasks-wrong-type-useLoginShell.json", "Expected a boolean, found a string. (task 1, at useLoginShell)");
        row("tasks-wrong-type-wakeBeforeRun.json", "Expected a boolean, found a number. (task 1, at wakeBeforeRun)");
        row("tasks-wrong-type-isEnabled.json", "Expected a boolean, found null. (task 1, at isEnabled)");
        row("tasks-wrong-type-schedule.json", "Expected an object, found an array. (task 1, at schedule)");
        row("tasks-wrong-type-logs.json", "Expected an array, found an object. (task 1, at logs)");
        row("tasks-wrong-type-schedule-weekdays.json",
            "Expected an array, found a string. (task 1, at schedule.weekly.weekdays)");
        row("tasks-wrong-type-schedule-times.json",
            "Expected an array, found an object. (task 1, at schedule.weekly.times)");
        row("tasks-wrong-type-time-hour.json",
            "Expected an integer, found a string. (task 1, at schedule.weekly.times[0].hour)");
        row("tasks-wrong-type-time-minute.json",
            "Expected a 32-bit integer, found 0.5. (task 1, at schedule.weekly.times[0].minute)");
        row("tasks-wrong-type-log-id.json", "Invalid UUID \"not-a-uuid\". (task 1, at logs[0].id)");
        row("tasks-wrong-type-log-timestamp.json", "Expected a number, found a string. (task 1, at logs[0].timestamp)");
        row("tasks-wrong-type-log-exitCode.json", "Expected an integer, found a string. (task 1, at logs[0].exitCode)");
        row("tasks-wrong-type-log-output.json", "Expected a string, found a number. (task 1, at logs[0].output)");
        // Huge numbers.
        row("tasks-huge-version.json", "Unrecognized tasks.json format");
        row("tasks-huge-negative-version.json", "Unknown tasks.json version: -99999999999");
        row("tasks-huge-hour.json",
            "Expected a 32-bit integer, found 1e+20. (task 1, at schedule.weekly.times[0].hour)");
        row("tasks-huge-minute.json",
            "Expected a 32-bit integer, found 4294967296. (task 1, at schedule.weekly.times[0].minute)");
        row("tasks-huge-interval.json",
            "Expected a 32-bit integer, found 2147483648. (task 1, at schedule.interval.minutes)");
        row("tasks-huge-number-literal.json", "Not valid JSON: illegal number at line 1, column 414.");
        // Not JSON at all.
        row("tasks-binary-garbage.json", "Not valid JSON: illegal value at line 1, column 2.");
        row("tasks-empty.json", "The file is empty; it is not valid JSON.");
        row("tasks-blank.json", "The file is empty; it is not valid JSON.");
        row("tasks-utf16.json", "Not valid JSON: illegal value at line 1, column 2.");
        row("tasks-nul-inside.json", "Not valid JSON: illegal number at line 1, column 26.");
    }
    void tasksFile_failsWithItsMessage()
    {
        QFETCH(QString, file);
        QFETCH(QString, message);
        const QByteArray bytes = Sandbox::readFile(dataFile(file));
        const TaskMigration::ReadResult result = TaskMigration::read(bytes);
        QVERIFY(!result.ok());
        QCOMPARE(result.error->description, message);
        QVERIFY(result.tasks.isEmpty());

        // The tool says the same, changes nothing, and exits 1.
        Sandbox sandbox;
        sandbox.writeTasksFile(bytes);
        const Sandbox::Result list = sandbox.runCli({u"list"_s});
        QCOMPARE(list.exitCode, 1);
        QCOMPARE(list.out, QByteArray());
        QCOMPARE(QString::fromUtf8(list.err), QString(u"moxley: Failed to load tasks: "_s % message % u'\n'));
        QCOMPARE(sandbox.readTasksFile(), bytes);
    }

    // Every file in the folder has its row, so a file added there cannot go untested.
    void tasksFile_everyFileIsListed()
    {
        const QStringList files = QDir(dataFile({})).entryList({u"tasks-*.json"_s}, QDir::Files);
        QCOMPARE(files.size(), 37);
    }

    void propertyList_readsAsNoJob_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("label not a string") << u"plist-label-integer.plist"_s;
        QTest::newRow("top level an array") << u"plist-top-array.plist"_s;
        QTest::newRow("XML cut short") << u"plist-truncated.plist"_s;
        QTest::newRow("binary cut short") << u"plist-binary-truncated.plist"_s;
        QTest::newRow("garbage") << u"plist-garbage.plist"_s;
        QTest::newRow("key holding U+0000") << u"plist-key-with-nul.plist"_s;
    }
    void propertyList_readsAsNoJob()
    {
        QFETCH(QString, file);
        QVERIFY(!LaunchdJob::fromFile(dataFile(file), LaunchdJob::Source::globalDaemons));
    }

    // Every value but the label of the wrong type: all of them count as absent or false.
    void propertyList_wrongTypesCountAsAbsent_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("XML") << u"plist-wrong-types.plist"_s;
        QTest::newRow("binary") << u"plist-wrong-types-binary.plist"_s;
    }
    void propertyList_wrongTypesCountAsAbsent()
    {
        QFETCH(QString, file);
        const auto job = LaunchdJob::fromFile(dataFile(file), LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->label, u"org.example.wrong"_s);
        QCOMPARE(typedFieldsSet(*job), QStringList());
        QCOMPARE(job->scheduleSummary(), u"Manual"_s);
        QCOMPARE(job->commandLine(), u"(unknown)"_s);
        QCOMPARE(job->raw.size(), 10);
    }

    // A calendar of a string hour, a real weekday and a huge day: only the integers count.
    void propertyList_calendarKeepsOnlyIntegers()
    {
        const auto job =
            LaunchdJob::fromFile(dataFile(u"plist-calendar-mixed.plist"_s), LaunchdJob::Source::userAgents);
        QVERIFY(job);
        const QMap<QString, qint64> expected{{u"Day"_s, qint64(1) << 62}, {u"Minute"_s, 5}};
        QVERIFY(job->startCalendarInterval);
        QCOMPARE(*job->startCalendarInterval, expected);
        QCOMPARE(job->scheduleSummary(), u"Day 4611686018427387904"_s);
    }

    void runsFile_keepsOnlyGoodLines()
    {
        const auto runs = [](const char *file) { return RunHistory::readRuns(dataFile(QString::fromLatin1(file))); };
        // Carriage returns stay on the exit status, so those lines fail.
        QCOMPARE(runs("runs-crlf.runs").size(), 0);
        const QList<TaskRunRecord> lastPlain = runs("runs-crlf-last-line-plain.runs");
        QCOMPARE(lastPlain.size(), 1);
        QCOMPARE(runDateTime(lastPlain.first().startedAt), utc("2025-03-02T06:00:00Z"));
        QCOMPARE(runDateTime(lastPlain.first().endedAt), utc("2025-03-02T06:00:01Z"));
        QCOMPARE(lastPlain.first().exitCode, 3);
        // NUL bytes spoil only their own lines.
        const QList<TaskRunRecord> nul = runs("runs-nul-bytes.runs");
        QCOMPARE(nul.size(), 2);
        QCOMPARE(runDateTime(nul.at(0).endedAt), utc("2025-03-01T06:00:05Z"));
        QCOMPARE(runDateTime(nul.at(1).endedAt), utc("2025-03-01T06:00:09Z"));
        // One byte that is not UTF-8 empties the whole history.
        QCOMPARE(runs("runs-not-utf8.runs").size(), 0);
        // An exit status beyond 32 bits is dropped; the smallest one is not.
        const QList<TaskRunRecord> huge = runs("runs-huge-exit.runs");
        QCOMPARE(huge.size(), 1);
        QCOMPARE(huge.first().exitCode, std::numeric_limits<qint32>::min());
        QCOMPARE(runs("runs-binary-garbage.runs").size(), 0);
    }

    void log_tailOrEmpty_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("tail");
        QTest::newRow("Latin-1") << u"log-latin1.log"_s << QString();
        QTest::newRow("cut inside a character") << u"log-truncated-utf8.log"_s << QString();
        QTest::newRow("overlong form") << u"log-overlong.log"_s << QString();
        QTest::newRow("surrogate") << u"log-surrogate.log"_s << QString();
        QTest::newRow("NUL bytes") << u"log-nul-bytes.log"_s << QString(u"one\n"_s % QChar(0) % u"two"_s % QChar(0));
        QTest::newRow("CRLF") << u"log-crlf.log"_s << u"one\r\ntwo"_s;
        QTest::newRow("byte-order marks") << u"log-bom.log"_s << QString(u"one\n"_s % QChar(0xFEFF) % u"two"_s);
    }
    void log_tailOrEmpty()
    {
        QFETCH(QString, file);
        QFETCH(QString, tail);
        QCOMPARE(RunHistory::readLogTail(dataFile(file), 100), tail);
    }
};

QTEST_GUILESS_MAIN(BrokenInputsTest)
#include "test_broken_inputs.moc"
