#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/ScheduleOptions.h"
#include "cli/StoreSession.h"
#include "cli/TaskOptions.h"

using namespace Qt::StringLiterals;

namespace {

class EditCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("edit"); }
    QString synopsis() const override
    {
        return QStringLiteral("edit TASK [--name N] [--command C] [schedule] [--dir DIR | --no-dir] "
                              "[--env-file F | --no-env-file] [--login-shell | --no-login-shell] [--wake | --no-wake]");
    }
    QString summary() const override { return QStringLiteral("Change the given fields of a task and reinstall it."); }
    QString details() const override
    {
        return ScheduleOptions::help() %
               u"\nA new kind keeps the task's times unless --at is given; --at alone changes only the times."_s;
    }
    QList<QCommandLineOption> options() const override { return TaskOptions::options(TaskOptions::For::edit); }
    int minArguments() const override { return 1; }
    int maxArguments() const override { return 1; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        for (const auto &[on, off] :
             {std::pair{u"dir"_s, u"no-dir"_s}, std::pair{u"env-file"_s, u"no-env-file"_s},
              std::pair{u"login-shell"_s, u"no-login-shell"_s}, std::pair{u"wake"_s, u"no-wake"_s}}) {
            if (parser.isSet(on) && parser.isSet(off)) {
                return context.usageError(u"--" % on % u" and --" % off % u" exclude each other");
            }
        }
        if (const auto error = TaskOptions::nameAndCommandError(parser, TaskOptions::For::edit)) {
            return context.usageError(*error);
        }
        const ScheduleOptions::Parsed parsed = ScheduleOptions::parse(parser);
        if (!parsed.error.isEmpty()) {
            return context.usageError(parsed.error);
        }

        // Found before the store starts, so a mistyped TASK changes nothing at all.
        const auto found = context.loadTask(parser.positionalArguments().constFirst());
        if (!found) {
            return 1;
        }
        QString error;
        const std::optional<TaskSchedule> schedule = ScheduleOptions::build(parsed, found->schedule, &error);
        if (!schedule) {
            return context.usageError(error);
        }

        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        const std::optional<ScheduledTask> current = session.store().task(found->id);
        if (!current) {
            return context.fail(u"no task matches " % parser.positionalArguments().constFirst());
        }
        ScheduledTask task = *current; // keeps id, isEnabled and logs
        task.schedule = *schedule;
        if (parser.isSet(u"name"_s)) {
            task.name = parser.value(u"name"_s);
        }
        if (parser.isSet(u"command"_s)) {
            task.command = parser.value(u"command"_s);
        }
        if (parser.isSet(u"no-dir"_s)) {
            task.workingDirectory.reset();
        } else if (parser.isSet(u"dir"_s)) {
            task.workingDirectory = TaskOptions::pathValue(parser, u"dir"_s);
        }
        if (parser.isSet(u"no-env-file"_s)) {
            task.envFilePath.reset();
        } else if (parser.isSet(u"env-file"_s)) {
            task.envFilePath = TaskOptions::pathValue(parser, u"env-file"_s);
        }
        if (parser.isSet(u"login-shell"_s) || parser.isSet(u"no-login-shell"_s)) {
            task.useLoginShell = parser.isSet(u"login-shell"_s);
        }
        if (parser.isSet(u"wake"_s) || parser.isSet(u"no-wake"_s)) {
            task.wakeBeforeRun = parser.isSet(u"wake"_s);
        }
        session.store().update(task);
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeEdit()
{
    return std::make_unique<EditCommand>();
}
