#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "runner/TaskRunner.h"

#include <QEventLoop>

#include <csignal>
#include <unistd.h>

namespace {

// The command's process group once it started; a signal that came before is kept for it.
volatile sig_atomic_t g_group = 0;
volatile sig_atomic_t g_early = 0;

void passOn(int signal)
{
    if (g_group > 0) {
        ::kill(-pid_t(g_group), signal);
    } else {
        g_early = signal;
    }
}

// SIGINT, SIGTERM and SIGHUP sent to the tool go on to the whole command, which then ends as it
// would under a shell; the tool waits for it and exits with its status (128 + N for signal N).
class SignalsPassedOn
{
public:
    SignalsPassedOn()
    {
        struct sigaction action {
        };
        action.sa_handler = passOn;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (int i = 0; i < 3; ++i) {
            ::sigaction(kSignals[i], nullptr, &m_old[i]);
            // As a shell does: a signal ignored when the tool started stays ignored.
            if (m_old[i].sa_handler != SIG_IGN) {
                ::sigaction(kSignals[i], &action, nullptr);
            }
        }
    }
    ~SignalsPassedOn()
    {
        for (int i = 0; i < 3; ++i) {
            ::sigaction(kSignals[i], &m_old[i], nullptr);
        }
        g_group = 0;
    }
    void started(qint64 pid)
    {
        g_group = sig_atomic_t(pid);
        if (g_early != 0 && pid > 0) {
            ::kill(-pid_t(pid), g_early);
        }
    }

private:
    static constexpr int kSignals[3] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction m_old[3];
};

// The tool is the terminal's foreground: the command takes it over while it runs.
bool inForeground()
{
    return ::isatty(STDIN_FILENO) && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
}

void takeTerminalBack()
{
    // The tool is a background group now: SIGTTOU would stop it.
    const auto old = ::signal(SIGTTOU, SIG_IGN);
    ::tcsetpgrp(STDIN_FILENO, ::getpgrp());
    ::signal(SIGTTOU, old);
}

class RunCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("run"); }
    QString synopsis() const override { return QStringLiteral("run TASK"); }
    QString summary() const override
    {
        return QStringLiteral("Run a task's command once now, as the app's Test Run does.");
    }
    QString details() const override
    {
        return QStringLiteral("Standard output and standard error are written to standard output as they arrive.\n"
                              "The exit status is the command's (128 + N when signal N ended it). Nothing is "
                              "recorded in the task's history or logs.");
    }

    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        TaskRunner runner;
        runner.setKeepsOutput(false);
        runner.setOwnSession(false);
        const bool foreground = inForeground();
        runner.setOwnProcessGroup(true, foreground);
        SignalsPassedOn signalsPassedOn;
        QEventLoop loop;
        QObject::connect(&runner, &TaskRunner::outputAppended, &runner, [&context](const QString &text) {
            context.out << text;
            context.out.flush();
        });
        QObject::connect(&runner, &TaskRunner::finished, &loop, &QEventLoop::quit);
        runner.run(task.command, task.workingDirectory, task.envFilePath, task.useLoginShell);
        if (runner.isRunning()) {
            signalsPassedOn.started(runner.process()->processId());
            loop.exec();
        }
        if (foreground) {
            takeTerminalBack();
        }
        context.out.flush();
        return runner.exitCode().value_or(1);
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeRun()
{
    return std::make_unique<RunCommand>();
}
