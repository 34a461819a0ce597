#include "AppWorld.h"

#include "SessionBus.h"
#include "app/TasksFileWatcher.h"

using namespace Qt::StringLiterals;

// The app follows its tasks file: through the moxley tool's change notice, and through a file
// watcher when the file changes behind its back, without reloading for its own saves.
class TasksFileWatcherTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<AppWorld> world;

    MainWindow *openWatching(int delayMs = 50)
    {
        MoxleyApp::Options options = world->options();
        options.fileWatchDelayMs = delayMs;
        world->start(std::move(options));
        return world->open();
    }
    TaskStore &store() const { return world->app->taskStore(); }
    QStringList names() const
    {
        QStringList names;
        for (const ScheduledTask &task : store().tasks()) {
            names << task.name;
        }
        return names;
    }

private Q_SLOTS:
    void init()
    {
        // No session bus here: what reaches the app comes through the file.
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        world = std::make_unique<AppWorld>();
    }
    void cleanup() { world.reset(); }

    void outsideChange_isLoaded_andShownInTheWindow()
    {
        world->writeTasks({AppWorld::task(u"First"_s)});
        MainWindow *window = openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        world->writeTasks({AppWorld::task(u"First"_s), AppWorld::task(u"From outside"_s)});
        QTRY_COMPARE(names(), (QStringList{u"First"_s, u"From outside"_s}));
        QCOMPARE(reloaded.size(), 1);
        QCOMPARE(window->contentView()->visibleTasks().size(), 2);
    }

    void realMoxleyTool_withoutANoticeToPost_isPickedUp()
    {
        openWatching();
        const auto result = world->sandbox.runCli(
            {u"add"_s, u"--name"_s, u"Made by moxley"_s, u"--command"_s, u"date"_s, u"--disabled"_s});
        QCOMPARE(result.exitCode, 0);
        QTRY_COMPARE(names(), QStringList{u"Made by moxley"_s});
        QCOMPARE(store().tasks().first().fullId().toUtf8() + '\n', result.out);
    }

    void ownSave_causesNoReload()
    {
        world->writeTasks({AppWorld::task(u"First"_s)});
        openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        QSignalSpy changed(&store(), &TaskStore::tasksChanged);
        store().add(AppWorld::task(u"Second"_s));
        store().duplicate(store().tasks().first());
        QCOMPARE(changed.size(), 2);
        // Well past the quiet time: the file did change, but to what the store wrote.
        QTest::qWait(600);
        QCOMPARE(reloaded.size(), 0);
        QCOMPARE(changed.size(), 2);
        QCOMPARE(names(), (QStringList{u"First"_s, u"Second"_s, u"First (copy)"_s}));
    }

    void ownChange_madeWhileAnOutsideChangeWaits_isKept()
    {
        world->writeTasks({AppWorld::task(u"First"_s)});
        openWatching(300);
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        // An outside write, then the app's own change before the watcher looks: the save puts the
        // app's change on top of the outside one (First was removed there), and what it wrote is
        // what the file now holds, so there is nothing to load.
        world->writeTasks({AppWorld::task(u"Outside"_s)});
        store().add(AppWorld::task(u"Mine"_s));
        QTest::qWait(800);
        QCOMPARE(reloaded.size(), 0);
        QCOMPARE(names(), (QStringList{u"Outside"_s, u"Mine"_s}));
        QCOMPARE(world->sandbox.readTasksFile(), store().fileContents());
    }

    void burstOfWrites_makesOneReload()
    {
        openWatching(400);
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        QList<ScheduledTask> tasks;
        for (int i = 0; i < 5; ++i) {
            tasks << AppWorld::task(u"Task "_s + QString::number(i));
            world->writeTasks(tasks);
        }
        QTRY_COMPARE(store().tasks().size(), 5);
        QTest::qWait(800);
        QCOMPARE(reloaded.size(), 1);
    }

    void unreadableOutsideWrite_isReportedOnce_thenAFixIsLoaded()
    {
        world->writeTasks({AppWorld::task(u"First"_s)});
        openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        MessageBox::setNextAnswer(u"OK"_s);
        world->sandbox.writeTasksFile("{ not json");
        QTRY_COMPARE(alertTitles(), QStringList{u"Error"_s});
        QVERIFY(MessageBox::history().last().text.startsWith(u"Failed to load tasks: "_s));
        QCOMPARE(names(), QStringList{u"First"_s});
        QTest::qWait(400);
        QCOMPARE(reloaded.size(), 1);

        world->writeTasks({AppWorld::task(u"Fixed"_s)});
        QTRY_COMPARE(names(), QStringList{u"Fixed"_s});
        QCOMPARE(reloaded.size(), 2);
    }

    void removedFile_isNotAChangeToLoad()
    {
        world->writeTasks({AppWorld::task(u"First"_s)});
        openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        QVERIFY(QFile::remove(world->sandbox.tasksFile()));
        QTest::qWait(400);
        QCOMPARE(reloaded.size(), 0);
        QCOMPARE(names(), QStringList{u"First"_s});
        // Coming back, it is watched again.
        world->writeTasks({AppWorld::task(u"Back"_s)});
        QTRY_COMPARE(names(), QStringList{u"Back"_s});
    }

    void changeNotice_reloadsTheAppWithoutTheWatcher()
    {
        SKIP_WITHOUT_SESSION_BUS();
        SessionBus bus;
        QVERIFY(bus.isValid());
        world->writeTasks({AppWorld::task(u"First"_s)});
        MoxleyApp::Options options = world->options();
        options.store.changeNotice = ChangeNotice::system();
        options.fileWatchDelayMs = -1;
        world->start(std::move(options));
        MainWindow *window = world->open();
        QCOMPARE(world->app->fileWatcher(), nullptr);
        const auto result = world->sandbox.runCli({u"edit"_s, u"First"_s, u"--name"_s, u"Renamed by moxley"_s});
        QCOMPARE(result.exitCode, 0);
        QTRY_COMPARE(names(), QStringList{u"Renamed by moxley"_s});
        QCOMPARE(window->contentView()->visibleTasks().first().name, u"Renamed by moxley"_s);
    }
};

QTEST_MAIN(TasksFileWatcherTest)
#include "test_tasks_file_watcher.moc"
