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

class TaskRunnerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { becomeSubreaper(); }

    void cleanup() { endOrphanedChildren(); }

    void commandLine_joinsPartsWithQuoting()
    {
        QCOMPARE(TaskRunner::commandLine(u"echo hi"_s, u"/tmp"_s, u"/Users/a/.env"_s),
                 u"set -a && source '/Users/a/.env' && set +a && cd '/tmp' && echo hi"_s);
        QCOMPARE(TaskRunner::commandLine(u"ls"_s, u"it's"_s, std::nullopt), u"cd 'it'\\''s' && ls"_s);
        QCOMPARE(TaskRunner::commandLine(u"ls"_s, std::nullopt, u"a'b'.env"_s),
                 u"set -a && source 'a'\\''b'\\''.env' && set +a && ls"_s);
        QCOMPARE(TaskRunner::commandLine(u"echo 'x' && y"_s, u""_s, u""_s), u"echo 'x' && y"_s);
        QCOMPARE(TaskRunner::commandLine(u"echo hi"_s, std::nullopt, std::nullopt), u"echo hi"_s);
        QCOMPARE(TaskRunner::commandLine(u"cmd"_s, u"/a b/$HOME"_s, std::nullopt), u"cd '/a b/$HOME' && cmd"_s);
    }

    void shell_choice()
    {
        QCOMPARE(TaskRunner::shellProgram(true), u"/bin/zsh"_s);
#ifdef Q_OS_MACOS
        QCOMPARE(TaskRunner::shellProgram(false), u"/bin/sh"_s);
#else
        // Debian's /bin/sh (dash) has no "source"; bash stands in for macOS's /bin/sh.
        QCOMPARE(TaskRunner::shellProgram(false), u"/bin/bash"_s);
#endif
        QCOMPARE(TaskRunner::shellArguments(true, u"echo hi"_s),
                 (QStringList{u"-l"_s, u"-i"_s, u"-c"_s, u"echo hi"_s}));
        QCOMPARE(TaskRunner::shellArguments(false, u"echo hi"_s), (QStringList{u"-c"_s, u"echo hi"_s}));
    }

    void idle_beforeAnyRun()
    {
        TaskRunner runner;
        QVERIFY(!runner.isRunning());
        QVERIFY(!runner.exitCode());
        QVERIFY(runner.output().isEmpty());
        QVERIFY(!runner.process());
    }

    void run_sh_streamsInArrivalOrder()
    {
        Sandbox sandbox;
        TaskRunner runner;
        QSignalSpy running(&runner, &TaskRunner::isRunningChanged);
        QSignalSpy finished(&runner, &TaskRunner::finished);
        runner.run(u"echo a; echo b >&2; echo c; exit 3"_s, std::nullopt, std::nullopt, false);
        QVERIFY(runner.isRunning());
        QVERIFY(!runner.exitCode());
        QVERIFY(runner.process());
        QCOMPARE(runner.process()->program(), TaskRunner::shellProgram(false));
        QCOMPARE(running.size(), 1);
        QCOMPARE(running.at(0).at(0).toBool(), true);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"a\nb\nc\n"_s);
        QCOMPARE(runner.exitCode(), std::optional<int>(3));
        QCOMPARE(running.size(), 2);
        QCOMPARE(running.at(1).at(0).toBool(), false);
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toInt(), 3);
        // The process stays available after the run.
        QVERIFY(runner.process());
        QCOMPARE(runner.process()->state(), QProcess::NotRunning);
    }

    void run_sh_streamsSlowOutputAsItArrives()
    {
        Sandbox sandbox;
        TaskRunner runner;
        QStringList pieces;
        connect(&runner, &TaskRunner::outputAppended, this, [&pieces](const QString &text) { pieces << text; });
        runner.run(u"echo one; sleep 0.3; echo two >&2; sleep 0.3; echo three"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForOutput(runner, u"one\n"_s));
        QVERIFY(runner.isRunning());
        QVERIFY(!runner.output().contains(u"two"_s));
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"one\ntwo\nthree\n"_s);
        QVERIFY(pieces.size() >= 3);
        QCOMPARE(pieces.join(QString()), runner.output());
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void run_zsh_loginShellInterleaves()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"echo $ZSH_NAME; echo b >&2; echo c; exit 4"_s, std::nullopt, std::nullopt, true);
        QCOMPARE(runner.process()->program(), u"/bin/zsh"_s);
        QCOMPARE(runner.process()->arguments(),
                 (QStringList{u"-l"_s, u"-i"_s, u"-c"_s, u"echo $ZSH_NAME; echo b >&2; echo c; exit 4"_s}));
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"zsh\nb\nc\n"_s);
        QCOMPARE(runner.exitCode(), std::optional<int>(4));
    }

    void run_environmentIsTheApplications()
    {
        Sandbox sandbox;
        qputenv("MOXLEY_RUNNER_PROBE", "probe value");
        TaskRunner runner;
        runner.run(u"echo \"$MOXLEY_RUNNER_PROBE\"; echo \"$HOME\""_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        qunsetenv("MOXLEY_RUNNER_PROBE");
        QCOMPARE(runner.output(), QString(u"probe value\n" % sandbox.home() % u"\n"));
    }

    void run_secondStartWhileRunningIsIgnored()
    {
        Sandbox sandbox;
        TaskRunner runner;
        QSignalSpy cleared(&runner, &TaskRunner::outputCleared);
        QSignalSpy running(&runner, &TaskRunner::isRunningChanged);
        runner.run(u"echo first; sleep 0.5; echo last"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForOutput(runner, u"first\n"_s));
        QProcess *const first = runner.process();
        runner.run(u"echo second"_s, std::nullopt, std::nullopt, true);
        QCOMPARE(runner.process(), first);
        QCOMPARE(runner.output(), u"first\n"_s);
        QVERIFY(runner.isRunning());
        QVERIFY(!runner.exitCode());
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(running.size(), 1);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"first\nlast\n"_s);
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
        QCOMPARE(running.size(), 2);
    }

    void run_againClearsOutputAndExitCode()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"echo one; exit 9"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.exitCode(), std::optional<int>(9));
        QSignalSpy cleared(&runner, &TaskRunner::outputCleared);
        QSignalSpy codes(&runner, &TaskRunner::exitCodeChanged);
        runner.run(u"sleep 0.2; echo two"_s, std::nullopt, std::nullopt, false);
        QCOMPARE(cleared.size(), 1);
        QVERIFY(runner.output().isEmpty());
        QVERIFY(!runner.exitCode());
        QCOMPARE(codes.size(), 1);
        QVERIFY(!codes.at(0).at(0).value<std::optional<int>>());
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"two\n"_s);
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void run_folderWithQuoteAndEnvFile()
    {
        Sandbox sandbox;
        const QString folder = QDir(sandbox.root()).filePath(u"it's"_s);
        QVERIFY(QDir().mkpath(folder));
        const QString envFile = QDir(sandbox.root()).filePath(u"the 'env' file"_s);
        Sandbox::writeFile(envFile, "GREETING='hello there'\nNUMBER=42\n");
        TaskRunner runner;
        runner.run(u"pwd; echo \"$GREETING\"; sh -c 'echo $NUMBER'"_s, folder, envFile, true);
        QCOMPARE(runner.process()->arguments().last(),
                 QString(u"set -a && source '" % sandbox.root() % u"/the '\\''env'\\'' file' && set +a && cd '" %
                         sandbox.root() % u"/it'\\''s' && pwd; echo \"$GREETING\"; sh -c 'echo $NUMBER'"));
        QVERIFY(waitForEnd(runner));
        // set -a exports what the file defines, so a child shell sees it too.
        QCOMPARE(runner.output(), QString(QDir(folder).canonicalPath() % u"\nhello there\n42\n"));
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void run_shInFolderWithQuote()
    {
        Sandbox sandbox;
        const QString folder = QDir(sandbox.root()).filePath(u"it's"_s);
        QVERIFY(QDir().mkpath(folder));
        TaskRunner runner;
        runner.run(u"pwd"_s, folder, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), QString(QDir(folder).canonicalPath() % u"\n"));
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void run_emptyFolderAndEnvFileAddNothing()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"pwd"_s, u""_s, u""_s, false);
        QCOMPARE(runner.process()->arguments(), (QStringList{u"-c"_s, u"pwd"_s}));
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), QString(QDir::currentPath() % u"\n"));
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void run_missingFolderFailsInsideTheShell()
    {
        Sandbox sandbox;
        const QString missing = sandbox.root() + u"/no such folder"_s;
        TaskRunner runner;
        runner.run(u"echo never"_s, missing, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QVERIFY(runner.exitCode() && *runner.exitCode() != 0);
        QVERIFY2(runner.output().contains(u"no such folder"_s), qPrintable(runner.output()));
        QVERIFY(!runner.output().contains(u"never"_s));
    }

    void run_missingEnvFileFailsInsideTheShell()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"echo never"_s, std::nullopt, sandbox.root() + u"/missing.env"_s, true);
        QVERIFY(waitForEnd(runner));
        QVERIFY(runner.exitCode() && *runner.exitCode() != 0);
        QVERIFY2(runner.output().contains(u"missing.env"_s), qPrintable(runner.output()));
        QVERIFY(!runner.output().contains(u"never"_s));
    }

    void run_outputLeftInThePipeAtExitIsKept()
    {
        Sandbox sandbox;
        TaskRunner runner;
        QString appended;
        connect(&runner, &TaskRunner::outputAppended, this, [&appended](const QString &text) { appended += text; });
        QString at_end;
        connect(&runner, &TaskRunner::finished, this, [&runner, &at_end](int) { at_end = runner.output(); });
        // The last bytes are written just before the shell exits, with no newline to flush on.
        runner.run(
            u"i=0; while [ $i -lt 2000 ]; do printf 'line %d\\n' $i; i=$((i+1)); done; printf 'last words'; exit 5"_s,
            std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QString expected;
        for (int i = 0; i < 2000; ++i) {
            expected += u"line " % QString::number(i) % u'\n';
        }
        expected += u"last words"_s;
        QCOMPARE(runner.output(), expected);
        QCOMPARE(at_end, expected);
        QCOMPARE(appended, expected);
        QCOMPARE(runner.exitCode(), std::optional<int>(5));
    }

    void run_multibyteCharacterSplitAcrossReads()
    {
        Sandbox sandbox;
        TaskRunner runner;
        QStringList pieces;
        connect(&runner, &TaskRunner::outputAppended, this, [&pieces](const QString &text) { pieces << text; });
        // The euro sign's three bytes arrive in two writes, far enough apart to be two reads.
        runner.run(u"printf 'A\\342\\202'; sleep 0.4; printf '\\254B\\n'"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"A€B\n"_s);
        QCOMPARE(pieces, (QStringList{u"A"_s, u"€B\n"_s}));
    }

    void run_invalidBytesBecomeReplacementCharacters()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.run(u"printf 'ok\\377\\376ok\\n'"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(),
                 QString(u"ok" % QChar(QChar::ReplacementCharacter) % QChar(QChar::ReplacementCharacter) % u"ok\n"));
    }

    void run_largeOutputArrivesCompleteAndInOrder()
    {
        Sandbox sandbox;
        TaskRunner runner;
        qsizetype appendedSize = 0;
        int chunks = 0;
        connect(&runner, &TaskRunner::outputAppended, this, [&](const QString &text) {
            appendedSize += text.size();
            ++chunks;
        });
        // About 20 MB: the numbers 1 to 2,600,000, one a line, with stderr lines mixed in.
        runner.run(u"seq 1 2600000; echo tail >&2"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner, 240000));
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
        QString expected;
        expected.reserve(20 * 1024 * 1024);
        for (int i = 1; i <= 2600000; ++i) {
            expected += QString::number(i);
            expected += u'\n';
        }
        expected += u"tail\n"_s;
        QVERIFY(expected.size() > 19000000);
        QCOMPARE(runner.output().size(), expected.size());
        QVERIFY(runner.output() == expected);
        QCOMPARE(appendedSize, expected.size());
        QVERIFY(chunks > 1);
    }

    void run_hundredMegabytesStreamInTime()
    {
        Sandbox sandbox;
        TaskRunner runner;
        qsizetype size = 0;
        int chunks = 0;
        connect(&runner, &TaskRunner::outputAppended, this, [&](const QString &text) {
            size += text.size();
            ++chunks;
        });
        QElapsedTimer timer;
        timer.start();
        runner.run(u"head -c 100000000 /dev/zero | tr '\\0' a; echo"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner, 240000));
        // Copying all the text again for every chunk would take minutes here, not seconds.
        QVERIFY2(timer.elapsed() < 60000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
        QCOMPARE(size, qsizetype(100000001));
        QVERIFY(chunks > 100);
        QCOMPARE(runner.output().size(), qsizetype(100000001));
        QCOMPARE(runner.output().count(u'a'), qsizetype(100000000));
        QVERIFY(runner.output().endsWith(u"aaa\n"_s));
    }

    void run_withoutKeepingOutputOnlySignalsIt()
    {
        Sandbox sandbox;
        TaskRunner runner;
        runner.setKeepsOutput(false);
        QString appended;
        connect(&runner, &TaskRunner::outputAppended, this, [&appended](const QString &text) { appended += text; });
        runner.run(u"echo one; echo two >&2"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(appended, u"one\ntwo\n"_s);
        QVERIFY(runner.output().isEmpty());
        QCOMPARE(runner.exitCode(), std::optional<int>(0));
    }

    void start_programThatCannotStartEndsTheRun()
    {
        Sandbox sandbox;
        StartableRunner runner;
        QSignalSpy finished(&runner, &TaskRunner::finished);
        runner.start(sandbox.root() + u"/no-shell"_s, {u"-c"_s, u"true"_s});
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.exitCode(), std::optional<int>(127));
        QVERIFY2(runner.output().startsWith(QString(sandbox.root() + u"/no-shell: "_s)), qPrintable(runner.output()));
        QCOMPARE(finished.size(), 1);
        // A later run works as usual.
        runner.run(u"echo fine"_s, std::nullopt, std::nullopt, false);
        QVERIFY(waitForEnd(runner));
        QCOMPARE(runner.output(), u"fine\n"_s);
    }
};

QTEST_GUILESS_MAIN(TaskRunnerTest)
#include "test_task_runner.moc"
