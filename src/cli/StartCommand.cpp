#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"

namespace {

class StartCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("start"); }
    QString synopsis() const override { return QStringLiteral("start TASK"); }
    QString summary() const override { return QStringLiteral("Run a task's job now through the scheduler, recorded."); }
    QString details() const override
    {
        return QStringLiteral("The job runs as a scheduled run would: same environment, recorded in the history,\n"
                              "output in the logs. Returns once the scheduler has started it (launchctl\n"
                              "kickstart, systemctl --user start); the task's job must be installed (enabled).");
    }
    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        if (const auto error = context.scheduler()->startNow(task)) {
            return context.fail(*error);
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeStart()
{
    return std::make_unique<StartCommand>();
}
