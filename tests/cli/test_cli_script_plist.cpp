#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"

#include <QDirIterator>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

// A disabled nth-weekday task with awkward paths and a multi-line, non-ASCII command; an
// enabled interval task; a run-at-load task. (Plain literals: moc misreads quotes inside raw strings.)
const QByteArray kTasks =
    "{\"version\": 2, \"tasks\": [\n"
    "  {\"id\": \"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9\", \"name\": \"Backup\", \"command\": \"make backup\\necho "
    "\\\"fertig ✓\\\" | tee -a 'log'\",\n"
    "   \"workingDirectory\": \"/Users/a/it's \\\"here\\\" $x\", \"envFilePath\": \"/Users/a/.env\", "
    "\"useLoginShell\": true,\n"
    "   \"wakeBeforeRun\": false, \"schedule\": {\"monthlyNthWeekday\": {\"nth\": 2, \"weekday\": 3, \"times\": "
    "[{\"hour\": 9, \"minute\": 0}, {\"hour\": 18, \"minute\": 30}]}},\n"
    "   \"isEnabled\": false, \"logs\": []},\n"
    "  {\"id\": \"FEDCBA98-7654-4321-8FED-CBA987654321\", \"name\": \"Report\", \"command\": \"echo report\",\n"
    "   \"useLoginShell\": false, \"schedule\": {\"interval\": {\"minutes\": 15}}, \"isEnabled\": true, \"logs\": "
    "[]},\n"
    "  {\"id\": \"11111111-2222-4333-8444-555555555555\", \"name\": \"At login\", \"command\": \"true\",\n"
    "   \"useLoginShell\": true, \"schedule\": {\"runAtLoad\": {}}, \"isEnabled\": true, \"logs\": []}]}";

QStringList filesUnder(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files << it.next();
    }
    files.sort();
    return files;
}

} // namespace

// `moxley script` and `moxley plist` print exactly what installing would write, and touch nothing.
class CliScriptPlistTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printsGeneratedTextsByteForByte_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("index");
        QTest::newRow("script, disabled, by short id") << u"script"_s << u"0a1b2c3d"_s << 0;
        QTest::newRow("plist, disabled, by full id") << u"plist"_s << u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"_s << 0;
        QTest::newRow("script by name") << u"script"_s << u"Report"_s << 1;
        QTest::newRow("plist by prefix") << u"plist"_s << u"FEDC"_s << 1;
        QTest::newRow("plist, at load") << u"plist"_s << u"At login"_s << 2;
        QTest::newRow("script, at load") << u"script"_s << u"1111"_s << 2;
    }

    void printsGeneratedTextsByteForByte()
    {
        QFETCH(QString, command);
        QFETCH(QString, query);
        QFETCH(int, index);
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        sandbox.writeTasksFile(kTasks);
        const TaskMigration::ReadResult read = TaskMigration::read(kTasks);
        QVERIFY(read.ok());
        const ScheduledTask task = read.tasks.at(index);
        const LaunchdService service;
        QCOMPARE(service.scriptsDir(), sandbox.scriptsDir());
        const QByteArray expected =
            (command == u"script" ? service.scriptText(task) : service.plistText(task)).toUtf8();

        const QStringList before = filesUnder(sandbox.home());
        const auto result = sandbox.runCli({command, query});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, expected);
        // Read-only: nothing written, created, loaded or swept.
        QCOMPARE(filesUnder(sandbox.home()), before);
        QVERIFY(launchctl.calls().isEmpty());
    }

    void script_matchesTheInstalledFile()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        sandbox.writeTasksFile(kTasks);
        const ScheduledTask task = TaskMigration::read(kTasks).tasks.at(0);
        const LaunchdService service;
        QCOMPARE(service.install(task), std::nullopt);
        QCOMPARE(sandbox.runCli({u"script"_s, u"Backup"_s}).out, Sandbox::readFile(service.scriptPath(task)));
        QCOMPARE(sandbox.runCli({u"plist"_s, u"Backup"_s}).out, Sandbox::readFile(service.plistPath(task)));
        // Spot checks that the text really is the task's, not merely equal to itself.
        const QByteArray script = Sandbox::readFile(service.scriptPath(task));
        QVERIFY(script.contains("cd '/Users/a/it'\\''s \"here\" $x'\n"));
        QVERIFY(script.contains("make backup\necho \"fertig \xE2\x9C\x93\" | tee -a 'log'\n_mx_exit=$?\n"));
        QVERIFY(script.contains("# Guard: only run on the 2nd occurrence this month\n"));
        QVERIFY(Sandbox::readFile(service.plistPath(task)).endsWith("</plist>"));
    }

    void unknownTask_fails()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTasks);
        for (const QString &command : {u"script"_s, u"plist"_s}) {
            const auto result = sandbox.runCli({command, u"nope"_s});
            QCOMPARE(result.exitCode, 1);
            QCOMPARE(result.out, QByteArray());
            QCOMPARE(result.err, QByteArray("moxley: no task matches nope\n"));
        }
    }

    void missingArgument_isUsageError()
    {
        Sandbox sandbox;
        for (const QString &command : {u"script"_s, u"plist"_s}) {
            const auto result = sandbox.runCli({command});
            QCOMPARE(result.exitCode, 2);
            QCOMPARE(result.out, QByteArray());
            QVERIFY(result.err.contains("--help"));
        }
    }

    void unreadableTasksFile_failsWithLoadError()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(R"({"version": 0, "tasks": []})");
        const auto result = sandbox.runCli({u"plist"_s, u"Backup"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray("moxley: Failed to load tasks: Unknown tasks.json version: 0\n"));
    }

    void help_listsBothCommands()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"--help"_s});
        QVERIFY(result.out.contains("\n  script "));
        QVERIFY(result.out.contains("\n  plist "));
        QVERIFY(sandbox.runCli({u"script"_s, u"--help"_s}).out.startsWith("Usage: moxley script TASK\n"));
        QVERIFY(sandbox.runCli({u"plist"_s, u"--help"_s}).out.startsWith("Usage: moxley plist TASK\n"));
    }
};

QTEST_GUILESS_MAIN(CliScriptPlistTest)
#include "test_cli_script_plist.moc"
