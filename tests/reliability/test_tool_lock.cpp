#include "Sandbox.h"
#include "StandInTool.h"
#include "model/TaskMigration.h"
#include "platform/TasksFileLock.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QtTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

// The tool and the write lock of the tasks file: a bounded wait that names the holder, and no id
// (and no job) for a task whose save failed.
class ToolLockTest : public QObject
{
    Q_OBJECT

    static QString holderText()
    {
        return u"the tasks file is locked by process "_s % QString::number(::getpid()) % u" (" %
               QFileInfo(QCoreApplication::applicationFilePath()).fileName() % u')';
    }

private Q_SLOTS:
    void lockHeldLong_toolSaysWhoAndChangesNothing()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        QCOMPARE(sandbox.runCli({u"add"_s, u"--name"_s, u"First"_s, u"--command"_s, u"true"_s}).exitCode, 0);
        const QByteArray before = sandbox.readTasksFile();
        launchctl.clearCalls();
        const TasksFileLock lock = TasksFileLock::take(TasksFileLock::Kind::write, sandbox.tasksFile());
        QVERIFY(lock.held());

        QElapsedTimer clock;
        clock.start();
        const Sandbox::Result result = sandbox.runCli({u"add"_s, u"--name"_s, u"Second"_s, u"--command"_s, u"true"_s});
        QVERIFY(clock.elapsed() >= 4500);
        QVERIFY(clock.elapsed() < 30000);
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(QString::fromUtf8(result.err), QString(u"moxley: "_s % holderText() % u'\n'));
        QCOMPARE(sandbox.readTasksFile(), before);
        QCOMPARE(launchctl.calls(), QList<QStringList>());
    }

    // A writer that waits names the holder from the lock file's first line: each new holder's line
    // replaces the last one whole, longer or shorter, and the lock file never holds more.
    void holderLine_replacesTheLastOneWhole()
    {
        Sandbox sandbox;
        QDir().mkpath(sandbox.dataDir());
        const QString path = TasksFileLock::lockFilePath(TasksFileLock::Kind::write, sandbox.tasksFile());
        const QByteArray mine = QByteArray::number(qint64(::getpid())) + ' ' +
                                QFileInfo(QCoreApplication::applicationFilePath()).fileName().toUtf8() + '\n';
        const QList<QByteArray> before = {"4194303 a-program-whose-name-is-much-longer-than-this-one\n", "1 x\n",
                                          QByteArray(), mine};
        for (const QByteArray &last : before) {
            Sandbox::writeFile(path, last, 0600);
            {
                const TasksFileLock lock = TasksFileLock::take(TasksFileLock::Kind::write, sandbox.tasksFile());
                QVERIFY(lock.held());
                QCOMPARE(Sandbox::readFile(path), mine);
            }
            QCOMPARE(Sandbox::readFile(path), mine);
        }
    }

    void lockFreedInTime_toolGoesOn()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        QDir().mkpath(sandbox.dataDir());
        auto lock =
            std::make_unique<TasksFileLock>(TasksFileLock::take(TasksFileLock::Kind::write, sandbox.tasksFile()));
        QVERIFY(lock->held());
        QProcess tool;
        tool.setProcessEnvironment(sandbox.environment());
        tool.start(QStringLiteral(MOXLEY_CLI_PATH), {u"add"_s, u"--name"_s, u"Waits"_s, u"--command"_s, u"true"_s});
        QTest::qWait(1000);
        QCOMPARE(tool.state(), QProcess::Running);
        lock.reset();
        QVERIFY(tool.waitForFinished(30000));
        QCOMPARE(tool.exitCode(), 0);
        const TaskMigration::ReadResult read = TaskMigration::read(sandbox.readTasksFile());
        QVERIFY(read.ok());
        QCOMPARE(read.tasks.size(), 1);
        QCOMPARE(tool.readAllStandardOutput().trimmed(),
                 read.tasks.first().id.toString(QUuid::WithoutBraces).toUpper().toUtf8());
    }

    // The lock is taken by someone else after the tool's first look and held past its save: the
    // save fails, no id is printed, and the job the tool installed is gone again.
    void saveFails_noIdAndNoJobLeft()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        QCOMPARE(
            sandbox.runCli({u"add"_s, u"--name"_s, u"First"_s, u"--command"_s, u"true"_s, u"--disabled"_s}).exitCode,
            0);
        const QByteArray before = sandbox.readTasksFile();
        launchctl.setDelay(1.0);
        QProcess tool;
        tool.setProcessEnvironment(sandbox.environment());
        tool.start(QStringLiteral(MOXLEY_CLI_PATH), {u"add"_s, u"--name"_s, u"Lost"_s, u"--command"_s, u"true"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!launchctl.calls().isEmpty(), 20000);
        const TasksFileLock lock = TasksFileLock::take(TasksFileLock::Kind::write, sandbox.tasksFile());
        QVERIFY(lock.held());
        QVERIFY(tool.waitForFinished(60000));
        QCOMPARE(tool.exitCode(), 1);
        QCOMPARE(tool.readAllStandardOutput(), QByteArray());
        QCOMPARE(QString::fromUtf8(tool.readAllStandardError()),
                 QString(u"moxley: Failed to save tasks: "_s % holderText() % u'\n'));
        QCOMPARE(sandbox.readTasksFile(), before);
        QCOMPARE(QDir(sandbox.launchAgentsDir()).entryList(QDir::Files), QStringList());
        QCOMPARE(QDir(sandbox.scriptsDir()).entryList(QDir::Files), QStringList());
        const QList<QStringList> calls = launchctl.calls();
        QCOMPARE(calls.size(), 2);
        QCOMPARE(calls.at(0).first(), u"load"_s);
        QCOMPARE(calls.at(1).first(), u"unload"_s);
    }
};

QTEST_GUILESS_MAIN(ToolLockTest)
#include "test_tool_lock.moc"
