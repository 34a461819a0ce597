#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/StoreSession.h"

namespace {

class DeleteCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("delete"); }
    QString synopsis() const override { return QStringLiteral("delete TASK..."); }
    QString summary() const override { return QStringLiteral("Delete tasks and their jobs (history and logs stay)."); }
    QString details() const override { return QStringLiteral("Every TASK must match; otherwise nothing is deleted."); }
    int minArguments() const override { return 1; }
    int maxArguments() const override { return -1; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const auto tasks = context.loadTasks();
        if (!tasks) {
            return 1;
        }
        QList<ScheduledTask> chosen;
        bool allFound = true;
        for (const QString &query : parser.positionalArguments()) {
            const auto task = context.findTask(*tasks, query);
            if (!task) {
                allFound = false;
            } else if (std::none_of(chosen.begin(), chosen.end(),
                                    [&](const ScheduledTask &t) { return t.id == task->id; })) {
                chosen.append(*task);
            }
        }
        if (!allFound) {
            return 1;
        }
        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        if (chosen.size() == 1) {
            const std::optional<ScheduledTask> current = session.store().task(chosen.constFirst().id);
            session.store().deleteTask(current.value_or(chosen.constFirst()));
        } else {
            QSet<QUuid> ids;
            for (const ScheduledTask &task : std::as_const(chosen)) {
                ids.insert(task.id);
            }
            session.store().deleteTasks(ids);
        }
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeDelete()
{
    return std::make_unique<DeleteCommand>();
}
