#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/TextTable.h"

#include <QJsonArray>

namespace {

class ListCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("list"); }
    QString synopsis() const override { return QStringLiteral("list [--json]"); }
    QString summary() const override { return QStringLiteral("List the tasks: short id, state, name, schedule."); }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the tasks as one JSON array."))};
    }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const auto tasks = context.loadTasks();
        if (!tasks) {
            return 1;
        }
        if (parser.isSet(QStringLiteral("json"))) {
            QJsonArray array;
            for (const ScheduledTask &task : *tasks) {
                array.append(CliJson::task(task));
            }
            context.out << QString::fromUtf8(CliJson::document(array));
            return 0;
        }
        TextTable table;
        for (const ScheduledTask &task : *tasks) {
            table.addRow({task.shortId(), task.isEnabled ? QStringLiteral("enabled") : QStringLiteral("disabled"),
                          TextTable::singleLine(task.name), task.schedule.description()});
        }
        context.out << table.render();
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeList()
{
    return std::make_unique<ListCommand>();
}
