#include "Sandbox.h"
#include "model/TaskMigration.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

const QByteArray kTwoTasks = R"({"version": 2, "tasks": [
  {"id": "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "name": "Backup", "command": "make backup",
   "workingDirectory": "/srv/b", "useLoginShell": true, "wakeBeforeRun": false,
   "schedule": {"daily": {"times": [{"hour": 7, "minute": 0}]}}, "isEnabled": true, "logs": []},
  {"id": "0A1B9999-0000-4000-8000-000000000001", "name": "Report", "command": "echo report\necho done",
   "useLoginShell": false, "schedule": {"interval": {"minutes": 15}}, "isEnabled": false, "logs": []}]})";

const QByteArray kVersion1 = R"([{"id": "11111111-2222-3333-4444-555555555555", "name": "Legacy", "command": "ls",
   "useLoginShell": true, "isEnabled": true, "logs": [], "schedule": {"weekly": {"weekdays": [2, 6], "hour": 8, "minute": 0}}}])";

} // namespace

class CliBasicsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void help_listsCommands()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"--help"_qs});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.contains("Usage: moxley COMMAND"));
        for (const char *command : {"list", "show", "export"}) {
            QVERIFY2(result.out.contains(QByteArray(QByteArray("\n  ") + command)), command);
        }
        const auto commandHelp = sandbox.runCli({u"show"_qs, u"--help"_qs});
        QCOMPARE(commandHelp.exitCode, 0);
        QVERIFY(commandHelp.out.startsWith("Usage: moxley show TASK [--json]\n"));
    }

    void version()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"--version"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("moxley " MOXLEY_VERSION "\n"));
    }

    void usageErrors_exit2WithHint()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"frobnicate"_qs});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QByteArray("moxley: unknown command 'frobnicate'\n"
                                        "Try 'moxley --help' for more information.\n"));
        result = sandbox.runCli({u"list"_qs, u"--bogus"_qs});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QByteArray("moxley: unknown option 'bogus'\n"
                                        "Try 'moxley list --help' for more information.\n"));
        result = sandbox.runCli({u"show"_qs});
        QCOMPARE(result.exitCode, 2);
        result = sandbox.runCli({u"show"_qs, u"a"_qs, u"b"_qs});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.err.startsWith("moxley: unexpected argument 'b'\n"));
        result = sandbox.runCli({});
        QCOMPARE(result.exitCode, 2);
    }

    void list_noFileIsEmpty()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"list"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        result = sandbox.runCli({u"list"_qs, u"--json"_qs});
        QCOMPARE(result.out, QByteArray("[]\n"));
        QVERIFY(!QFile::exists(sandbox.tasksFile()));
    }

    void list_text()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"list"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("0a1b2c3d  enabled   Backup  Daily at 7:00\n"
                                        "0a1b9999  disabled  Report  Every 15 min\n"));
    }

    void list_json()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"list"_qs, u"--json"_qs});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray array = QJsonDocument::fromJson(result.out).array();
        QCOMPARE(array.size(), 2);
        const QJsonObject first = array.at(0).toObject();
        QCOMPARE(first.value(u"id"_qs).toString(), u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_qs);
        QCOMPARE(first.value(u"shortId"_qs).toString(), u"0a1b2c3d"_qs);
        QCOMPARE(first.value(u"description"_qs).toString(), u"Daily at 7:00"_qs);
        QCOMPARE(first.value(u"workingDirectory"_qs).toString(), u"/srv/b"_qs);
        QCOMPARE(first.value(u"isEnabled"_qs).toBool(), true);
        QCOMPARE(first.value(u"schedule"_qs).toObject().value(u"daily"_qs).toObject().value(u"times"_qs).toArray().size(), 1);
        const QJsonObject second = array.at(1).toObject();
        QVERIFY(!second.contains(u"workingDirectory"_qs));
        QVERIFY(!second.contains(u"envFilePath"_qs));
        QVERIFY(!second.contains(u"files"_qs));
    }

    void list_version1File()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kVersion1);
        const auto result = sandbox.runCli({u"list"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("11111111  enabled  Legacy  Mon, Fri at 8:00\n"));
        QCOMPARE(sandbox.readTasksFile(), kVersion1); // read-only: never rewritten
    }

    void brokenFile_failsAndChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("version 0") << QByteArray(R"({"version": 0, "tasks": []})")
                                   << QByteArray("moxley: Failed to load tasks: Unknown tasks.json version: 0\n");
        QTest::newRow("string") << QByteArray(R"("x")")
                                << QByteArray("moxley: Failed to load tasks: Unrecognized tasks.json format\n");
        QTest::newRow("bad schedule")
            << QByteArray(R"([{"id": "11111111-2222-3333-4444-555555555555", "name": "L", "command": "ls",
                 "useLoginShell": true, "isEnabled": true, "logs": [], "schedule": {}}])")
            << QByteArray("moxley: Failed to load tasks: Invalid number of keys found, expected one. (task 1, at schedule)\n");
    }

    void brokenFile_failsAndChangesNothing()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, message);
        Sandbox sandbox;
        sandbox.writeTasksFile(file);
        for (const QStringList &args : {QStringList{u"list"_qs}, QStringList{u"show"_qs, u"x"_qs},
                                        QStringList{u"export"_qs}, QStringList{u"list"_qs, u"--json"_qs}}) {
            const auto result = sandbox.runCli(args);
            QCOMPARE(result.exitCode, 1);
            QCOMPARE(result.err, message);
            QCOMPARE(result.out, QByteArray());
        }
        QCOMPARE(sandbox.readTasksFile(), file);
    }

    void show_byIdPrefixOrName()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        for (const QString &query : {u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_qs, u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"_qs,
                                     u"0a1b2c3d"_qs, u"0a1b2"_qs, u"Backup"_qs}) {
            const auto result = sandbox.runCli({u"show"_qs, query, u"--json"_qs});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(QJsonDocument::fromJson(result.out).object().value(u"name"_qs).toString(), u"Backup"_qs);
        }
        auto result = sandbox.runCli({u"show"_qs, u"0a1b"_qs});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: 0a1b matches several tasks: 0a1b2c3d, 0a1b9999\n"));
        result = sandbox.runCli({u"show"_qs, u"0a1"_qs});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: no task matches 0a1\n"));
        result = sandbox.runCli({u"show"_qs, u"backup"_qs});
        QCOMPARE(result.err, QByteArray("moxley: no task matches backup\n"));
    }

    void show_jsonHasFiles()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"show"_qs, u"Backup"_qs, u"--json"_qs});
        const QJsonObject files = QJsonDocument::fromJson(result.out).object().value(u"files"_qs).toObject();
        QCOMPARE(files.value(u"script"_qs).toString(), sandbox.scriptsDir() + u"/Moxley_0a1b2c3d.sh"_qs);
        QCOMPARE(files.value(u"plist"_qs).toString(),
                 sandbox.launchAgentsDir() + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_qs);
        QCOMPARE(files.value(u"runs"_qs).toString(), sandbox.logDir() + u"/0a1b2c3d.runs"_qs);
        QCOMPARE(files.value(u"stdout"_qs).toString(), sandbox.logDir() + u"/0a1b2c3d.stdout.log"_qs);
        QCOMPARE(files.value(u"stderr"_qs).toString(), sandbox.logDir() + u"/0a1b2c3d.stderr.log"_qs);
    }

    void show_text()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"show"_qs, u"Report"_qs});
        QCOMPARE(result.exitCode, 0);
        const QByteArray expectedStart = "Name:        Report\n"
                                         "ID:          0A1B9999-0000-4000-8000-000000000001\n"
                                         "Enabled:     no\n"
                                         "Schedule:    Every 15 min\n"
                                         "Command:     echo report\n"
                                         "             echo done\n"
                                         "Login shell: no\n"
                                         "Wake:        no\n";
        QVERIFY2(result.out.startsWith(expectedStart), result.out.constData());
    }

    void export_toStdoutAndFile()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kVersion1);
        const auto result = sandbox.runCli({u"export"_qs});
        QCOMPARE(result.exitCode, 0);
        const auto read = TaskMigration::read(kVersion1);
        QCOMPARE(result.out, TaskMigration::encode(read.tasks) + '\n');

        const QString target = sandbox.root() + u"/out/Moxley-tasks.json"_qs;
        QDir().mkpath(sandbox.root() + u"/out"_qs);
        const auto toFile = sandbox.runCli({u"export"_qs, target});
        QCOMPARE(toFile.exitCode, 0);
        QCOMPARE(Sandbox::readFile(target), TaskMigration::encode(read.tasks));
        QCOMPARE(sandbox.runCli({u"export"_qs, u"-"_qs}).out, result.out);

        const auto unwritable = sandbox.runCli({u"export"_qs, sandbox.root() + u"/missing/dir/x.json"_qs});
        QCOMPARE(unwritable.exitCode, 1);
        QVERIFY(unwritable.err.startsWith("moxley: cannot write "));
    }
};

QTEST_GUILESS_MAIN(CliBasicsTest)
#include "test_cli_basics.moc"
