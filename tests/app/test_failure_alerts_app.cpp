#include "AppWorld.h"

#include "NotificationServer.h"
#include "PrivateSystemdManager.h"
#include "SessionBus.h"
#include "platform/AppPresence.h"
#include "platform/AppSettings.h"
#include "systemd/SystemdUnits.h"
#include "ui/SidebarSection.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>

using namespace Qt::StringLiterals;

// Whether the app had its alerts when the main window was first painted.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(const MoxleyApp &app) : m_app(app) { qApp->installEventFilter(this); }
    ~FirstPaint() override { qApp->removeEventFilter(this); }

    bool seen = false;
    bool alertsThen = false;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (!seen && event->type() == QEvent::Paint && watched->isWidgetType() &&
            static_cast<QWidget *>(watched)->window()->inherits("MainWindow")) {
            seen = true;
            alertsThen = m_app.failureAlerts() != nullptr;
        }
        return false;
    }

private:
    const MoxleyApp &m_app;
};

// The app's alerts: while it runs it notices a run that ends with a non-zero status (a new line in
// the task's runs file, written by the real wrapper script) and posts one notification through
// the session bus's notification server (here a stand-in that records the calls). A click, or a
// second `moxley-app --show-task`, opens the task's detail.
class FailureAlertsAppTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<SessionBus> bus;
    std::unique_ptr<NotificationServer> server;
    std::unique_ptr<AppWorld> world;

    MainWindow *openWithAlerts()
    {
        MoxleyApp::Options options = world->options();
        options.alerts = true;
        options.fileWatchDelayMs = 50;
        world->start(std::move(options));
        return world->open();
    }

    // Runs the task's installed wrapper script as launchd would; its runs line follows.
    void runScript(const ScheduledTask &task) const
    {
        const QString script = world->app->taskStore().launchdService().scriptPath(task);
        QTRY_VERIFY(QFileInfo::exists(script));
        const auto ran = world->sandbox.run(u"/bin/bash"_s, {script});
        QVERIFY2(ran.err.isEmpty(), ran.err.constData());
        QVERIFY(QFileInfo::exists(world->app->taskStore().launchdService().runsPath(task)));
    }

    // A task whose script runs without a login shell's profile.
    static ScheduledTask plainTask(const QString &name, bool enabled, const QString &command = u"true"_s)
    {
        ScheduledTask task = AppWorld::task(name, enabled, command);
        task.useLoginShell = false;
        return task;
    }

    static quint32 idOf(const QJsonObject &call) { return quint32(call.value(u"id"_s).toInteger()); }

private Q_SLOTS:
    void init()
    {
        SKIP_WITHOUT_SESSION_BUS();
        bus = std::make_unique<SessionBus>();
        QVERIFY(bus->isValid());
        server = std::make_unique<NotificationServer>();
        QVERIFY(server->isReady());
        world = std::make_unique<AppWorld>();
        qputenv("XDG_CONFIG_HOME", (world->sandbox.home() + u"/.config"_s).toUtf8());
    }
    void cleanup()
    {
        world.reset();
        server.reset();
        bus.reset();
        qunsetenv("XDG_CONFIG_HOME");
    }

    void failedRun_postsOneNotificationNamingTaskAndStatus()
    {
        const ScheduledTask task = plainTask(u"Sync photos"_s, true, u"echo syncing; sh -c 'exit 5'"_s);
        world->writeTasks({task});
        openWithAlerts();
        QVERIFY(world->app->isPresentOnBus());
        runScript(task);
        const QList<QJsonObject> calls = server->waitForCalls(1, 10000);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.constFirst().value(u"summary"_s).toString(), u"Sync photos failed"_s);
        const auto run = world->app->taskStore().runRecords(task).constLast();
        QCOMPARE(calls.constFirst().value(u"body"_s).toString(),
                 u"The run at "_s + runDateTime(run.startedAt).toLocalTime().toString(u"H:mm"_s) +
                     u" ended with exit status 5."_s);
        QCOMPARE(calls.constFirst().value(u"actions"_s).toArray(), (QJsonArray{u"default"_s, u"Show"_s}));
        QCOMPARE(calls.constFirst().value(u"pid"_s).toInteger(), QCoreApplication::applicationPid());
        QTest::qWait(1000);
        QCOMPARE(server->calls().size(), 1);
    }

    void runsBeforeTheAppStarted_andSuccessfulRuns_postNothing()
    {
        const ScheduledTask fine = plainTask(u"Fine"_s, true, u"true"_s);
        const ScheduledTask broken = plainTask(u"Broken"_s, true, u"sh -c 'exit 2'"_s);
        world->writeTasks({fine, broken});
        Sandbox::writeFile(world->sandbox.logDir() + u'/' + broken.shortId() + u".runs"_s,
                           "2026-11-24T06:00:00Z\t2026-11-24T06:00:01Z\t1\n");
        openWithAlerts();
        runScript(fine);
        QTRY_COMPARE(world->app->taskStore().runRecords(fine).size(), 1);
        QTest::qWait(1000);
        QCOMPARE(server->calls().size(), 0);
        // The watcher is alive all the same: the next failure is told, and only it.
        runScript(broken);
        const QList<QJsonObject> calls = server->waitForCalls(1, 10000);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.constFirst().value(u"summary"_s).toString(), u"Broken failed"_s);
        QVERIFY(calls.constFirst().value(u"body"_s).toString().endsWith(u"exit status 2."_s));
    }

    void deferredStart_followsTheRunsFilesFromTheFirstPaintOn()
    {
        // As moxley-app starts: the runs files are not looked at before the window is painted.
        const ScheduledTask task = plainTask(u"Nightly"_s, true, u"sh -c 'exit 4'"_s);
        world->writeTasks({task});
        MoxleyApp::Options options = world->options();
        options.alerts = true;
        options.fileWatchDelayMs = 50;
        options.store.deferStartUpJobs = true;
        world->start(std::move(options));
        QVERIFY(world->app->isPresentOnBus());
        QVERIFY(!world->app->failureAlerts());

        FirstPaint firstPaint(*world->app);
        world->open();
        QTRY_VERIFY(firstPaint.seen);
        QVERIFY(!firstPaint.alertsThen);
        QTRY_VERIFY(world->app->failureAlerts());
        runScript(task);
        const QList<QJsonObject> calls = server->waitForCalls(1, 10000);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.constFirst().value(u"summary"_s).toString(), u"Nightly failed"_s);
        QVERIFY(calls.constFirst().value(u"body"_s).toString().endsWith(u"exit status 4."_s));
    }

    void settingOff_postsNothing_andTheMenuItemTurnsItBackOn()
    {
        const ScheduledTask task = plainTask(u"Flaky"_s, true, u"false"_s);
        world->writeTasks({task});
        MainWindow *window = openWithAlerts();
        QAction *setting = menuItem(window, u"Notify When a Run Fails"_s);
        QVERIFY(setting);
        QVERIFY(setting->isCheckable());
        QVERIFY(setting->isChecked());
        setting->trigger();
        QVERIFY(!setting->isChecked());
        QVERIFY(!AppSettings::alertsEnabled());
        QVERIFY(Sandbox::readFile(AppSettings::filePath()).contains("failedRuns=false"));
        runScript(task);
        QTRY_COMPARE(world->app->taskStore().runRecords(task).size(), 1);
        QTest::qWait(1000);
        QCOMPARE(server->calls().size(), 0);

        setting->trigger();
        QVERIFY(AppSettings::alertsEnabled());
        runScript(task);
        QCOMPARE(server->waitForCalls(1, 10000).size(), 1);
    }

    void click_showsTheTasksDetail()
    {
        const ScheduledTask other = plainTask(u"Other"_s, false);
        const ScheduledTask task = plainTask(u"Report"_s, true, u"sh -c 'exit 3'"_s);
        world->writeTasks({other, task});
        MainWindow *window = openWithAlerts();
        window->contentView()->setSelection(SidebarSection::task(other.id));
        runScript(task);
        const QList<QJsonObject> calls = server->waitForCalls(1, 10000);
        QCOMPARE(calls.size(), 1);
        window->close();
        QVERIFY(server->click(idOf(calls.constFirst())));
        QTRY_VERIFY(world->app->mainWindow() && world->app->mainWindow()->isVisible());
        QTRY_COMPARE(world->app->mainWindow()->contentView()->selection(),
                     std::optional<SidebarSection>(SidebarSection::task(task.id)));
    }

    void secondStartWithShowTask_handsTheTaskToTheRunningApp()
    {
        const ScheduledTask task = plainTask(u"Shown"_s, false);
        world->writeTasks({plainTask(u"First"_s, false), task});
        MainWindow *window = openWithAlerts();
        QVERIFY(world->app->isPresentOnBus());
        QVERIFY(window->contentView()->selection() != std::optional<SidebarSection>(SidebarSection::task(task.id)));
        QProcess second;
        second.setProcessEnvironment(world->sandbox.environment());
        second.start(QStringLiteral(MOXLEY_APP_PATH), {u"--show-task"_s, task.fullId()});
        QVERIFY(second.waitForStarted(10000));
        QTRY_COMPARE_WITH_TIMEOUT(window->contentView()->selection(),
                                  std::optional<SidebarSection>(SidebarSection::task(task.id)), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(second.state(), QProcess::NotRunning, 20000);
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
    }

    void withSystemd_appRunning_theAppPostsAndTheAlertUnitDoesNot()
    {
        SKIP_WITHOUT_SYSTEMD_MANAGER();
        PrivateSystemdManager::linkSystemctlInto(world->sandbox.sysroot());
        // The manager clears DBUS_SESSION_BUS_ADDRESS here; it comes back for the app and the units.
        PrivateSystemdManager manager(world->sandbox.home());
        REQUIRE_SYSTEMD_MANAGER(manager);
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus->address().toUtf8());
        manager.systemctl({u"set-environment"_s, u"DBUS_SESSION_BUS_ADDRESS="_s + bus->address()});
        openWithAlerts();
        QVERIFY(world->app->isPresentOnBus());

        const auto added = world->sandbox.runCli({u"add"_s, u"--name"_s, u"Both"_s, u"--command"_s, u"sh -c 'exit 6'"_s,
                                                  u"--weekly"_s, u"sun"_s, u"--no-login-shell"_s});
        QCOMPARE(added.exitCode, 0);
        const QUuid id = QUuid::fromString(QString::fromUtf8(added.out).trimmed());
        QTRY_VERIFY(world->app->taskStore().task(id).has_value());
        QCOMPARE(world->sandbox.runCli({u"start"_s, u"Both"_s}).exitCode, 0);

        const QList<QJsonObject> calls = server->waitForCalls(1, 30000);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.constFirst().value(u"pid"_s).toInteger(), QCoreApplication::applicationPid());
        QVERIFY(calls.constFirst().value(u"body"_s).toString().endsWith(u"exit status 6."_s));
        // The alert unit ran, saw the app, and left it at that.
        const QString alertUnit = SystemdUnits::alertInstanceName(id);
        QTRY_VERIFY_WITH_TIMEOUT(!manager.property(alertUnit, u"InvocationID"_s).isEmpty() &&
                                     manager.property(alertUnit, u"ActiveState"_s) == u"inactive"_s,
                                 20000);
        QCOMPARE(manager.property(alertUnit, u"ExecMainStatus"_s), u"0"_s);
        QTest::qWait(2000);
        QCOMPARE(server->calls().size(), 1);
        QCOMPARE(world->sandbox.runCli({u"delete"_s, u"Both"_s}).exitCode, 0);
        world.reset();
    }
};

QTEST_MAIN(FailureAlertsAppTest)
#include "test_failure_alerts_app.moc"
