#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "runner/TaskRunner.h"

#include <QEventLoop>

namespace {

class RunCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("run"); }
    QString synopsis() const override { return QStringLiteral("run TASK"); }
    QString summary() const override { return QStringLiteral("Run a task's command once now, as the app's Test Run does."); }
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
        QEventLoop loop;
        QObject::connect(&runner, &TaskRunner::outputAppended, &runner, [&context](const QString &text) {
            context.out << text;
            context.out.flush();
        });
        QObject::connect(&runner, &TaskRunner::finished, &loop, &QEventLoop::quit);
        runner.run(task.command, task.workingDirectory, task.envFilePath, task.useLoginShell);
        if (runner.isRunning()) {
            loop.exec();
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
