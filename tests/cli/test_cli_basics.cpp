#include "Sandbox.h"
#include "model/TaskMigration.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

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
        const auto result = sandbox.runCli({u"--help"_s});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.contains("Usage: moxley COMMAND"));
        for (const char *command : {"list", "show", "export"}) {
            QVERIFY2(result.out.contains(QByteArray(QByteArray("\n  ") + command)), command);
        }
        const auto commandHelp = sandbox.runCli({u"show"_s, u"--help"_s});
        QCOMPARE(commandHelp.exitCode, 0);
        QVERIFY(commandHelp.out.startsWith("Usage: moxley show TASK [--json]\n"));
    }

    void version()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"--version"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("moxley " MOXLEY_VERSION "\n"));
    }

    void usageErrors_exit2WithHint()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"frobnicate"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QByteArray("moxley: unknown command 'frobnicate'\n"
                                        "Try 'moxley --help' for more information.\n"));
        result = sandbox.runCli({u"list"_s, u"--bogus"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QByteArray("moxley: unknown option '--bogus'\n"
                                        "Try 'moxley list --help' for more information.\n"));
        result = sandbox.runCli({u"show"_s});
        QCOMPARE(result.exitCode, 2);
        result = sandbox.runCli({u"show"_s, u"a"_s, u"b"_s});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.err.startsWith("moxley: unexpected argument 'b'\n"));
        result = sandbox.runCli({});
        QCOMPARE(result.exitCode, 2);
    }

    void unknownOption_keepsTheDashesAsTyped_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("err");
        QTest::newRow("long")
            << QStringList{u"list"_s, u"--bogus"_s}
            << QByteArray("moxley: unknown option '--bogus'\nTry 'moxley list --help' for more information.\n");
        QTest::newRow("long with value")
            << QStringList{u"list"_s, u"--bogus=3"_s}
            << QByteArray("moxley: unknown option '--bogus'\nTry 'moxley list --help' for more information.\n");
        QTest::newRow("short") << QStringList{u"list"_s, u"-x"_s}
                               << QByteArray(
                                      "moxley: unknown option '-x'\nTry 'moxley list --help' for more information.\n");
        QTest::newRow("before the command")
            << QStringList{u"--bogus=1"_s}
            << QByteArray("moxley: unknown option '--bogus'\nTry 'moxley --help' for more information.\n");
    }

    void unknownOption_keepsTheDashesAsTyped()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, err);
        Sandbox sandbox;
        const auto result = sandbox.runCli(arguments);
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, err);
        QCOMPARE(result.out, QByteArray());
    }

    void noCommand_oneLineErrorAndHint()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QByteArray("moxley: missing command\nTry 'moxley --help' for more information.\n"));
        QCOMPARE(result.out, QByteArray());
    }

    void logsLinesMalformed_usageErrorBeforeLookup()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        for (const QString &task : {u"Backup"_s, u"nothing-like-this"_s}) {
            const auto result = sandbox.runCli({u"logs"_s, task, u"--lines"_s, u"abc"_s});
            QCOMPARE(result.exitCode, 2);
            QCOMPARE(result.err, QByteArray("moxley: --lines needs a non-negative integer, not 'abc'\n"
                                            "Try 'moxley logs --help' for more information.\n"));
        }
        // Blanks around a number are ignored, as for every option value.
        const auto padded = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s, u" 5 "_s});
        QCOMPARE(padded.exitCode, 0);
    }

    // A count is read by the rule of every number option, up to a bound: two billion runs were
    // computed and held before the first was printed.
    void nextCountOutOfRange_usageError()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        for (const QString &count : {u"0"_s, u"-3"_s, u"abc"_s, u"100001"_s, u"2147483647"_s, u"99999999999"_s}) {
            const auto result = sandbox.runCli({u"next"_s, u"Backup"_s, u"--count"_s, count});
            QCOMPARE(result.exitCode, 2);
            QCOMPARE(result.err, QByteArray("moxley: --count needs a whole number from 1 to 100000, not '" +
                                            count.toUtf8() + "'\nTry 'moxley next --help' for more information.\n"));
            QCOMPARE(result.out, QByteArray());
        }
        const auto padded =
            sandbox.runCli({u"next"_s, u"Backup"_s, u"--count"_s, u" 2 "_s, u"--at"_s, u" 2026-11-25T10:00 "_s});
        QCOMPARE(padded.exitCode, 0);
        QCOMPARE(padded.out, QByteArray("2026-11-26 07:00\n2026-11-27 07:00\n"));
        const auto most =
            sandbox.runCli({u"next"_s, u"Backup"_s, u"--count"_s, u"100000"_s, u"--at"_s, u"2026-11-25T10:00"_s});
        QCOMPARE(most.exitCode, 0);
        QCOMPARE(most.out.count('\n'), 100000);
    }

    // Output that could not be written (a full disk) is a failed command, not a quiet success.
    void outputNotWritten_exit1WithTheReason()
    {
        if (!QFileInfo(u"/dev/full"_s).exists()) {
            QSKIP("no /dev/full here");
        }
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        for (const QStringList &arguments : {QStringList{u"export"_s}, QStringList{u"list"_s},
                                             QStringList{u"list"_s, u"--json"_s}, QStringList{u"--version"_s}}) {
            QProcess process;
            process.setProcessEnvironment(sandbox.environment());
            process.setStandardOutputFile(u"/dev/full"_s);
            process.start(QStringLiteral(MOXLEY_CLI_PATH), arguments);
            QVERIFY(process.waitForFinished(30000));
            QCOMPARE(process.exitCode(), 1);
            QCOMPARE(process.readAllStandardError(),
                     QByteArray("moxley: cannot write the output: No space left on device\n"));
        }
    }

    void templateShortcutEmptyName_saysItIsEmpty()
    {
        Sandbox sandbox;
        for (const QString &name : {u""_s, u"  "_s}) {
            const auto result = sandbox.runCli({u"template"_s, u"shortcut"_s, name});
            QCOMPARE(result.exitCode, 2);
            QCOMPARE(result.err, QByteArray("moxley: the shortcut NAME is empty\n"
                                            "Try 'moxley template --help' for more information.\n"));
        }
        const auto missing = sandbox.runCli({u"template"_s, u"shortcut"_s});
        QVERIFY(missing.err.startsWith("moxley: missing argument: template shortcut NAME"));
    }

    void ambiguousPrefix_idsThatCanBeToldApart()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(R"({"version": 2, "tasks": [
  {"id": "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "name": "One", "command": "true", "useLoginShell": false,
   "schedule": {"runAtLoad": {}}, "isEnabled": false, "logs": []},
  {"id": "0A1B2C3D-4E00-6071-8293-A4B5C6D7E8F9", "name": "Two", "command": "true", "useLoginShell": false,
   "schedule": {"runAtLoad": {}}, "isEnabled": false, "logs": []}]})");
        const auto result = sandbox.runCli({u"show"_s, u"0a1b2c3d"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: 0a1b2c3d matches several tasks: 0a1b2c3d-4e5, 0a1b2c3d-4e0\n"));
        // Each id shown names its task.
        const auto one = sandbox.runCli({u"show"_s, u"0a1b2c3d-4e5"_s, u"--json"_s});
        QCOMPARE(one.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(one.out).object().value(u"name"_s).toString(), u"One"_s);
    }

    void argumentNotUtf8_refusedWithTheOptionNamed()
    {
        Sandbox sandbox;
        const QStringList cases{u"exec \"$0\" add --name T --command $'echo \\xff\\xfe'"_s,
                                u"exec \"$0\" add --name T --command=$'echo \\xff'"_s};
        const QList<QByteArray> options{"--command", "--command"};
        for (qsizetype i = 0; i < cases.size(); ++i) {
            const auto result = sandbox.run(u"/bin/bash"_s, {u"-c"_s, cases.at(i), QStringLiteral(MOXLEY_CLI_PATH)});
            QCOMPARE(result.exitCode, 2);
            QCOMPARE(result.err, QByteArray("moxley: " + options.at(i) +
                                            " is not valid UTF-8 text; the tasks file keeps text as UTF-8 only\n"
                                            "Try 'moxley --help' for more information.\n"));
            QVERIFY(!QFile::exists(sandbox.tasksFile()));
        }
    }

    void list_noFileIsEmpty()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"list"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        result = sandbox.runCli({u"list"_s, u"--json"_s});
        QCOMPARE(result.out, QByteArray("[]\n"));
        QVERIFY(!QFile::exists(sandbox.tasksFile()));
    }

    void list_text()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"list"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("0a1b2c3d  enabled   Backup  Daily at 7:00\n"
                                        "0a1b9999  disabled  Report  Every 15 min\n"));
    }

    void list_json()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"list"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray array = QJsonDocument::fromJson(result.out).array();
        QCOMPARE(array.size(), 2);
        const QJsonObject first = array.at(0).toObject();
        QCOMPARE(first.value(u"id"_s).toString(), u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
        QCOMPARE(first.value(u"shortId"_s).toString(), u"0a1b2c3d"_s);
        QCOMPARE(first.value(u"description"_s).toString(), u"Daily at 7:00"_s);
        QCOMPARE(first.value(u"workingDirectory"_s).toString(), u"/srv/b"_s);
        QCOMPARE(first.value(u"isEnabled"_s).toBool(), true);
        QCOMPARE(first.value(u"schedule"_s).toObject().value(u"daily"_s).toObject().value(u"times"_s).toArray().size(),
                 1);
        const QJsonObject second = array.at(1).toObject();
        QVERIFY(!second.contains(u"workingDirectory"_s));
        QVERIFY(!second.contains(u"envFilePath"_s));
        QVERIFY(!second.contains(u"files"_s));
    }

    void list_version1File()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kVersion1);
        const auto result = sandbox.runCli({u"list"_s});
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
            << QByteArray(
                   "moxley: Failed to load tasks: Invalid number of keys found, expected one. (task 1, at schedule)\n");
    }

    void brokenFile_failsAndChangesNothing()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, message);
        Sandbox sandbox;
        sandbox.writeTasksFile(file);
        for (const QStringList &args : {QStringList{u"list"_s}, QStringList{u"show"_s, u"x"_s},
                                        QStringList{u"export"_s}, QStringList{u"list"_s, u"--json"_s}}) {
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
        for (const QString &query :
             {u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s, u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"_s, u"0a1b2c3d"_s,
              u"0a1b2"_s, u"Backup"_s}) {
            const auto result = sandbox.runCli({u"show"_s, query, u"--json"_s});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(QJsonDocument::fromJson(result.out).object().value(u"name"_s).toString(), u"Backup"_s);
        }
        auto result = sandbox.runCli({u"show"_s, u"0a1b"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: 0a1b matches several tasks: 0a1b2c3d, 0a1b9999\n"));
        result = sandbox.runCli({u"show"_s, u"0a1"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: no task matches 0a1\n"));
        result = sandbox.runCli({u"show"_s, u"backup"_s});
        QCOMPARE(result.err, QByteArray("moxley: no task matches backup\n"));
    }

    void show_jsonHasFiles()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"show"_s, u"Backup"_s, u"--json"_s});
        const QJsonObject files = QJsonDocument::fromJson(result.out).object().value(u"files"_s).toObject();
        QCOMPARE(files.value(u"script"_s).toString(), sandbox.scriptsDir() + u"/Moxley_0a1b2c3d.sh"_s);
        QCOMPARE(files.value(u"plist"_s).toString(),
                 sandbox.launchAgentsDir() + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_s);
        QCOMPARE(files.value(u"runs"_s).toString(), sandbox.logDir() + u"/0a1b2c3d.runs"_s);
        QCOMPARE(files.value(u"stdout"_s).toString(), sandbox.logDir() + u"/0a1b2c3d.stdout.log"_s);
        QCOMPARE(files.value(u"stderr"_s).toString(), sandbox.logDir() + u"/0a1b2c3d.stderr.log"_s);
    }

    void show_text()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kTwoTasks);
        const auto result = sandbox.runCli({u"show"_s, u"Report"_s});
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
        const auto result = sandbox.runCli({u"export"_s});
        QCOMPARE(result.exitCode, 0);
        const auto read = TaskMigration::read(kVersion1);
        QCOMPARE(result.out, TaskMigration::encode(read.tasks) + '\n');

        const QString target = sandbox.root() + u"/out/Moxley-tasks.json"_s;
        QDir().mkpath(sandbox.root() + u"/out"_s);
        const auto toFile = sandbox.runCli({u"export"_s, target});
        QCOMPARE(toFile.exitCode, 0);
        QCOMPARE(Sandbox::readFile(target), TaskMigration::encode(read.tasks));
        QCOMPARE(sandbox.runCli({u"export"_s, u"-"_s}).out, result.out);

        const auto unwritable = sandbox.runCli({u"export"_s, sandbox.root() + u"/missing/dir/x.json"_s});
        QCOMPARE(unwritable.exitCode, 1);
        QVERIFY(unwritable.err.startsWith("moxley: cannot write "));
    }

    // Into a FIFO (a reader waiting on it) the document goes through it; the FIFO stays one.
    void export_intoAFifo_itsReaderGetsTheDocument()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(kVersion1);
        const QString fifo = sandbox.root() + u"/pipe"_s;
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        QProcess reader;
        reader.start(u"cat"_s, {fifo});
        QVERIFY(reader.waitForStarted());
        const auto result = sandbox.runCli({u"export"_s, fifo});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(reader.waitForFinished(30000));
        QCOMPARE(reader.readAllStandardOutput(), TaskMigration::encode(TaskMigration::read(kVersion1).tasks));
        QVERIFY(QFileInfo(fifo).exists() && !QFileInfo(fifo).isFile());
    }
};

QTEST_GUILESS_MAIN(CliBasicsTest)
#include "test_cli_basics.moc"
