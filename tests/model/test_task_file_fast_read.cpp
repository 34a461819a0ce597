#include "RandomTasks.h"
#include "model/TaskFileFastRead.h"
#include "model/TaskMigration.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

// One task's file with `task` spliced in as the task object's text.
QByteArray fileWithTask(const QByteArray &task)
{
    return R"({"tasks": [)" + task + R"(], "version": 2})";
}

const char *const kDaily = R"({"daily": {"times": [{"hour": 7, "minute": 30}]}})";

QByteArray task(const QByteArray &extra = {}, const QByteArray &schedule = kDaily)
{
    return R"({"id": "0A1B2C3D-0000-4000-8000-00000000000F", "name": "Backup", "command": "rsync -a",
               "useLoginShell": true, "isEnabled": false, "logs": [], "schedule": )" +
           schedule + extra + '}';
}

} // namespace

// The quick reader of the tasks file against the full one (a JSON document, then the tasks): for
// the file as the program writes it they read the same tasks, anything else the quick one declines,
// and for no bytes at all does it read what the full reader would not.
class TaskFileFastReadTest : public QObject
{
    Q_OBJECT

    // Both readers on the same bytes; the quick one, when it reads, reads what the full one does.
    static bool agree(const QByteArray &bytes, bool *quickRead = nullptr)
    {
        const auto quick = TaskFileFastRead::read(bytes);
        const TaskMigration::ReadResult full = TaskMigration::readDocument(bytes);
        if (quickRead) {
            *quickRead = quick.has_value();
        }
        return !quick || (full.ok() && full.version == TaskMigration::kCurrentVersion && full.tasks == *quick);
    }

private Q_SLOTS:
    void asWritten_sameTasksAsTheFullReader()
    {
        QRandomGenerator random(20261124);
        const QList<ScheduledTask> tasks = RandomTasks::tasks(random, 400, 3);
        const QByteArray bytes = TaskMigration::encode(tasks);
        const auto quick = TaskFileFastRead::read(bytes);
        QVERIFY(quick);
        QCOMPARE(quick->size(), tasks.size());
        for (qsizetype i = 0; i < tasks.size(); ++i) {
            QVERIFY2(quick->at(i) == tasks.at(i), qPrintable(QString::number(i)));
        }
        QVERIFY(agree(bytes));
        QCOMPARE(TaskMigration::read(bytes).tasks, tasks);
        QCOMPARE(TaskMigration::read(bytes).version, TaskMigration::kCurrentVersion);
    }

    void handWritten_sameTasksAsTheFullReader_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("keys in another order, no whitespace") << QByteArray(
            R"({"version":2,"tasks":[{"schedule":{"interval":{"minutes":5}},"logs":[],"isEnabled":true,)"
            R"("useLoginShell":false,"command":"c","name":"n","id":"0a1b2c3d-0000-4000-8000-00000000000f"}]})");
        // An ordinary literal: moc misreads a raw string that holds a backslash before a quote.
        QTest::newRow("escapes") << fileWithTask(
            task(", \"workingDirectory\": \"a\\\"b\\\\c\\/d\\b\\f\\n\\r\\t\\u00e9\\u6f22\\ud83d\\ude42\\u0001\""));
        QTest::newRow("marks within names") << fileWithTask(task(", \"envFilePath\": \"a\\ufeffb\xEF\xBB\xBF\""));
        QTest::newRow("nulls for the optional keys")
            << fileWithTask(task(R"(, "workingDirectory": null, "envFilePath": null, "wakeBeforeRun": null)"));
        QTest::newRow("wake before run") << fileWithTask(task(R"(, "wakeBeforeRun": true)"));
        QTest::newRow("tabs and carriage returns") << QByteArray("\t{\r\n\"tasks\"\t:\r\n[]\r\n,\"version\":2}\r\n");
        QTest::newRow("past runs") << fileWithTask(task({}).replace(
            R"("logs": [])",
            R"("logs": [{"id": "0A1B2C3D-0000-4000-8000-00000000000A", "timestamp": 1.5e9, "exitCode": 1, "output": ""}])"));
        QTest::newRow("no tasks") << QByteArray(R"({"tasks": [], "version": 2})");
        QTest::newRow("minus zero") << fileWithTask(
            task({}, R"({"monthly": {"day": 1, "times": [{"hour": -0, "minute": 0}]}})"));
        QTest::newRow("every kind's limits")
            << (R"({"version": 2, "tasks": [)" + task({}, R"({"interval": {"minutes": 35791394}})") + ',' +
                task({}, R"({"weekly": {"weekdays": [1, 7], "times": [{"hour": 23, "minute": 59}]}})") + ',' +
                task({}, R"({"monthly": {"day": 31, "times": []}})") + ',' +
                task({}, R"({"monthlyLastDay": {"times": [{"minute": 0, "hour": 0}]}})") + ',' +
                task({}, R"({"monthlyNthWeekday": {"nth": 4, "weekday": 1, "times": []}})") + ',' +
                task({}, R"({"runAtLoad": {}})") + "]}");
    }

    void handWritten_sameTasksAsTheFullReader()
    {
        QFETCH(QByteArray, bytes);
        bool quickRead = false;
        QVERIFY(agree(bytes, &quickRead));
        QVERIFY(quickRead);
    }

    void declines_theFullReaderDecides_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("version 1") << ('[' + task() + ']');
        QTest::newRow("a later version") << QByteArray(R"({"tasks": [], "version": 3})");
        QTest::newRow("no version") << QByteArray(R"({"tasks": []})");
        QTest::newRow("byte-order mark") << ("\xEF\xBB\xBF" + fileWithTask(task()));
        QTest::newRow("mark beginning a name") << fileWithTask(task(", \"envFilePath\": \"\xEF\xBB\xBFx\""));
        QTest::newRow("escaped mark beginning a name") << fileWithTask(task(R"(, "envFilePath": "\ufeffx")"));
        QTest::newRow("unknown key") << fileWithTask(task(R"(, "colour": "red")"));
        QTest::newRow("repeated key") << fileWithTask(task(R"(, "name": "Other")"));
        QTest::newRow("escaped key") << fileWithTask(task(R"(, "envFile\u0050ath": "x")"));
        QTest::newRow("a past run at minus zero") << fileWithTask(task({}).replace(
            R"("logs": [])",
            R"("logs": [{"id": "0A1B2C3D-0000-4000-8000-00000000000A", "timestamp": -0, "exitCode": 1, "output": ""}])"));
        QTest::newRow("a past run without its output") << fileWithTask(task({}).replace(
            R"("logs": [])",
            R"("logs": [{"id": "0A1B2C3D-0000-4000-8000-00000000000A", "timestamp": 1, "exitCode": 1}])"));
        QTest::newRow("a fraction") << fileWithTask(task({}, R"({"interval": {"minutes": 5.0}})"));
        QTest::newRow("an exponent") << fileWithTask(task({}, R"({"interval": {"minutes": 5e1}})"));
        QTest::newRow("a leading zero") << fileWithTask(task({}, R"({"interval": {"minutes": 05}})"));
        QTest::newRow("minutes out of range") << fileWithTask(task({}, R"({"interval": {"minutes": 0}})"));
        QTest::newRow("hour out of range")
            << fileWithTask(task({}, R"({"daily": {"times": [{"hour": 24, "minute": 0}]}})"));
        QTest::newRow("nth out of range")
            << fileWithTask(task({}, R"({"monthlyNthWeekday": {"nth": 5, "weekday": 1, "times": []}})"));
        QTest::newRow("a huge number") << fileWithTask(task({}, R"({"interval": {"minutes": 123456789012345678901}})"));
        QTest::newRow("two kinds") << fileWithTask(task({}, R"({"runAtLoad": {}, "daily": {"times": []}})"));
        QTest::newRow("a key beside the kind") << fileWithTask(task({}, R"({"runAtLoad": {}, "note": 1})"));
        QTest::newRow("a key in the payload") << fileWithTask(task({}, R"({"runAtLoad": {"x": 1}})"));
        QTest::newRow("a time without its minute") << fileWithTask(task({}, R"({"daily": {"times": [{"hour": 1}]}})"));
        QTest::newRow("weekdays missing") << fileWithTask(task({}, R"({"weekly": {"times": []}})"));
        QTest::newRow("a missing required key") << fileWithTask(task().replace(R"("isEnabled": false, )", ""));
        QTest::newRow("a malformed id") << fileWithTask(task().replace("0A1B2C3D-", "0A1B2C3D"));
        QTest::newRow("a lone surrogate") << fileWithTask(task(R"(, "envFilePath": "\ud83d")"));
        QTest::newRow("invalid UTF-8") << fileWithTask(task(", \"envFilePath\": \"\xC3\x28\""));
        QTest::newRow("a raw control character") << fileWithTask(task(", \"envFilePath\": \"a\x01\""));
        QTest::newRow("a trailing comma") << QByteArray(R"({"tasks": [], "version": 2,})");
        QTest::newRow("something after the end") << QByteArray(R"({"tasks": [], "version": 2} x)");
        QTest::newRow("cut short") << fileWithTask(task()).chopped(3);
        QTest::newRow("empty") << QByteArray();
    }

    void declines_theFullReaderDecides()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!TaskFileFastRead::read(bytes));
        const TaskMigration::ReadResult read = TaskMigration::read(bytes);
        const TaskMigration::ReadResult full = TaskMigration::readDocument(bytes);
        QCOMPARE(read.tasks, full.tasks);
        QCOMPARE(read.version, full.version);
        QCOMPARE(read.error.has_value(), full.error.has_value());
        if (read.error) {
            QCOMPARE(read.error->description, full.error->description);
        }
    }

    void mutated_neverReadsOtherwiseThanTheFullReader()
    {
        QRandomGenerator random(20261125);
        const QByteArray original = TaskMigration::encode(RandomTasks::tasks(random, 6, 2));
        static const QList<QByteArray> pieces{
            " ",          "\"",   "{",       "}",     "[",    "]",       ",",       ":",       "\\",
            "/",          "-",    "0",       "7",     "24",   "60",      "-1",      "05",      "1.0",
            "1e1",        "null", "true",    "false", "\x01", "\x7f",    "\xC3",    "\xA9",    "\xE6",
            "\\n",        "\\",   "\\u00",   "é",     "🙂", "\\ud83d", "\\ude42", "\\ufeff", "\xEF\xBB\xBF",
            "9999999999", "1.5",  "-2.5e-3", "1E400", "-0",   "0.1e+2"};
        int quickReads = 0;
        int declined = 0;
        for (int round = 0; round < 10000; ++round) {
            QByteArray bytes = original;
            for (int edits = random.bounded(1, 3); edits > 0; --edits) {
                const qsizetype at = random.bounded(int(bytes.size()));
                const QByteArray &piece = pieces.at(random.bounded(int(pieces.size())));
                switch (random.bounded(3)) {
                case 0:
                    bytes.replace(at, 1, piece);
                    break;
                case 1:
                    bytes.insert(at, piece);
                    break;
                default:
                    bytes.remove(at, random.bounded(1, 4));
                    break;
                }
            }
            bool quickRead = false;
            QVERIFY2(agree(bytes, &quickRead), bytes.constData());
            (quickRead ? quickReads : declined) += 1;
        }
        // Both ways were taken often enough to mean something.
        QVERIFY2(quickReads > 500, qPrintable(QString::number(quickReads)));
        qInfo("%d quick, %d declined", quickReads, declined);
        QVERIFY2(declined > 500, qPrintable(QString::number(declined)));
    }
};

QTEST_GUILESS_MAIN(TaskFileFastReadTest)
#include "test_task_file_fast_read.moc"
