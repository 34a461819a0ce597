#include "SessionBus.h"
#include "StoreWorld.h"

#include <QSignalSpy>

using namespace Qt::StringLiterals;

// The app's store and the moxley tool in another process share the tasks file; the tool's
// change notice makes the store reload it.
class TaskStoreNoticeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { SKIP_WITHOUT_SESSION_BUS(); }

    void toolChange_storeReloads()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        StoreWorld world;
        const ScheduledTask first = StoreWorld::task(u"First"_s, TaskSchedule::daily({{7, 0}}), false);
        world.writeTasks({first});
        TaskStore::Options options = world.options();
        options.changeNotice = ChangeNotice::system();
        auto store = world.open(options);
        QCOMPARE(store->tasks().size(), 1);
        QSignalSpy changed(store.get(), &TaskStore::tasksChanged);

        const auto result = world.sandbox.runCli(
            {u"add"_s, u"--name"_s, u"From the tool"_s, u"--command"_s, u"true"_s, u"--disabled"_s});
        QCOMPARE(result.exitCode, 0);
        QTRY_COMPARE(store->tasks().size(), 2);
        QCOMPARE(store->tasks().at(1).name, u"From the tool"_s);
        QCOMPARE(store->tasks().at(1).fullId().toUtf8() + '\n', result.out);
        QVERIFY(changed.size() >= 1);

        const auto renamed = world.sandbox.runCli({u"edit"_s, u"First"_s, u"--name"_s, u"Renamed"_s});
        QCOMPARE(renamed.exitCode, 0);
        QTRY_COMPARE(store->tasks().at(0).name, u"Renamed"_s);
    }

    void readOnlyAndFailedCommands_postNothing()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        StoreWorld world;
        world.writeTasks({StoreWorld::task(u"T"_s, TaskSchedule::daily({{7, 0}}), false)});
        const auto notice = ChangeNotice::system();
        int received = 0;
        auto observation = notice->observe([&] { ++received; });
        QCOMPARE(world.sandbox.runCli({u"list"_s}).exitCode, 0);
        QCOMPARE(world.sandbox.runCli({u"wake-command"_s, u"T"_s}).exitCode, 0);
        QCOMPARE(world.sandbox.runCli({u"add"_s, u"--name"_s, u"x"_s}).exitCode, 2);
        QCOMPARE(world.sandbox.runCli({u"import"_s, u"-"_s}, "[]").exitCode, 0); // nothing new: nothing written
        // A change made last proves the earlier ones had their chance to arrive.
        QCOMPARE(world.sandbox.runCli({u"enable"_s, u"T"_s}).exitCode, 0);
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
        QCOMPARE(
            world.sandbox.runCli({u"add"_s, u"--name"_s, u"x"_s, u"--command"_s, u"y"_s, u"--disabled"_s}).exitCode, 0);
        QTRY_COMPARE(received, 1);
    }
};

QTEST_GUILESS_MAIN(TaskStoreNoticeTest)
#include "test_task_store_notice.moc"
