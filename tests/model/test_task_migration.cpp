#include "model/TaskMigration.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kV1Daily = R"([{"id": "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "name": "Old", "command": "echo",
    "useLoginShell": true, "isEnabled": true, "logs": [], "schedule": {"daily": {"hour": 9, "minute": 30}}}])";

QByteArray v1WithSchedule(const QByteArray &schedule)
{
    return R"([{"id": "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "name": "Old", "command": "echo",
        "useLoginShell": true, "isEnabled": true, "logs": [], "schedule": )" +
           schedule + "}]";
}

} // namespace

class TaskMigrationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bareEmptyArray_isVersion1Empty()
    {
        const auto result = TaskMigration::read("[]");
        QVERIFY(result.ok());
        QCOMPARE(result.version, 1);
        QVERIFY(result.tasks.isEmpty());
    }

    void versionZeroOrNegative_unknownVersion_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("message");
        QTest::newRow("0") << QByteArray(R"({"version": 0, "tasks": []})") << "Unknown tasks.json version: 0";
        QTest::newRow("-3") << QByteArray(R"({"version": -3, "tasks": []})") << "Unknown tasks.json version: -3";
    }

    void versionZeroOrNegative_unknownVersion()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, message);
        const auto result = TaskMigration::read(file);
        QVERIFY(!result.ok());
        QCOMPARE(result.error->kind, TaskMigration::Error::Kind::unknownVersion);
        QCOMPARE(result.error->description, message);
    }

    void higherVersion_readsAsIs()
    {
        const auto result = TaskMigration::read(R"({"version": 7, "tasks": []})");
        QVERIFY(result.ok());
        QCOMPARE(result.version, 7);
        QVERIFY(result.tasks.isEmpty());
    }

    void unrecognizedLayouts_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("no version") << QByteArray(R"({"tasks": []})");
        QTest::newRow("string") << QByteArray(R"("tasks")");
        QTest::newRow("number") << QByteArray("42");
        QTest::newRow("version not integer") << QByteArray(R"({"version": 2.5, "tasks": []})");
        QTest::newRow("version string") << QByteArray(R"({"version": "2", "tasks": []})");
        QTest::newRow("tasks not array") << QByteArray(R"({"version": 2, "tasks": {}})");
        QTest::newRow("tasks holds non-object") << QByteArray(R"({"version": 2, "tasks": [1]})");
        QTest::newRow("array of non-objects") << QByteArray(R"([1, 2])");
        QTest::newRow("null") << QByteArray("null");
    }

    void unrecognizedLayouts()
    {
        QFETCH(QByteArray, file);
        const auto result = TaskMigration::read(file);
        QVERIFY(!result.ok());
        QCOMPARE(result.error->kind, TaskMigration::Error::Kind::unrecognizedFormat);
        QCOMPARE(result.error->description, u"Unrecognized tasks.json format"_s);
    }

    void invalidJson_saysWhere()
    {
        const auto result = TaskMigration::read("{\n  \"version\": 2,\n  \"tasks\": [\n");
        QVERIFY(!result.ok());
        QCOMPARE(result.error->kind, TaskMigration::Error::Kind::invalidJson);
        QVERIFY2(result.error->description.startsWith(u"Not valid JSON: "_s), qPrintable(result.error->description));
        QVERIFY2(result.error->description.contains(u"line 4"_s), qPrintable(result.error->description));

        const auto empty = TaskMigration::read("");
        QCOMPARE(empty.error->description, u"The file is empty; it is not valid JSON."_s);
    }

    void version1_singleTimeBecomesList()
    {
        const auto result = TaskMigration::read(kV1Daily);
        QVERIFY2(result.ok(), qPrintable(result.error ? result.error->description : QString()));
        QCOMPARE(result.tasks.size(), 1);
        QVERIFY(result.tasks.first().schedule == TaskSchedule::daily({{9, 30}}));
        QCOMPARE(result.tasks.first().wakeBeforeRun, false);
    }

    void version1_monthlyWithoutDayIsDay1()
    {
        const auto result = TaskMigration::read(v1WithSchedule(R"({"monthly": {"hour": 6, "minute": 0}})"));
        QVERIFY2(result.ok(), qPrintable(result.error ? result.error->description : QString()));
        QVERIFY(result.tasks.first().schedule == TaskSchedule::monthly(1, {{6, 0}}));
    }

    void version1_monthlyKeepsItsDay()
    {
        const auto result = TaskMigration::read(v1WithSchedule(R"({"monthly": {"day": 12, "hour": 6, "minute": 0}})"));
        QVERIFY(result.ok());
        QVERIFY(result.tasks.first().schedule == TaskSchedule::monthly(12, {{6, 0}}));
    }

    void version1_weeklyWithoutWeekdaysIsEmpty()
    {
        const auto result = TaskMigration::read(v1WithSchedule(R"({"weekly": {"hour": 6, "minute": 0}})"));
        QVERIFY(result.ok());
        QVERIFY(result.tasks.first().schedule == TaskSchedule::weekly({}, {{6, 0}}));
        const auto withDays =
            TaskMigration::read(v1WithSchedule(R"({"weekly": {"weekdays": [2, 4], "hour": 6, "minute": 5}})"));
        QVERIFY(withDays.tasks.first().schedule == TaskSchedule::weekly({2, 4}, {{6, 5}}));
    }

    void version1_payloadWithTimesIsLeftAlone()
    {
        const auto result = TaskMigration::read(
            v1WithSchedule(R"({"daily": {"times": [{"hour": 1, "minute": 2}], "hour": 9, "minute": 0}})"));
        QVERIFY(result.ok());
        QVERIFY(result.tasks.first().schedule == TaskSchedule::daily({{1, 2}}));
    }

    void version1_hourWithoutMinuteFailsDecoding()
    {
        const auto result = TaskMigration::read(v1WithSchedule(R"({"daily": {"hour": 9}})"));
        QVERIFY(!result.ok());
        QCOMPARE(result.error->kind, TaskMigration::Error::Kind::decoding);
        QVERIFY2(result.error->description.startsWith(uR"(Missing key "times".)"_s),
                 qPrintable(result.error->description));
    }

    void version1_otherSchedulesUntouched()
    {
        const auto result = TaskMigration::read(v1WithSchedule(R"({"interval": {"minutes": 10}})"));
        QVERIFY(result.ok());
        QVERIFY(result.tasks.first().schedule == TaskSchedule::interval(10));
    }

    void version2_neverRewritten()
    {
        const QByteArray file = R"({"version": 2, "tasks": [{"id": "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",
            "name": "Old", "command": "echo", "useLoginShell": true, "isEnabled": true, "logs": [],
            "schedule": {"daily": {"hour": 9, "minute": 30}}}]})";
        const auto result = TaskMigration::read(file);
        QVERIFY(!result.ok());
        QCOMPARE(result.error->kind, TaskMigration::Error::Kind::decoding);
        QVERIFY(result.error->description.contains(uR"(Missing key "times".)"_s));
    }

    void version1_writtenBackAsVersion2()
    {
        const auto result = TaskMigration::read(kV1Daily);
        const QByteArray written = TaskMigration::encode(result.tasks);
        QVERIFY(written.endsWith("  \"version\" : 2\n}"));
        const auto again = TaskMigration::read(written);
        QVERIFY(again.ok());
        QCOMPARE(again.version, 2);
        QVERIFY(again.tasks == result.tasks);
    }

    void anyWhitespaceIsAccepted()
    {
        const auto result = TaskMigration::read("\t{\"version\"\n:\r\n2 ,   \"tasks\":[ ]}  \n");
        QVERIFY(result.ok());
    }
};

QTEST_GUILESS_MAIN(TaskMigrationTest)
#include "test_task_migration.moc"
