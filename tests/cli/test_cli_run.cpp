#include "Sandbox.h"
#include "StandInTool.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QMap>
#include <QProcess>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray tasksFile(const QString &command, bool useLoginShell, const QString &workingDirectory = {},
                     const QString &envFilePath = {})
{
    const auto quoted = [](const QString &text) {
        QString escaped = text;
        escaped.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s).replace(u'\n', u"\\n"_s);
        return QString(u'"' % escaped % u'"');
    };
    QString task =
        u"{\"id\": \"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9\", \"name\": \"Probe\", \"command\": " % quoted(command) %
        u", \"useLoginShell\": " % (useLoginShell ? u"true"_s : u"false"_s) %
        u", \"wakeBeforeRun\": false, \"schedule\": {\"daily\": {\"times\": [{\"hour\": 7, \"minute\": 0}]}}, "
        u"\"isEnabled\": true, \"logs\": []";
    if (!workingDirectory.isEmpty()) {
        task += u", \"workingDirectory\": " % quoted(workingDirectory);
    }
    if (!envFilePath.isEmpty()) {
        task += u", \"envFilePath\": " % quoted(envFilePath);
    }
    task += u'}';
    return QString(u"{\"version\": 2, \"tasks\": [" % task % u"]}").toUtf8();
}

// Every file under the sandbox with a digest of its bytes and its modification time.
QMap<QString, QByteArray> snapshot(const Sandbox &sandbox)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(sandbox.root(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info = it.fileInfo();
        QByteArray stamp = QByteArray::number(info.lastModified().toMSecsSinceEpoch());
        if (info.isFile()) {
            stamp += ' ' + QCryptographicHash::hash(Sandbox::readFile(path), QCryptographicHash::Sha256).toHex();
        }
        files.insert(path, stamp);
    }
    return files;
}

} // namespace

class CliRunTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void run_printsBothStreamsAndExitsWithTheCommandsStatus()
    {
        Sandbox sandbox;
        const StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        sandbox.writeTasksFile(tasksFile(u"echo out; echo err >&2; echo 'caf\u00e9'; exit 3"_s, false));
        const QMap<QString, QByteArray> before = snapshot(sandbox);
        const auto result = sandbox.runCli({u"run"_s, u"Probe"_s});
        QCOMPARE(result.exitCode, 3);
        QCOMPARE(result.out, QByteArray("out\nerr\ncaf\xc3\xa9\n"));
        QCOMPARE(result.err, QByteArray());
        // Nothing recorded, installed or changed.
        QCOMPARE(snapshot(sandbox), before);
        QVERIFY(launchctl.calls().isEmpty());
        QVERIFY(!QDir(sandbox.logDir()).exists());
    }

    void run_byShortIdWithLoginShellFolderAndEnvFile()
    {
        Sandbox sandbox;
        const QString folder = sandbox.root() + u"/it's here"_s;
        QVERIFY(QDir().mkpath(folder));
        const QString envFile = sandbox.root() + u"/vars.env"_s;
        Sandbox::writeFile(envFile, "WHO='the env file'\n");
        sandbox.writeTasksFile(tasksFile(u"pwd; echo \"$WHO\"; echo $ZSH_NAME >&2"_s, true, folder, envFile));
        const auto result = sandbox.runCli({u"run"_s, u"0a1b2c3d"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QString(QDir(folder).canonicalPath() % u"\nthe env file\nzsh\n").toUtf8());
        QCOMPARE(result.err, QByteArray());
    }

    void run_signalledCommandGives128PlusSignal()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(tasksFile(u"echo before; kill -TERM $$; echo after"_s, false));
        const auto result = sandbox.runCli({u"run"_s, u"Probe"_s});
        QCOMPARE(result.exitCode, 143);
        QCOMPARE(result.out, QByteArray("before\n"));
    }

    void run_outputArrivesWhileTheCommandRuns()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(tasksFile(u"echo first; sleep 3; echo second"_s, false));
        QProcess process;
        process.setProcessEnvironment(sandbox.environment());
        process.start(QStringLiteral(MOXLEY_CLI_PATH), {u"run"_s, u"Probe"_s});
        QVERIFY(process.waitForStarted(10000));
        QElapsedTimer timer;
        timer.start();
        QByteArray seen;
        while (!seen.contains("first\n") && timer.elapsed() < 10000) {
            process.waitForReadyRead(100);
            seen += process.readAllStandardOutput();
        }
        QCOMPARE(seen, QByteArray("first\n"));
        QCOMPARE(process.state(), QProcess::Running);
        QVERIFY(process.waitForFinished(20000));
        seen += process.readAllStandardOutput();
        QCOMPARE(seen, QByteArray("first\nsecond\n"));
        QCOMPARE(process.exitCode(), 0);
    }

    void run_unknownTaskFails()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(tasksFile(u"echo never"_s, false));
        const auto result = sandbox.runCli({u"run"_s, u"Nothing"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray("moxley: no task matches Nothing\n"));
    }

    void run_unreadableTasksFileFails()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile("{\"version\": 0, \"tasks\": []}");
        const QMap<QString, QByteArray> before = snapshot(sandbox);
        const auto result = sandbox.runCli({u"run"_s, u"Probe"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QByteArray());
        QVERIFY2(result.err.startsWith("moxley: Failed to load tasks: "), result.err.constData());
        QCOMPARE(snapshot(sandbox), before);
    }

    void run_usageErrors()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"run"_s});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.err.contains("Try 'moxley run --help' for more information.\n"));
        result = sandbox.runCli({u"run"_s, u"a"_s, u"b"_s});
        QCOMPARE(result.exitCode, 2);
        result = sandbox.runCli({u"run"_s, u"--help"_s});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.startsWith("Usage: moxley run TASK\n"));
    }
};

QTEST_GUILESS_MAIN(CliRunTest)
#include "test_cli_run.moc"
