#include "RandomTasks.h"
#include "model/JsonWriter.h"
#include "model/TaskJson.h"
#include "model/TaskMigration.h"

#include <QJsonDocument>
#include <QRandomGenerator>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QJsonValue parse(const char *json)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray("[") + json + "]", &error);
    if (error.error != QJsonParseError::NoError) {
        qFatal("bad test JSON: %s", json);
    }
    return doc.array().at(0);
}

ScheduledTask sampleTask(TaskSchedule schedule)
{
    ScheduledTask task;
    task.id = QUuid::fromString(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
    task.name = QStringLiteral("Backup");
    task.command = QStringLiteral("make backup");
    task.schedule = std::move(schedule);
    return task;
}

QByteArray scheduleText(const TaskSchedule &schedule)
{
    return JsonWriter::pretty(TaskJson::toJson(schedule));
}

const char *kTaskPrefix = "{\n"
                          "  \"command\" : \"make backup\",\n"
                          "  \"id\" : \"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9\",\n"
                          "  \"isEnabled\" : true,\n"
                          "  \"logs\" : [],\n"
                          "  \"name\" : \"Backup\",\n";

} // namespace

class TaskJsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scheduleText_everyKind_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("interval") << TaskSchedule::interval(15)
                                  << QByteArray("{\n  \"interval\" : {\n    \"minutes\" : 15\n  }\n}");
        QTest::newRow("daily") << TaskSchedule::daily({{7, 0}, {18, 30}})
                               << QByteArray("{\n  \"daily\" : {\n    \"times\" : [\n      {\n        \"hour\" : 7,\n"
                                             "        \"minute\" : 0\n      },\n      {\n        \"hour\" : 18,\n"
                                             "        \"minute\" : 30\n      }\n    ]\n  }\n}");
        QTest::newRow("weekly") << TaskSchedule::weekly({2, 6}, {{8, 0}})
                                << QByteArray(
                                       "{\n  \"weekly\" : {\n    \"times\" : [\n      {\n        \"hour\" : 8,\n"
                                       "        \"minute\" : 0\n      }\n    ],\n    \"weekdays\" : [\n      2,\n"
                                       "      6\n    ]\n  }\n}");
        QTest::newRow("monthly") << TaskSchedule::monthly(15, {{6, 5}})
                                 << QByteArray("{\n  \"monthly\" : {\n    \"day\" : 15,\n    \"times\" : [\n      {\n"
                                               "        \"hour\" : 6,\n        \"minute\" : 5\n      }\n    ]\n  }\n}");
        QTest::newRow("last day") << TaskSchedule::monthlyLastDay({})
                                  << QByteArray("{\n  \"monthlyLastDay\" : {\n    \"times\" : []\n  }\n}");
        QTest::newRow("nth weekday")
            << TaskSchedule::monthlyNthWeekday(2, 3, {{8, 30}})
            << QByteArray(
                   "{\n  \"monthlyNthWeekday\" : {\n    \"nth\" : 2,\n    \"times\" : [\n      {\n"
                   "        \"hour\" : 8,\n        \"minute\" : 30\n      }\n    ],\n    \"weekday\" : 3\n  }\n}");
        QTest::newRow("run at load") << TaskSchedule::runAtLoad() << QByteArray("{\n  \"runAtLoad\" : {}\n}");
        QTest::newRow("weekly no days")
            << TaskSchedule::weekly({}, {})
            << QByteArray("{\n  \"weekly\" : {\n    \"times\" : [],\n    \"weekdays\" : []\n  }\n}");
    }

    void scheduleText_everyKind()
    {
        QFETCH(TaskSchedule, schedule);
        QFETCH(QByteArray, expected);
        QCOMPARE(scheduleText(schedule), expected);
        TaskJson::DecodeError error;
        const auto back = TaskJson::scheduleFromJson(QJsonDocument::fromJson(expected).object(), &error);
        QVERIFY2(back.has_value(), qPrintable(error.description()));
        QVERIFY(*back == schedule);
    }

    void taskText_exactLayout()
    {
        ScheduledTask task = sampleTask(TaskSchedule::runAtLoad());
        task.workingDirectory = QStringLiteral("/Users/a/it's \"here\"");
        const QByteArray expected = QByteArray(kTaskPrefix) +
                                    "  \"schedule\" : {\n"
                                    "    \"runAtLoad\" : {}\n"
                                    "  },\n"
                                    "  \"useLoginShell\" : true,\n"
                                    "  \"wakeBeforeRun\" : false,\n"
                                    "  \"workingDirectory\" : \"/Users/a/it's \\\"here\\\"\"\n"
                                    "}";
        QCOMPARE(JsonWriter::pretty(TaskJson::toJson(task)), expected);
    }

    void envelope_exactLayout()
    {
        QCOMPARE(TaskMigration::encode({}), QByteArray("{\n  \"tasks\" : [],\n  \"version\" : 2\n}"));
        ScheduledTask task = sampleTask(TaskSchedule::interval(5));
        task.envFilePath = QStringLiteral("/e/.env");
        task.isEnabled = false;
        task.useLoginShell = false;
        task.wakeBeforeRun = true;
        TaskLog log;
        log.id = QUuid::fromString(u"11111111-2222-3333-4444-555555555555"_s);
        log.timestamp = 762000000.25;
        log.exitCode = -1;
        log.output = QStringLiteral("line\ttab\nnext é");
        task.logs = {log};
        const QByteArray expected = "{\n"
                                    "  \"tasks\" : [\n"
                                    "    {\n"
                                    "      \"command\" : \"make backup\",\n"
                                    "      \"envFilePath\" : \"/e/.env\",\n"
                                    "      \"id\" : \"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9\",\n"
                                    "      \"isEnabled\" : false,\n"
                                    "      \"logs\" : [\n"
                                    "        {\n"
                                    "          \"exitCode\" : -1,\n"
                                    "          \"id\" : \"11111111-2222-3333-4444-555555555555\",\n"
                                    "          \"output\" : \"line\\ttab\\nnext \xc3\xa9\",\n"
                                    "          \"timestamp\" : 762000000.25\n"
                                    "        }\n"
                                    "      ],\n"
                                    "      \"name\" : \"Backup\",\n"
                                    "      \"schedule\" : {\n"
                                    "        \"interval\" : {\n"
                                    "          \"minutes\" : 5\n"
                                    "        }\n"
                                    "      },\n"
                                    "      \"useLoginShell\" : false,\n"
                                    "      \"wakeBeforeRun\" : true\n"
                                    "    }\n"
                                    "  ],\n"
                                    "  \"version\" : 2\n"
                                    "}";
        QCOMPARE(TaskMigration::encode({task}), expected);
    }

    void numbers_shortestForm()
    {
        QCOMPARE(JsonWriter::number(759000000), QByteArray("759000000"));
        QCOMPARE(JsonWriter::number(0.1), QByteArray("0.1"));
        QCOMPARE(JsonWriter::number(762000000.123), QByteArray("762000000.123"));
        QCOMPARE(JsonWriter::number(-3), QByteArray("-3"));
        const double awkward = 1.0 / 3.0 + 700000000.0;
        QCOMPARE(JsonWriter::number(awkward).toDouble(), awkward);
    }

    void strings_controlCharactersEscaped()
    {
        QCOMPARE(JsonWriter::quoted(QString(QChar(1))), QByteArray("\"\\u0001\""));
        QCOMPARE(JsonWriter::quoted(u"a\\b\"c/d"_s), QByteArray("\"a\\\\b\\\"c/d\""));
    }

    void strings_loneSurrogatesEscaped_andReadBackTheSame()
    {
        // A name read from "\\udddd" has no UTF-8 of its own; written raw it came back as '?'.
        const QString text = u"a"_s + QChar(0xDDDD) + u"b"_s + QChar(0xD83D) + u"🙂"_s + QChar(0xD800);
        QCOMPARE(JsonWriter::quoted(text), QByteArray("\"a\\uddddb\\ud83d\xF0\x9F\x99\x82\\ud800\""));
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = text;
        const auto read = TaskMigration::read(TaskMigration::encode({task}));
        QVERIFY(read.ok());
        QCOMPARE(read.tasks, QList<ScheduledTask>{task});
    }

    void schedule_runAtLoadReads()
    {
        TaskJson::DecodeError error;
        const auto s = TaskJson::scheduleFromJson(parse(R"({"runAtLoad": {}})"), &error);
        QVERIFY(s);
        QCOMPARE(s->kind(), TaskSchedule::Kind::runAtLoad);
    }

    void schedule_wrongKeyCount_data()
    {
        QTest::addColumn<QString>("json");
        QTest::newRow("two") << R"({"daily": {"times": []}, "weekly": {"weekdays": [], "times": []}})";
        QTest::newRow("none") << "{}";
        QTest::newRow("only unknown") << R"({"hourly": {}})";
    }

    void schedule_wrongKeyCount()
    {
        QFETCH(QString, json);
        TaskJson::DecodeError error;
        QVERIFY(!TaskJson::scheduleFromJson(parse(json.toUtf8().constData()), &error));
        QCOMPARE(error.message, u"Invalid number of keys found, expected one."_s);
        QCOMPARE(error.path, u"schedule"_s);
    }

    void schedule_unknownKeysBesideOneCaseAreIgnored()
    {
        TaskJson::DecodeError error;
        const auto s =
            TaskJson::scheduleFromJson(parse(R"({"note": 1, "interval": {"minutes": 3, "extra": true}})"), &error);
        QVERIFY(s);
        QVERIFY(*s == TaskSchedule::interval(3));
    }

    void schedule_missingPayloadFieldFails_data()
    {
        QTest::addColumn<QString>("json");
        QTest::addColumn<QString>("message");
        QTest::newRow("daily times") << R"({"daily": {}})"
                                     << R"(Missing key "times".)";
        QTest::newRow("weekly weekdays") << R"({"weekly": {"times": []}})"
                                         << R"(Missing key "weekdays".)";
        QTest::newRow("monthly day") << R"({"monthly": {"times": []}})"
                                     << R"(Missing key "day".)";
        QTest::newRow("nth") << R"({"monthlyNthWeekday": {"weekday": 2, "times": []}})"
                             << R"(Missing key "nth".)";
        QTest::newRow("nth weekday") << R"({"monthlyNthWeekday": {"nth": 2, "times": []}})"
                                     << R"(Missing key "weekday".)";
        QTest::newRow("minutes") << R"({"interval": {}})"
                                 << R"(Missing key "minutes".)";
        QTest::newRow("old single time") << R"({"daily": {"hour": 9, "minute": 0}})"
                                         << R"(Missing key "times".)";
        QTest::newRow("payload not object") << R"({"daily": []})"
                                            << "Expected an object, found an array.";
        QTest::newRow("hour wrong type") << R"({"daily": {"times": [{"hour": "9", "minute": 0}]}})"
                                         << "Expected an integer, found a string.";
        QTest::newRow("fraction") << R"({"interval": {"minutes": 1.5}})"
                                  << "Expected a 32-bit integer, found 1.5.";
        QTest::newRow("huge") << R"({"interval": {"minutes": 1e30}})"
                              << "Expected a 32-bit integer, found 1e+30.";
        QTest::newRow("nth 5") << R"({"monthlyNthWeekday": {"nth": 5, "weekday": 2, "times": []}})"
                               << R"("nth" must be 1 to 4, found 5.)";
    }

    void schedule_missingPayloadFieldFails()
    {
        QFETCH(QString, json);
        QFETCH(QString, message);
        TaskJson::DecodeError error;
        QVERIFY(!TaskJson::scheduleFromJson(parse(json.toUtf8().constData()), &error));
        QCOMPARE(error.message, message);
    }

    void task_withoutWakeReadsFalse()
    {
        TaskJson::DecodeError error;
        const auto task =
            TaskJson::taskFromJson(parse(R"({"id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "n", "command": "c",
                      "useLoginShell": false, "schedule": {"runAtLoad": {}}, "isEnabled": true, "logs": []})"),
                                   &error);
        QVERIFY2(task, qPrintable(error.description()));
        QCOMPARE(task->wakeBeforeRun, false);
        QCOMPARE(task->fullId(), u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
    }

    void task_withoutLogsFails()
    {
        TaskJson::DecodeError error;
        const auto task =
            TaskJson::taskFromJson(parse(R"({"id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "n", "command": "c",
                      "useLoginShell": false, "schedule": {"runAtLoad": {}}, "isEnabled": true})"),
                                   &error, u"tasks[4]"_s);
        QVERIFY(!task);
        QCOMPARE(error.description(), uR"(Missing key "logs". (task 5))"_s);
    }

    void task_nullDirectoryReadsAbsentAndIsNotWritten()
    {
        TaskJson::DecodeError error;
        const auto task =
            TaskJson::taskFromJson(parse(R"({"id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "n", "command": "c",
                      "workingDirectory": null, "envFilePath": null, "useLoginShell": true,
                      "schedule": {"runAtLoad": {}}, "isEnabled": true, "logs": []})"),
                                   &error);
        QVERIFY(task);
        QVERIFY(!task->workingDirectory);
        QVERIFY(!task->envFilePath);
        const QJsonObject written = TaskJson::toJson(*task);
        QVERIFY(!written.contains(u"workingDirectory"_s));
        QVERIFY(!written.contains(u"envFilePath"_s));
    }

    void task_errorsSayWhere()
    {
        const QByteArray file = R"({"version": 2, "tasks": [
            {"id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "a", "command": "c", "useLoginShell": true,
             "schedule": {"runAtLoad": {}}, "isEnabled": true, "logs": []},
            {"id": "1a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "b", "command": "c", "useLoginShell": true,
             "schedule": {"daily": {"times": []}, "weekly": {"weekdays": [], "times": []}},
             "isEnabled": true, "logs": []}]})";
        const auto result = TaskMigration::read(file);
        QVERIFY(!result.ok());
        QCOMPARE(result.error->description, u"Invalid number of keys found, expected one. (task 2, at schedule)"_s);

        const auto badId = TaskMigration::read(R"([{"id": "nope", "name": "a"}])");
        QCOMPARE(badId.error->description, uR"(Invalid UUID "nope". (task 1, at id))"_s);

        const auto badTime = TaskMigration::read(R"({"version": 2, "tasks": [
            {"id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "a", "command": "c", "useLoginShell": true,
             "schedule": {"daily": {"times": [{"hour": 1, "minute": 2}, {"hour": 3}]}},
             "isEnabled": true, "logs": []}]})");
        QCOMPARE(badTime.error->description, uR"(Missing key "minute". (task 1, at schedule.daily.times[1]))"_s);
    }

    void task_wrongTypesAtEveryKey_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("message");
        QTest::newRow("id") << "id"
                            << "7"
                            << "Expected a string, found a number.";
        QTest::newRow("name") << "name"
                              << "null"
                              << "Expected a string, found null.";
        QTest::newRow("command") << "command"
                                 << "[]"
                                 << "Expected a string, found an array.";
        QTest::newRow("dir") << "workingDirectory"
                             << "false"
                             << "Expected a string, found a boolean.";
        QTest::newRow("env") << "envFilePath"
                             << "{}"
                             << "Expected a string, found an object.";
        QTest::newRow("login") << "useLoginShell"
                               << "\"yes\""
                               << "Expected a boolean, found a string.";
        QTest::newRow("wake") << "wakeBeforeRun"
                              << "1"
                              << "Expected a boolean, found a number.";
        QTest::newRow("schedule") << "schedule"
                                  << "\"daily\""
                                  << "Expected an object, found a string.";
        QTest::newRow("enabled") << "isEnabled"
                                 << "0"
                                 << "Expected a boolean, found a number.";
        QTest::newRow("logs") << "logs"
                              << "{}"
                              << "Expected an array, found an object.";
        QTest::newRow("log entry") << "logs"
                                   << "[{\"id\": \"x\"}]"
                                   << "Invalid UUID \"x\".";
    }

    void task_wrongTypesAtEveryKey()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        QFETCH(QString, message);
        QJsonObject task = parse(R"({"id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "name": "n", "command": "c",
                      "useLoginShell": true, "schedule": {"runAtLoad": {}}, "isEnabled": true, "logs": []})")
                               .toObject();
        task.insert(key, parse(value.toUtf8().constData()));
        TaskJson::DecodeError error;
        QVERIFY(!TaskJson::taskFromJson(task, &error));
        QCOMPARE(error.message, message);
        QVERIFY2(error.path.startsWith(key), qPrintable(error.path));
    }

    void roundTrip_randomTasks()
    {
        QRandomGenerator random(20261121);
        const QList<ScheduledTask> tasks = RandomTasks::tasks(random, 300, 4);
        const QByteArray first = TaskMigration::encode(tasks);
        const auto read = TaskMigration::read(first);
        QVERIFY2(read.ok(), qPrintable(read.error ? read.error->description : QString()));
        QCOMPARE(read.tasks.size(), tasks.size());
        for (qsizetype i = 0; i < tasks.size(); ++i) {
            QVERIFY2(read.tasks.at(i) == tasks.at(i), qPrintable(QString::number(i)));
        }
        QCOMPARE(TaskMigration::encode(read.tasks), first);
    }
};

QTEST_GUILESS_MAIN(TaskJsonTest)
#include "test_task_json.moc"
