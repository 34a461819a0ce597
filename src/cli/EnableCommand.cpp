#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/StoreSession.h"

namespace {

class EnableCommand : public Command
{
  public:
    QString name() const override { return QStringLiteral("enable"); }
    QString synopsis() const override { return QStringLiteral("enable TASK"); }
    QString summary() const override { return QStringLiteral("Switch a task on and install its job."); }
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
        session.store().setEnabled(true, task->id);
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeEnable()
{
    return std::make_unique<EnableCommand>();
}
