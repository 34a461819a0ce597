#include "StoreWorld.h"

#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

const TimeOfDay seven{7, 0};

} // namespace

// Import adds only tasks that are new by id, installs the enabled ones, and reports with the
// app's exact texts.
class TaskStoreImportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summaryTexts()
    {
        using R = TaskStore::ImportResult;
        QCOMPARE((R{2, 0, {}}).summary(), u"2 tasks imported."_s);
        QCOMPARE((R{1, 0, {}}).summary(), u"1 task imported."_s);
        QCOMPARE((R{0, 3, {}}).summary(), u"3 skipped (already present)."_s);
        QCOMPARE((R{0, 1, {}}).summary(), u"1 skipped (already present)."_s);
        QCOMPARE((R{2, 1, {}}).summary(), u"2 tasks imported.\n1 skipped (already present)."_s);
        QCOMPARE((R{0, 0, {}}).summary(), u"The selected file contained no new tasks."_s);
    }

    void ownExport_addsNothing()
    {
        StoreWorld world;
        const QList<ScheduledTask> tasks{StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false),
                                         StoreWorld::task(u"B"_s, TaskSchedule::interval(5), false),
                                         StoreWorld::task(u"C"_s, TaskSchedule::runAtLoad(), false)};
        world.writeTasks(tasks);
        auto store = world.open();
        QSignalSpy saved(store.get(), &TaskStore::saved);
        world.mark();
        const TaskStore::ImportResult result = store->importTasks(TaskMigration::encode(store->tasks()));
        QCOMPARE(result.added, 0);
        QCOMPARE(result.skipped, 3);
        QVERIFY(!result.error);
        QCOMPARE(result.summary(), u"3 skipped (already present)."_s);
        QCOMPARE(store->lastWarning(), std::optional(u"Skipped 3 tasks with IDs already present."_s));
        QCOMPARE(store->tasks(), tasks);
        QCOMPARE(saved.size(), 0);
        QCOMPARE(world.calls(), QStringList());
    }

    void oneSkipped_singularWarning()
    {
        StoreWorld world;
        const ScheduledTask present = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({present});
        auto store = world.open();
        const ScheduledTask fresh = StoreWorld::task(u"New"_s, TaskSchedule::daily({seven}), false);
        const TaskStore::ImportResult result = store->importTasks(TaskMigration::encode({present, fresh}));
        QCOMPARE(result.summary(), u"1 task imported.\n1 skipped (already present)."_s);
        QCOMPARE(store->lastWarning(), std::optional(u"Skipped 1 task with ID already present."_s));
        QCOMPARE(world.savedTasks(), (QList<ScheduledTask>{present, fresh}));
    }

    void emptyList_noNewTasksAndNoSave()
    {
        StoreWorld world;
        auto store = world.open();
        QSignalSpy saved(store.get(), &TaskStore::saved);
        for (const QByteArray &empty : {QByteArray("[]"), TaskMigration::encode({})}) {
            const TaskStore::ImportResult result = store->importTasks(empty);
            QCOMPARE(result.summary(), u"The selected file contained no new tasks."_s);
            QVERIFY(!result.error);
        }
        QCOMPARE(saved.size(), 0);
        QVERIFY(!QFileInfo::exists(world.sandbox.tasksFile()));
        QVERIFY(!store->lastWarning());
    }

    void enabledInstalledDisabledNot()
    {
        StoreWorld world;
        const ScheduledTask existing = StoreWorld::task(u"Here"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({existing});
        auto store = world.open();
        world.mark();
        const ScheduledTask on = StoreWorld::task(u"On"_s, TaskSchedule::daily({seven}));
        const ScheduledTask off = StoreWorld::task(u"Off"_s, TaskSchedule::weekly({2}, {seven}), false);
        const TaskStore::ImportResult result = store->importTasks(TaskMigration::encode({on, off}));
        QCOMPARE(result.added, 2);
        QCOMPARE(result.skipped, 0);
        QCOMPARE(result.summary(), u"2 tasks imported."_s);
        QCOMPARE(world.calls(), QStringList{load(on)});
        QCOMPARE(store->tasks(), (QList<ScheduledTask>{existing, on, off}));
        QCOMPARE(world.savedTasks(), (QList<ScheduledTask>{existing, on, off}));
        QVERIFY(world.plistExists(on));
        QVERIFY(!world.plistExists(off));
        QVERIFY(!store->lastWarning());
    }

    void installErrorDroppedSilently()
    {
        StoreWorld world;
        auto store = world.open();
        world.launchctl.setExitStatus(1, u"load"_s);
        const ScheduledTask on = StoreWorld::task(u"On"_s, TaskSchedule::daily({seven}));
        store->importTasks(TaskMigration::encode({on}));
        QCOMPARE(world.launchctl.calls().size(), 1);
        QVERIFY(!store->lastError());
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{on});
    }

    void wakeTasks_installedThenOneSync()
    {
        StoreWorld world;
        auto store = world.open();
        world.mark();
        const ScheduledTask wake = StoreWorld::task(u"W"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask monthly = StoreWorld::task(u"M"_s, TaskSchedule::monthly(14, {{9, 0}}), true, true);
        store->importTasks(TaskMigration::encode({wake, monthly}));
        QCOMPARE(world.calls(), (QStringList{load(wake) % u' ' % monthly.fullId(), StoreWorld::daily(7, 0),
                                             u"wake pmset schedule wakeorpoweron \"03/14/25 08:55:00\""_s}));
    }

    void wakeSyncFailure_taskKeptAsImported()
    {
        StoreWorld world;
        world.osascript.setExitStatus(1);
        auto store = world.open();
        const ScheduledTask wake = StoreWorld::task(u"W"_s, TaskSchedule::daily({seven}), true, true);
        const TaskStore::ImportResult result = store->importTasks(TaskMigration::encode({wake}));
        QCOMPARE(result.added, 1);
        QVERIFY(!result.error);
        QCOMPARE(store->lastError(), std::optional(u"pmset failed: Unknown error"_s));
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{wake});
    }

    void disabledWakeTask_noWakeCall()
    {
        StoreWorld world;
        auto store = world.open();
        world.mark();
        const ScheduledTask off = StoreWorld::task(u"W"_s, TaskSchedule::daily({seven}), false, true);
        store->importTasks(TaskMigration::encode({off}));
        QCOMPARE(world.calls(), QStringList());
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{off});
    }

    void legacyBareArray_imports()
    {
        StoreWorld world;
        auto store = world.open();
        const TaskStore::ImportResult result = store->importTasks(
            R"([{"id": "11111111-2222-3333-4444-555555555555", "name": "Legacy", "command": "ls", "useLoginShell": true,
                 "isEnabled": false, "logs": [], "schedule": {"weekly": {"weekdays": [2, 6], "hour": 8, "minute": 0}}}])");
        QCOMPARE(result.summary(), u"1 task imported."_s);
        QCOMPARE(store->tasks().constFirst().schedule, TaskSchedule::weekly({2, 6}, {{8, 0}}));
    }

    void sameNewIdTwiceInOneFile_bothAdded()
    {
        StoreWorld world;
        auto store = world.open();
        const ScheduledTask task = StoreWorld::task(u"Twin"_s, TaskSchedule::daily({seven}), false);
        const TaskStore::ImportResult result = store->importTasks(TaskMigration::encode({task, task}));
        QCOMPARE(result.added, 2);
        QCOMPARE(store->tasks().size(), 2);
    }

    void badFile_failsWithNothingChanged_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QTest::newRow("version 0") << QByteArray(R"({"version": 0, "tasks": []})")
                                   << u"Unknown tasks.json version: 0"_s;
        QTest::newRow("layout") << QByteArray(R"({"tasks": []})") << u"Unrecognized tasks.json format"_s;
        QTest::newRow("string") << QByteArray(R"("tasks")") << u"Unrecognized tasks.json format"_s;
        const QByteArray notJson = "{not json";
        QTest::newRow("not JSON") << notJson << TaskMigration::read(notJson).error->description;
        const QByteArray badTask = R"({"version": 2, "tasks": [{"id": "11111111-2222-3333-4444-555555555555",
            "name": "x", "command": "y", "useLoginShell": true, "isEnabled": true, "logs": [],
            "schedule": {"daily": {"times": []}, "weekly": {"weekdays": [], "times": []}}}]})";
        QTest::newRow("invalid task") << badTask << TaskMigration::read(badTask).error->description;
    }

    void badFile_failsWithNothingChanged()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        StoreWorld world;
        const ScheduledTask existing = StoreWorld::task(u"Here"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({existing});
        auto store = world.open();
        const QByteArray before = world.sandbox.readTasksFile();
        world.mark();
        const TaskStore::ImportResult result = store->importTasks(bytes);
        QCOMPARE(result.error, std::optional(error));
        QCOMPARE(result.added, 0);
        QCOMPARE(store->tasks(), QList<ScheduledTask>{existing});
        QCOMPARE(world.sandbox.readTasksFile(), before);
        QCOMPARE(world.calls(), QStringList());
        QVERIFY(!store->lastWarning());
    }
};

QTEST_GUILESS_MAIN(TaskStoreImportTest)
#include "test_task_store_import.moc"
