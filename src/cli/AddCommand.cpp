#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/ScheduleOptions.h"
#include "cli/StoreSession.h"

#include "cli/TaskOptions.h"
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

class AddCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("add"); }
    QString synopsis() const override
    {
        return QStringLiteral("add --name NAME --command CMD [schedule] [--dir DIR] [--env-file FILE] "
                              "[--no-login-shell] [--wake] [--disabled]");
    }
    QString summary() const override { return QStringLiteral("Add a task and install its job; print its id."); }
    QString details() const override
    {
        return ScheduleOptions::help() %
               u"\nWithout a schedule the task runs daily. DIR and FILE are taken relative to the current folder."_s;
    }
    QList<QCommandLineOption> options() const override { return TaskOptions::options(TaskOptions::For::add); }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        if (const auto error = TaskOptions::nameAndCommandError(parser, TaskOptions::For::add)) {
            return context.usageError(*error);
        }
        const ScheduleOptions::Parsed parsed = ScheduleOptions::parse(parser);
        if (!parsed.error.isEmpty()) {
            return context.usageError(parsed.error);
        }
        QString error;
        const std::optional<TaskSchedule> schedule = ScheduleOptions::build(parsed, std::nullopt, &error);
        if (!schedule) {
            return context.usageError(error);
        }

        // As the app's form builds it: name and command as typed, empty folders mean none.
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = parser.value(u"name"_s);
        task.command = parser.value(u"command"_s);
        task.workingDirectory = TaskOptions::pathValue(parser, u"dir"_s);
        task.envFilePath = TaskOptions::pathValue(parser, u"env-file"_s);
        task.useLoginShell = !parser.isSet(u"no-login-shell"_s);
        task.wakeBeforeRun = parser.isSet(u"wake"_s);
        task.schedule = *schedule;
        task.isEnabled = !parser.isSet(u"disabled"_s);

        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        session.store().add(task);
        if (!session.saved()) {
            undoInstall(context, session.store(), task);
            return 1;
        }
        context.out << task.fullId() << '\n';
        context.out.flush();
        return session.finish();
    }

private:
    // The save failed (its reason is printed): no id is printed, and the job installed for the
    // task that names nothing goes again, or what is left of it is said.
    static void undoInstall(CommandContext &context, TaskStore &store, const ScheduledTask &task)
    {
        const std::optional<ScheduledTask> added = store.task(task.id);
        if (!added || !added->isEnabled) {
            return;
        }
        const LaunchdService &jobs = store.launchdService();
        const auto error = jobs.uninstall(*added);
        QStringList left;
        for (const QString &path : {jobs.plistPath(task), jobs.scriptPath(task)}) {
            if (QFileInfo::exists(path)) {
                left << path;
            }
        }
        if (error || !left.isEmpty()) {
            context.fail(
                u"the job of the unsaved task could not be removed; left behind: " %
                (left.isEmpty() ? QString(u"the loaded job "_s % LaunchdService::jobLabel(task)) : left.join(u", "_s)));
        }
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeAdd()
{
    return std::make_unique<AddCommand>();
}
