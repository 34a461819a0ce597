#include "../store/StoreWorld.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kUnreadable = R"({"version": 0, "tasks": []})";

QList<ScheduledTask> tasksIn(const StoreWorld &world)
{
    return world.savedTasks();
}

} // namespace

// The changing commands of the moxley tool, run as real child processes in a sandbox with
// stand-in launchctl and osascript: the same store, jobs and wake schedule as the app.
class CliChangesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void add_printsIdInstallsAndSaves()
    {
        StoreWorld world;
        const auto result =
            world.sandbox.runCli({u"add"_s, u"--name"_s, u"Backup"_s, u"--command"_s, u"make backup"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        const QList<ScheduledTask> tasks = tasksIn(world);
        QCOMPARE(tasks.size(), 1);
        const ScheduledTask &task = tasks.constFirst();
        QCOMPARE(result.out, task.fullId().toUtf8() + '\n');
        QCOMPARE(task.name, u"Backup"_s);
        QCOMPARE(task.command, u"make backup"_s);
        QCOMPARE(task.schedule, TaskSchedule::daily({{7, 0}}));
        QVERIFY(task.useLoginShell);
        QVERIFY(!task.wakeBeforeRun);
        QVERIFY(task.isEnabled);
        QVERIFY(!task.workingDirectory);
        QVERIFY(!task.envFilePath);
        QVERIFY(task.logs.isEmpty());
        QCOMPARE(world.calls(), QStringList{load(task)});
        QCOMPARE(world.launchctl.calls().constFirst(), (QStringList{u"load"_s, LaunchdService().plistPath(task)}));
        QCOMPARE(Sandbox::readFile(LaunchdService().plistPath(task)), LaunchdService().plistText(task).toUtf8());
        QCOMPARE(Sandbox::readFile(LaunchdService().scriptPath(task)), LaunchdService().scriptText(task).toUtf8());
    }

    void add_scheduleOptions_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<TaskSchedule>("schedule");
        using L = QStringList;
        QTest::newRow("at load") << L{"--at-load"} << TaskSchedule::runAtLoad();
        QTest::newRow("every") << L{"--every", "15"} << TaskSchedule::interval(15);
        QTest::newRow("every 1") << L{"--every", "1"} << TaskSchedule::interval(1);
        // One rule for every value: blanks around it are ignored.
        QTest::newRow("every, blanks") << L{"--every", " 5"} << TaskSchedule::interval(5);
        QTest::newRow("at, blanks") << L{"--at", " 7:00 "} << TaskSchedule::daily({{7, 0}});
        QTest::newRow("monthly, blanks") << L{"--monthly", "12 "} << TaskSchedule::monthly(12, {{7, 0}});
        QTest::newRow("nth, blanks") << L{"--nth", " 2", "--weekday", " mon "}
                                     << TaskSchedule::monthlyNthWeekday(2, 2, {{7, 0}});
        QTest::newRow("daily") << L{"--daily"} << TaskSchedule::daily({{7, 0}});
        QTest::newRow("daily sorted") << L{"--daily", "--at", "18:30,7:00,07:05"}
                                      << TaskSchedule::daily({{7, 0}, {7, 5}, {18, 30}});
        QTest::newRow("duplicate times kept")
            << L{"--daily", "--at", "9:00,9:00"} << TaskSchedule::daily({{9, 0}, {9, 0}});
        QTest::newRow("at alone is daily") << L{"--at", "9:15"} << TaskSchedule::daily({{9, 15}});
        QTest::newRow("weekly names") << L{"--weekly", "FRI,mon"} << TaskSchedule::weekly({2, 6}, {{7, 0}});
        QTest::newRow("weekly numbers") << L{"--weekly", "7,1,1", "--at", "0:00"}
                                        << TaskSchedule::weekly({1, 7}, {{0, 0}});
        QTest::newRow("monthly") << L{"--monthly", "31", "--at", "23:59"} << TaskSchedule::monthly(31, {{23, 59}});
        QTest::newRow("last day") << L{"--last-day"} << TaskSchedule::monthlyLastDay({{7, 0}});
        QTest::newRow("nth") << L{"--nth", "2", "--weekday", "tue", "--at", "8:30"}
                             << TaskSchedule::monthlyNthWeekday(2, 3, {{8, 30}});
        QTest::newRow("nth number") << L{"--nth", "4", "--weekday", "6"}
                                    << TaskSchedule::monthlyNthWeekday(4, 6, {{7, 0}});
    }

    void add_scheduleOptions()
    {
        QFETCH(QStringList, options);
        QFETCH(TaskSchedule, schedule);
        StoreWorld world;
        const auto result = world.sandbox.runCli(
            QStringList{u"add"_s, u"--name"_s, u"T"_s, u"--command"_s, u"true"_s, u"--disabled"_s} + options);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(tasksIn(world).constFirst().schedule, schedule);
    }

    void add_usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("message");
        using L = QStringList;
        const L base{"add", "--name", "T", "--command", "true"};
        QTest::newRow("no name") << L{"add", "--command", "true"} << QByteArray("missing option --name");
        QTest::newRow("no command") << L{"add", "--name", "T"} << QByteArray("missing option --command");
        QTest::newRow("empty name") << L{"add", "--name", "", "--command", "x"}
                                    << QByteArray("--name must not be empty");
        QTest::newRow("two kinds") << base + L{"--daily", "--every", "5"} << QByteArray("choose one schedule");
        QTest::newRow("interval 0") << base + L{"--every", "0"} << QByteArray("invalid interval '0'");
        QTest::newRow("interval text") << base + L{"--every", "ten"} << QByteArray("invalid interval 'ten'");
        // One more minute than the tasks file takes (its seconds would not fit an int).
        QTest::newRow("interval too long")
            << base + L{"--every", "35791395"}
            << QByteArray("invalid interval '35791395' (expected whole minutes, 1 to 35791394)\n");
        QTest::newRow("hour 24") << base + L{"--daily", "--at", "24:00"} << QByteArray("invalid time '24:00'");
        QTest::newRow("minute 60") << base + L{"--at", "7:60"} << QByteArray("invalid time '7:60'");
        QTest::newRow("no minutes") << base + L{"--at", "7"} << QByteArray("invalid time '7'");
        QTest::newRow("empty time") << base + L{"--at", "7:00,"} << QByteArray("invalid time ''");
        QTest::newRow("day 32") << base + L{"--monthly", "32"} << QByteArray("invalid day of month '32'");
        QTest::newRow("day 0") << base + L{"--monthly", "0"} << QByteArray("invalid day of month '0'");
        QTest::newRow("nth 5") << base + L{"--nth", "5", "--weekday", "mon"} << QByteArray("invalid --nth '5'");
        QTest::newRow("weekday 8") << base + L{"--nth", "1", "--weekday", "8"} << QByteArray("invalid weekday '8'");
        QTest::newRow("nth alone") << base + L{"--nth", "1"} << QByteArray("--nth needs --weekday");
        QTest::newRow("weekday alone") << base + L{"--weekday", "mon"} << QByteArray("--weekday goes with --nth");
        QTest::newRow("weekly empty") << base + L{"--weekly", ""} << QByteArray("invalid weekday ''");
        QTest::newRow("weekly word") << base + L{"--weekly", "mon,funday"} << QByteArray("invalid weekday 'funday'");
        QTest::newRow("weekly 0") << base + L{"--weekly", "0"} << QByteArray("invalid weekday '0'");
        QTest::newRow("at with every") << base + L{"--every", "5", "--at", "7:00"}
                                       << QByteArray("--at applies only to");
        QTest::newRow("at with at-load") << base + L{"--at-load", "--at", "7:00"} << QByteArray("--at applies only to");
        QTest::newRow("unknown option") << base + L{"--hourly"} << QByteArray("unknown option '--hourly'");
        QTest::newRow("argument") << base + L{"extra"} << QByteArray("unexpected argument 'extra'");
    }

    void add_usageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, message);
        StoreWorld world;
        const auto result = world.sandbox.runCli(arguments);
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.startsWith(QByteArray("moxley: " + message)), result.err.constData());
        QVERIFY(result.err.endsWith("Try 'moxley add --help' for more information.\n"));
        QCOMPARE(result.out, QByteArray());
        QVERIFY(!QFileInfo::exists(world.sandbox.tasksFile()));
        QCOMPARE(world.calls(), QStringList());
    }

    // The longest interval the tool takes is one the tasks file reads back.
    void add_longestInterval_fileStillReads()
    {
        StoreWorld world;
        const auto added = world.sandbox.runCli(
            {u"add"_s, u"--name"_s, u"Rare"_s, u"--command"_s, u"true"_s, u"--every"_s, u"35791394"_s});
        QCOMPARE(added.exitCode, 0);
        const auto listed = world.sandbox.runCli({u"list"_s});
        QCOMPARE(listed.exitCode, 0);
        QVERIFY2(listed.out.contains("Rare  Every 35791394 min\n"), listed.out.constData());
        const auto edited = world.sandbox.runCli({u"edit"_s, u"Rare"_s, u"--every"_s, u"35791395"_s});
        QCOMPARE(edited.exitCode, 2);
        QCOMPARE(world.sandbox.runCli({u"list"_s}).out, listed.out);
    }

    void add_fieldOptions()
    {
        StoreWorld world;
        const QString work = world.sandbox.root() + u"/work"_s;
        QDir().mkpath(work);
        const auto result =
            world.sandbox.run(QStringLiteral(MOXLEY_CLI_PATH),
                              {u"add"_s, u"--name"_s, u"  spaced  "_s, u"--command"_s, u"echo 'a b'"_s, u"--dir"_s,
                               u"sub"_s, u"--env-file"_s, u"/etc/app.env"_s, u"--no-login-shell"_s, u"--disabled"_s},
                              {}, work);
        QCOMPARE(result.exitCode, 0);
        const ScheduledTask task = tasksIn(world).constFirst();
        QCOMPARE(task.name, u"  spaced  "_s); // no trimming, as in the app's form
        QCOMPARE(task.command, u"echo 'a b'"_s);
        QCOMPARE(task.workingDirectory, std::optional(work + u"/sub"_s));
        QCOMPARE(task.envFilePath, std::optional(u"/etc/app.env"_s));
        QVERIFY(!task.useLoginShell);
        QVERIFY(!task.isEnabled);
        QCOMPARE(world.calls(), QStringList()); // a disabled task is not installed
    }

    void add_wake_wakeThenInstall()
    {
        StoreWorld world;
        const auto result = world.sandbox.runCli({u"add"_s, u"--name"_s, u"W"_s, u"--command"_s, u"true"_s,
                                                  u"--weekly"_s, u"mon,fri"_s, u"--at"_s, u"9:00"_s, u"--wake"_s});
        QCOMPARE(result.exitCode, 0);
        const ScheduledTask task = tasksIn(world).constFirst();
        QVERIFY(task.wakeBeforeRun);
        QCOMPARE(world.calls(), (QStringList{u"wake pmset repeat wakeorpoweron MF 08:55:00"_s, load(task)}));
    }

    void systemToolFailsOverSeveralLines_everyLinePrefixed()
    {
        StoreWorld world;
        Sandbox::writeFile(world.osascript.path(), "#!/bin/sh\necho 'first line' >&2\necho 'second line' >&2\nexit 1\n",
                           0755);
        const auto result =
            world.sandbox.runCli({u"add"_s, u"--name"_s, u"W"_s, u"--command"_s, u"true"_s, u"--daily"_s, u"--wake"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: pmset failed: first line\nmoxley: second line\n"));
    }

    void add_wakeFails_savedDisabledExit1()
    {
        StoreWorld world;
        world.osascript.setExitStatus(1);
        const auto result =
            world.sandbox.runCli({u"add"_s, u"--name"_s, u"W"_s, u"--command"_s, u"true"_s, u"--daily"_s, u"--wake"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: pmset failed: Unknown error\n"));
        const ScheduledTask task = tasksIn(world).constFirst();
        QCOMPARE(result.out, task.fullId().toUtf8() + '\n');
        QVERIFY(!task.isEnabled);
        QVERIFY(task.wakeBeforeRun);
        QCOMPARE(world.calls(), QStringList{StoreWorld::daily(7, 0)});
    }

    void add_loadFails_savedExit1()
    {
        StoreWorld world;
        world.launchctl.setExitStatus(1, u"load"_s);
        const auto result = world.sandbox.runCli({u"add"_s, u"--name"_s, u"T"_s, u"--command"_s, u"true"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: launchctl load failed (exit code 1)\n"));
        QCOMPARE(tasksIn(world).size(), 1);
        QVERIFY(tasksIn(world).constFirst().isEnabled);
    }

    // Every command that needs the tasks: exit 1, the load failure, and nothing changed at all.
    void unreadableFile_nothingChanged_data()
    {
        QTest::addColumn<QStringList>("arguments");
        using L = QStringList;
        QTest::newRow("add") << L{"add", "--name", "N", "--command", "c"};
        QTest::newRow("edit") << L{"edit", "Stray", "--name", "X"};
        QTest::newRow("enable") << L{"enable", "Stray"};
        QTest::newRow("disable") << L{"disable", "Stray"};
        QTest::newRow("delete") << L{"delete", "Stray"};
        QTest::newRow("duplicate") << L{"duplicate", "Stray"};
        QTest::newRow("import") << L{"import", "IMPORT"};
        QTest::newRow("wake-command") << L{"wake-command", "Stray"};
    }

    void unreadableFile_nothingChanged()
    {
        QFETCH(QStringList, arguments);
        StoreWorld world;
        const ScheduledTask stray = StoreWorld::task(u"Stray"_s, TaskSchedule::daily({{7, 0}}));
        QVERIFY(!LaunchdService().install(stray));
        const QString importFile = world.sandbox.root() + u"/import.json"_s;
        world.sandbox.writeFile(importFile,
                                TaskMigration::encode({StoreWorld::task(u"I"_s, TaskSchedule::runAtLoad())}));
        arguments.replaceInStrings(u"IMPORT"_s, importFile);
        world.sandbox.writeTasksFile(kUnreadable);
        world.mark();
        const auto result = world.sandbox.runCli(arguments);
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: Failed to load tasks: Unknown tasks.json version: 0\n"));
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(world.sandbox.readTasksFile(), kUnreadable);
        QCOMPARE(world.calls(), QStringList());
        QVERIFY(world.plistExists(stray));
        QVERIFY(world.scriptExists(stray));
        QCOMPARE(QDir(world.sandbox.dataDir()).entryList(QDir::Files), QStringList{u"tasks.json"_s});
    }

    void edit_changesOnlyGivenFields()
    {
        StoreWorld world;
        ScheduledTask task = StoreWorld::task(u"Backup"_s, TaskSchedule::weekly({2}, {{9, 0}, {18, 0}}));
        task.workingDirectory = u"/srv"_s;
        task.logs = {TaskLog{QUuid::createUuid(), 3.5, 0, u"old"_s}};
        world.writeTasks({task});
        QVERIFY(!LaunchdService().install(task)); // installed and current: start-up leaves it alone
        world.mark();
        const auto result = world.sandbox.runCli({u"edit"_s, task.shortId(), u"--name"_s, u"Nightly"_s, u"--monthly"_s,
                                                  u"14"_s, u"--no-dir"_s, u"--wake"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        ScheduledTask expected = task;
        expected.name = u"Nightly"_s;
        expected.schedule = TaskSchedule::monthly(14, {{9, 0}, {18, 0}}); // the times stay
        expected.workingDirectory.reset();
        expected.wakeBeforeRun = true;
        QCOMPARE(tasksIn(world), QList<ScheduledTask>{expected});
        const PmsetService::Command wake = PmsetService::wakeCommand(expected.schedule, QDateTime::currentDateTime());
        QCOMPARE(world.calls(), (QStringList{u"wake "_s + *wake.text, unload(task), load(task)}));
    }

    void edit_atAloneChangesTimes()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"T"_s, TaskSchedule::monthlyNthWeekday(2, 3, {{9, 0}}), false);
        world.writeTasks({task});
        const auto result = world.sandbox.runCli({u"edit"_s, u"T"_s, u"--at"_s, u"20:00,6:15"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(tasksIn(world).constFirst().schedule, TaskSchedule::monthlyNthWeekday(2, 3, {{6, 15}, {20, 0}}));
        QCOMPARE(world.calls(), QStringList()); // still disabled: nothing installed
    }

    void edit_flags()
    {
        StoreWorld world;
        ScheduledTask task = StoreWorld::task(u"T"_s, TaskSchedule::interval(5), false, true);
        task.envFilePath = u"/old.env"_s;
        task.useLoginShell = true;
        world.writeTasks({task});
        const auto result =
            world.sandbox.runCli({u"edit"_s, u"T"_s, u"--no-login-shell"_s, u"--no-wake"_s, u"--no-env-file"_s,
                                  u"--dir"_s, u"/srv/app"_s, u"--command"_s, u"make"_s, u"--every"_s, u"10"_s});
        QCOMPARE(result.exitCode, 0);
        const ScheduledTask edited = tasksIn(world).constFirst();
        QVERIFY(!edited.useLoginShell);
        QVERIFY(!edited.wakeBeforeRun);
        QVERIFY(!edited.envFilePath);
        QCOMPARE(edited.workingDirectory, std::optional(u"/srv/app"_s));
        QCOMPARE(edited.command, u"make"_s);
        QCOMPARE(edited.schedule, TaskSchedule::interval(10));
        QCOMPARE(edited.id, task.id);
        QVERIFY(!edited.isEnabled);
    }

    void edit_errors()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"T"_s, TaskSchedule::interval(5), false);
        world.writeTasks({task});
        const QByteArray before = world.sandbox.readTasksFile();

        auto result = world.sandbox.runCli({u"edit"_s, u"T"_s, u"--wake"_s, u"--no-wake"_s});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.err.startsWith("moxley: --wake and --no-wake exclude each other\n"));
        result = world.sandbox.runCli({u"edit"_s, u"T"_s, u"--at"_s, u"7:00"_s});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.err.startsWith("moxley: --at needs a calendar schedule (this task's schedule: Every 5 min)\n"));
        result = world.sandbox.runCli({u"edit"_s, u"nope"_s, u"--name"_s, u"X"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: no task matches nope\n"));
        result = world.sandbox.runCli({u"edit"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(world.sandbox.readTasksFile(), before);
        QCOMPARE(world.calls(), QStringList());
    }

    void enableDisable()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"T"_s, TaskSchedule::daily({{7, 0}}), false);
        world.writeTasks({task});
        auto result = world.sandbox.runCli({u"enable"_s, task.fullId().toLower()});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out + result.err, QByteArray());
        QVERIFY(tasksIn(world).constFirst().isEnabled);
        QVERIFY(world.plistExists(task));
        result = world.sandbox.runCli({u"disable"_s, u"T"_s});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(!tasksIn(world).constFirst().isEnabled);
        QVERIFY(!world.plistExists(task));
        QCOMPARE(world.calls(), (QStringList{load(task), unload(task)}));
    }

    void enable_wakeFails_staysOff()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"T"_s, TaskSchedule::daily({{7, 0}}), false, true);
        world.writeTasks({task});
        world.osascript.setExitStatus(1);
        const auto result = world.sandbox.runCli({u"enable"_s, u"T"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: pmset failed: Unknown error\n"));
        QVERIFY(!tasksIn(world).constFirst().isEnabled);
        QVERIFY(!world.plistExists(task));
    }

    void delete_severalAndUnknown()
    {
        StoreWorld world;
        const ScheduledTask a = StoreWorld::task(u"A"_s, TaskSchedule::daily({{7, 0}}));
        const ScheduledTask b = StoreWorld::task(u"B"_s, TaskSchedule::daily({{7, 0}}), false);
        const ScheduledTask c = StoreWorld::task(u"C"_s, TaskSchedule::daily({{7, 0}}));
        world.writeTasks({a, b, c});
        const QByteArray before = world.sandbox.readTasksFile();
        world.mark();
        auto result = world.sandbox.runCli({u"delete"_s, u"A"_s, u"nope"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: no task matches nope\n"));
        QCOMPARE(world.sandbox.readTasksFile(), before);
        QCOMPARE(world.calls(), QStringList());

        result = world.sandbox.runCli({u"delete"_s, u"C"_s, u"A"_s, a.shortId()});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(tasksIn(world), QList<ScheduledTask>{b});
        // Start-up reinstalls the enabled tasks whose scripts are missing (one call), then the deletion.
        QCOMPARE(world.calls(), (QStringList{load(a) % u' ' % c.fullId(), unload(a), unload(c)}));

        result = world.sandbox.runCli({u"delete"_s, u"B"_s});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(tasksIn(world).isEmpty());
    }

    void duplicate_printsCopyId()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"Backup"_s, TaskSchedule::daily({{7, 0}}));
        world.writeTasks({task});
        QVERIFY(!LaunchdService().install(task));
        world.mark();
        const auto result = world.sandbox.runCli({u"duplicate"_s, u"Backup"_s});
        QCOMPARE(result.exitCode, 0);
        const QList<ScheduledTask> tasks = tasksIn(world);
        QCOMPARE(tasks.size(), 2);
        QCOMPARE(result.out, tasks.at(1).fullId().toUtf8() + '\n');
        QCOMPARE(tasks.at(1).name, u"Backup (copy)"_s);
        QVERIFY(!tasks.at(1).isEnabled);
        QCOMPARE(world.calls(), QStringList());
    }

    void import_summaryAndNotice()
    {
        StoreWorld world;
        const ScheduledTask present = StoreWorld::task(u"Here"_s, TaskSchedule::daily({{7, 0}}), false);
        world.writeTasks({present});
        const ScheduledTask on = StoreWorld::task(u"On"_s, TaskSchedule::daily({{7, 0}}));
        const ScheduledTask off = StoreWorld::task(u"Off"_s, TaskSchedule::interval(5), false);
        const QString file = world.sandbox.root() + u"/in.json"_s;
        Sandbox::writeFile(file, TaskMigration::encode({present, on, off}));
        world.mark();
        const auto result = world.sandbox.runCli({u"import"_s, file});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("2 tasks imported.\n1 skipped (already present).\n"));
        QCOMPARE(result.err, QByteArray("moxley: notice: Skipped 1 task with ID already present.\n"));
        QCOMPARE(tasksIn(world), (QList<ScheduledTask>{present, on, off}));
        QCOMPARE(world.calls(), QStringList{load(on)});
    }

    void import_nothingNew_andStandardInput()
    {
        StoreWorld world;
        const QByteArray before = TaskMigration::encode({});
        world.sandbox.writeTasksFile(before);
        auto result = world.sandbox.runCli({u"import"_s, u"-"_s}, "[]");
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("The selected file contained no new tasks.\n"));
        QCOMPARE(world.sandbox.readTasksFile(), before);
        const ScheduledTask task = StoreWorld::task(u"In"_s, TaskSchedule::runAtLoad(), false);
        result = world.sandbox.runCli({u"import"_s, u"-"_s}, TaskMigration::encode({task}));
        QCOMPARE(result.out, QByteArray("1 task imported.\n"));
        QCOMPARE(tasksIn(world), QList<ScheduledTask>{task});
    }

    void import_badFiles()
    {
        StoreWorld world;
        const QString file = world.sandbox.root() + u"/in.json"_s;
        Sandbox::writeFile(file, R"({"version": 0, "tasks": []})");
        auto result = world.sandbox.runCli({u"import"_s, file});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, QByteArray("moxley: Unknown tasks.json version: 0\n"));
        Sandbox::writeFile(file, R"({"tasks": []})");
        result = world.sandbox.runCli({u"import"_s, file});
        QCOMPARE(result.err, QByteArray("moxley: Unrecognized tasks.json format\n"));
        result = world.sandbox.runCli({u"import"_s, world.sandbox.root() + u"/missing.json"_s});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.startsWith(
            QByteArray("moxley: cannot read " + world.sandbox.root().toUtf8() + "/missing.json: ")));
        QVERIFY(!QFileInfo::exists(world.sandbox.tasksFile()));
    }

    void wakeCommand_readOnly()
    {
        StoreWorld world;
        const ScheduledTask daily = StoreWorld::task(u"Daily"_s, TaskSchedule::daily({{7, 0}, {6, 30}}));
        const ScheduledTask weekly = StoreWorld::task(u"Weekly"_s, TaskSchedule::weekly({1, 7}, {{9, 0}}), false);
        const ScheduledTask every = StoreWorld::task(u"Every"_s, TaskSchedule::interval(30));
        const ScheduledTask monthly = StoreWorld::task(u"Monthly"_s, TaskSchedule::monthly(14, {{9, 0}}));
        const ScheduledTask stray = StoreWorld::task(u"Stray"_s, TaskSchedule::daily({{7, 0}}));
        QVERIFY(!LaunchdService().install(stray));
        world.writeTasks({daily, weekly, every, monthly});
        const QByteArray before = world.sandbox.readTasksFile();
        world.mark();

        auto result = world.sandbox.runCli({u"wake-command"_s, u"Daily"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("pmset repeat wakeorpoweron MTWRFSU 06:25:00\n"));
        result = world.sandbox.runCli({u"wake-command"_s, u"Weekly"_s});
        QCOMPARE(result.out, QByteArray("pmset repeat wakeorpoweron US 08:55:00\n"));
        result = world.sandbox.runCli({u"wake-command"_s, u"Monthly"_s});
        const PmsetService::Command expected =
            PmsetService::wakeCommand(monthly.schedule, QDateTime::currentDateTime());
        QCOMPARE(result.out, expected.text->toUtf8() + '\n');
        QVERIFY(result.out.startsWith("pmset schedule wakeorpoweron \""));
        result = world.sandbox.runCli({u"wake-command"_s, u"Every"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray("moxley: This schedule type does not support wake.\n"));

        // Nothing was run, swept, installed or written.
        QCOMPARE(world.calls(), QStringList());
        QVERIFY(world.plistExists(stray));
        QCOMPARE(world.sandbox.readTasksFile(), before);
    }

    void changingCommand_sweepsStrayJobsAsTheAppDoes()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"T"_s, TaskSchedule::daily({{7, 0}}), false);
        const ScheduledTask stray = StoreWorld::task(u"Stray"_s, TaskSchedule::daily({{7, 0}}));
        QVERIFY(!LaunchdService().install(stray));
        world.writeTasks({task});
        world.mark();
        const auto result = world.sandbox.runCli({u"enable"_s, u"T"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(world.calls(), (QStringList{unload(stray), load(task)}));
        QVERIFY(!world.plistExists(stray));
    }
};

QTEST_GUILESS_MAIN(CliChangesTest)
#include "test_cli_changes.moc"
