#include "SessionBus.h"
#include "StoreWorld.h"

#include <QSignalSpy>

// The app's store and the moxley tool in another process share the tasks file; the tool's
// change notice makes the store reload it.
class TaskStoreNoticeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void toolChange_storeReloads()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        StoreWorld world;
        const ScheduledTask first = StoreWorld::task(u"First"_qs, TaskSchedule::daily({{7, 0}}), false);
        world.writeTasks({first});
        TaskStore::Options options = world.options();
        options.changeNotice = ChangeNotice::system();
        auto store = world.open(options);
        QCOMPARE(store->tasks().size(), 1);
        QSignalSpy changed(store.get(), &TaskStore::tasksChanged);

        const auto result = world.sandbox.runCli(
            {u"add"_qs, u"--name"_qs, u"From the tool"_qs, u"--command"_qs, u"true"_qs, u"--disabled"_qs});
        QCOMPARE(result.exitCode, 0);
        QTRY_COMPARE(store->tasks().size(), 2);
        QCOMPARE(store->tasks().at(1).name, u"From the tool"_qs);
        QCOMPARE(store->tasks().at(1).fullId().toUtf8() + '\n', result.out);
        QVERIFY(changed.size() >= 1);

        const auto renamed = world.sandbox.runCli({u"edit"_qs, u"First"_qs, u"--name"_qs, u"Renamed"_qs});
        QCOMPARE(renamed.exitCode, 0);
        QTRY_COMPARE(store->tasks().at(0).name, u"Renamed"_qs);
    }

    void readOnlyAndFailedCommands_postNothing()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        StoreWorld world;
        world.writeTasks({StoreWorld::task(u"T"_qs, TaskSchedule::daily({{7, 0}}), false)});
        const auto notice = ChangeNotice::system();
        int received = 0;
        auto observation = notice->observe([&] { ++received; });
        QCOMPARE(world.sandbox.runCli({u"list"_qs}).exitCode, 0);
        QCOMPARE(world.sandbox.runCli({u"wake-command"_qs, u"T"_qs}).exitCode, 0);
        QCOMPARE(world.sandbox.runCli({u"add"_qs, u"--name"_qs, u"x"_qs}).exitCode, 2);
        QCOMPARE(world.sandbox.runCli({u"import"_qs, u"-"_qs}, "[]").exitCode, 0); // nothing new: nothing written
        // A change made last proves the earlier ones had their chance to arrive.
        QCOMPARE(world.sandbox.runCli({u"enable"_qs, u"T"_qs}).exitCode, 0);
        QTRY_COMPARE(received, 1);
        QTest::qWait(200);
        QCOMPARE(received, 1);
    }

    void destroyedStore_noticeIsHarmless()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        StoreWorld world;
        TaskStore::Options options = world.options();
        options.changeNotice = ChangeNotice::system();
        auto store = world.open(options);
        store.reset();
        const auto listener = ChangeNotice::system();
        int received = 0;
        auto observation = listener->observe([&] { ++received; });
        QCOMPARE(world.sandbox.runCli({u"add"_qs, u"--name"_qs, u"x"_qs, u"--command"_qs, u"y"_qs, u"--disabled"_qs})
                     .exitCode,
                 0);
        QTRY_COMPARE(received, 1);
    }
};

QTEST_GUILESS_MAIN(TaskStoreNoticeTest)
#include "test_task_store_notice.moc"
