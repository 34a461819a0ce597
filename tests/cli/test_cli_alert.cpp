#include "NotificationServer.h"
#include "Sandbox.h"
#include "SessionBus.h"
#include "model/TaskMigration.h"
#include "platform/AppPresence.h"

#include <QDateTime>
#include <QJsonArray>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QString kId = u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s;

ScheduledTask task()
{
    ScheduledTask task;
    task.id = QUuid::fromString(kId);
    task.name = u"Backup"_s;
    task.command = u"make backup"_s;
    task.schedule = TaskSchedule::daily({{7, 0}});
    return task;
}

QByteArray runsLine(const QDateTime &start, int exitCode)
{
    const QString format = u"yyyy-MM-ddTHH:mm:ssZ"_s;
    return (start.toUTC().toString(format) + u'\t' + start.addSecs(2).toUTC().toString(format) + u'\t' +
            QString::number(exitCode) + u'\n')
        .toUtf8();
}

} // namespace

// `moxley alert TASK`, which systemd runs when a task's service fails: not in the help, honours
// the setting, leaves a failure it can see to a running app, and otherwise posts the notification.
class CliAlertTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Sandbox> sandbox;

    void writeRun(int exitCode, int secondsAgo) const
    {
        const QString runs = sandbox->logDir() + u"/0a1b2c3d.runs"_s;
        QByteArray lines = Sandbox::readFile(runs);
        Sandbox::writeFile(runs, lines + runsLine(QDateTime::currentDateTimeUtc().addSecs(-secondsAgo), exitCode));
    }

private Q_SLOTS:
    void init()
    {
        sandbox = std::make_unique<Sandbox>();
        sandbox->writeTasksFile(TaskMigration::encode({task()}));
        qputenv("XDG_CONFIG_HOME", (sandbox->home() + u"/.config"_s).toUtf8());
    }
    void cleanup()
    {
        qunsetenv("XDG_CONFIG_HOME");
        sandbox.reset();
    }

    void help_andCommandList_leaveItOut()
    {
        const auto help = sandbox->runCli({u"--help"_s});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(!help.out.contains("alert"));
        const auto list = sandbox->runCli({u"--list-commands"_s});
        QVERIFY(list.out.contains("status\t"));
        QVERIFY(!list.out.contains("alert"));
        // It still explains itself to whoever asks.
        QVERIFY(
            sandbox->runCli({u"alert"_s, u"--help"_s}).out.startsWith("Usage: moxley alert TASK [--wait SECONDS]\n"));
    }

    void alertsTurnedOff_exitsQuietly()
    {
        Sandbox::writeFile(sandbox->home() + u"/.config/Moxley/settings.ini"_s, "[alerts]\nfailedRuns=false\n");
        writeRun(3, 5);
        const auto result = sandbox->runCli({u"alert"_s, kId});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
    }

    void noSessionBus_failsWithOneLine()
    {
        SKIP_WITHOUT_SESSION_BUS();
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        writeRun(3, 5);
        QProcessEnvironment environment = sandbox->environment();
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, sandbox->root());
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(MOXLEY_CLI_PATH), {u"alert"_s, kId});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.readAllStandardError(), "moxley: no session bus to post the alert on\n"_ba);
        QCOMPARE(process.exitCode(), 1);
    }

    void recordedFailure_postsTheNotification_byteForByte()
    {
        SKIP_WITHOUT_SESSION_BUS();
        SessionBus bus;
        NotificationServer server;
        QVERIFY(server.isReady());
        const QDateTime start = QDateTime::currentDateTime().addSecs(-20);
        writeRun(0, 4000);
        Sandbox::writeFile(sandbox->logDir() + u"/0a1b2c3d.runs"_s,
                           Sandbox::readFile(sandbox->logDir() + u"/0a1b2c3d.runs"_s) + runsLine(start, 12));
        const auto result = sandbox->runCli({u"alert"_s, u"0a1b2c3d"_s, u"--wait"_s, u"0"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        const QList<QJsonObject> calls = server.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].value(u"appName"_s).toString(), u"Moxley"_s);
        QCOMPARE(calls[0].value(u"appIcon"_s).toString(), u"com.moxley.Moxley"_s);
        QCOMPARE(calls[0].value(u"summary"_s).toString(), u"Backup failed"_s);
        QCOMPARE(calls[0].value(u"body"_s).toString(),
                 u"The run at "_s + start.toString(u"H:mm"_s) + u" ended with exit status 12."_s);
        QCOMPARE(calls[0].value(u"expireTimeout"_s).toInt(), -1);
        QCOMPARE(calls[0].value(u"desktopEntry"_s).toString(), u"com.moxley.Moxley"_s);
    }

    void unrecordedFailure_saysWhatSystemdReports()
    {
        SKIP_WITHOUT_SESSION_BUS();
        SessionBus bus;
        NotificationServer server;
        QVERIFY(server.isReady());
        // A failed run of an hour ago is not the failure systemd reports now.
        writeRun(3, 3600);
        QProcessEnvironment environment = sandbox->environment();
        environment.insert(u"MONITOR_SERVICE_RESULT"_s, u"signal"_s);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(MOXLEY_CLI_PATH), {u"alert"_s, kId, u"--wait"_s, u"0"_s});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        const QList<QJsonObject> calls = server.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].value(u"body"_s).toString(), u"The run did not finish (systemd: signal)."_s);
    }

    void appOnTheBus_recordedFailureIsLeftToIt()
    {
        SKIP_WITHOUT_SESSION_BUS();
        SessionBus bus;
        NotificationServer server;
        QVERIFY(server.isReady());
        // The same claim the running app makes.
        AppPresence presence;
        QVERIFY(presence.isClaimed());
        writeRun(3, 5);
        const auto result = sandbox->runCli({u"alert"_s, kId, u"--wait"_s, u"0"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(server.calls().size(), 0);
        // A failure the app cannot see in the runs file is still posted.
        Sandbox::writeFile(sandbox->logDir() + u"/0a1b2c3d.runs"_s, QByteArray());
        QCOMPARE(sandbox->runCli({u"alert"_s, kId, u"--wait"_s, u"0"_s}).exitCode, 0);
        QCOMPARE(server.calls().size(), 1);
        QCOMPARE(server.calls()[0].value(u"body"_s).toString(), u"The run did not finish."_s);
    }
};

QTEST_GUILESS_MAIN(CliAlertTest)
#include "test_cli_alert.moc"
