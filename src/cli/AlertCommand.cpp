// `moxley alert TASK`: run by systemd (OnFailure= of a task's service) when a scheduled run fails;
// posts the desktop notification. Not listed in the help: people have no use for it.
#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/LaunchdService.h"
#include "platform/AppPaths.h"
#include "platform/AppPresence.h"
#include "platform/AppSettings.h"
#include "platform/DesktopNotifier.h"
#include "store/FailureAlert.h"
#include "store/RunsWatcher.h"

#include <QEventLoop>
#include <QProcess>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

// A run that ended this long before systemd reports the failure is still the one it is about.
constexpr int kRecentSeconds = 300;
// How long a click on the notice can still open the app.
constexpr int kDefaultWaitSeconds = 3600;

class AlertCommand : public TaskCommand
{
public:
    QString name() const override { return u"alert"_s; }
    QString synopsis() const override { return u"alert TASK [--wait SECONDS]"_s; }
    QString summary() const override { return u"Post the notification of a failed run (run by systemd)."_s; }
    bool hidden() const override { return true; }
    QList<QCommandLineOption> options() const override
    {
        return {
            QCommandLineOption(u"wait"_s, u"How long a click can still open the app (default 3600)."_s, u"SECONDS"_s)};
    }

protected:
    int checkOptions(CommandContext &context, const QCommandLineParser &parser) override
    {
        bool ok = true;
        m_waitSeconds = parser.isSet(u"wait"_s) ? parser.value(u"wait"_s).toInt(&ok) : kDefaultWaitSeconds;
        if (!ok || m_waitSeconds < 0) {
            return context.usageError(u"--wait takes a number of seconds"_s);
        }
        return 0;
    }

    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        if (!AppSettings::alertsEnabled()) {
            return 0;
        }
        const QString runsPath = LaunchdService().runsPath(task);
        const auto run = FailureAlert::recentFailure(runsPath, QDateTime::currentDateTimeUtc(), kRecentSeconds);
        // A running app sees the run's line and posts the alert itself; a failure without a line
        // it cannot see.
        if (run && AppPresence::isAppRunning()) {
            return 0;
        }
        const FailureAlert::Text text =
            run ? FailureAlert::forRun(task, *run, QTimeZone::systemTimeZone()) : unrecordedFailure(task);
        DesktopNotifier notifier;
        if (!notifier.isConnected()) {
            return context.fail(u"no session bus to post the alert on"_s);
        }
        const QString app = AppPaths::besideThisProgram(u"moxley-app"_s);
        const auto id = notifier.post({text.summary, text.body, !app.isEmpty(), 0});
        if (!id) {
            return context.fail(u"no notification server answered"_s);
        }
        if (!app.isEmpty() && m_waitSeconds > 0) {
            waitForClick(notifier, *id, task, app, runsPath);
        }
        return 0;
    }

private:
    // What systemd (251 and later) tells the unit that OnFailure= starts about the failed one.
    static FailureAlert::Text unrecordedFailure(const ScheduledTask &task)
    {
        std::optional<int> status;
        bool ok = false;
        const int exited = qEnvironmentVariable("MONITOR_EXIT_STATUS").toInt(&ok);
        if (ok && qEnvironmentVariable("MONITOR_EXIT_CODE") == u"exited") {
            status = exited;
        }
        return FailureAlert::forUnrecordedFailure(task, status, qEnvironmentVariable("MONITOR_SERVICE_RESULT"));
    }

    // Until the notice is clicked or closed, or the wait is over. systemd does not start this
    // unit again while it runs, so a later failure of the task is posted from here.
    void waitForClick(DesktopNotifier &notifier, quint32 id, const ScheduledTask &task, const QString &app,
                      const QString &runsPath) const
    {
        QEventLoop loop;
        QObject::connect(&notifier, &DesktopNotifier::clicked, &loop, [&](quint32 clicked) {
            if (clicked != id) {
                return;
            }
            if (!AppPresence::askToShow(task.id)) {
                QProcess::startDetached(app, {u"--show-task"_s, task.fullId()});
            }
            loop.quit();
        });
        QObject::connect(&notifier, &DesktopNotifier::closed, &loop, [&](quint32 closed) {
            if (closed == id) {
                loop.quit();
            }
        });
        RunsWatcher watcher;
        watcher.setFiles({{task.id, runsPath}});
        QObject::connect(&watcher, &RunsWatcher::runFinished, &loop, [&](const QUuid &, const TaskRunRecord &run) {
            if (run.exitCode != 0 && AppSettings::alertsEnabled() && !AppPresence::isAppRunning()) {
                const auto text = FailureAlert::forRun(task, run, QTimeZone::systemTimeZone());
                id = notifier.post({text.summary, text.body, true, id}).value_or(id);
            }
        });
        QTimer::singleShot(std::chrono::seconds(m_waitSeconds), &loop, &QEventLoop::quit);
        loop.exec();
    }

    int m_waitSeconds = kDefaultWaitSeconds;
};

} // namespace

std::unique_ptr<Command> Commands::makeAlert()
{
    return std::make_unique<AlertCommand>();
}
