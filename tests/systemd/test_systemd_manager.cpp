#include "PrivateSystemdManager.h"
#include "Sandbox.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"
#include "systemd/SystemdScheduler.h"
#include "systemd/SystemdUnits.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>
#include <QTimeZone>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// A sandbox with its own user manager. The sandbox's MOXLEY_SYSROOT stays (the other tools are
// stand-ins); its usr/bin/systemctl is the real one, as cli.md says a sysroot's systemctl is used.
struct World {
    Sandbox sandbox;
    std::unique_ptr<PrivateSystemdManager> manager;

    World()
    {
        PrivateSystemdManager::linkSystemctlInto(sandbox.sysroot());
        manager = std::make_unique<PrivateSystemdManager>(sandbox.home());
    }

    QString add(const QStringList &arguments) const
    {
        const auto result = sandbox.runCli(QStringList{u"add"_s} + arguments);
        if (result.exitCode != 0) {
            qWarning("moxley add failed: %s", result.err.constData());
            return {};
        }
        return QString::fromUtf8(result.out).trimmed();
    }

    QJsonArray history(const QString &task) const
    {
        return QJsonDocument::fromJson(sandbox.runCli({u"history"_s, task, u"--json"_s}).out).array();
    }

    // Polls the history until it holds `count` runs or the time is up.
    QJsonArray waitForRuns(const QString &task, int count, int seconds) const
    {
        QElapsedTimer clock;
        clock.start();
        QJsonArray runs = history(task);
        while (runs.size() < count && clock.elapsed() < seconds * 1000) {
            QThread::msleep(250);
            runs = history(task);
        }
        return runs;
    }

    QString unitFile(const QString &id, const char *suffix) const
    {
        return manager->unitDir() + u"/com.moxley.task."_s + id + QLatin1String(suffix);
    }
};

QString fullIdOf(const QString &printed)
{
    return QUuid::fromString(printed).toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

// Tasks as units of a real `systemd --user` that this test starts: timers fire, `start` runs,
// enable/disable/delete and the sweep keep the manager in step, and `next` agrees with it.
class SystemdManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void timer_dueNextMinute_firesAndItsRunReadsBack()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        // A whole minute ahead, so the timer is surely in place before it is due.
        const QDateTime due = QDateTime::currentDateTime().addSecs(60 + (QTime::currentTime().second() > 45 ? 60 : 0));
        const QString at = due.toString(u"H:mm"_s);
        const QString id =
            world.add({u"--name"_s, u"Soon"_s, u"--command"_s, u"echo out-$((6*7)); echo err >&2; sh -c 'exit 3'"_s,
                       u"--daily"_s, u"--at"_s, at, u"--no-login-shell"_s});
        QVERIFY(!id.isEmpty());
        const QString timer = SystemdUnits::timerName(QUuid::fromString(id));
        QCOMPARE(world.manager->property(timer, u"ActiveState"_s), u"active"_s);
        QCOMPARE(world.manager->property(timer, u"UnitFileState"_s), u"enabled"_s);
        const auto next = PrivateSystemdManager::parseTime(world.manager->property(timer, u"NextElapseUSecRealtime"_s));
        QVERIFY(next);
        QCOMPARE(next->toLocalTime().toString(u"H:mm"_s), at);

        // The generated units pass systemd's own check now that the script exists.
        QProcess verify;
        verify.start(u"systemd-analyze"_s,
                     {u"verify"_s, world.unitFile(fullIdOf(id), ".service"), world.unitFile(fullIdOf(id), ".timer")});
        QVERIFY(verify.waitForFinished(60000));
        QVERIFY2(verify.exitCode() == 0, verify.readAllStandardError().constData());

        const QJsonArray runs = world.waitForRuns(u"Soon"_s, 1, 150);
        QCOMPARE(runs.size(), 1);
        const QJsonObject run = runs.first().toObject();
        QCOMPARE(run.value(u"exitCode"_s).toInt(), 3);
        const QDateTime started = QDateTime::fromString(run.value(u"startedAt"_s).toString(), Qt::ISODate);
        QVERIFY2(qAbs(started.secsTo(due) - due.time().second()) <= 10, qPrintable(started.toString(Qt::ISODate)));
        QCOMPARE(world.sandbox.runCli({u"logs"_s, u"Soon"_s}).out, "out-42\n"_ba);
        QCOMPARE(world.sandbox.runCli({u"logs"_s, u"Soon"_s, u"--stderr"_s}).out, "err\n"_ba);
    }

    void start_runsAtOnceAndIsRecorded()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        QVERIFY(!world
                     .add({u"--name"_s, u"Later"_s, u"--command"_s, u"echo started; pwd"_s, u"--weekly"_s, u"sun"_s,
                           u"--at"_s, u"3:00"_s})
                     .isEmpty());
        QCOMPARE(world.history(u"Later"_s).size(), 0);
        const auto result = world.sandbox.runCli({u"start"_s, u"Later"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        const QJsonArray runs = world.waitForRuns(u"Later"_s, 1, 20);
        QCOMPARE(runs.size(), 1);
        QCOMPARE(runs.first().toObject().value(u"exitCode"_s).toInt(), 0);
        QVERIFY(world.sandbox.runCli({u"logs"_s, u"Later"_s}).out.startsWith("started\n"));

        // A task whose job is not installed: systemctl's failure, in launchctl's shape.
        QVERIFY(!world.add({u"--name"_s, u"Off"_s, u"--command"_s, u"true"_s, u"--disabled"_s}).isEmpty());
        const auto off = world.sandbox.runCli({u"start"_s, u"Off"_s});
        QCOMPARE(off.exitCode, 1);
        QVERIFY2(off.err.startsWith("moxley: systemctl start failed (exit code "), off.err.constData());
        QVERIFY2(off.err.contains("\nmoxley: Failed to start com.moxley.task."), off.err.constData());
    }

    void runAtLoad_enabledForLoginAndRunOnInstall()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id = world.add({u"--name"_s, u"Login"_s, u"--command"_s, u"echo hello"_s, u"--at-load"_s});
        QVERIFY(!id.isEmpty());
        QVERIFY(!QFile::exists(world.unitFile(fullIdOf(id), ".timer")));
        const QString service = SystemdUnits::serviceName(QUuid::fromString(id));
        QCOMPARE(world.manager->property(service, u"UnitFileState"_s), u"enabled"_s);
        QCOMPARE(world.waitForRuns(u"Login"_s, 1, 20).size(), 1);
        QCOMPARE(world.sandbox.runCli({u"next"_s, u"Login"_s}).out, QByteArray());
    }

    void disableEnableDelete_keepManagerAndFolderInStep()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id = world.add({u"--name"_s, u"Steps"_s, u"--command"_s, u"true"_s, u"--monthly"_s, u"15"_s});
        QVERIFY(!id.isEmpty());
        const QString full = fullIdOf(id);
        const QString timer = u"com.moxley.task."_s + full + u".timer"_s;
        const QString wantsLink = world.manager->unitDir() + u"/timers.target.wants/"_s + timer;
        QVERIFY(world.manager->loadedUnits().contains(timer));
        QVERIFY(QFileInfo(wantsLink).isSymLink());

        QCOMPARE(world.sandbox.runCli({u"disable"_s, u"Steps"_s}).exitCode, 0);
        QVERIFY(!QFile::exists(world.unitFile(full, ".timer")));
        QVERIFY(!QFile::exists(world.unitFile(full, ".service")));
        QVERIFY(!QFileInfo(wantsLink).isSymLink());
        QVERIFY2(!world.manager->loadedUnits().join(u' ').contains(full),
                 qPrintable(world.manager->loadedUnits().join(u' ')));
        QVERIFY(!world.manager->systemctl({u"list-timers"_s, u"--all"_s}).out.contains(full));

        QCOMPARE(world.sandbox.runCli({u"enable"_s, u"Steps"_s}).exitCode, 0);
        QCOMPARE(world.manager->property(timer, u"ActiveState"_s), u"active"_s);
        QVERIFY(world.manager->systemctl({u"list-timers"_s, u"--all"_s}).out.contains(timer));

        QCOMPARE(world.sandbox.runCli({u"delete"_s, u"Steps"_s}).exitCode, 0);
        QVERIFY(!QFile::exists(world.unitFile(full, ".timer")));
        QVERIFY(!world.manager->loadedUnits().join(u' ').contains(full));
        QVERIFY(!QFile::exists(world.sandbox.scriptsDir() + u"/Moxley_"_s + id.left(8).toLower() + u".sh"_s));
    }

    void sweep_removesStrayTaskUnitsAndLeavesOthersAlone()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString unitDir = world.manager->unitDir();
        const QString stray = u"com.moxley.task.99999999-8888-4777-8666-555555555555"_s;
        const QString young = u"com.moxley.task.99999999-8888-4777-8666-444444444444"_s;
        const QByteArray service = "[Service]\nType=oneshot\nExecStart=/bin/true\n";
        const QByteArray timer = "[Timer]\nOnCalendar=*-*-* 04:00:00\n\n[Install]\nWantedBy=timers.target\n";
        for (const QString &name : {stray, young, u"foreign"_s}) {
            Sandbox::writeFile(unitDir + u'/' + name + u".service"_s, service);
            Sandbox::writeFile(unitDir + u'/' + name + u".timer"_s, timer);
        }
        QCOMPARE(world.manager->systemctl({u"daemon-reload"_s}).exitCode, 0);
        QCOMPARE(world.manager->systemctl({u"enable"_s, u"--now"_s, stray + u".timer"_s, u"foreign.timer"_s}).exitCode,
                 0);
        // Old enough to be swept: another writer's fresh install is not.
        const QDateTime old = QDateTime::currentDateTime().addSecs(-60);
        for (const QString &suffix : {u".service"_s, u".timer"_s}) {
            QFile file(unitDir + u'/' + stray + suffix);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(old, QFileDevice::FileModificationTime));
        }

        // Any changing command runs the start-up sweep.
        QVERIFY(!world.add({u"--name"_s, u"Kept"_s, u"--command"_s, u"true"_s}).isEmpty());
        QVERIFY(!QFile::exists(unitDir + u'/' + stray + u".timer"_s));
        QVERIFY(!QFile::exists(unitDir + u'/' + stray + u".service"_s));
        QVERIFY(!world.manager->loadedUnits().contains(stray + u".timer"_s));
        QVERIFY(QFile::exists(unitDir + u'/' + young + u".timer"_s));
        QVERIFY(QFile::exists(unitDir + u"/foreign.timer"_s));
        QCOMPARE(world.manager->property(u"foreign.timer"_s, u"ActiveState"_s), u"active"_s);
    }

    void nextElapse_everyKind_equalsNextsFirstLine_data()
    {
        QTest::addColumn<QStringList>("schedule");
        QTest::newRow("daily") << QStringList{u"--daily"_s, u"--at"_s, u"5:30,17:45"_s};
        QTest::newRow("weekly") << QStringList{u"--weekly"_s, u"mon,thu"_s, u"--at"_s, u"9:00"_s};
        QTest::newRow("monthly 31") << QStringList{u"--monthly"_s, u"31"_s, u"--at"_s, u"7:00"_s};
        QTest::newRow("last day") << QStringList{u"--last-day"_s, u"--at"_s, u"23:00"_s};
        QTest::newRow("3rd Friday") << QStringList{u"--nth"_s, u"3"_s, u"--weekday"_s, u"fri"_s, u"--at"_s, u"6:15"_s};
    }

    void nextElapse_everyKind_equalsNextsFirstLine()
    {
        QFETCH(QStringList, schedule);
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id =
            world.add(QStringList{u"--name"_s, u"Kind"_s, u"--command"_s, u"true"_s, u"--wake"_s} + schedule);
        QVERIFY(!id.isEmpty());
        const QString timer = SystemdUnits::timerName(QUuid::fromString(id));
        // Where the manager may not wake the computer the timer runs without it (see the wake test).
        QCOMPARE(world.manager->property(timer, u"ActiveState"_s), u"active"_s);
        const auto elapse =
            PrivateSystemdManager::parseTime(world.manager->property(timer, u"NextElapseUSecRealtime"_s));
        QVERIFY(elapse);
        const auto next = world.sandbox.runCli({u"next"_s, u"Kind"_s, u"--count"_s, u"3"_s});
        QCOMPARE(next.exitCode, 0);
        const QString first = QString::fromUtf8(next.out).section(u'\n', 0, 0);
        QCOMPARE(first, elapse->toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s));
    }

    void wake_timerCarriesWakeSystemOrRunsWithoutWhereTheManagerMayNot()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id = world.add({u"--name"_s, u"Wake"_s, u"--command"_s, u"true"_s, u"--wake"_s});
        QVERIFY(!id.isEmpty());
        const QString timer = SystemdUnits::timerName(QUuid::fromString(id));
        QCOMPARE(world.manager->property(timer, u"ActiveState"_s), u"active"_s);
        // The manager's own answer decides which of the two must hold.
        const QString canWake = world.manager->property(timer, u"WakeSystem"_s);
        const QByteArray written = Sandbox::readFile(world.unitFile(fullIdOf(id), ".timer"));
        QCOMPARE(written.contains("\nWakeSystem=true\n"), canWake == u"yes");
        QVERIFY(world.sandbox.runCli({u"units"_s, u"Wake"_s}).out.contains("\nWakeSystem=true\n"));
    }

    void interval_firstRunOneIntervalAfterInstall_nextTellsIt()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QDateTime before = QDateTime::currentDateTime();
        QVERIFY(!world.add({u"--name"_s, u"Every"_s, u"--command"_s, u"true"_s, u"--every"_s, u"90"_s}).isEmpty());
        const auto next = world.sandbox.runCli({u"next"_s, u"Every"_s, u"--count"_s, u"2"_s, u"--json"_s});
        QCOMPARE(next.exitCode, 0);
        const QJsonArray times = QJsonDocument::fromJson(next.out).array();
        QCOMPARE(times.size(), 2);
        const QDateTime first = QDateTime::fromString(times.at(0).toString(), u"yyyy-MM-dd HH:mm"_s);
        const QDateTime second = QDateTime::fromString(times.at(1).toString(), u"yyyy-MM-dd HH:mm"_s);
        const qint64 wait = before.secsTo(first);
        QVERIFY2(wait >= 89 * 60 - 60 && wait <= 91 * 60, qPrintable(times.at(0).toString()));
        QCOMPARE(first.secsTo(second), 90 * 60);

        // Times years after the manager's next elapse, in step with it (counted one interval at a
        // time, they took minutes, past the tool's time limit here).
        QVERIFY(!world.add({u"--name"_s, u"Minutely"_s, u"--command"_s, u"true"_s, u"--every"_s, u"1"_s}).isEmpty());
        const auto far = world.sandbox.runCli(
            {u"next"_s, u"Minutely"_s, u"--count"_s, u"3"_s, u"--at"_s, u"9999-06-01T00:00"_s, u"--json"_s});
        QCOMPARE(far.exitCode, 0);
        const QJsonArray farTimes = QJsonDocument::fromJson(far.out).array();
        QCOMPARE(farTimes.size(), 3);
        const QDateTime at(QDate(9999, 6, 1), QTime(0, 0));
        const QDateTime farFirst = QDateTime::fromString(farTimes.at(0).toString(), u"yyyy-MM-dd HH:mm"_s);
        QVERIFY2(farFirst >= at && farFirst <= at.addSecs(60), qPrintable(farTimes.at(0).toString()));
        for (int i = 1; i < 3; ++i) {
            QCOMPARE(QDateTime::fromString(farTimes.at(i).toString(), u"yyyy-MM-dd HH:mm"_s), farFirst.addSecs(60 * i));
        }
    }

    void batch_unitsSplitAcrossCalls_everyTaskScheduledAndNothingLeftBeside()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        // The sysroot's systemctl becomes a script that writes down each call and runs the real one.
        const QString real = QStandardPaths::findExecutable(u"systemctl"_s);
        const QString calls = world.sandbox.root() + u"/calls.log"_s;
        const QString systemctl = world.sandbox.sysroot() + u"/usr/bin/systemctl"_s;
        QVERIFY(QFile::remove(systemctl));
        Sandbox::writeFile(systemctl,
                           "#!/bin/sh\nprintf '%s\\n' \"$*\" >> '" + calls.toUtf8() + "'\nexec '" + real.toUtf8() +
                               "' \"$@\"\n",
                           0755);
        const QString root = world.sandbox.root();
        const LaunchdService files(root + u"/Agents"_s, root + u"/Scripts"_s, root + u"/Logs"_s);
        SystemdScheduler scheduler(files, world.manager->unitDir(), u"/bin/bash"_s, u"/bin/true"_s);
        scheduler.setUnitsPerCall(2);

        QList<ScheduledTask> tasks;
        for (int i = 0; i < 5; ++i) {
            ScheduledTask task;
            task.id = QUuid::createUuid();
            task.name = u"Batch "_s + QString::number(i);
            task.command = u"true"_s;
            task.schedule = i < 3 ? TaskSchedule::daily({{4, i}}) : TaskSchedule::runAtLoad();
            tasks.append(task);
        }
        scheduler.beginBatch();
        for (const ScheduledTask &task : std::as_const(tasks)) {
            QCOMPARE(scheduler.install(task), std::nullopt);
        }
        QCOMPARE(scheduler.endBatch(), (QHash<QUuid, QString>{}));

        for (const ScheduledTask &task : std::as_const(tasks)) {
            const bool timer = SystemdUnits::hasTimer(task);
            const QString unit = timer ? SystemdUnits::timerName(task.id) : SystemdUnits::serviceName(task.id);
            QCOMPARE(world.manager->property(unit, u"UnitFileState"_s), u"enabled"_s);
            if (timer) {
                QCOMPARE(world.manager->property(unit, u"ActiveState"_s), u"active"_s);
            }
            QVERIFY(QFileInfo(files.scriptPath(task)).isExecutable());
        }
        // Three timers two a call, then the two services: each verb in as many calls as it needs.
        QStringList lines = QString::fromUtf8(Sandbox::readFile(calls)).split(u'\n', Qt::SkipEmptyParts);
        lines.removeIf([](const QString &line) { return line.startsWith(u"--user show"_s); });
        QCOMPARE(lines.filter(QRegularExpression(u"^--user enable com"_s)).size(), 2);
        QCOMPARE(lines.filter(QRegularExpression(u"^--user restart "_s)).size(), 2);
        QCOMPARE(lines.filter(QRegularExpression(u"^--user enable --now --no-block "_s)).size(), 1);
        QCOMPARE(lines.filter(u"daemon-reload"_s).size(), 1);
        // The failure alert's template, written once for the batch.
        QCOMPARE(Sandbox::readFile(world.manager->unitDir() + u'/' + SystemdUnits::alertTemplateName()),
                 SystemdUnits::alertTemplateText(u"/bin/true"_s).toUtf8());
        // Written through temporary files: none is left beside the units or the scripts.
        for (const QString &folder : QStringList{world.manager->unitDir(), root + u"/Scripts"_s}) {
            const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
            for (const QString &name : names) {
                QVERIFY2(name.endsWith(u".timer"_s) || name.endsWith(u".service"_s) || name.endsWith(u".sh"_s),
                         qPrintable(name));
            }
        }
    }

    void oddPaths_scriptAndLogsReachedThroughTheManager()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString odd = world.sandbox.root() + u"/it's a \"home\" 100% $HOME"_s;
        const LaunchdService files(odd + u"/Agents"_s, odd + u"/Scripts"_s, odd + u"/Logs"_s);
        SystemdScheduler scheduler(files, world.manager->unitDir(), u"/bin/bash"_s);
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = u"Odd"_s;
        task.command = u"echo odd-out; echo odd-err >&2"_s;
        task.schedule = TaskSchedule::daily({{4, 0}});
        QCOMPARE(scheduler.install(task), std::nullopt);
        QCOMPARE(scheduler.startNow(task), std::nullopt);
        QElapsedTimer clock;
        clock.start();
        while (!QFile::exists(files.runsPath(task)) && clock.elapsed() < 20000) {
            QThread::msleep(200);
        }
        QVERIFY(QFile::exists(files.runsPath(task)));
        QCOMPARE(Sandbox::readFile(files.stdoutLogPath(task)), "odd-out\n"_ba);
        QCOMPARE(Sandbox::readFile(files.stderrLogPath(task)), "odd-err\n"_ba);
        QCOMPARE(scheduler.uninstall(task), std::nullopt);
        QVERIFY(!QFile::exists(files.scriptPath(task)));
    }
};

QTEST_GUILESS_MAIN(SystemdManagerTest)
#include "test_systemd_manager.moc"
