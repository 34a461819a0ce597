#include "AppWorld.h"

#include "SessionBus.h"
#include "app/TasksFileWatcher.h"

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
        world->writeTasks({AppWorld::task(u"First"_qs)});
        MainWindow *window = openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        world->writeTasks({AppWorld::task(u"First"_qs), AppWorld::task(u"From outside"_qs)});
        QTRY_COMPARE(names(), (QStringList{u"First"_qs, u"From outside"_qs}));
        QCOMPARE(reloaded.size(), 1);
        QCOMPARE(window->contentView()->visibleTasks().size(), 2);
    }

    void realMoxleyTool_withoutANoticeToPost_isPickedUp()
    {
        openWatching();
        const auto result = world->sandbox.runCli(
            {u"add"_qs, u"--name"_qs, u"Made by moxley"_qs, u"--command"_qs, u"date"_qs, u"--disabled"_qs});
        QCOMPARE(result.exitCode, 0);
        QTRY_COMPARE(names(), QStringList{u"Made by moxley"_qs});
        QCOMPARE(store().tasks().first().fullId().toUtf8() + '\n', result.out);
    }

    void ownSave_causesNoReload()
    {
        world->writeTasks({AppWorld::task(u"First"_qs)});
        openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        QSignalSpy changed(&store(), &TaskStore::tasksChanged);
        store().add(AppWorld::task(u"Second"_qs));
        store().duplicate(store().tasks().first());
        QCOMPARE(changed.size(), 2);
        // Well past the quiet time: the file did change, but to what the store wrote.
        QTest::qWait(600);
        QCOMPARE(reloaded.size(), 0);
        QCOMPARE(changed.size(), 2);
        QCOMPARE(names(), (QStringList{u"First"_qs, u"Second"_qs, u"First (copy)"_qs}));
    }

    void ownChange_madeWhileAnOutsideChangeWaits_isKept()
    {
        world->writeTasks({AppWorld::task(u"First"_qs)});
        openWatching(300);
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        // An outside write, then the app's own change before the watcher looks: the store's save
        // is what the file now holds, so there is nothing to load.
        world->writeTasks({AppWorld::task(u"Outside"_qs)});
        store().add(AppWorld::task(u"Mine"_qs));
        QTest::qWait(800);
        QCOMPARE(reloaded.size(), 0);
        QCOMPARE(names(), (QStringList{u"First"_qs, u"Mine"_qs}));
        QCOMPARE(world->sandbox.readTasksFile(), store().fileContents());
    }

    void burstOfWrites_makesOneReload()
    {
        openWatching(400);
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        QList<ScheduledTask> tasks;
        for (int i = 0; i < 5; ++i) {
            tasks << AppWorld::task(u"Task "_qs + QString::number(i));
            world->writeTasks(tasks);
        }
        QTRY_COMPARE(store().tasks().size(), 5);
        QTest::qWait(800);
        QCOMPARE(reloaded.size(), 1);
    }

    void unreadableOutsideWrite_isReportedOnce_thenAFixIsLoaded()
    {
        world->writeTasks({AppWorld::task(u"First"_qs)});
        openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        MessageBox::setNextAnswer(u"OK"_qs);
        world->sandbox.writeTasksFile("{ not json");
        QTRY_COMPARE(alertTitles(), QStringList{u"Error"_qs});
        QVERIFY(MessageBox::history().last().text.startsWith(u"Failed to load tasks: "_qs));
        QCOMPARE(names(), QStringList{u"First"_qs});
        QTest::qWait(400);
        QCOMPARE(reloaded.size(), 1);

        world->writeTasks({AppWorld::task(u"Fixed"_qs)});
        QTRY_COMPARE(names(), QStringList{u"Fixed"_qs});
        QCOMPARE(reloaded.size(), 2);
    }

    void removedFile_isNotAChangeToLoad()
    {
        world->writeTasks({AppWorld::task(u"First"_qs)});
        openWatching();
        QSignalSpy reloaded(world->app->fileWatcher(), &TasksFileWatcher::reloaded);
        QVERIFY(QFile::remove(world->sandbox.tasksFile()));
        QTest::qWait(400);
        QCOMPARE(reloaded.size(), 0);
        QCOMPARE(names(), QStringList{u"First"_qs});
        // Coming back, it is watched again.
        world->writeTasks({AppWorld::task(u"Back"_qs)});
        QTRY_COMPARE(names(), QStringList{u"Back"_qs});
    }

    void changeNotice_reloadsTheAppWithoutTheWatcher()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        world->writeTasks({AppWorld::task(u"First"_qs)});
        MoxleyApp::Options options = world->options();
        options.store.changeNotice = ChangeNotice::system();
        options.fileWatchDelayMs = -1;
        world->start(std::move(options));
        MainWindow *window = world->open();
        QCOMPARE(world->app->fileWatcher(), nullptr);
        const auto result = world->sandbox.runCli({u"edit"_qs, u"First"_qs, u"--name"_qs, u"Renamed by moxley"_qs});
        QCOMPARE(result.exitCode, 0);
        QTRY_COMPARE(names(), QStringList{u"Renamed by moxley"_qs});
        QCOMPARE(window->contentView()->visibleTasks().first().name, u"Renamed by moxley"_qs);
    }
};

QTEST_MAIN(TasksFileWatcherTest)
#include "test_tasks_file_watcher.moc"
