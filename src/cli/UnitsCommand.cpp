#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "systemd/SystemdScheduler.h"

#include <QFileInfo>

namespace {

class UnitsCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("units"); }
    QString synopsis() const override { return QStringLiteral("units TASK"); }
    QString summary() const override { return QStringLiteral("Print the systemd service and timer units of a task."); }
    QString details() const override
    {
        return QStringLiteral("Each unit is preceded by a line \"# FILE NAME\", exactly as installing writes it\n"
                              "(also for a disabled task, whichever scheduler is in use). A run-at-load task\n"
                              "has no timer. Nothing is written or installed.");
    }
    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        // Pure text: the scheduler is not asked anything.
        const SystemdScheduler systemd{LaunchdService()};
        for (const JobScheduler::JobFile &file : systemd.jobFiles(task)) {
            context.out << "# " << QFileInfo(file.path).fileName() << '\n' << file.text;
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeUnits()
{
    return std::make_unique<UnitsCommand>();
}
