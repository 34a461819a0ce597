#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/StoreSession.h"

namespace {

class DuplicateCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("duplicate"); }
    QString synopsis() const override { return QStringLiteral("duplicate TASK"); }
    QString summary() const override
    {
        return QStringLiteral("Copy a task (switched off, named \"... (copy)\"); print the copy's id.");
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &found) override
    {
        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        const std::optional<ScheduledTask> original = session.store().task(found.id);
        const std::optional<ScheduledTask> copy = original ? session.store().duplicate(*original) : std::nullopt;
        if (!copy) {
            return context.fail(u"no task matches " % parser.positionalArguments().constFirst());
        }
        if (!session.saved()) {
            return 1; // the reason is printed; no id names an unsaved copy
        }
        context.out << copy->fullId() << '\n';
        context.out.flush();
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeDuplicate()
{
    return std::make_unique<DuplicateCommand>();
}
