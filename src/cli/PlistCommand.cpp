#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/LaunchdService.h"

namespace {

class PlistCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("plist"); }
    QString synopsis() const override { return QStringLiteral("plist TASK"); }
    QString summary() const override { return QStringLiteral("Print the launchd property list of a task."); }
    QString details() const override
    {
        return QStringLiteral("The text is exactly what installing the task writes, byte for byte, also for a\n"
                              "disabled task. Nothing is written or installed.");
    }
    int minArguments() const override { return 1; }
    int maxArguments() const override { return 1; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const auto tasks = context.loadTasks();
        if (!tasks) {
            return 1;
        }
        const auto task = context.findTask(*tasks, parser.positionalArguments().constFirst());
        if (!task) {
            return 1;
        }
        // Generating is pure text: no folder is created, nothing is loaded.
        context.out << LaunchdService().plistText(*task);
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makePlist()
{
    return std::make_unique<PlistCommand>();
}
