#include "Sandbox.h"

#include <QProcess>
#include <QtTest>

#include <csignal>

using namespace Qt::StringLiterals;

// moxley run passes SIGINT, SIGTERM and SIGHUP on to the whole command, children included, and
// exits as a shell would (128 + the signal).
namespace {

// Alive: in the process table and not a zombie waiting for a parent that never comes.
bool alive(qint64 pid)
{
    QFile stat(u"/proc/"_s % QString::number(pid) % u"/stat"_s);
    if (!stat.open(QIODevice::ReadOnly)) {
        return ::kill(pid_t(pid), 0) == 0;
    }
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close > 0 && line.mid(close + 2, 1) != "Z";
}

// The program a process runs now (its name as the kernel keeps it).
QByteArray programOf(qint64 pid)
{
    QFile comm(u"/proc/"_s % QString::number(pid) % u"/comm"_s);
    return comm.open(QIODevice::ReadOnly) ? comm.readAll().trimmed() : QByteArray();
}

} // namespace

class CliRunSignalsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signalToTool_reachesTheCommandsChildren_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<bool>("background");
        // A shell without job control starts background commands with SIGINT ignored, so for
        // SIGINT the grandchild is a foreground one.
        QTest::newRow("SIGTERM") << int(SIGTERM) << true;
        QTest::newRow("SIGHUP") << int(SIGHUP) << true;
        QTest::newRow("SIGINT") << int(SIGINT) << false;
    }
    void signalToTool_reachesTheCommandsChildren()
    {
        QFETCH(int, signal);
        QFETCH(bool, background);
        Sandbox sandbox;
        const QString pidFile = sandbox.root() + u"/grandchild.pid"_s;
        const QString command = background ? u"sleep 30 & echo $! > '"_s % pidFile % u"'; wait"_s
                                           : u"sh -c 'echo $$ > \"$0\"; exec sleep 30' '"_s % pidFile % u"'; true"_s;
        QCOMPARE(sandbox
                     .runCli({u"add"_s, u"--name"_s, u"Sleeper"_s, u"--command"_s, command, u"--no-login-shell"_s,
                              u"--disabled"_s})
                     .exitCode,
                 0);
        QProcess tool;
        tool.setProcessEnvironment(sandbox.environment());
        // As from a terminal: a test run in the background of a shell starts with SIGINT ignored,
        // and the tool, as a shell does, leaves a signal ignored that it inherited so.
        tool.setChildProcessModifier([] {
            ::signal(SIGINT, SIG_DFL);
            ::signal(SIGHUP, SIG_DFL);
        });
        tool.start(QStringLiteral(MOXLEY_CLI_PATH), {u"run"_s, u"Sleeper"_s});
        QVERIFY(tool.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(pidFile).size() > 0, 20000);
        const qint64 grandchild = Sandbox::readFile(pidFile).trimmed().toLongLong();
        QVERIFY(grandchild > 0);
        QVERIFY(alive(grandchild));
        // Not before the grandchild is sleep itself: a signal that reaches a shell between its fork
        // and the child's exec is the shell's alone, and the sleep started after it runs on.
        QTRY_COMPARE_WITH_TIMEOUT(programOf(grandchild), QByteArray("sleep"), 20000);

        ::kill(pid_t(tool.processId()), signal);
        QVERIFY(tool.waitForFinished(20000));
        QCOMPARE(tool.exitStatus(), QProcess::NormalExit);
        QCOMPARE(tool.exitCode(), 128 + signal);
        QTRY_VERIFY_WITH_TIMEOUT(!alive(grandchild), 5000);
    }
};

QTEST_GUILESS_MAIN(CliRunSignalsTest)
#include "test_cli_run_signals.moc"
