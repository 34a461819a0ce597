#include "Sandbox.h"
#include "SessionBus.h"
#include "StandInTool.h"
#include "TwoWritersFixture.h"
#include "WriterChecks.h"
#include "app/TasksFileWatcher.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "store/TaskStore.h"

#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QtTest>

using namespace Qt::StringLiterals;

// The app's store and the moxley tool change one tasks file, in turns and at the same time.
// The rules checked:
// - the file is at every moment a whole document, exactly as the writer makes it;
// - no writer's change is lost and no deleted task comes back: each writer reads the file again
//   under the write lock and puts its own change on top of what is there;
// - a job is installed exactly for each enabled task once everything has settled, even when the
//   app starts or reloads while a tool is between installing a job and saving its task;
// - once the notice or the watcher has done its work, the store holds exactly the file.
// MOXLEY_STRESS_ROUNDS repeats the mixed test that many times (CI runs it under ASan).
namespace {

int stressRounds()
{
    bool ok = false;
    const int rounds = qEnvironmentVariableIntValue("MOXLEY_STRESS_ROUNDS", &ok);
    return ok && rounds > 0 ? rounds : 1;
}

} // namespace

class TwoWritersTest : public TwoWritersFixture
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        watcher.reset();
        store.reset();
        osascript.reset();
        pmset.reset();
        launchctl.reset();
        sandbox.reset();
        bus.reset();
    }

    void inTurns_everyChangeKept_storeShowsTheFile_data()
    {
        QTest::addColumn<bool>("notice");
        QTest::newRow("notice") << true;
        QTest::newRow("watcher only") << false;
    }
    // The app and the tool change the file one after the other, each after the store has taken in
    // the last change: every change of both is in the file, nothing else is.
    void inTurns_everyChangeKept_storeShowsTheFile()
    {
        QFETCH(bool, notice);
        open(notice);
        QRandomGenerator random(20250301);
        QList<Summary> expected;
        const int rounds = 25;
        for (int round = 0; round < rounds; ++round) {
            // The app's change.
            const int appOp = expected.size() < 3 ? 0 : random.bounded(4);
            if (appOp == 0) {
                const ScheduledTask task = appTask(u"App " % QString::number(round), random.bounded(2) == 0);
                store->add(task);
                expected << Summary{task.id, task.name, task.isEnabled};
            } else {
                const qsizetype index = random.bounded(int(expected.size()));
                ScheduledTask task = *store->task(expected.at(index).id);
                if (appOp == 1) {
                    task.name = u"App renamed " % QString::number(round);
                    store->update(task);
                    expected[index].name = task.name;
                } else if (appOp == 2) {
                    store->setEnabled(!task.isEnabled, task.id);
                    expected[index].enabled = !task.isEnabled;
                } else {
                    store->deleteTask(task);
                    expected.removeAt(index);
                }
            }
            QCOMPARE(store->lastError(), std::nullopt);
            QCOMPARE(summarise(fileTasks()), expected);
            QCOMPARE(store->tasks(), fileTasks());

            // The tool's change.
            const int toolOp = expected.size() < 3 ? 0 : random.bounded(5);
            Sandbox::Result result;
            if (toolOp == 0) {
                const QString name = u"Tool " % QString::number(round);
                const bool enabled = random.bounded(2) == 0;
                QStringList arguments{u"add"_s, u"--name"_s, name, u"--command"_s, u"true"_s};
                if (!enabled) {
                    arguments << u"--disabled"_s;
                }
                result = sandbox->runCli(arguments);
                QCOMPARE(result.exitCode, 0);
                expected << Summary{QUuid::fromString(QString::fromUtf8(result.out.trimmed())), name, enabled};
            } else {
                const qsizetype index = random.bounded(int(expected.size()));
                const QString id = expected.at(index).id.toString(QUuid::WithoutBraces);
                if (toolOp == 1) {
                    const QString name = u"Tool renamed " % QString::number(round);
                    result = sandbox->runCli({u"edit"_s, id, u"--name"_s, name});
                    expected[index].name = name;
                } else if (toolOp == 2) {
                    result = sandbox->runCli({u"enable"_s, id});
                    expected[index].enabled = true;
                } else if (toolOp == 3) {
                    result = sandbox->runCli({u"disable"_s, id});
                    expected[index].enabled = false;
                } else {
                    result = sandbox->runCli({u"delete"_s, id});
                    expected.removeAt(index);
                }
                QVERIFY2(result.exitCode == 0, result.err.constData());
            }
            QCOMPARE(summarise(fileTasks()), expected);
            QTRY_VERIFY_WITH_TIMEOUT(storeCaughtUp(), 20000);
            QCOMPARE(store->tasks(), fileTasks());
            QCOMPARE(installedJobs(), enabledIds(fileTasks()));
        }
    }

    void toolsAtTheSameTime_noChangeLost_data()
    {
        QTest::addColumn<bool>("notice");
        QTest::newRow("notice") << true;
        QTest::newRow("watcher only") << false;
    }
    // Six tools at once, each changing a different task: the file ends with every one of the six
    // changes, whatever order they wrote in.
    void toolsAtTheSameTime_noChangeLost()
    {
        QFETCH(bool, notice);
        open(notice);
        TasksFileReader reader(sandbox->tasksFile());
        QList<Summary> expected;
        for (int i = 0; i < 12; ++i) {
            const ScheduledTask task = appTask(u"App " % QString::number(i), i % 2 == 0);
            store->add(task);
            expected << Summary{task.id, task.name, task.isEnabled};
        }
        QRandomGenerator random(4711);
        const int rounds = 4;
        for (int round = 0; round < rounds; ++round) {
            // Six different tasks for the four changes that name one.
            QList<qsizetype> picks;
            while (picks.size() < 4) {
                const qsizetype index = random.bounded(int(expected.size()));
                if (!picks.contains(index)) {
                    picks << index;
                }
            }
            const auto idOf = [&](int pick) { return expected.at(picks.at(pick)).id.toString(QUuid::WithoutBraces); };
            const QString renamed = u"Renamed in round " % QString::number(round);
            QList<ToolRun> runs{
                {{u"add"_s, u"--name"_s, u"Tool A" % QString::number(round), u"--command"_s, u"true"_s}, {}},
                {{u"add"_s, u"--name"_s, u"Tool B" % QString::number(round), u"--command"_s, u"true"_s,
                  u"--disabled"_s},
                 {}},
                {{u"edit"_s, idOf(0), u"--name"_s, renamed}, {}},
                {{u"enable"_s, idOf(1)}, {}},
                {{u"disable"_s, idOf(2)}, {}},
                {{u"delete"_s, idOf(3)}, {}},
            };
            for (ToolRun &run : runs) {
                run.process = startTool(run.arguments);
            }
            QVERIFY(waitForAll(runs));
            for (const ToolRun &run : runs) {
                QVERIFY2(run.process->exitStatus() == QProcess::NormalExit && run.process->exitCode() == 0,
                         qPrintable(describe(run)));
            }
            expected[picks.at(0)].name = renamed;
            expected[picks.at(1)].enabled = true;
            expected[picks.at(2)].enabled = false;
            const QUuid deleted = expected.at(picks.at(3)).id;
            expected.removeIf([&](const Summary &s) { return s.id == deleted; });

            // The two adds, in whichever order they came.
            const QList<ScheduledTask> tasks = fileTasks();
            QCOMPARE(tasks.size(), expected.size() + 2);
            QList<Summary> actual = summarise(tasks);
            const QList<Summary> inFileOrder = actual.mid(expected.size());
            actual.resize(expected.size());
            QCOMPARE(actual, expected);
            QList<Summary> added = inFileOrder;
            std::sort(added.begin(), added.end(), [](const Summary &a, const Summary &b) { return a.name < b.name; });
            QCOMPARE(added.at(0).name, u"Tool A" % QString::number(round));
            QVERIFY(added.at(0).enabled);
            QCOMPARE(added.at(1).name, u"Tool B" % QString::number(round));
            QVERIFY(!added.at(1).enabled);
            for (const ToolRun &run : runs.mid(0, 2)) {
                const QUuid id = QUuid::fromString(QString::fromUtf8(run.process->readAllStandardOutput().trimmed()));
                QVERIFY(id == added.at(0).id || id == added.at(1).id);
            }
            expected += inFileOrder;

            QTRY_VERIFY_WITH_TIMEOUT(storeCaughtUp(), 20000);
            QCOMPARE(store->tasks(), tasks);
            QCOMPARE(installedJobs(), enabledIds(tasks));
        }
        reader.stop();
        QVERIFY(reader.reads() > 0);
        QVERIFY2(reader.broken() == 0, reader.firstBroken().constData());
    }

    // The app saves while a tool is between reading the file and writing it (held up in
    // launchctl): the tool writes its change on top of the app's, so both are kept.
    void appSavesWhileToolWorks_toolKeepsTheAppsChange()
    {
        open(true, -1);
        const ScheduledTask first = appTask(u"First"_s, false);
        store->add(first);
        launchctl->setDelay(1.0);
        ToolRun run{{u"add"_s, u"--name"_s, u"From the tool"_s, u"--command"_s, u"true"_s}, {}};
        run.process = startTool(run.arguments);
        // The tool has read the file once it installs its job, and has not written yet.
        QTRY_VERIFY_WITH_TIMEOUT(!launchctl->calls().isEmpty(), 20000);
        QVERIFY(storeCaughtUp());
        const ScheduledTask mine = appTask(u"From the app"_s, false);
        store->add(mine);
        QVERIFY(run.process->state() != QProcess::NotRunning);
        QVERIFY(waitForAll({run}));
        QCOMPARE(run.process->exitCode(), 0);
        const QUuid toolId = QUuid::fromString(QString::fromUtf8(run.process->readAllStandardOutput().trimmed()));

        const QList<ScheduledTask> tasks = fileTasks();
        QCOMPARE(summarise(tasks), (QList<Summary>{{first.id, u"First"_s, false},
                                                   {mine.id, u"From the app"_s, false},
                                                   {toolId, u"From the tool"_s, true}}));
        QTRY_VERIFY_WITH_TIMEOUT(storeCaughtUp(), 20000);
        QCOMPARE(store->tasks(), tasks);
        QCOMPARE(installedJobs(), enabledIds(tasks));
    }

    // The same for a tool that deletes, renames and switches: its own change goes in, the app's
    // change to other tasks stays.
    void appSavesWhileToolEdits_bothChangesKept()
    {
        open(true, -1);
        const ScheduledTask a = appTask(u"A"_s, true);
        // Switched off, so the app's change calls no (slow) launchctl of its own.
        const ScheduledTask b = appTask(u"B"_s, false);
        store->add(a);
        store->add(b);
        launchctl->setDelay(1.0);
        launchctl->clearCalls();
        ToolRun run{{u"edit"_s, u"A"_s, u"--name"_s, u"A by the tool"_s}, {}};
        run.process = startTool(run.arguments);
        QTRY_VERIFY_WITH_TIMEOUT(!launchctl->calls().isEmpty(), 20000);
        QVERIFY(storeCaughtUp());
        ScheduledTask renamed = b;
        renamed.name = u"B by the app"_s;
        store->update(renamed);
        QVERIFY(waitForAll({run}));
        QCOMPARE(run.process->exitCode(), 0);
        QCOMPARE(summarise(fileTasks()),
                 (QList<Summary>{{a.id, u"A by the tool"_s, true}, {b.id, u"B by the app"_s, false}}));
        QTRY_VERIFY_WITH_TIMEOUT(storeCaughtUp(), 20000);
        QCOMPARE(store->tasks(), fileTasks());
    }

    // A tool change that the store has not loaded yet (its notice still waits in the event loop)
    // is kept by the store's next save, which reads the file again and adds its own task on top.
    void toolChangeNotYetLoaded_storesNextSaveKeepsIt()
    {
        open(true, 50);
        const ScheduledTask first = appTask(u"First"_s, false);
        store->add(first);
        const Sandbox::Result result =
            sandbox->runCli({u"add"_s, u"--name"_s, u"Tool"_s, u"--command"_s, u"true"_s, u"--disabled"_s});
        QCOMPARE(result.exitCode, 0);
        const QUuid toolId = QUuid::fromString(QString::fromUtf8(result.out.trimmed()));
        QCOMPARE(fileTasks().size(), 2);
        // No event has been handled since: the store still holds one task.
        QCOMPARE(store->tasks().size(), 1);
        const ScheduledTask mine = appTask(u"Mine"_s, false);
        store->add(mine);
        const QList<Summary> expected{
            {first.id, u"First"_s, false}, {toolId, u"Tool"_s, false}, {mine.id, u"Mine"_s, false}};
        QCOMPARE(summarise(fileTasks()), expected);
        QCOMPARE(summarise(store->tasks()), expected);
        QSignalSpy changed(store.get(), &TaskStore::tasksChanged);
        QTRY_VERIFY_WITH_TIMEOUT(changed.size() >= 1, 20000);
        QTest::qWait(200);
        QVERIFY(storeCaughtUp());
        QCOMPARE(store->tasks(), fileTasks());
    }

    // The app waits for the administrator prompt of a wake (a slow osascript) while a tool adds a
    // task and saves: the app's save lands on top, the tool's task stays, with its job.
    void appWaitsForPrompt_toolAddsMeanwhile_bothKept()
    {
        open(true, -1);
        osascript->setDelay(4.0);
        ToolRun run{{u"add"_s, u"--name"_s, u"from-cli"_s, u"--command"_s, u"true"_s}, {}};
        run.process = startToolAfter(0.5, run.arguments);
        ScheduledTask waking = appTask(u"Wakes"_s, true);
        waking.wakeBeforeRun = true;
        store->add(waking); // blocks for the prompt; the tool runs meanwhile
        QVERIFY(!osascript->calls().isEmpty());
        QVERIFY(waitForAll({run}));
        QVERIFY2(run.process->exitCode() == 0, qPrintable(describe(run)));
        const QUuid toolId = QUuid::fromString(QString::fromUtf8(run.process->readAllStandardOutput().trimmed()));
        QVERIFY(!toolId.isNull());
        // The tool saved first, while the app waited; the app's task went on top of it.
        const QList<Summary> expected{{toolId, u"from-cli"_s, true}, {waking.id, u"Wakes"_s, true}};
        QCOMPARE(summarise(fileTasks()), expected);
        QCOMPARE(summarise(store->tasks()), expected);
        QCOMPARE(installedJobs(), enabledIds(fileTasks()));
    }

    // The same with the app enabling a task through a slow launchctl.
    void appEnablesThroughSlowLaunchctl_toolAddsMeanwhile_bothKept()
    {
        open(true, -1);
        const ScheduledTask off = appTask(u"Off"_s, false);
        store->add(off);
        launchctl->setDelay(3.0);
        ToolRun run{{u"add"_s, u"--name"_s, u"from-cli"_s, u"--command"_s, u"true"_s, u"--disabled"_s}, {}};
        run.process = startToolAfter(0.5, run.arguments);
        store->setEnabled(true, off.id);
        QVERIFY(waitForAll({run}));
        QVERIFY2(run.process->exitCode() == 0, qPrintable(describe(run)));
        const QUuid toolId = QUuid::fromString(QString::fromUtf8(run.process->readAllStandardOutput().trimmed()));
        const QList<Summary> expected{{off.id, u"Off"_s, true}, {toolId, u"from-cli"_s, false}};
        QCOMPARE(summarise(fileTasks()), expected);
        QCOMPARE(summarise(store->tasks()), expected);
        QCOMPARE(installedJobs(), enabledIds(fileTasks()));
    }

    // The app starts while a tool is between installing its job (in a slow launchctl) and saving
    // the task: the start-up sweep leaves that job alone, and the app ends showing the task.
    void appStartsWhileToolInstalls_jobAndTaskKept()
    {
        open(true, 50, false);
        launchctl->setDelay(0.6);
        ToolRun run{{u"add"_s, u"--name"_s, u"new"_s, u"--command"_s, u"true"_s}, {}};
        run.process = startTool(run.arguments);
        QTRY_VERIFY_WITH_TIMEOUT(!launchctl->calls().isEmpty(), 20000);
        QVERIFY(!QFileInfo::exists(sandbox->tasksFile()));
        startStore(true, 50);
        QVERIFY(waitForAll({run}));
        QVERIFY2(run.process->exitCode() == 0, qPrintable(describe(run)));
        const QUuid toolId = QUuid::fromString(QString::fromUtf8(run.process->readAllStandardOutput().trimmed()));
        for (const QStringList &call : launchctl->calls()) {
            QVERIFY2(call.first() != u"unload", qPrintable(call.join(u' ')));
        }
        QTRY_VERIFY_WITH_TIMEOUT(storeCaughtUp(), 20000);
        QCOMPARE(summarise(store->tasks()), (QList<Summary>{{toolId, u"new"_s, true}}));
        QCOMPARE(installedJobs(), QSet<QUuid>{toolId});
        // The app's next save keeps it.
        launchctl->setDelay(0);
        store->add(appTask(u"App"_s, false));
        QCOMPARE(fileTasks().size(), 2);
        QCOMPARE(fileTasks().first().id, toolId);
    }

    // Both writers at once, many times: the app changes its own tasks on a timer while tools add
    // and rename theirs. Strict: every tool succeeds, the file was always whole, and at the end
    // the file holds exactly the app's tasks as the app last left them and every tool task with
    // its last name; nothing deleted comes back, and the jobs are exactly the enabled tasks.
    void bothAtTheSameTime_nothingLostNothingBack()
    {
        open(true, 50);
        TasksFileReader reader(sandbox->tasksFile());
        QRandomGenerator random(90210);
        QHash<QUuid, Summary> appExpected;
        QHash<QUuid, Summary> toolExpected;
        QSet<QUuid> deletedByApp;
        int appChanges = 0;
        QTimer appTimer;
        appTimer.setInterval(7);
        connect(&appTimer, &QTimer::timeout, this, [&] {
            ++appChanges;
            const QList<QUuid> own = appExpected.keys();
            const int op = own.size() < 3 ? 0 : random.bounded(4);
            if (op == 0) {
                const ScheduledTask task = appTask(u"App " % QString::number(appChanges), random.bounded(3) == 0);
                appExpected.insert(task.id, {task.id, task.name, task.isEnabled});
                store->add(task);
                return;
            }
            const std::optional<ScheduledTask> found = store->task(own.at(random.bounded(int(own.size()))));
            QVERIFY(found);
            ScheduledTask task = *found;
            if (op == 1) {
                task.name = u"App renamed " % QString::number(appChanges);
                store->update(task);
                appExpected[task.id].name = task.name;
            } else if (op == 2) {
                store->setEnabled(!task.isEnabled, task.id);
                appExpected[task.id].enabled = !task.isEnabled;
            } else {
                deletedByApp.insert(task.id);
                appExpected.remove(task.id);
                store->deleteTask(task);
            }
        });
        appTimer.start();

        const int waves = 3 * std::max(4, stressRounds());
        int toolRuns = 0;
        for (int wave = 0; wave < waves; ++wave) {
            QList<ToolRun> runs;
            for (int i = 0; i < 3; ++i) {
                const QString name = u"Tool " % QString::number(wave) % u'.' % QString::number(i);
                QStringList arguments{u"add"_s, u"--name"_s, name, u"--command"_s, u"true"_s};
                if (i == 2 && !toolExpected.isEmpty()) {
                    const QUuid target = toolExpected.keys().at(random.bounded(int(toolExpected.size())));
                    arguments = {u"edit"_s, target.toString(QUuid::WithoutBraces), u"--name"_s, name};
                    toolExpected[target].name = name;
                } else if (i == 1) {
                    arguments << u"--disabled"_s;
                }
                runs.append({arguments, startTool(arguments)});
            }
            QVERIFY(waitForAll(runs));
            for (ToolRun &run : runs) {
                QVERIFY2(run.process->exitStatus() == QProcess::NormalExit && run.process->exitCode() == 0,
                         qPrintable(describe(run)));
                if (run.arguments.first() == u"add") {
                    const QUuid id =
                        QUuid::fromString(QString::fromUtf8(run.process->readAllStandardOutput().trimmed()));
                    QVERIFY(!id.isNull());
                    toolExpected.insert(id, {id, run.arguments.at(2), !run.arguments.contains(u"--disabled"_s)});
                }
            }
            toolRuns += int(runs.size());
            if (QTest::currentTestFailed()) {
                return;
            }
        }
        appTimer.stop();
        QTRY_VERIFY_WITH_TIMEOUT(storeCaughtUp(), 20000);
        QTest::qWait(300);
        QVERIFY(storeCaughtUp());
        reader.stop();

        const QList<ScheduledTask> tasks = fileTasks();
        QCOMPARE(store->tasks(), tasks);
        QHash<QUuid, Summary> actualApp;
        QHash<QUuid, Summary> actualTool;
        for (const ScheduledTask &task : tasks) {
            QVERIFY2(!deletedByApp.contains(task.id), qPrintable(u"back after its deletion: "_s + task.name));
            QVERIFY2(!actualApp.contains(task.id) && !actualTool.contains(task.id), qPrintable(task.name));
            (toolExpected.contains(task.id) ? actualTool : actualApp)
                .insert(task.id, {task.id, task.name, task.isEnabled});
        }
        QCOMPARE(actualApp, appExpected);
        QCOMPARE(actualTool, toolExpected);
        QCOMPARE(installedJobs(), enabledIds(tasks));
        QVERIFY(reader.reads() > 100);
        QVERIFY2(reader.broken() == 0, reader.firstBroken().constData());
        qInfo("%d app changes, %d tool runs, %d file reads; %d app tasks, %d tool tasks, none lost or back", appChanges,
              toolRuns, reader.reads(), int(appExpected.size()), int(toolExpected.size()));
    }
};

QTEST_GUILESS_MAIN(TwoWritersTest)
#include "test_two_writers.moc"
