#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/StoreSession.h"

namespace {

class DisableCommand : public Command
{
  public:
    QString name() const override { return QStringLiteral("disable"); }
    QString synopsis() const override { return QStringLiteral("disable TASK"); }
    QString summary() const override
    {
        return QStringLiteral("Switch a task off and remove its job (history and logs stay).");
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
        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        session.store().setEnabled(false, task->id);
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeDisable()
{
    return std::make_unique<DisableCommand>();
}
