#include "../store/StoreWorld.h"

#include "platform/ShellQuote.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

constexpr int kTasks = 20;

// Enabled tasks in the file whose scripts were never written: the next changing command
// reinstalls every one of them before it does its own work.
QList<ScheduledTask> writeTasksWithoutScripts(const StoreWorld &world)
{
    QList<ScheduledTask> tasks;
    for (int i = 0; i < kTasks; ++i) {
        tasks.append(StoreWorld::task(u"Task "_s + QString::number(i), TaskSchedule::interval(5 + i)));
    }
    world.writeTasks(tasks);
    return tasks;
}

int scriptsWritten(const QList<ScheduledTask> &tasks)
{
    int count = 0;
    for (const ScheduledTask &task : tasks) {
        count += QFileInfo::exists(LaunchdService().scriptPath(task)) ? 1 : 0;
    }
    return count;
}

// `moxley ARGS` on a pseudo-terminal of its own (util-linux script): what a person at a terminal sees,
// standard output and standard error together.
QByteArray onTerminal(const StoreWorld &world, const QStringList &arguments)
{
    QStringList words{shellQuote(QStringLiteral(MOXLEY_CLI_PATH))};
    for (const QString &argument : arguments) {
        words << shellQuote(argument);
    }
    const auto result = world.sandbox.run(u"/usr/bin/script"_s, {u"-qec"_s, words.join(u' '), u"/dev/null"_s});
    return result.out;
}

} // namespace

// The progress line of a changing command that reinstalls many jobs first: on a terminal only.
class CliProgressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void notOnTerminal_outputUnchangedByteForByte()
    {
        StoreWorld world;
        const QList<ScheduledTask> tasks = writeTasksWithoutScripts(world);
        const auto result =
            world.sandbox.runCli({u"add"_s, u"--name"_s, u"Backup"_s, u"--command"_s, u"make backup"_s});
        QCOMPARE(result.exitCode, 0);
        // The refresh did happen, silently.
        QCOMPARE(scriptsWritten(tasks), kTasks);
        QCOMPARE(result.err, QByteArray());
        const QList<ScheduledTask> saved = world.savedTasks();
        QCOMPARE(saved.size(), kTasks + 1);
        QCOMPARE(result.out, saved.constLast().fullId().toUtf8() + '\n');
    }

    void onTerminal_showsProgressThenErasesIt()
    {
        if (!QFileInfo::exists(u"/usr/bin/script"_s)) {
            QSKIP("util-linux script is not installed");
        }
        StoreWorld world;
        const QList<ScheduledTask> tasks = writeTasksWithoutScripts(world);
        const QByteArray screen =
            onTerminal(world, {u"add"_s, u"--name"_s, u"Backup"_s, u"--command"_s, u"make backup"_s});
        QCOMPARE(scriptsWritten(tasks), kTasks);
        const QByteArray first = "\rmoxley: reinstalling jobs: 0 of " + QByteArray::number(kTasks) + "\x1b[K";
        QVERIFY2(screen.startsWith(first), screen.constData());
        // Erased before anything else is printed: the id comes on a clean line.
        const QList<ScheduledTask> saved = world.savedTasks();
        QCOMPARE(saved.size(), kTasks + 1);
        const QByteArray id = saved.constLast().fullId().toUtf8();
        const QByteArray last = QByteArray("\r\x1b[K") + id + "\r\n";
        QVERIFY2(screen.endsWith(last), screen.constData());
    }

    void onTerminal_nothingToReinstall_noProgress()
    {
        if (!QFileInfo::exists(u"/usr/bin/script"_s)) {
            QSKIP("util-linux script is not installed");
        }
        StoreWorld world;
        const QByteArray screen =
            onTerminal(world, {u"add"_s, u"--name"_s, u"Backup"_s, u"--command"_s, u"make backup"_s});
        const QList<ScheduledTask> saved = world.savedTasks();
        QCOMPARE(saved.size(), 1);
        QCOMPARE(screen, saved.constLast().fullId().toUtf8() + "\r\n");
    }
};

QTEST_GUILESS_MAIN(CliProgressTest)
#include "test_cli_progress.moc"
