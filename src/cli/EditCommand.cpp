#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/ScheduleOptions.h"
#include "cli/StoreSession.h"

#include <QDir>

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
               u"\nA new kind keeps the task's times unless --at is given; --at alone changes only the times."_qs;
    }
    QList<QCommandLineOption> options() const override
    {
        QList<QCommandLineOption> list{
            QCommandLineOption(u"name"_qs, u"The task's name."_qs, u"N"_qs),
            QCommandLineOption(u"command"_qs, u"The shell command line to run."_qs, u"C"_qs),
        };
        list += ScheduleOptions::options();
        list += {
            QCommandLineOption(u"dir"_qs, u"Working folder of the command."_qs, u"DIR"_qs),
            QCommandLineOption(u"no-dir"_qs, u"No working folder."_qs),
            QCommandLineOption(u"env-file"_qs, u"A .env file loaded before the command."_qs, u"F"_qs),
            QCommandLineOption(u"no-env-file"_qs, u"No .env file."_qs),
            QCommandLineOption(u"login-shell"_qs, u"Load the shell profile."_qs),
            QCommandLineOption(u"no-login-shell"_qs, u"Do not load the shell profile."_qs),
            QCommandLineOption(u"wake"_qs, u"Wake the computer 5 minutes before each run."_qs),
            QCommandLineOption(u"no-wake"_qs, u"Do not wake the computer."_qs),
        };
        return list;
    }
    int minArguments() const override { return 1; }
    int maxArguments() const override { return 1; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        for (const auto &[on, off] :
             {std::pair{u"dir"_qs, u"no-dir"_qs}, std::pair{u"env-file"_qs, u"no-env-file"_qs},
              std::pair{u"login-shell"_qs, u"no-login-shell"_qs}, std::pair{u"wake"_qs, u"no-wake"_qs}}) {
            if (parser.isSet(on) && parser.isSet(off)) {
                return context.usageError(u"--" % on % u" and --" % off % u" exclude each other");
            }
        }
        for (const QString &option : {u"name"_qs, u"command"_qs}) {
            if (parser.isSet(option) && parser.value(option).isEmpty()) {
                return context.usageError(u"--" % option % u" must not be empty");
            }
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
        if (parser.isSet(u"name"_qs)) {
            task.name = parser.value(u"name"_qs);
        }
        if (parser.isSet(u"command"_qs)) {
            task.command = parser.value(u"command"_qs);
        }
        if (parser.isSet(u"no-dir"_qs)) {
            task.workingDirectory.reset();
        } else if (parser.isSet(u"dir"_qs)) {
            const QString dir = parser.value(u"dir"_qs);
            task.workingDirectory = dir.isEmpty() ? std::nullopt : std::optional(QDir::current().absoluteFilePath(dir));
        }
        if (parser.isSet(u"no-env-file"_qs)) {
            task.envFilePath.reset();
        } else if (parser.isSet(u"env-file"_qs)) {
            const QString file = parser.value(u"env-file"_qs);
            task.envFilePath = file.isEmpty() ? std::nullopt : std::optional(QDir::current().absoluteFilePath(file));
        }
        if (parser.isSet(u"login-shell"_qs) || parser.isSet(u"no-login-shell"_qs)) {
            task.useLoginShell = parser.isSet(u"login-shell"_qs);
        }
        if (parser.isSet(u"wake"_qs) || parser.isSet(u"no-wake"_qs)) {
            task.wakeBeforeRun = parser.isSet(u"wake"_qs);
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
