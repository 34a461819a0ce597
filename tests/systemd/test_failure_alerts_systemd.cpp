#include "NotificationServer.h"
#include "PrivateSystemdManager.h"
#include "Sandbox.h"
#include "SessionBus.h"
#include "platform/AppPresence.h"
#include "platform/AppSettings.h"
#include "systemd/SystemdUnits.h"

#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

#include <memory>

#include <signal.h>

using namespace Qt::StringLiterals;

namespace {

// A sandbox with its own user manager, a session bus that the manager's units see, and the
// stand-in notification server on it.
struct World {
    Sandbox sandbox;
    std::unique_ptr<PrivateSystemdManager> manager;
    std::unique_ptr<SessionBus> bus;
    std::unique_ptr<NotificationServer> server;

    World()
    {
        PrivateSystemdManager::linkSystemctlInto(sandbox.sysroot());
        manager = std::make_unique<PrivateSystemdManager>(sandbox.home());
        if (!manager->failure().isEmpty()) {
            return;
        }
        bus = std::make_unique<SessionBus>();
        server = std::make_unique<NotificationServer>();
        // As a desktop session tells its user manager (dbus-update-activation-environment --systemd).
        manager->systemctl(
            {u"set-environment"_s, u"DBUS_SESSION_BUS_ADDRESS="_s + bus->address(), u"QT_QPA_PLATFORM=offscreen"_s});
    }

    // Adds a task through the moxley tool; its full id.
    QString add(const QString &name, const QString &command, const QStringList &schedule) const
    {
        const auto result = sandbox.runCli(
            QStringList{u"add"_s, u"--name"_s, name, u"--command"_s, command, u"--no-login-shell"_s} + schedule);
        if (result.exitCode != 0) {
            qWarning("moxley add failed: %s", result.err.constData());
            return {};
        }
        return QString::fromUtf8(result.out).trimmed().toUpper();
    }

    int runs(const QString &task) const
    {
        return int(QJsonDocument::fromJson(sandbox.runCli({u"history"_s, task, u"--json"_s}).out).array().size());
    }

    bool waitForRuns(const QString &task, int count, int seconds) const
    {
        QElapsedTimer clock;
        clock.start();
        while (runs(task) < count && clock.elapsed() < seconds * 1000) {
            QTest::qWait(250);
        }
        return runs(task) >= count;
    }

    QString alertUnit(const QString &id) const { return SystemdUnits::alertInstanceName(QUuid::fromString(id)); }

    // Until the task's alert unit has run and ended.
    bool waitForAlertUnitDone(const QString &id, int seconds) const
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < seconds * 1000) {
            if (!manager->property(alertUnit(id), u"InvocationID"_s).isEmpty() &&
                manager->property(alertUnit(id), u"ActiveState"_s) != u"active"_s &&
                manager->property(alertUnit(id), u"ActiveState"_s) != u"activating"_s) {
                return true;
            }
            QTest::qWait(250);
        }
        return false;
    }
};

#define REQUIRE_WORLD(world)                                                                                           \
    do {                                                                                                               \
        REQUIRE_SYSTEMD_MANAGER(*(world).manager);                                                                     \
        QVERIFY((world).bus->isValid());                                                                               \
        QVERIFY((world).server->isReady());                                                                            \
    } while (false)

QByteArray commandLineOf(qint64 pid)
{
    QFile file(u"/proc/"_s + QString::number(pid) + u"/cmdline"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// With systemd and no app running: a failed run's service starts the alert unit, whose moxley
// posts one notification on the session bus; a click on it opens the app on the task.
class FailureAlertsSystemdTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failingTimerRun_postsExactlyOneNotificationNamingTaskAndStatus()
    {
        World world;
        REQUIRE_WORLD(world);
        // The interval timer's first run comes one minute after it is installed.
        const QString id = world.add(u"Nightly backup"_s, u"echo working; sh -c 'exit 3'"_s, {u"--every"_s, u"1"_s});
        QVERIFY(!id.isEmpty());
        QVERIFY(QFileInfo::exists(world.manager->unitDir() + u"/com.moxley.alert@.service"_s));

        const QList<QJsonObject> calls = world.server->waitForCalls(1, 150000);
        QCOMPARE(calls.size(), 1);
        const QJsonObject call = calls.constFirst();
        QCOMPARE(call.value(u"summary"_s).toString(), u"Nightly backup failed"_s);
        const QString body = call.value(u"body"_s).toString();
        QVERIFY2(
            QRegularExpression(u"^The run at \\d{1,2}:\\d\\d ended with exit status 3\\.$"_s).match(body).hasMatch(),
            qPrintable(body));
        QCOMPARE(call.value(u"appName"_s).toString(), u"Moxley"_s);
        QCOMPARE(call.value(u"desktopEntry"_s).toString(), u"com.moxley.Moxley"_s);
        QCOMPARE(call.value(u"replacesId"_s).toInt(), 0);
        // moxley-app sits beside moxley here, so a click can open it.
        QCOMPARE(call.value(u"actions"_s).toArray(), (QJsonArray{u"default"_s, u"Show"_s}));
        QCOMPARE(world.runs(id), 1);
        // The poster is the alert unit's moxley, not this test.
        QVERIFY(call.value(u"pid"_s).toInteger() != QCoreApplication::applicationPid());
        QVERIFY(commandLineOf(call.value(u"pid"_s).toInteger()).contains(QByteArray("\0alert\0"_ba + id.toUtf8())));

        QTest::qWait(5000);
        QCOMPARE(world.server->calls().size(), 1);
        QCOMPARE(world.sandbox.runCli({u"disable"_s, id}).exitCode, 0);
    }

    void commandEndingTheScript_hasNoRunsLine_theStatusComesFromSystemd()
    {
        World world;
        REQUIRE_WORLD(world);
        // `exit` in the command ends the wrapper script before it writes the runs line.
        const QString id = world.add(u"Abrupt"_s, u"exit 7"_s, {u"--weekly"_s, u"sun"_s, u"--at"_s, u"3:00"_s});
        QVERIFY(!id.isEmpty());
        QCOMPARE(world.sandbox.runCli({u"start"_s, id}).exitCode, 0);
        const QList<QJsonObject> calls = world.server->waitForCalls(1, 30000);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.constFirst().value(u"summary"_s).toString(), u"Abrupt failed"_s);
        QCOMPARE(calls.constFirst().value(u"body"_s).toString(), u"The run ended with exit status 7."_s);
        QCOMPARE(world.runs(id), 0);
    }

    void successfulRun_postsNothing_andStartsNoAlertUnit()
    {
        World world;
        REQUIRE_WORLD(world);
        const QString id = world.add(u"Fine"_s, u"echo fine"_s, {u"--weekly"_s, u"sun"_s, u"--at"_s, u"3:00"_s});
        QVERIFY(!id.isEmpty());
        QCOMPARE(world.sandbox.runCli({u"start"_s, id}).exitCode, 0);
        QVERIFY(world.waitForRuns(id, 1, 30));
        QTest::qWait(3000);
        QCOMPARE(world.server->calls().size(), 0);
        QCOMPARE(world.manager->property(world.alertUnit(id), u"InvocationID"_s), QString());
    }

    void alertsTurnedOff_failedRunPostsNothing()
    {
        World world;
        REQUIRE_WORLD(world);
        // The same settings file the app writes; the alert unit reads it under the manager's
        // XDG_CONFIG_HOME, which is this process's too.
        AppSettings::setAlertsEnabled(false);
        QVERIFY(AppSettings::filePath().startsWith(world.sandbox.home()));
        const QString id = world.add(u"Quiet"_s, u"sh -c 'exit 4'"_s, {u"--weekly"_s, u"sun"_s, u"--at"_s, u"3:00"_s});
        QVERIFY(!id.isEmpty());
        QCOMPARE(world.sandbox.runCli({u"start"_s, id}).exitCode, 0);
        QVERIFY(world.waitForRuns(id, 1, 30));
        // The alert unit did run, and chose to stay silent.
        QVERIFY(world.waitForAlertUnitDone(id, 30));
        QCOMPARE(world.manager->property(world.alertUnit(id), u"ExecMainStatus"_s), u"0"_s);
        QTest::qWait(1000);
        QCOMPARE(world.server->calls().size(), 0);

        AppSettings::setAlertsEnabled(true);
        QCOMPARE(world.sandbox.runCli({u"start"_s, id}).exitCode, 0);
        QCOMPARE(world.server->waitForCalls(1, 30000).size(), 1);
    }

    void click_opensTheAppOnThatTask()
    {
        World world;
        REQUIRE_WORLD(world);
        const QString id =
            world.add(u"Clickable"_s, u"sh -c 'exit 9'"_s, {u"--weekly"_s, u"sun"_s, u"--at"_s, u"3:00"_s});
        QVERIFY(!id.isEmpty());
        QCOMPARE(world.sandbox.runCli({u"start"_s, id}).exitCode, 0);
        const QList<QJsonObject> calls = world.server->waitForCalls(1, 30000);
        QCOMPARE(calls.size(), 1);
        QVERIFY(calls.constFirst().value(u"body"_s).toString().endsWith(u"exit status 9."_s));
        QVERIFY(!AppPresence::isAppRunning());
        // The alert's moxley waits for the click.
        QCOMPARE(world.manager->property(world.alertUnit(id), u"ActiveState"_s), u"active"_s);

        QVERIFY(world.server->click(quint32(calls.constFirst().value(u"id"_s).toInteger())));
        QTRY_VERIFY_WITH_TIMEOUT(AppPresence::isAppRunning(), 30000);
        const QString name = u"moxley-test-owner"_s;
        QDBusConnection bus = QDBusConnection::connectToBus(world.bus->address(), name);
        const uint pid = bus.interface()->servicePid(AppPresence::kServiceName).value();
        QDBusConnection::disconnectFromBus(name);
        QVERIFY(pid > 0);
        const QByteArray commandLine = commandLineOf(pid);
        QVERIFY2(commandLine.contains(QByteArray("moxley-app\0--show-task\0"_ba + id.toUtf8())),
                 commandLine.constData());
        // The tool is done once it has handed the click on; the app it started lives on.
        QTRY_COMPARE_WITH_TIMEOUT(world.manager->property(world.alertUnit(id), u"ActiveState"_s), u"inactive"_s, 10000);
        QVERIFY(::kill(pid_t(pid), 0) == 0);

        ::kill(pid_t(pid), SIGTERM);
        QTRY_VERIFY_WITH_TIMEOUT(::kill(pid_t(pid), 0) != 0, 15000);
    }

    void alertTemplate_goesWithTheLastTasksUnits()
    {
        World world;
        REQUIRE_WORLD(world);
        const QString templatePath = world.manager->unitDir() + u"/com.moxley.alert@.service"_s;
        const QString first = world.add(u"One"_s, u"true"_s, {u"--daily"_s});
        const QString second = world.add(u"Two"_s, u"true"_s, {u"--daily"_s});
        QVERIFY(!first.isEmpty() && !second.isEmpty());
        QCOMPARE(Sandbox::readFile(templatePath),
                 "[Unit]\nDescription=Moxley: alert for a failed run of "
                 "%i\n\n[Service]\nType=exec\nExecStart=\"" MOXLEY_CLI_PATH "\" alert %i\nKillMode=process\n"_ba);
        QCOMPARE(world.sandbox.runCli({u"delete"_s, first}).exitCode, 0);
        QVERIFY(QFileInfo::exists(templatePath));
        QCOMPARE(world.sandbox.runCli({u"disable"_s, second}).exitCode, 0);
        QVERIFY(!QFileInfo::exists(templatePath));
        QCOMPARE(world.sandbox.runCli({u"enable"_s, second}).exitCode, 0);
        QVERIFY(QFileInfo::exists(templatePath));
    }
};

QTEST_GUILESS_MAIN(FailureAlertsSystemdTest)
#include "test_failure_alerts_systemd.moc"
