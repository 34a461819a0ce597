#include "Sandbox.h"
#include "platform/ChildProcess.h"

#include <QtTest>

using namespace Qt::StringLiterals;

// Every system tool is started through this helper; it must pass arguments untouched, wait,
// and tell "could not start" apart from "failed".
class ChildProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void argumentsReachTheChildUntouched()
    {
        const QStringList arguments{u"a b"_s, u"it's \"x\" $HOME *"_s, QString(), u"line\nbreak"_s};
        ChildProcess::Options options;
        options.output = ChildProcess::Output::capture;
        const auto result = ChildProcess::run(
            u"/bin/sh"_s, QStringList{u"-c"_s, u"printf '[%s]' \"$@\""_s, u"sh"_s} + arguments, options);
        QVERIFY(result.started);
        QCOMPARE(result.exitStatus, 0);
        QVERIFY(result.succeeded());
        QCOMPARE(result.standardOutput, QByteArray("[a b][it's \"x\" $HOME *][][line\nbreak]"));
    }

    void exitStatus_isReported()
    {
        const auto result = ChildProcess::run(u"/bin/sh"_s, {u"-c"_s, u"exit 42"_s});
        QVERIFY(result.started);
        QVERIFY(!result.crashed);
        QCOMPARE(result.exitStatus, 42);
        QVERIFY(!result.succeeded());
    }

    void killedBySignal_isCrashWithSignalNumber()
    {
        const auto result = ChildProcess::run(u"/bin/sh"_s, {u"-c"_s, u"kill -TERM $$"_s});
        QVERIFY(result.started);
        QVERIFY(result.crashed);
        QCOMPARE(result.exitStatus, 15);
        QVERIFY(!result.succeeded());
    }

    void discard_outputGoesNowhere()
    {
        const auto result = ChildProcess::run(u"/bin/sh"_s, {u"-c"_s, u"echo out; echo err >&2"_s});
        QCOMPARE(result.exitStatus, 0);
        QCOMPARE(result.standardOutput, QByteArray());
        QCOMPARE(result.standardError, QByteArray());
    }

    void capture_keepsStreamsApartAndLargeOutputDoesNotBlock()
    {
        ChildProcess::Options options;
        options.output = ChildProcess::Output::capture;
        const auto result = ChildProcess::run(
            u"/bin/sh"_s, {u"-c"_s, u"head -c 1000000 /dev/zero | tr '\\0' x; echo err >&2"_s}, options);
        QCOMPARE(result.exitStatus, 0);
        QCOMPARE(result.standardOutput, QByteArray(1000000, 'x'));
        QCOMPARE(result.standardError, QByteArray("err\n"));
    }

    void input_isFedAndClosed()
    {
        ChildProcess::Options options;
        options.output = ChildProcess::Output::capture;
        options.input = QByteArray("one\ntwo\n");
        const auto result = ChildProcess::run(u"/bin/cat"_s, {}, options);
        QCOMPARE(result.standardOutput, QByteArray("one\ntwo\n"));
    }

    void noInput_readsEndOfFileAtOnce()
    {
        ChildProcess::Options options;
        options.output = ChildProcess::Output::capture;
        const auto result = ChildProcess::run(u"/bin/cat"_s, {}, options);
        QCOMPARE(result.exitStatus, 0);
        QCOMPARE(result.standardOutput, QByteArray());
    }

    void workingDirectory_isUsed()
    {
        Sandbox sandbox;
        ChildProcess::Options options;
        options.output = ChildProcess::Output::capture;
        options.workingDirectory = sandbox.home();
        const auto result = ChildProcess::run(u"/bin/pwd"_s, {}, options);
        QCOMPARE(result.standardOutput, QByteArray(sandbox.home().toUtf8() + '\n'));
    }

    void waits_untilTheChildEnds()
    {
        QElapsedTimer timer;
        timer.start();
        const auto result = ChildProcess::run(u"/bin/sleep"_s, {u"0.5"_s});
        QCOMPARE(result.exitStatus, 0);
        QVERIFY(timer.elapsed() >= 450);
    }

    void missingOrNotExecutable_notStarted()
    {
        Sandbox sandbox;
        auto result = ChildProcess::run(sandbox.root() + u"/nothing-here"_s, {u"load"_s});
        QVERIFY(!result.started);
        QCOMPARE(result.exitStatus, -1);
        QVERIFY(!result.errorText.isEmpty());
        QVERIFY(!result.succeeded());

        const QString plain = sandbox.root() + u"/not-executable"_s;
        Sandbox::writeFile(plain, "#!/bin/sh\nexit 0\n", 0644);
        result = ChildProcess::run(plain, {});
        QVERIFY(!result.started);
        QCOMPARE(result.exitStatus, -1);
    }
};

QTEST_GUILESS_MAIN(ChildProcessTest)
#include "test_child_process.moc"
