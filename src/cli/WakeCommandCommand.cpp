#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/PmsetService.h"

namespace {

// Read-only: it shows the command and runs nothing.
class WakeCommandCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("wake-command"); }
    QString synopsis() const override { return QStringLiteral("wake-command TASK"); }
    QString summary() const override
    {
        return QStringLiteral("Print the power-management command that waking for a task would run.");
    }
    QString details() const override
    {
        return QStringLiteral("A monthly task gets a one-time wake on the next matching date; the other calendar\n"
                              "kinds a repeating one. Interval and at-load tasks cannot wake (exit 1).");
    }

    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        const PmsetService::Command command = PmsetService().wakeCommand(task.schedule);
        if (command.error) {
            return context.fail(command.error->description());
        }
        // A day of the month that never comes schedules nothing, as in the app.
        if (command.text) {
            context.out << *command.text << '\n';
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeWakeCommand()
{
    return std::make_unique<WakeCommandCommand>();
}
