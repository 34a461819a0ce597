#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"

namespace {

// The wrapper script of the chosen scheduler (launchd's or systemd's differ in shell and guards).
class ScriptCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("script"); }
    QString synopsis() const override { return QStringLiteral("script TASK"); }
    QString summary() const override
    {
        return QStringLiteral("Print the wrapper script that the scheduler runs for a task.");
    }
    QString details() const override
    {
        return QStringLiteral("The text is exactly what installing the task writes, byte for byte, also for a\n"
                              "disabled task. Nothing is written or installed.");
    }
    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        context.out << context.scheduler()->scriptText(task);
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeScript()
{
    return std::make_unique<ScriptCommand>();
}
