#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/LaunchdScheduler.h"
#include "launchd/PmsetService.h"

#include <QFileInfo>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask makeTask(int number)
{
    ScheduledTask task;
    task.id = QUuid::createUuid();
    task.name = u"Task "_s + QString::number(number);
    task.command = u"echo "_s + QString::number(number);
    task.schedule = TaskSchedule::daily({{9, 30}});
    return task;
}

QList<ScheduledTask> makeTasks(int count)
{
    QList<ScheduledTask> tasks;
    for (int i = 0; i < count; ++i) {
        tasks << makeTask(i);
    }
    return tasks;
}

// A sandbox with a stand-in launchctl, and the scheduler over the sandbox's folders.
struct World {
    Sandbox sandbox;
    StandInTool launchctl{sandbox, QStringLiteral("/bin/launchctl")};
    const LaunchdService service{sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir()};
    LaunchdScheduler scheduler{service, std::make_shared<PmsetService>()};
};

QHash<QUuid, QString> installInBatch(LaunchdScheduler &scheduler, const QList<ScheduledTask> &tasks)
{
    scheduler.beginBatch();
    for (const ScheduledTask &task : tasks) {
        if (const auto error = scheduler.install(task)) {
            qWarning("%s", qPrintable(*error));
        }
    }
    return scheduler.endBatch();
}

QStringList plistsOf(const LaunchdService &service, const QList<ScheduledTask> &tasks)
{
    QStringList paths;
    for (const ScheduledTask &task : tasks) {
        paths << service.plistPath(task);
    }
    return paths;
}

} // namespace

// Installing many jobs in one batch: a few launchctl calls of many paths each, and a failure still
// named by its job.
class LaunchdBatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newJobs_loadedInCallsOf200Paths()
    {
        World world;
        auto &[sandbox, launchctl, service, scheduler] = world;
        const QList<ScheduledTask> tasks = makeTasks(401);
        QVERIFY(installInBatch(scheduler, tasks).isEmpty());

        const QList<QStringList> calls = launchctl.calls();
        QCOMPARE(calls.size(), 3);
        QStringList loaded;
        for (const QStringList &call : calls) {
            QCOMPARE(call.value(0), u"load"_s);
            QVERIFY(call.size() - 1 <= LaunchdScheduler::kPathsPerCall);
            loaded << call.mid(1);
        }
        QCOMPARE(calls.constLast().size(), 2);
        QCOMPARE(loaded, plistsOf(service, tasks));
        for (const ScheduledTask &task : tasks) {
            QCOMPARE(Sandbox::readFile(service.plistPath(task)), service.plistText(task).toUtf8());
            QCOMPARE(Sandbox::readFile(service.scriptPath(task)), service.scriptText(task).toUtf8());
        }
    }

    void replacedJobs_unloadedThenLoaded_perChunk()
    {
        World world;
        auto &[sandbox, launchctl, service, scheduler] = world;
        scheduler.setPathsPerCall(20);
        const QList<ScheduledTask> tasks = makeTasks(25);
        // The first 21 were installed before; the last 4 are new.
        for (const ScheduledTask &task : tasks.mid(0, 21)) {
            QVERIFY(!service.install(task));
        }
        launchctl.clearCalls();
        QVERIFY(installInBatch(scheduler, tasks).isEmpty());

        const QStringList paths = plistsOf(service, tasks);
        const QList<QStringList> expected{
            QStringList{u"unload"_s} + paths.mid(0, 20),
            QStringList{u"load"_s} + paths.mid(0, 20),
            QStringList{u"unload"_s} + paths.mid(20, 1),
            QStringList{u"load"_s} + paths.mid(20, 5),
        };
        QCOMPARE(launchctl.calls(), expected);
    }

    void oneFailingJob_failsAlone_withInstallsMessage()
    {
        World world;
        auto &[sandbox, launchctl, service, scheduler] = world;
        scheduler.setPathsPerCall(20);
        const QList<ScheduledTask> tasks = makeTasks(25);
        const ScheduledTask &failing = tasks.at(3);
        launchctl.setExitStatusForArgument(5, service.plistPath(failing));

        const QHash<QUuid, QString> failures = installInBatch(scheduler, tasks);
        QCOMPARE(failures.keys(), QList<QUuid>{failing.id});
        QCOMPARE(failures.value(failing.id), u"launchctl load failed (exit code 5)"_s);

        // The chunk with it is loaded again job by job; the other chunk is not.
        const QList<QStringList> calls = launchctl.calls();
        const QStringList paths = plistsOf(service, tasks);
        QCOMPARE(calls.size(), 1 + 2 * 20 + 1);
        QCOMPARE(calls.at(0), QStringList{u"load"_s} + paths.mid(0, 20));
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(calls.at(1 + 2 * i), (QStringList{u"unload"_s, paths.at(i)}));
            QCOMPARE(calls.at(2 + 2 * i), (QStringList{u"load"_s, paths.at(i)}));
        }
        QCOMPARE(calls.constLast(), QStringList{u"load"_s} + paths.mid(20));
    }

    void oneJobBatch_failure_isThatCallsOwn()
    {
        World world;
        auto &[sandbox, launchctl, service, scheduler] = world;
        launchctl.setExitStatus(1, u"load"_s);
        const ScheduledTask task = makeTask(1);
        const QHash<QUuid, QString> failures = installInBatch(scheduler, {task});
        QCOMPARE(failures.value(task.id), u"launchctl load failed (exit code 1)"_s);
        QCOMPARE(launchctl.calls().size(), 1);
    }

    void outsideBatch_installLoadsAtOnce()
    {
        World world;
        auto &[sandbox, launchctl, service, scheduler] = world;
        const ScheduledTask task = makeTask(1);
        QCOMPARE(scheduler.install(task), std::nullopt);
        QCOMPARE(launchctl.calls(), (QList<QStringList>{{u"load"_s, service.plistPath(task)}}));
        // A batch that ended leaves nothing behind for the next one.
        scheduler.beginBatch();
        QVERIFY(scheduler.endBatch().isEmpty());
        QCOMPARE(launchctl.calls().size(), 1);
    }
};

QTEST_GUILESS_MAIN(LaunchdBatchTest)
#include "test_launchd_batch.moc"
