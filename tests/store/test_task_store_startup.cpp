#include "StoreWorld.h"
#include "platform/TasksFileLock.h"

#include <QDir>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

const TimeOfDay seven{7, 0};

QStringList asideCopies(const StoreWorld &world)
{
    return QDir(world.sandbox.dataDir()).entryList({u"tasks.json.unreadable-*"_s}, QDir::Files);
}

} // namespace

// Start-up, load and save: the folder, --reset-tasks, the stray-job sweep, the script refresh,
// failures with their exact texts, and a tasks file that is never lost.
class TaskStoreStartupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noFile_emptyAndNothingWritten()
    {
        StoreWorld world;
        auto store = world.open();
        QVERIFY(store->tasks().isEmpty());
        QVERIFY(QFileInfo(world.sandbox.dataDir()).isDir());
        QVERIFY(!QFileInfo::exists(world.sandbox.tasksFile()));
        QVERIFY(!store->lastError());
        QVERIFY(!store->fileUnreadable());
        QCOMPARE(store->saveURL(), world.sandbox.tasksFile());
    }

    void defaultOptions_followTheSandboxAndArguments()
    {
        StoreWorld world;
        const TaskStore::Options plain = TaskStore::defaultOptions({u"moxley-app"_s});
        QCOMPARE(plain.tasksFile, world.sandbox.tasksFile());
        QCOMPARE(plain.launchdService.launchAgentsDir(), world.sandbox.launchAgentsDir());
        QCOMPARE(plain.launchdService.scriptsDir(), world.sandbox.scriptsDir());
        QCOMPARE(plain.launchdService.logDir(), world.sandbox.logDir());
        QVERIFY(!plain.resetTasks);
        QVERIFY(plain.pmsetService);
        QVERIFY(plain.changeNotice);
        QVERIFY(TaskStore::defaultOptions({u"moxley-app"_s, u"--reset-tasks"_s}).resetTasks);
    }

    void loads_inFileOrder()
    {
        StoreWorld world;
        const QList<ScheduledTask> tasks{StoreWorld::task(u"B"_s, TaskSchedule::interval(5), false),
                                         StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false)};
        world.writeTasks(tasks);
        auto store = world.open();
        QCOMPARE(store->tasks(), tasks);
        QCOMPARE(store->task(tasks.at(1).id), std::optional(tasks.at(1)));
        QCOMPARE(store->task(QUuid::createUuid()), std::nullopt);
    }

    void resetTasks_startsEmptyWithoutFileUntilSave()
    {
        StoreWorld world;
        world.writeTasks({StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false)});
        TaskStore::Options options = world.options();
        options.resetTasks = true;
        auto store = world.open(options);
        QVERIFY(store->tasks().isEmpty());
        QVERIFY(!QFileInfo::exists(world.sandbox.tasksFile()));
        const ScheduledTask added = StoreWorld::task(u"New"_s, TaskSchedule::runAtLoad(), false);
        store->add(added);
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{added});
    }

    void version1File_loadsAndIsWrittenBackAsVersion2()
    {
        StoreWorld world;
        const QByteArray legacy = R"([{"id": "11111111-2222-3333-4444-555555555555", "name": "Legacy", "command": "ls",
            "useLoginShell": true, "isEnabled": false, "logs": [],
            "schedule": {"daily": {"hour": 9, "minute": 30}}}])";
        world.sandbox.writeTasksFile(legacy);
        auto store = world.open();
        QCOMPARE(store->tasks().size(), 1);
        QCOMPARE(store->tasks().constFirst().schedule, TaskSchedule::daily({{9, 30}}));
        QCOMPARE(world.sandbox.readTasksFile(), legacy); // loading alone writes nothing
        QVERIFY(store->save());
        QCOMPARE(world.sandbox.readTasksFile(), TaskMigration::encode(store->tasks()));
        QVERIFY(world.sandbox.readTasksFile().contains("\"version\" : 2"));
    }

    void save_writesTheEnvelopeWithOwnerOnlyPermissions()
    {
        StoreWorld world;
        Sandbox::writeFile(world.sandbox.tasksFile(), TaskMigration::encode({}), 0644);
        auto store = world.open();
        store->add(StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false));
        QCOMPARE(world.sandbox.readTasksFile(), TaskMigration::encode(store->tasks()));
        QCOMPARE(QFileInfo(world.sandbox.tasksFile()).permissions() & 0x7777,
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        QCOMPARE(QDir(world.sandbox.dataDir()).entryList(QDir::Files), QStringList{u"tasks.json"_s});
    }

    void saveFailure_errorTextAndChangeKeptInMemory()
    {
        StoreWorld world;
        // The tasks file's folder is a plain file, so nothing can be written there.
        const QString blocked = world.sandbox.root() + u"/blocker/tasks.json"_s;
        Sandbox::writeFile(world.sandbox.root() + u"/blocker"_s, "not a folder");
        TaskStore::Options options = world.options();
        options.tasksFile = blocked;
        auto store = world.open(options);
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        store->add(task);
        QVERIFY(store->lastError());
        QVERIFY2(store->lastError()->startsWith(u"Failed to save tasks: "_s), qPrintable(*store->lastError()));
        QVERIFY(store->lastError()->size() > u"Failed to save tasks: "_s.size());
        QCOMPARE(store->tasks(), QList<ScheduledTask>{task});
        QVERIFY(!store->save());
    }

    void unreadableFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown version") << QByteArray(R"({"version": 0, "tasks": []})")
                                         << u"Failed to load tasks: Unknown tasks.json version: 0"_s;
        QTest::newRow("unknown layout") << QByteArray(R"({"tasks": []})")
                                        << u"Failed to load tasks: Unrecognized tasks.json format"_s;
        const QByteArray notJson = "this is not JSON";
        QTest::newRow("not JSON") << notJson
                                  << QString(u"Failed to load tasks: " %
                                             TaskMigration::read(notJson).error->description);
        const QByteArray invalid = R"({"version": 2, "tasks": [{"id": "11111111-2222-3333-4444-555555555555",
            "name": "x", "command": "y", "useLoginShell": true, "isEnabled": true,
            "schedule": {"daily": {"times": []}}}]})";
        QTest::newRow("invalid task") << invalid
                                      << QString(u"Failed to load tasks: " %
                                                 TaskMigration::read(invalid).error->description);
    }

    // The app's start-up: the list is empty, so every job of this app is swept; the file stays as it
    // is until the next save, which first copies it aside.
    void unreadableFile()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        StoreWorld world;
        const ScheduledTask installed = StoreWorld::task(u"Installed"_s, TaskSchedule::daily({seven}));
        QVERIFY(!LaunchdService().install(installed));
        world.sandbox.writeTasksFile(bytes);
        world.mark();
        auto store = world.open();
        QCOMPARE(store->lastError(), std::optional(error));
        QVERIFY(store->tasks().isEmpty());
        QVERIFY(store->fileUnreadable());
        QCOMPARE(world.calls(), QStringList{unload(installed)});
        QVERIFY(!world.plistExists(installed));
        QVERIFY(!world.scriptExists(installed));
        QCOMPARE(world.sandbox.readTasksFile(), bytes);
        QVERIFY(asideCopies(world).isEmpty());

        const ScheduledTask added = StoreWorld::task(u"New"_s, TaskSchedule::runAtLoad(), false);
        store->add(added);
        const QStringList copies = asideCopies(world);
        QCOMPARE(copies.size(), 1);
        QVERIFY(
            QRegularExpression(u"^tasks\\.json\\.unreadable-\\d{8}-\\d{6}$"_s).match(copies.constFirst()).hasMatch());
        const QString aside = world.sandbox.dataDir() + u'/' + copies.constFirst();
        QCOMPARE(Sandbox::readFile(aside), bytes);
        QCOMPARE(store->lastWarning(), std::optional(QString(u"The tasks file could not be read. It was kept as " %
                                                             aside % u" before being replaced.")));
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{added});
        QVERIFY(!store->fileUnreadable());

        // Only once: the next save replaces the store's own file.
        store->setEnabled(true, added.id);
        QCOMPARE(asideCopies(world).size(), 1);
    }

    void unreadableFile_withoutCleanUp_touchesNothing()
    {
        StoreWorld world;
        const ScheduledTask installed = StoreWorld::task(u"Installed"_s, TaskSchedule::daily({seven}));
        QVERIFY(!LaunchdService().install(installed));
        world.sandbox.writeTasksFile("[1, 2]");
        world.mark();
        TaskStore::Options options = world.options();
        options.cleanUpAfterFailedLoad = false;
        auto store = world.open(options);
        QCOMPARE(store->lastError(), std::optional(u"Failed to load tasks: Unrecognized tasks.json format"_s));
        QVERIFY(store->fileUnreadable());
        QCOMPARE(world.calls(), QStringList());
        QVERIFY(world.plistExists(installed));
        QVERIFY(world.scriptExists(installed));
        QCOMPARE(world.sandbox.readTasksFile(), QByteArray("[1, 2]"));
    }

    void asideCopy_neverOverwritesAnEarlierOne()
    {
        StoreWorld world;
        world.sandbox.writeTasksFile("first broken");
        auto store = world.open();
        store->add(StoreWorld::task(u"A"_s, TaskSchedule::runAtLoad(), false));
        world.sandbox.writeTasksFile("second broken");
        store->load();
        QVERIFY(store->fileUnreadable());
        QCOMPARE(store->tasks().size(), 1); // a failed reload keeps the list
        store->add(StoreWorld::task(u"B"_s, TaskSchedule::runAtLoad(), false));
        const QStringList copies = asideCopies(world);
        QCOMPARE(copies.size(), 2);
        QByteArrayList contents;
        for (const QString &name : copies) {
            contents << Sandbox::readFile(world.sandbox.dataDir() + u'/' + name);
        }
        std::sort(contents.begin(), contents.end());
        QCOMPARE(contents, (QByteArrayList{"first broken", "second broken"}));
    }

    void unreadableFileGoneBeforeSave_nothingToCopy()
    {
        StoreWorld world;
        world.sandbox.writeTasksFile("broken");
        auto store = world.open();
        QFile::remove(world.sandbox.tasksFile());
        store->add(StoreWorld::task(u"A"_s, TaskSchedule::runAtLoad(), false));
        QVERIFY(asideCopies(world).isEmpty());
        QCOMPARE(world.savedTasks().size(), 1);
        QVERIFY(!store->lastWarning());
    }

    void reload_replacesListAndFailureKeepsIt()
    {
        StoreWorld world;
        const ScheduledTask a = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        const ScheduledTask b = StoreWorld::task(u"B"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({a});
        auto store = world.open();
        QSignalSpy changed(store.get(), &TaskStore::tasksChanged);
        world.writeTasks({b, a});
        store->load();
        QCOMPARE(store->tasks(), (QList<ScheduledTask>{b, a}));
        QCOMPARE(changed.size(), 1);
        world.sandbox.writeTasksFile(R"({"version": 0, "tasks": []})");
        store->load();
        QCOMPARE(store->tasks(), (QList<ScheduledTask>{b, a}));
        QCOMPARE(store->lastError(), std::optional(u"Failed to load tasks: Unknown tasks.json version: 0"_s));
        world.writeTasks({a});
        store->load();
        QVERIFY(!store->fileUnreadable());
        QCOMPARE(store->tasks(), QList<ScheduledTask>{a});
    }

    void sweep_removesStrayJobsAndScriptsOnly()
    {
        StoreWorld world;
        const ScheduledTask kept = StoreWorld::task(u"Kept"_s, TaskSchedule::daily({seven}), false);
        const ScheduledTask stray = StoreWorld::task(u"Stray"_s, TaskSchedule::daily({seven}));
        QVERIFY(!LaunchdService().install(stray));
        Sandbox::writeFile(LaunchdService().scriptPath(kept), "# Moxley script v3\n");
        Sandbox::writeFile(world.sandbox.launchAgentsDir() + u"/com.other.app.plist"_s, "<plist/>");
        Sandbox::writeFile(world.sandbox.scriptsDir() + u"/notes.txt"_s, "mine");
        world.writeTasks({kept});
        world.mark();
        auto store = world.open();
        QCOMPARE(world.calls(), QStringList{unload(stray)});
        QVERIFY(!world.plistExists(stray));
        QVERIFY(!world.scriptExists(stray));
        QVERIFY(world.scriptExists(kept)); // disabled tasks keep theirs too
        QVERIFY(QFileInfo::exists(world.sandbox.launchAgentsDir() + u"/com.other.app.plist"_s));
        QVERIFY(QFileInfo::exists(world.sandbox.scriptsDir() + u"/notes.txt"_s));
    }

    void scriptRefresh_reinstallsEnabledOutdatedOnly()
    {
        StoreWorld world;
        const ScheduledTask current = StoreWorld::task(u"Current"_s, TaskSchedule::daily({seven}));
        const ScheduledTask outdated = StoreWorld::task(u"Outdated"_s, TaskSchedule::daily({seven}));
        const ScheduledTask missing = StoreWorld::task(u"Missing"_s, TaskSchedule::daily({seven}));
        const ScheduledTask disabled = StoreWorld::task(u"Disabled"_s, TaskSchedule::daily({seven}), false);
        QVERIFY(!LaunchdService().install(current));
        QVERIFY(!LaunchdService().install(outdated));
        Sandbox::writeFile(LaunchdService().scriptPath(outdated), "#!/bin/bash\n# Moxley script v2\n", 0700);
        Sandbox::writeFile(LaunchdService().scriptPath(disabled), "#!/bin/bash\n# Moxley script v1\n", 0700);
        world.writeTasks({current, outdated, missing, disabled});
        world.mark();
        auto store = world.open();
        // One call for the two jobs.
        QCOMPARE(world.calls(), (QStringList{unload(outdated), load(outdated) % u' ' % missing.fullId()}));
        QCOMPARE(Sandbox::readFile(LaunchdService().scriptPath(outdated)),
                 LaunchdService().scriptText(outdated).toUtf8());
        QVERIFY(world.scriptExists(missing));
        QCOMPARE(Sandbox::readFile(LaunchdService().scriptPath(disabled)),
                 QByteArray("#!/bin/bash\n# Moxley script v1\n"));
        QVERIFY(Sandbox::readFile(LaunchdService().scriptPath(current)).contains("# Moxley script v3"));
    }

    // A writer mid-change may be deleting a task read here, its job and script already gone:
    // installing that task again would leave a job without a task. The next load refreshes it.
    void scriptRefresh_anotherWriterMidChange_waitsForTheNextLoad()
    {
        StoreWorld world;
        const ScheduledTask missing = StoreWorld::task(u"Missing"_s, TaskSchedule::daily({seven}));
        world.writeTasks({missing});
        world.mark();
        {
            const TasksFileLock changing = TasksFileLock::take(TasksFileLock::Kind::change, world.sandbox.tasksFile());
            QVERIFY(changing.held());
            auto store = world.open();
            QCOMPARE(world.calls(), QStringList{});
            QVERIFY(!world.scriptExists(missing));
        }
        auto store = world.open();
        QCOMPARE(world.calls(), QStringList{load(missing)});
        QVERIFY(world.scriptExists(missing));
    }

    void scriptRefresh_installErrorDroppedSilently()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}));
        world.writeTasks({task});
        world.launchctl.setExitStatus(1);
        auto store = world.open();
        QCOMPARE(world.launchctl.calls().size(), 1);
        QVERIFY(!store->lastError());
    }

    void runRecordsAndLogs_readFromTheTaskFiles()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({task});
        auto store = world.open();
        QVERIFY(store->runRecords(task).isEmpty());
        QCOMPARE(store->readLog(task, TaskStore::LogStream::standardOutput, 100), QString());
        const LaunchdService files;
        Sandbox::writeFile(files.runsPath(task), "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\nbroken\n"
                                                 "2025-03-02T06:00:00Z\t1\n");
        Sandbox::writeFile(files.stdoutLogPath(task), "one\ntwo\nthree\n");
        Sandbox::writeFile(files.stderrLogPath(task), "oops\n");
        const QList<TaskRunRecord> runs = store->runRecords(task);
        QCOMPARE(runs.size(), 2);
        QCOMPARE(runDateTime(runs.at(0).startedAt), QDateTime(QDate(2025, 3, 1), QTime(6, 0), QTimeZone::utc()));
        QCOMPARE(runDateTime(runs.at(0).endedAt), QDateTime(QDate(2025, 3, 1), QTime(6, 0, 5), QTimeZone::utc()));
        QCOMPARE(runs.at(1).exitCode, 1);
        QCOMPARE(store->readLog(task, TaskStore::LogStream::standardOutput, 2), u"three"_s);
        QCOMPARE(store->readLog(task, TaskStore::LogStream::standardOutput, 100), u"one\ntwo\nthree"_s);
        QCOMPARE(store->readLog(task, TaskStore::LogStream::standardError, 100), u"oops"_s);
    }

    void lastErrorAndWarning_clearable()
    {
        StoreWorld world;
        world.sandbox.writeTasksFile("[1]");
        auto store = world.open();
        QVERIFY(store->lastError());
        QSignalSpy errors(store.get(), &TaskStore::lastErrorChanged);
        store->clearLastError();
        QVERIFY(!store->lastError());
        QCOMPARE(errors.size(), 1);
        store->clearLastError();
        QCOMPARE(errors.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TaskStoreStartupTest)
#include "test_task_store_startup.moc"
