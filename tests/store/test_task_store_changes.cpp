#include "StoreWorld.h"

#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

const TimeOfDay seven{7, 0};

} // namespace

// Every change goes through the store: it saves at once, keeps the jobs and the wake schedule in
// step in a fixed order, and keeps the change when job control or wake fails.
class TaskStoreChangesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void add_enabled_installsAndSaves()
    {
        StoreWorld world;
        auto store = world.open();
        world.mark();
        const ScheduledTask task = StoreWorld::task(u"Backup"_s, TaskSchedule::daily({seven}));
        QSignalSpy changed(store.get(), &TaskStore::tasksChanged);
        store->add(task);
        QCOMPARE(world.calls(), QStringList{load(task)});
        QCOMPARE(store->tasks(), QList<ScheduledTask>{task});
        QCOMPARE(world.sandbox.readTasksFile(), TaskMigration::encode({task}));
        QVERIFY(world.plistExists(task));
        QVERIFY(world.scriptExists(task));
        QVERIFY(!store->lastError());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(QFileInfo(world.sandbox.tasksFile()).permissions() & 0x7777,
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
    }

    void add_appendsAtTheEnd()
    {
        StoreWorld world;
        auto store = world.open();
        const ScheduledTask first = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        const ScheduledTask second = StoreWorld::task(u"B"_s, TaskSchedule::interval(5), false);
        store->add(first);
        store->add(second);
        QCOMPARE(store->tasks(), (QList<ScheduledTask>{first, second}));
        QCOMPARE(world.savedTasks(), (QList<ScheduledTask>{first, second}));
    }

    void add_disabled_notInstalled()
    {
        StoreWorld world;
        auto store = world.open();
        world.mark();
        const ScheduledTask task = StoreWorld::task(u"Off"_s, TaskSchedule::daily({seven}), false, true);
        store->add(task);
        QCOMPARE(world.calls(), QStringList());
        QVERIFY(!world.plistExists(task));
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{task});
    }

    void add_wakeTask_wakeThenInstall()
    {
        StoreWorld world;
        auto store = world.open();
        world.mark();
        const ScheduledTask task = StoreWorld::task(u"Early"_s, TaskSchedule::daily({seven, {6, 30}}), true, true);
        store->add(task);
        QCOMPARE(world.calls(), (QStringList{u"wake pmset repeat wakeorpoweron MTWRFSU 06:25:00"_s, load(task)}));
        QVERIFY(!store->lastError());
        QVERIFY(store->tasks().constFirst().isEnabled);
    }

    void add_wakeFails_keptDisabledAndNotInstalled()
    {
        StoreWorld world;
        world.osascript.setExitStatus(1);
        auto store = world.open();
        world.mark();
        const ScheduledTask task = StoreWorld::task(u"Early"_s, TaskSchedule::daily({seven}), true, true);
        store->add(task);
        QCOMPARE(world.calls(), QStringList{StoreWorld::daily(7, 0)});
        QCOMPARE(store->lastError(), std::optional(u"pmset failed: Unknown error"_s));
        ScheduledTask expected = task;
        expected.isEnabled = false;
        QCOMPARE(store->tasks(), QList<ScheduledTask>{expected});
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{expected});
        QVERIFY(!world.plistExists(task));
    }

    void add_unsupportedWake_keptDisabled()
    {
        StoreWorld world;
        auto store = world.open();
        world.mark();
        // An interval task is never handed to the wake service, so nothing fails and it is installed.
        const ScheduledTask interval = StoreWorld::task(u"Often"_s, TaskSchedule::interval(5), true, true);
        store->add(interval);
        QCOMPARE(world.calls(), QStringList{load(interval)});
        QVERIFY(store->tasks().constFirst().isEnabled);
    }

    void add_loadFails_keptWithError()
    {
        StoreWorld world;
        world.launchctl.setExitStatus(5, u"load"_s);
        auto store = world.open();
        const ScheduledTask task = StoreWorld::task(u"Backup"_s, TaskSchedule::daily({seven}));
        store->add(task);
        QCOMPARE(store->lastError(), std::optional(u"launchctl load failed (exit code 5)"_s));
        QCOMPARE(store->tasks(), QList<ScheduledTask>{task});
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{task});
        QVERIFY(world.plistExists(task)); // the files stay for the next attempt
    }

    void add_launchctlUnstartable_exitCodeMinusOne()
    {
        StoreWorld world;
        world.launchctl.makeUnstartable();
        auto store = world.open();
        store->add(StoreWorld::task(u"Backup"_s, TaskSchedule::daily({seven})));
        QCOMPARE(store->lastError(), std::optional(u"launchctl load failed (exit code -1)"_s));
        QCOMPARE(world.savedTasks().size(), 1);
    }

    void syncWake_firstRepeatingAndEveryMonthly()
    {
        StoreWorld world;
        const ScheduledTask daily = StoreWorld::task(u"D"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask weekly = StoreWorld::task(u"W"_s, TaskSchedule::weekly({2}, {seven}), true, true);
        const ScheduledTask monthly14 = StoreWorld::task(u"M14"_s, TaskSchedule::monthly(14, {{9, 0}}), true, true);
        const ScheduledTask interval = StoreWorld::task(u"I"_s, TaskSchedule::interval(5), true, true);
        const ScheduledTask monthly20 = StoreWorld::task(u"M20"_s, TaskSchedule::monthly(20, {{8, 0}}), true, true);
        const ScheduledTask off = StoreWorld::task(u"Off"_s, TaskSchedule::daily({{5, 0}}), false, true);
        world.writeTasks({off, interval, daily, weekly, monthly14, monthly20});
        auto store = world.open();
        world.mark();
        const ScheduledTask added = StoreWorld::task(u"Load"_s, TaskSchedule::runAtLoad(), true, true);
        store->add(added);
        QCOMPARE(world.calls(),
                 (QStringList{StoreWorld::daily(7, 0), u"wake pmset schedule wakeorpoweron \"03/14/25 08:55:00\""_s,
                              u"wake pmset schedule wakeorpoweron \"03/20/25 07:55:00\""_s, load(added)}));
    }

    void syncWake_weeklyFirstWins()
    {
        StoreWorld world;
        const ScheduledTask weekly = StoreWorld::task(u"W"_s, TaskSchedule::weekly({2, 6}, {{9, 0}}), true, true);
        const ScheduledTask nth =
            StoreWorld::task(u"N"_s, TaskSchedule::monthlyNthWeekday(2, 3, {{8, 30}}), true, true);
        world.writeTasks({weekly});
        auto store = world.open();
        world.mark();
        store->add(nth);
        QCOMPARE(world.calls(), (QStringList{u"wake pmset repeat wakeorpoweron MF 08:55:00"_s, load(nth)}));
    }

    void syncWake_firstErrorStops()
    {
        StoreWorld world;
        const ScheduledTask monthly14 = StoreWorld::task(u"M14"_s, TaskSchedule::monthly(14, {{9, 0}}), true, true);
        const ScheduledTask monthly20 = StoreWorld::task(u"M20"_s, TaskSchedule::monthly(20, {{8, 0}}), true, true);
        world.writeTasks({monthly14, monthly20});
        world.osascript.setExitStatus(1);
        auto store = world.open();
        world.mark();
        const ScheduledTask added = StoreWorld::task(u"D"_s, TaskSchedule::daily({seven}), true, true);
        store->add(added);
        QCOMPARE(world.calls(), QStringList{StoreWorld::daily(7, 0)});
        QCOMPARE(store->lastError(), std::optional(u"pmset failed: Unknown error"_s));
        QVERIFY(!store->tasks().constLast().isEnabled);
    }

    void setEnabled_unknownId_changesAndSavesNothing()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({task});
        auto store = world.open();
        QSignalSpy saved(store.get(), &TaskStore::saved);
        QSignalSpy changed(store.get(), &TaskStore::tasksChanged);
        const QByteArray before = world.sandbox.readTasksFile();
        world.mark();
        store->setEnabled(true, QUuid::createUuid());
        QCOMPARE(world.calls(), QStringList());
        QCOMPARE(saved.size(), 0);
        QCOMPARE(changed.size(), 0);
        QCOMPARE(world.sandbox.readTasksFile(), before);
        QCOMPARE(store->tasks(), QList<ScheduledTask>{task});
    }

    void setEnabled_on_installs()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({task});
        auto store = world.open();
        world.mark();
        store->setEnabled(true, task.id);
        QCOMPARE(world.calls(), QStringList{load(task)});
        QVERIFY(world.savedTasks().constFirst().isEnabled);
    }

    void setEnabled_off_uninstallsKeepsHistory()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}));
        auto store = world.open();
        store->add(task);
        Sandbox::writeFile(LaunchdService().runsPath(task), "1\t2\t0\n");
        world.mark();
        store->setEnabled(false, task.id);
        QCOMPARE(world.calls(), QStringList{unload(task)});
        QVERIFY(!world.plistExists(task));
        QVERIFY(!world.scriptExists(task));
        QVERIFY(QFileInfo::exists(LaunchdService().runsPath(task)));
        QVERIFY(!world.savedTasks().constFirst().isEnabled);
    }

    void setEnabled_onWakeTask_wakeThenInstall()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false, true);
        world.writeTasks({task});
        auto store = world.open();
        world.mark();
        store->setEnabled(true, task.id);
        QCOMPARE(world.calls(), (QStringList{StoreWorld::daily(7, 0), load(task)}));
    }

    void setEnabled_onWakeTask_wakeFails_staysOff()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false, true);
        world.writeTasks({task});
        world.osascript.setExitStatus(1);
        auto store = world.open();
        QSignalSpy saved(store.get(), &TaskStore::saved);
        world.mark();
        store->setEnabled(true, task.id);
        QCOMPARE(world.calls(), QStringList{StoreWorld::daily(7, 0)});
        QCOMPARE(store->lastError(), std::optional(u"pmset failed: Unknown error"_s));
        QVERIFY(!store->tasks().constFirst().isEnabled);
        QCOMPARE(saved.size(), 1);
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{task});
    }

    void setEnabled_offWakeTask_uninstallThenSyncOthers()
    {
        StoreWorld world;
        const ScheduledTask first = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask other = StoreWorld::task(u"B"_s, TaskSchedule::daily({{9, 0}}), true, true);
        world.writeTasks({first, other});
        auto store = world.open();
        world.mark();
        store->setEnabled(false, first.id);
        QCOMPARE(world.calls(), (QStringList{unload(first), StoreWorld::daily(9, 0)}));
    }

    // The app wakes the machine from its own view of the list; when another writer moved a waking
    // task meanwhile, the save that takes that change in hands over the times as written.
    void setEnabled_offWakeTask_otherWriterMovedTheWakingTask_wakeFollowsTheFile()
    {
        StoreWorld world;
        ScheduledTask first = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask other = StoreWorld::task(u"B"_s, TaskSchedule::daily({{9, 0}}), true, true);
        world.writeTasks({first, other});
        auto app = world.open();
        first.schedule = TaskSchedule::daily({{8, 0}});
        world.open()->update(first);
        world.mark();
        app->setEnabled(false, other.id);
        QCOMPARE(world.calls(), (QStringList{unload(other), StoreWorld::daily(7, 0), StoreWorld::daily(8, 0)}));
        QCOMPARE(world.savedTasks().at(0).schedule, first.schedule);
        QVERIFY(!world.savedTasks().at(1).isEnabled);
    }

    void setEnabled_offLastWakeTask_wakeScheduleUntouched()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), true, true);
        world.writeTasks({task});
        auto store = world.open();
        world.mark();
        store->setEnabled(false, task.id);
        QCOMPARE(world.calls(), QStringList{unload(task)});
    }

    void setEnabled_offWithFailingUnload_errorButOff()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}));
        world.writeTasks({task});
        world.launchctl.setExitStatus(3, u"unload"_s);
        auto store = world.open();
        store->setEnabled(false, task.id);
        QCOMPARE(store->lastError(), std::optional(u"launchctl unload failed (exit code 3)"_s));
        QVERIFY(!world.savedTasks().constFirst().isEnabled);
    }

    void delete_uninstallsAndRemoves()
    {
        StoreWorld world;
        const ScheduledTask keep = StoreWorld::task(u"Keep"_s, TaskSchedule::daily({seven}));
        const ScheduledTask gone = StoreWorld::task(u"Gone"_s, TaskSchedule::daily({seven}));
        world.writeTasks({keep, gone});
        auto store = world.open();
        world.mark();
        store->deleteTask(gone);
        QCOMPARE(world.calls(), QStringList{unload(gone)});
        QCOMPARE(store->tasks(), QList<ScheduledTask>{keep});
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{keep});
        QVERIFY(!world.plistExists(gone));
        QVERIFY(world.plistExists(keep));
    }

    void delete_lastWakeTask_wakeScheduleUntouched()
    {
        StoreWorld world;
        const ScheduledTask task = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), true, true);
        world.writeTasks({task});
        auto store = world.open();
        world.mark();
        store->deleteTask(task);
        QCOMPARE(world.calls(), QStringList{unload(task)});
        QVERIFY(store->tasks().isEmpty());
        QVERIFY(world.osascript.calls().isEmpty());
    }

    void delete_wakeTask_othersSynced()
    {
        StoreWorld world;
        const ScheduledTask gone = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask other = StoreWorld::task(u"B"_s, TaskSchedule::monthly(14, {{9, 0}}), true, true);
        world.writeTasks({gone, other});
        auto store = world.open();
        world.mark();
        store->deleteTask(gone);
        QCOMPARE(world.calls(),
                 (QStringList{unload(gone), u"wake pmset schedule wakeorpoweron \"03/14/25 08:55:00\""_s}));
    }

    void deleteTasks_inListOrderOneSync()
    {
        StoreWorld world;
        const ScheduledTask a = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask b = StoreWorld::task(u"B"_s, TaskSchedule::daily({seven}), false);
        const ScheduledTask c = StoreWorld::task(u"C"_s, TaskSchedule::daily({seven}), true, true);
        const ScheduledTask d = StoreWorld::task(u"D"_s, TaskSchedule::daily({{9, 0}}), true, true);
        world.writeTasks({a, b, c, d});
        auto store = world.open();
        world.mark();
        store->deleteTasks({c.id, a.id, b.id});
        QCOMPARE(world.calls(), (QStringList{unload(a), unload(b), unload(c), StoreWorld::daily(9, 0)}));
        QCOMPARE(store->tasks(), QList<ScheduledTask>{d});
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{d});
    }

    void deleteTasks_noWake_noSync()
    {
        StoreWorld world;
        const ScheduledTask a = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}));
        const ScheduledTask wake = StoreWorld::task(u"W"_s, TaskSchedule::daily({seven}), true, true);
        world.writeTasks({a, wake});
        auto store = world.open();
        world.mark();
        store->deleteTasks({a.id});
        QCOMPARE(world.calls(), QStringList{unload(a)});
    }

    void duplicate_enabledTask_disabledCopyAtEnd()
    {
        StoreWorld world;
        ScheduledTask original = StoreWorld::task(u"Backup"_s, TaskSchedule::weekly({2}, {seven}), true, true);
        original.workingDirectory = u"/srv"_s;
        original.logs = {TaskLog{QUuid::createUuid(), 12.5, 0, u"old"_s}};
        const ScheduledTask other = StoreWorld::task(u"Other"_s, TaskSchedule::interval(5), false);
        world.writeTasks({original, other});
        auto store = world.open();
        world.mark();
        const std::optional<ScheduledTask> copy = store->duplicate(original);
        QVERIFY(copy);
        QCOMPARE(world.calls(), QStringList());
        QCOMPARE(store->tasks().size(), 3);
        QCOMPARE(store->tasks().constLast(), *copy);
        QVERIFY(copy->id != original.id);
        QCOMPARE(copy->name, u"Backup (copy)"_s);
        QVERIFY(!copy->isEnabled);
        QVERIFY(copy->logs.isEmpty());
        QCOMPARE(copy->schedule, original.schedule);
        QCOMPARE(copy->workingDirectory, original.workingDirectory);
        QCOMPARE(copy->wakeBeforeRun, true);
        QCOMPARE(world.savedTasks().constLast(), *copy);
    }

    void duplicate_unknownTask_nothing()
    {
        StoreWorld world;
        auto store = world.open();
        QVERIFY(!store->duplicate(StoreWorld::task(u"X"_s, TaskSchedule::runAtLoad())));
        QVERIFY(store->tasks().isEmpty());
        QVERIFY(!QFileInfo::exists(world.sandbox.tasksFile()));
    }

    // update(): which of uninstall, install and the wake sync run, in which order.
    void update_data()
    {
        QTest::addColumn<bool>("oldEnabled");
        QTest::addColumn<bool>("oldWake");
        QTest::addColumn<bool>("newEnabled");
        QTest::addColumn<bool>("newWake");
        QTest::addColumn<bool>("newSchedule");
        // "unload", "load", "wake" (this task's wake, then the other's), "other" (the other wake task alone)
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("savedWake");

        using L = QStringList;
        // Wake on and newly asked for, or its schedule changed: wake first, then reinstall.
        QTest::newRow("wake switched on")
            << true << false << true << true << false << L{"wake", "unload", "load"} << true;
        QTest::newRow("wake task rescheduled")
            << true << true << true << true << true << L{"wake", "unload", "load"} << true;
        QTest::newRow("disabled task enabled with wake")
            << false << false << true << true << false << L{"wake", "load"} << true;
        // Nothing about wake changed.
        QTest::newRow("wake task renamed") << true << true << true << true << false << L{"unload", "load"} << true;
        QTest::newRow("plain task renamed") << true << false << true << false << false << L{"unload", "load"} << false;
        QTest::newRow("plain task rescheduled")
            << true << false << true << false << true << L{"unload", "load"} << false;
        QTest::newRow("disabled plain task edited") << false << false << false << false << true << L{} << false;
        // Switching a wake task on or off alone leaves the wake schedule alone.
        QTest::newRow("wake task switched off") << true << true << false << true << false << L{"unload"} << true;
        QTest::newRow("wake task switched on") << false << true << true << true << false << L{"load"} << true;
        // Wake dropped: the others are synced after the install.
        QTest::newRow("wake switched off")
            << true << true << true << false << false << L{"unload", "load", "other"} << false;
        QTest::newRow("wake off and disabled")
            << true << true << false << false << false << L{"unload", "other"} << false;
        QTest::newRow("disabled wake task rescheduled") << false << true << false << true << true << L{"other"} << true;
        QTest::newRow("disabled, wake asked for") << false << false << false << true << false << L{"other"} << true;
    }

    void update()
    {
        QFETCH(bool, oldEnabled);
        QFETCH(bool, oldWake);
        QFETCH(bool, newEnabled);
        QFETCH(bool, newWake);
        QFETCH(bool, newSchedule);
        QFETCH(QStringList, expected);
        QFETCH(bool, savedWake);

        StoreWorld world;
        // The other wake task is monthly, so its wake is told apart from this daily task's.
        const ScheduledTask other = StoreWorld::task(u"Other"_s, TaskSchedule::monthly(14, {{9, 0}}), true, true);
        const ScheduledTask old = StoreWorld::task(u"Task"_s, TaskSchedule::daily({seven}), oldEnabled, oldWake);
        world.writeTasks({other, old});
        auto store = world.open();
        world.mark();

        ScheduledTask edited = old;
        edited.name = u"Task, edited"_s;
        edited.isEnabled = newEnabled;
        edited.wakeBeforeRun = newWake;
        if (newSchedule) {
            edited.schedule = TaskSchedule::daily({{8, 0}});
        }
        store->update(edited);

        const QString otherWake = u"wake pmset schedule wakeorpoweron \"03/14/25 08:55:00\""_s;
        const QString ownWake = newSchedule ? StoreWorld::daily(8, 0) : StoreWorld::daily(7, 0);
        QStringList calls;
        for (const QString &step : expected) {
            if (step == u"unload") {
                calls << unload(old);
            } else if (step == u"load") {
                calls << load(old);
            } else if (step == u"wake") {
                calls << ownWake; // the first repeating wake task; then every monthly one
                calls << otherWake;
            } else {
                calls << otherWake;
            }
        }
        QCOMPARE(world.calls(), calls);
        ScheduledTask stored = edited;
        stored.wakeBeforeRun = savedWake;
        QCOMPARE(store->tasks().constLast(), stored);
        QCOMPARE(world.savedTasks().constLast(), stored);
        QVERIFY(!store->lastError());
        QCOMPARE(world.plistExists(old), newEnabled);
    }

    // An edit made on the list as this store read it keeps another writer's change of other fields
    // of the same task, saved meanwhile: the switch off and the rename both stay.
    void update_otherWriterChangedTheTaskMeanwhile_bothKept()
    {
        StoreWorld world;
        const ScheduledTask old = StoreWorld::task(u"Task"_s, TaskSchedule::daily({seven}), true, false);
        world.writeTasks({old});
        auto tool = world.open();
        {
            auto other = world.open();
            other->setEnabled(false, old.id);
            ScheduledTask renamed = *other->task(old.id);
            renamed.name = u"Renamed"_s;
            other->update(renamed);
        }
        world.mark();
        ScheduledTask edited = old;
        edited.schedule = TaskSchedule::daily({{8, 0}});
        edited.command = u"echo edited"_s;
        tool->update(edited);
        ScheduledTask expected = old;
        expected.isEnabled = false;
        expected.name = u"Renamed"_s;
        expected.schedule = edited.schedule;
        expected.command = edited.command;
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{expected});
        QCOMPARE(tool->tasks(), QList<ScheduledTask>{expected});
        // The task is off in the file: the job this store loaded for its edit is unloaded again.
        QCOMPARE(world.calls(), (QStringList{unload(old), load(old), unload(old)}));
        QVERIFY(!world.plistExists(old));
    }

    void update_wakeFails_wakeSwitchedOffTaskStillInstalled()
    {
        StoreWorld world;
        const ScheduledTask old = StoreWorld::task(u"Task"_s, TaskSchedule::daily({seven}), true, false);
        world.writeTasks({old});
        world.osascript.setExitStatus(1);
        auto store = world.open();
        world.mark();
        ScheduledTask edited = old;
        edited.wakeBeforeRun = true;
        store->update(edited);
        QCOMPARE(world.calls(), (QStringList{StoreWorld::daily(7, 0), unload(old), load(old)}));
        QCOMPARE(store->lastError(), std::optional(u"pmset failed: Unknown error"_s));
        QVERIFY(!store->tasks().constFirst().wakeBeforeRun);
        QVERIFY(store->tasks().constFirst().isEnabled);
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{old});
    }

    void update_wakeFails_disabledTaskEnabled_installedWithoutWake()
    {
        StoreWorld world;
        const ScheduledTask old = StoreWorld::task(u"Task"_s, TaskSchedule::daily({seven}), false, false);
        world.writeTasks({old});
        world.osascript.setExitStatus(1);
        auto store = world.open();
        world.mark();
        ScheduledTask edited = old;
        edited.isEnabled = true;
        edited.wakeBeforeRun = true;
        store->update(edited);
        QCOMPARE(world.calls(), (QStringList{StoreWorld::daily(7, 0), load(old)}));
        QVERIFY(!world.savedTasks().constFirst().wakeBeforeRun);
        QVERIFY(world.savedTasks().constFirst().isEnabled);
    }

    void update_installFails_changeKept()
    {
        StoreWorld world;
        const ScheduledTask old = StoreWorld::task(u"Task"_s, TaskSchedule::daily({seven}));
        world.writeTasks({old});
        auto store = world.open();
        world.launchctl.setExitStatus(1, u"load"_s);
        ScheduledTask edited = old;
        edited.command = u"echo new"_s;
        store->update(edited);
        QCOMPARE(store->lastError(), std::optional(u"launchctl load failed (exit code 1)"_s));
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{edited});
    }

    void update_unknownId_nothing()
    {
        StoreWorld world;
        const ScheduledTask old = StoreWorld::task(u"Task"_s, TaskSchedule::daily({seven}));
        world.writeTasks({old});
        auto store = world.open();
        QSignalSpy saved(store.get(), &TaskStore::saved);
        world.mark();
        store->update(StoreWorld::task(u"Stranger"_s, TaskSchedule::daily({seven})));
        QCOMPARE(world.calls(), QStringList());
        QCOMPARE(saved.size(), 0);
        QCOMPARE(store->tasks(), QList<ScheduledTask>{old});
    }

    void update_keepsPosition()
    {
        StoreWorld world;
        const ScheduledTask a = StoreWorld::task(u"A"_s, TaskSchedule::daily({seven}), false);
        const ScheduledTask b = StoreWorld::task(u"B"_s, TaskSchedule::daily({seven}), false);
        world.writeTasks({a, b});
        auto store = world.open();
        ScheduledTask edited = a;
        edited.name = u"A2"_s;
        store->update(edited);
        QCOMPARE(store->tasks(), (QList<ScheduledTask>{edited, b}));
    }
};

QTEST_GUILESS_MAIN(TaskStoreChangesTest)
#include "test_task_store_changes.moc"
