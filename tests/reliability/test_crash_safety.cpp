// The tasks file survives the moxley tool being killed at any moment, and stays the user's own.
#include "../store/StoreWorld.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>

#include <signal.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 kStartValue = 20250302;

// Large enough that reading, encoding and writing it takes a while: 2,000 disabled tasks (so no
// start-up refreshes their scripts), each with a long command.
QList<ScheduledTask> largeTaskList()
{
    QList<ScheduledTask> tasks;
    for (int i = 0; i < 2000; ++i) {
        ScheduledTask task;
        task.id = QUuid::fromString(QString::asprintf("%08X-0000-4000-8000-%012d", i + 1, i));
        task.name = u"Task "_s % QString::number(i);
        task.command = u"echo 'task "_s % QString::number(i) % u"' && "_s % QString(100, u'x');
        task.workingDirectory = u"/tmp/folder "_s % QString::number(i);
        task.isEnabled = false;
        task.schedule = TaskSchedule::weekly({2, 4, 6}, {{7, 0}, {18, 30}});
        tasks.append(task);
    }
    return tasks;
}

int fileMode(const QString &path)
{
    struct stat info {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0) {
        return -1;
    }
    return int(info.st_mode & 07777);
}

QStringList addArguments(int i)
{
    return {u"add"_s,  u"--name"_s, u"Added "_s % QString::number(i), u"--command"_s, u"echo added"_s, u"--daily"_s,
            u"--at"_s, u"6:30"_s};
}

} // namespace

class CrashSafetyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // `moxley add` on a file of 2,000 tasks, killed with SIGKILL at a random moment, 200 times:
    // after every kill the file is the complete old document or the complete new one, and a
    // store starts on it without an error.
    void sigkillDuringAdd_leavesTheOldOrTheNewDocument()
    {
        StoreWorld world;
        world.writeTasks(largeTaskList());
        QByteArray current = world.sandbox.readTasksFile();

        // How long one whole add takes here; the kills fall anywhere within that.
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(world.sandbox.runCli(addArguments(-1)).exitCode, 0);
        const qint64 wholeRunUs = std::max<qint64>(timer.nsecsElapsed() / 1000, 1000);
        current = world.sandbox.readTasksFile();
        QList<ScheduledTask> currentTasks = TaskMigration::read(current).tasks;
        QCOMPARE(currentTasks.size(), 2001);

        QRandomGenerator random(kStartValue);
        int keptOld = 0;
        int becameNew = 0;
        int killedWhileRunning = 0;
        for (int i = 0; i < 200; ++i) {
            QProcess tool;
            tool.setProcessEnvironment(world.sandbox.environment());
            tool.start(QStringLiteral(MOXLEY_CLI_PATH), addArguments(i));
            QVERIFY(tool.waitForStarted(10000));
            QThread::usleep(quint64(random.bounded(wholeRunUs * 11 / 10)));
            ::kill(pid_t(tool.processId()), SIGKILL);
            QVERIFY(tool.waitForFinished(60000));
            if (tool.exitStatus() == QProcess::CrashExit) {
                ++killedWhileRunning;
            }

            const QByteArray after = world.sandbox.readTasksFile();
            if (after == current) {
                ++keptOld;
            } else {
                // Complete: it reads, holds the old tasks plus the one added, and is exactly what
                // the writer makes of those tasks.
                const TaskMigration::ReadResult read = TaskMigration::read(after);
                QVERIFY2(read.ok(), qPrintable(u"kill "_s % QString::number(i) % u": "_s %
                                               (read.error ? read.error->description : QString())));
                QCOMPARE(read.tasks.size(), currentTasks.size() + 1);
                QVERIFY(read.tasks.mid(0, currentTasks.size()) == currentTasks);
                QCOMPARE(read.tasks.last().name, u"Added "_s % QString::number(i));
                QCOMPARE(TaskMigration::encode(read.tasks), after);
                ++becameNew;
                current = after;
                currentTasks = read.tasks;
            }
            QCOMPARE(fileMode(world.sandbox.tasksFile()), 0600);

            const std::unique_ptr<TaskStore> store = world.open();
            QVERIFY2(!store->lastError(), qPrintable(store->lastError().value_or(QString())));
            QVERIFY(!store->fileUnreadable());
            QCOMPARE(store->tasks().size(), currentTasks.size());
        }
        qInfo("200 kills: %d left the old document, %d the new one; %d hit a running tool (one add: %lld ms)", keptOld,
              becameNew, killedWhileRunning, wholeRunUs / 1000);
        QCOMPARE(keptOld + becameNew, 200);
        // The kills must have reached the tool at work, not only after it ended.
        QVERIFY(killedWhileRunning > 0);
    }

    // A new tasks file is the user's alone (0600), whatever the umask.
    void newTasksFile_isOwnerOnly_data()
    {
        QTest::addColumn<QString>("umask");
        QTest::newRow("022") << u"022"_s;
        QTest::newRow("000") << u"000"_s;
        QTest::newRow("077") << u"077"_s;
    }
    void newTasksFile_isOwnerOnly()
    {
        QFETCH(QString, umask);
        StoreWorld world;
        QVERIFY(!QFile::exists(world.sandbox.tasksFile()));
        const auto result = world.sandbox.run(u"/bin/sh"_s, {u"-c"_s, u"umask "_s % umask % u"; exec \"$0\" \"$@\""_s,
                                                             QStringLiteral(MOXLEY_CLI_PATH), u"add"_s, u"--name"_s,
                                                             u"A"_s, u"--command"_s, u"true"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(fileMode(world.sandbox.tasksFile()), 0600);
    }

    // A file that others could read is made the user's alone at the next save.
    void existingWiderFile_becomesOwnerOnlyAtTheNextSave()
    {
        StoreWorld world;
        Sandbox::writeFile(world.sandbox.tasksFile(), TaskMigration::encode({}), 0666);
        QCOMPARE(fileMode(world.sandbox.tasksFile()), 0666);
        QCOMPARE(world.sandbox.runCli({u"add"_s, u"--name"_s, u"A"_s, u"--command"_s, u"true"_s}).exitCode, 0);
        QCOMPARE(fileMode(world.sandbox.tasksFile()), 0600);
    }

    // The store in the app saves the same way.
    void storeSave_isOwnerOnly()
    {
        StoreWorld world;
        const std::unique_ptr<TaskStore> store = world.open();
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = u"A"_s;
        task.command = u"true"_s;
        task.isEnabled = false;
        store->add(task);
        QVERIFY(!store->lastError());
        QCOMPARE(fileMode(world.sandbox.tasksFile()), 0600);
    }

    // Read-only commands leave a file's mode alone, as they leave everything.
    void readOnlyCommand_leavesTheModeAlone()
    {
        StoreWorld world;
        Sandbox::writeFile(world.sandbox.tasksFile(), TaskMigration::encode({}), 0644);
        QCOMPARE(world.sandbox.runCli({u"list"_s}).exitCode, 0);
        QCOMPARE(fileMode(world.sandbox.tasksFile()), 0644);
    }
};

QTEST_GUILESS_MAIN(CrashSafetyTest)
#include "test_crash_safety.moc"
