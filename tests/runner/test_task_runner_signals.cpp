#include "RunnerChecks.h"
#include "Sandbox.h"
#include "runner/TaskRunner.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace RunnerChecks;

// Stopping a run and the signals around it: a shell waiting on its command, an interactive shell,
// a command that handles or ignores the polite signals, a run in its own session or the caller's,
// and a runner destroyed mid-run.
class TaskRunnerSignalsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { becomeSubreaper(); }

    void cleanup() { endOrphanedChildren(); }

    void terminate_shWaitingOnChildReportsSignal()
    {
        Sandbox sandbox;
        TaskRunner runner;
        // The shell waits for its child; the child's number is printed so the test can end it.
        runner.run(u"sleep 30 & echo $!; wait"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForOutput(runner, u"\n"_s));
        const pid_t child = pid_t(runner.output().trimmed().toInt());
        QVERIFY(child > 0);
        QElapsedTimer timer;
        timer.start();
        runner.terminate();
        QVERIFY(waitForEnd(runner, 10000));
        QVERIFY(timer.elapsed() < 10000);
        QCOMPARE(runner.exitCode(), std::optional<int>(128 + SIGTERM));
        // Stop reaches the whole command, not only its shell.
        QTRY_VERIFY_WITH_TIMEOUT(hasEnded(child), 5000);
    }

    void terminate_interactiveShellStopsTheRestOfTheCommand()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"echo started; sleep 30; echo should-not-print"_s, std::nullopt, std::nullopt, true);
        QVERIFY(waitForOutput(runner, u"started\n"_s));
        runner.terminate();
        QVERIFY(waitForEnd(runner, 10000));
        QVERIFY2(!runner.output().contains(u"should-not-print"_s), qPrintable(runner.output()));
        // zsh leaves on the hang-up with a status of its own choosing; it is never success.
        QVERIFY(runner.exitCode().value_or(0) != 0);
    }

    void terminate_sleepReportsSignal_data()
    {
        QTest::addColumn<bool>("loginShell");
        QTest::addColumn<int>("status");
        QTest::newRow("sh") << false << 128 + SIGTERM;
        // The interactive login shell is hung up on, since it ignores SIGTERM.
        QTest::newRow("zsh") << true << 128 + SIGHUP;
    }
    void terminate_sleepReportsSignal()
    {
        QFETCH(bool, loginShell);
        QFETCH(int, status);
        Sandbox sandbox;
        TaskRunner runner;
        QSignalSpy finished(&runner, &TaskRunner::finished);
        runner.run(u"sleep 30"_s, std::nullopt, std::nullopt, loginShell);
        QVERIFY(runner.process()->waitForStarted(kWait));
        // Give the shell time to reach the sleep.
        QTest::qWait(300);
        runner.terminate();
        QVERIFY(waitForEnd(runner, 10000));
        QCOMPARE(runner.exitCode(), std::optional<int>(status));
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toInt(), status);
        // Without a run in progress there is nothing to stop.
        runner.terminate();
        QCOMPARE(runner.exitCode(), std::optional<int>(status));
    }

    void terminate_commandThatHandlesTheSignalGivesItsOwnStatus()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"trap 'echo caught; exit 7' TERM; echo ready; while :; do sleep 0.05; done"_s, std::nullopt,
                   std::nullopt, false);
        QVERIFY(waitForOutput(runner, u"ready\n"_s));
        runner.terminate();
        QVERIFY(waitForEnd(runner, 10000));
        // The command's own child gets the signal too, and the shell may say so ("Terminated").
        QVERIFY2(runner.output().startsWith(u"ready\n"_s), qPrintable(runner.output()));
        QVERIFY2(runner.output().endsWith(u"caught\n"_s), qPrintable(runner.output()));
        QCOMPARE(runner.exitCode(), std::optional<int>(7));
    }

    void terminate_commandIgnoringEverySignal_isKilledAfterAWhile_data()
    {
        QTest::addColumn<bool>("ownSession");
        QTest::newRow("own session") << true;
        QTest::newRow("caller's session") << false;
    }
    void terminate_commandIgnoringEverySignal_isKilledAfterAWhile()
    {
        QFETCH(bool, ownSession);
        TaskRunner runner;
        runner.setOwnSession(ownSession);
        // Ignored signals stay ignored in the children too, so the sleep ignores them as well.
        runner.run(u"trap '' TERM HUP INT; echo started; sleep 30; echo late"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForOutput(runner, u"started\n"_s));
        QElapsedTimer clock;
        clock.start();
        runner.terminate();
        QVERIFY(waitForEnd(runner, 15000));
        QVERIFY2(clock.elapsed() >= 2500, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(runner.exitCode(), std::optional<int>(128 + SIGKILL));
        QVERIFY(!runner.output().contains(u"late"_s));
    }

    void run_ownSession_readsNothingFromTheAppsInput_data()
    {
        QTest::addColumn<bool>("loginShell");
        QTest::newRow("sh") << false;
        QTest::newRow("zsh") << true;
    }
    void run_ownSession_readsNothingFromTheAppsInput()
    {
        QFETCH(bool, loginShell);
        // This process's standard input: a pipe that stays open, as a terminal would.
        StandardInputPipe input;
        QVERIFY(input.isValid());
        input.write("from-the-app\n");
        TaskRunner runner;
        runner.run(u"cat; echo end"_s, std::nullopt, std::nullopt, loginShell);
        QVERIFY(waitForEnd(runner, 10000));
        QCOMPARE(runner.output(), u"end\n"_s);
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void run_inTheCallersSession_readsItsInput()
    {
        // moxley run: the command is the terminal's, input and all.
        StandardInputPipe input;
        QVERIFY(input.isValid());
        input.write("hello\n");
        TaskRunner runner;
        runner.setOwnSession(false);
        runner.run(u"read line; echo \"got:$line\""_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner, 10000));
        QCOMPARE(runner.output(), u"got:hello\n"_s);
    }

    void destroyingTheRunnerWhileRunningEndsQuietly()
    {
        Sandbox sandbox;
        QElapsedTimer timer;
        timer.start();
        {
            TaskRunner runner;
            runner.run(u"echo started; exec sleep 30"_s, std::nullopt, std::nullopt, false);
            QVERIFY(waitForOutput(runner, u"started"_s));
        }
        QVERIFY(timer.elapsed() < 10000);
    }
};

QTEST_GUILESS_MAIN(TaskRunnerSignalsTest)
#include "test_task_runner_signals.moc"
