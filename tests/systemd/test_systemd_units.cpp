#include "Sandbox.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"
#include "systemd/SystemdScheduler.h"
#include "systemd/SystemdUnits.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTimeZone>
#include <QtTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask makeTask(const char *id, const QString &name, const TaskSchedule &schedule)
{
    ScheduledTask task;
    task.id = QUuid::fromString(QLatin1String(id));
    task.name = name;
    task.command = u"echo hi"_s;
    task.schedule = schedule;
    return task;
}

const char *const kId = "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9";

Sandbox::Result runWith(const Sandbox &sandbox, const QStringList &arguments, const QStringList &extra)
{
    QProcess process;
    QProcessEnvironment environment = sandbox.environment();
    for (const QString &entry : extra) {
        environment.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
    }
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(MOXLEY_CLI_PATH), arguments);
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

// The elapses `systemd-analyze calendar` gives for these expressions after `base` (UTC), merged.
QList<QDateTime> analyzeCalendar(const QStringList &expressions, const QDateTime &base, int count)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TZ"_s, u"UTC"_s);
    process.setProcessEnvironment(environment);
    process.start(u"systemd-analyze"_s, QStringList{u"calendar"_s, u"--iterations="_s + QString::number(count),
                                                    u"--base-time="_s + base.toString(u"yyyy-MM-dd HH:mm:ss UTC"_s)} +
                                            expressions);
    process.waitForFinished(60000);
    QList<QDateTime> times;
    for (const QString &line : QString::fromUtf8(process.readAllStandardOutput()).split(u'\n')) {
        const QString trimmed = line.trimmed();
        if (!trimmed.startsWith(u"Next elapse:") && !trimmed.startsWith(u"Iter")) {
            continue;
        }
        const QStringList words = trimmed.section(u':', 1).simplified().split(u' ');
        QDateTime when = QDateTime::fromString(words.value(1) + u' ' + words.value(2), u"yyyy-MM-dd HH:mm:ss"_s);
        when.setTimeZone(QTimeZone::utc());
        if (when.isValid() && !times.contains(when)) {
            times << when;
        }
    }
    std::sort(times.begin(), times.end());
    return times.mid(0, count);
}

// Writes the task's units for scripts and logs under `folder`; the service text.
QString writeUnits(const QString &folder, const ScheduledTask &task)
{
    const LaunchdService files(folder + u"/Agents"_s, folder + u"/Scripts"_s, folder + u"/Logs"_s);
    const SystemdScheduler scheduler(files, folder + u"/units"_s, u"/bin/bash"_s);
    for (const JobScheduler::JobFile &file : scheduler.jobFiles(task)) {
        Sandbox::writeFile(file.path, file.text.toUtf8());
    }
    return scheduler.jobFiles(task).constFirst().text;
}

// What `systemd-analyze verify` says of the task's two units; empty when it is content.
QString verify(const QString &unitDir, const ScheduledTask &task)
{
    QProcess process;
    process.start(u"systemd-analyze"_s, {u"verify"_s, unitDir + u'/' + SystemdUnits::serviceName(task.id),
                                         unitDir + u'/' + SystemdUnits::timerName(task.id)});
    process.waitForFinished(60000);
    const QString errors = QString::fromUtf8(process.readAllStandardError()).trimmed();
    return process.exitCode() == 0 && errors.isEmpty()
               ? QString()
               : errors + u" (exit "_s + QString::number(process.exitCode()) + u')';
}

} // namespace

// The unit texts, their quoting, the systemd wrapper script, and `next` against systemd's own
// calendar arithmetic. No user manager is needed here.
class SystemdUnitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void units_dailyWakeTask_byteForByte()
    {
        Sandbox sandbox;
        ScheduledTask task = makeTask(kId, u"Back up 100% of $HOME"_s, TaskSchedule::daily({{18, 30}, {6, 0}}));
        task.wakeBeforeRun = true;
        sandbox.writeTasksFile(TaskMigration::encode({task}));
        const auto result = sandbox.runCli({u"units"_s, u"0a1b2c3d"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        const QString logs = sandbox.logDir();
        const QString expected = u"# com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.service\n"
                                 "[Unit]\n"
                                 "Description=Moxley: Back up 100%% of $HOME\n"
                                 "OnFailure=com.moxley.alert@0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.service\n"
                                 "\n"
                                 "[Service]\n"
                                 "Type=oneshot\n"
                                 "ExecStart=\""_s +
                                 sandbox.scriptsDir() +
                                 u"/Moxley_0a1b2c3d.sh\"\n"
                                 "StandardOutput=append:"_s +
                                 logs +
                                 u"/0a1b2c3d.stdout.log\n"
                                 "StandardError=append:"_s +
                                 logs +
                                 u"/0a1b2c3d.stderr.log\n"
                                 "# com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.timer\n"
                                 "[Unit]\n"
                                 "Description=Moxley: Back up 100%% of $HOME\n"
                                 "\n"
                                 "[Timer]\n"
                                 "OnCalendar=*-*-* 06:00:00\n"
                                 "OnCalendar=*-*-* 18:30:00\n"
                                 "Persistent=true\n"
                                 "AccuracySec=1s\n"
                                 "WakeSystem=true\n"
                                 "\n"
                                 "[Install]\n"
                                 "WantedBy=timers.target\n"_s;
        QCOMPARE(QString::fromUtf8(result.out), expected);
        // Pure text: nothing was written.
        QVERIFY(!QDir(sandbox.home() + u"/.config"_s).exists());
        QVERIFY(!QDir(sandbox.scriptsDir()).exists());
    }

    void alertTemplate_byteForByte()
    {
        QCOMPARE(SystemdUnits::alertTemplateName(), u"com.moxley.alert@.service"_s);
        QCOMPARE(SystemdUnits::alertInstanceName(QUuid::fromString(QLatin1String(kId))),
                 u"com.moxley.alert@0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.service"_s);
        QCOMPARE(SystemdUnits::alertTemplateText(u"/usr/bin/moxley"_s),
                 u"[Unit]\n"
                 "Description=Moxley: alert for a failed run of %i\n"
                 "\n"
                 "[Service]\n"
                 "Type=exec\n"
                 "ExecStart=\"/usr/bin/moxley\" alert %i\n"
                 "KillMode=process\n"_s);
        // The tool's path is quoted as a task's script path is: % doubled, quotes through env.
        QVERIFY(SystemdUnits::alertTemplateText(u"/opt/100% mox/moxley"_s)
                    .contains(u"\nExecStart=\"/opt/100%% mox/moxley\" alert %i\n"_s));
        QVERIFY(SystemdUnits::alertTemplateText(u"/opt/it's/moxley"_s)
                    .contains(u"\nExecStart=/usr/bin/env \"/opt/it's/moxley\" alert %i\n"_s));
    }

    void service_withAlerts_byteForByte_andVerified()
    {
        if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty()) {
            QSKIP("systemd-analyze is not installed (apt-get install systemd)");
        }
        Sandbox sandbox;
        const LaunchdService files;
        const QString unitDir = sandbox.root() + u"/units"_s;
        const SystemdScheduler scheduler(files, unitDir, u"/bin/bash"_s, QStringLiteral(MOXLEY_CLI_PATH));
        const ScheduledTask task = makeTask(kId, u"Alerting"_s, TaskSchedule::daily({{7, 0}}));
        const QString service = scheduler.jobFiles(task).constFirst().text;
        QCOMPARE(service, u"[Unit]\n"
                          "Description=Moxley: Alerting\n"
                          "OnFailure=com.moxley.alert@0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.service\n"
                          "\n"
                          "[Service]\n"
                          "Type=oneshot\n"
                          "ExecStart=\""_s +
                              sandbox.scriptsDir() +
                              u"/Moxley_0a1b2c3d.sh\"\n"
                              "StandardOutput=append:"_s +
                              sandbox.logDir() +
                              u"/0a1b2c3d.stdout.log\n"
                              "StandardError=append:"_s +
                              sandbox.logDir() + u"/0a1b2c3d.stderr.log\n"_s);
        // Without a tool to run, no alert unit is named.
        const SystemdScheduler quiet(files, unitDir, u"/bin/bash"_s, QString());
        QVERIFY(!quiet.jobFiles(task).constFirst().text.contains(u"OnFailure="_s));
        // Nor by the doctor's one-off probe (whether or not a user manager then answers).
        SystemdScheduler prober(files, unitDir, u"/bin/bash"_s, QStringLiteral(MOXLEY_CLI_PATH));
        (void)prober.runOnce(task);
        const QByteArray probe = Sandbox::readFile(unitDir + u'/' + SystemdUnits::serviceName(task.id));
        QVERIFY(probe.contains("ExecStart="));
        QVERIFY(!probe.contains("OnFailure="));
        QVERIFY(!QFile::exists(unitDir + u"/com.moxley.alert@.service"_s));
        prober.removeRunOnce(task);
        QVERIFY(!QFile::exists(unitDir + u'/' + SystemdUnits::serviceName(task.id)));

        for (const JobScheduler::JobFile &file : scheduler.jobFiles(task)) {
            Sandbox::writeFile(file.path, file.text.toUtf8());
        }
        Sandbox::writeFile(unitDir + u"/com.moxley.alert@.service"_s,
                           SystemdUnits::alertTemplateText(QStringLiteral(MOXLEY_CLI_PATH)).toUtf8());
        Sandbox::writeFile(files.scriptPath(task), "#!/bin/bash\n", 0755);
        // An instance of the template, as systemd makes one for OnFailure=.
        QVERIFY(QFile::link(unitDir + u"/com.moxley.alert@.service"_s,
                            unitDir + u"/com.moxley.alert@0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.service"_s));
        QProcess process;
        process.start(u"systemd-analyze"_s,
                      {u"verify"_s, unitDir + u'/' + SystemdUnits::serviceName(task.id),
                       unitDir + u"/com.moxley.alert@0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.service"_s});
        QVERIFY(process.waitForFinished(60000));
        const QByteArray errors = process.readAllStandardError().trimmed();
        QVERIFY2(process.exitCode() == 0 && errors.isEmpty(), errors.constData());
    }

    void units_intervalAndRunAtLoad_byteForByte()
    {
        Sandbox sandbox;
        const ScheduledTask every =
            makeTask("FEDCBA98-7654-4321-8FED-CBA987654321", u"Poll"_s, TaskSchedule::interval(15));
        const ScheduledTask atLoad =
            makeTask("11111111-2222-4333-8444-555555555555", u"Login"_s, TaskSchedule::runAtLoad());
        sandbox.writeTasksFile(TaskMigration::encode({every, atLoad}));
        const auto interval = sandbox.runCli({u"units"_s, u"Poll"_s});
        QCOMPARE(interval.exitCode, 0);
        QVERIFY(interval.out.endsWith("# com.moxley.task.FEDCBA98-7654-4321-8FED-CBA987654321.timer\n"
                                      "[Unit]\n"
                                      "Description=Moxley: Poll\n"
                                      "\n"
                                      "[Timer]\n"
                                      "OnActiveSec=15min\n"
                                      "OnUnitActiveSec=15min\n"
                                      "AccuracySec=1s\n"
                                      "\n"
                                      "[Install]\n"
                                      "WantedBy=timers.target\n"));
        const auto login = sandbox.runCli({u"units"_s, u"Login"_s});
        QCOMPARE(login.exitCode, 0);
        QVERIFY(!login.out.contains(".timer"));
        QVERIFY(login.out.endsWith("/11111111.stderr.log\n\n[Install]\nWantedBy=default.target\n"));
    }

    void quoting_pathWithSpacePercentDollar_isTheProgramItself()
    {
        // systemd reads the path back exactly: verify names the missing script by its real path.
        QTemporaryDir dir;
        const QString odd = dir.path() + u"/a b 100% $HOME"_s;
        const ScheduledTask task = makeTask(kId, u"Odd"_s, TaskSchedule::daily({{7, 0}}));
        const QString service = writeUnits(odd, task);
        QVERIFY(service.contains(u"\nExecStart=\""_s + QString(odd).replace(u"%"_s, u"%%"_s) +
                                 u"/Scripts/Moxley_0a1b2c3d.sh\"\n"_s));
        const auto missing = verify(dir.path() + u"/a b 100% $HOME/units"_s, task);
        QVERIFY2(missing.contains(u"Command "_s + dir.path() +
                                  u"/a b 100% $HOME/Scripts/Moxley_0a1b2c3d.sh is not executable"_s),
                 qPrintable(missing));
        Sandbox::writeFile(dir.path() + u"/a b 100% $HOME/Scripts/Moxley_0a1b2c3d.sh"_s, "#!/bin/bash\n", 0755);
        const auto clean = verify(dir.path() + u"/a b 100% $HOME/units"_s, task);
        QVERIFY2(clean.isEmpty(), qPrintable(clean));
    }

    void quoting_pathWithQuotesAndBackslash_goesThroughEnv()
    {
        // systemd refuses such a program path outright; as an argument of env it is fine.
        QTemporaryDir dir;
        const QString odd = dir.path() + u"/it's a \"dir\" $HOME \\x"_s;
        const ScheduledTask task = makeTask(kId, u"Odd"_s, TaskSchedule::daily({{7, 0}}));
        const QString service = writeUnits(odd, task);
        QVERIFY2(service.contains(u"\nExecStart=/usr/bin/env \""_s + dir.path() +
                                  u"/it's a \\\"dir\\\" $$HOME \\\\x/Scripts/Moxley_0a1b2c3d.sh\"\n"_s),
                 qPrintable(service));
        const auto errors = verify(odd + u"/units"_s, task);
        QVERIFY2(errors.isEmpty(), qPrintable(errors));
    }

    void script_bashLoginShell_loadsItsProfileWithoutGuards()
    {
        Sandbox sandbox;
        const LaunchdService files;
        const SystemdScheduler scheduler(files, sandbox.root() + u"/units"_s, u"/bin/bash"_s);
        ScheduledTask task = makeTask(kId, u"Last"_s, TaskSchedule::monthlyLastDay({{7, 0}}));
        task.useLoginShell = true;
        const QString expected = u"#!/bin/bash\n"
                                 "# Moxley script v3\n"
                                 "if [ -f ~/.bash_profile ]; then source ~/.bash_profile 2>/dev/null; "
                                 "elif [ -f ~/.bash_login ]; then source ~/.bash_login 2>/dev/null; "
                                 "else source ~/.profile 2>/dev/null; fi\n"
                                 "_mx_start=$(date -u +%Y-%m-%dT%H:%M:%SZ)\n"
                                 "echo hi\n"
                                 "_mx_exit=$?\n"
                                 "echo \"$_mx_start\t$(date -u +%Y-%m-%dT%H:%M:%SZ)\t$_mx_exit\" >> '"_s +
                                 sandbox.logDir() +
                                 u"/0a1b2c3d.runs'\n"
                                 "exit $_mx_exit\n"_s;
        QCOMPARE(scheduler.scriptText(task), expected);
        QCOMPARE(scheduler.shellName(task), u"bash"_s);
        // No zsh and no other known shell: bash with ~/.profile.
        const SystemdScheduler fishUser(files, sandbox.root() + u"/units"_s, u"/usr/bin/fish"_s);
        QVERIFY(
            fishUser.scriptText(task).startsWith(u"#!/bin/bash\n# Moxley script v3\nsource ~/.profile 2>/dev/null\n"));
        const SystemdScheduler zshUser(files, sandbox.root() + u"/units"_s, u"/usr/bin/zsh"_s);
        QVERIFY(zshUser.scriptText(task).startsWith(u"#!/usr/bin/zsh\n# Moxley script v3\nsource ~/.zprofile"));
        task.useLoginShell = false;
        QVERIFY(scheduler.scriptText(task).startsWith(u"#!/bin/bash\n# Moxley script v3\n_mx_start="));
    }

    void script_command_printsTheChosenSchedulersScript()
    {
        Sandbox sandbox;
        ScheduledTask task = makeTask(kId, u"Nth"_s, TaskSchedule::monthlyNthWeekday(2, 3, {{9, 0}}));
        task.useLoginShell = false;
        sandbox.writeTasksFile(TaskMigration::encode({task}));
        const auto launchd = sandbox.runCli({u"script"_s, u"Nth"_s});
        QCOMPARE(launchd.out, LaunchdService().scriptText(task).toUtf8());
        QVERIFY(launchd.out.contains("# Guard"));
        const auto systemd = runWith(sandbox, {u"script"_s, u"Nth"_s}, {u"MOXLEY_SCHEDULER=systemd"_s});
        QCOMPARE(systemd.exitCode, 0);
        QVERIFY(!systemd.out.contains("Guard"));
        QVERIFY(systemd.out.startsWith("#!/bin/bash\n# Moxley script v3\n_mx_start="));
    }

    void noUserInstance_changeKept_clearMessage()
    {
        Sandbox sandbox;
        // The real systemctl, with a runtime folder where no user manager listens.
        QDir().mkpath(sandbox.sysroot() + u"/usr/bin"_s);
        QVERIFY(QFile::link(u"/usr/bin/systemctl"_s, sandbox.sysroot() + u"/usr/bin/systemctl"_s));
        const QString runtime = sandbox.root() + u"/empty-runtime"_s;
        QVERIFY(QDir().mkpath(runtime));
        const QStringList env{u"MOXLEY_SCHEDULER=systemd"_s, u"XDG_RUNTIME_DIR="_s + runtime,
                              u"XDG_CONFIG_HOME="_s + sandbox.root() + u"/config"_s};
        const auto added =
            runWith(sandbox, {u"add"_s, u"--name"_s, u"Kept"_s, u"--command"_s, u"true"_s, u"--daily"_s}, env);
        QCOMPARE(added.exitCode, 1);
        QVERIFY2(added.err.startsWith("moxley: No systemd user instance is running (systemctl --user: "),
                 added.err.constData());
        QVERIFY2(added.err.endsWith(")\n"), added.err.constData());
        const auto listed = runWith(sandbox, {u"list"_s}, env);
        QCOMPARE(listed.exitCode, 0);
        QVERIFY2(listed.out.contains("Kept"), listed.out.constData());
    }

    void unknownScheduler_exitsTwoWithOneLine()
    {
        Sandbox sandbox;
        const auto result = runWith(sandbox, {u"list"_s}, {u"MOXLEY_SCHEDULER=cron"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, "moxley: Unknown MOXLEY_SCHEDULER “cron”: use launchd or systemd.\n"_ba);
        QCOMPARE(result.out, QByteArray());
    }

    void next_everyCalendarKind_matchesSystemdAnalyzeCalendar_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::newRow("daily, two times") << TaskSchedule::daily({{6, 0}, {18, 30}});
        QTest::newRow("weekly") << TaskSchedule::weekly({1, 4, 7}, {{9, 15}});
        QTest::newRow("monthly 31st") << TaskSchedule::monthly(31, {{7, 0}});
        QTest::newRow("monthly 29th") << TaskSchedule::monthly(29, {{0, 0}, {23, 59}});
        QTest::newRow("last day") << TaskSchedule::monthlyLastDay({{22, 0}});
        QTest::newRow("2nd Tuesday") << TaskSchedule::monthlyNthWeekday(2, 3, {{8, 0}});
        QTest::newRow("4th Sunday") << TaskSchedule::monthlyNthWeekday(4, 1, {{12, 0}, {6, 45}});
    }

    void next_everyCalendarKind_matchesSystemdAnalyzeCalendar()
    {
        QFETCH(TaskSchedule, schedule);
        if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty()) {
            QSKIP("systemd-analyze is not installed (apt-get install systemd)");
        }
        Sandbox sandbox;
        const ScheduledTask task = makeTask(kId, u"Due"_s, schedule);
        sandbox.writeTasksFile(TaskMigration::encode({task}));
        const int count = 14;
        const auto result = runWith(
            sandbox, {u"next"_s, u"Due"_s, u"--count"_s, QString::number(count), u"--at"_s, u"2028-01-30T12:00"_s},
            {u"MOXLEY_SCHEDULER=systemd"_s, u"TZ=UTC"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        QStringList ours = QString::fromUtf8(result.out).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(ours.size(), count);

        const SystemdScheduler scheduler{LaunchdService()};
        QStringList expressions;
        const QString timer = scheduler.jobFiles(task).constLast().text;
        for (const QString &line : timer.split(u'\n')) {
            if (line.startsWith(u"OnCalendar=")) {
                expressions << line.mid(11);
            }
        }
        const QDateTime base(QDate(2028, 1, 30), QTime(12, 0), QTimeZone::utc());
        QStringList theirs;
        for (const QDateTime &when : analyzeCalendar(expressions, base, count)) {
            theirs << when.toString(u"yyyy-MM-dd HH:mm"_s);
        }
        QCOMPARE(ours, theirs);
    }
};

QTEST_GUILESS_MAIN(SystemdUnitsTest)
#include "test_systemd_units.moc"
