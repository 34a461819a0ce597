#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/ScheduleOptions.h"
#include "cli/StoreSession.h"

#include <QDir>

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
               u"\nWithout a schedule the task runs daily. DIR and FILE are taken relative to the current folder."_qs;
    }
    QList<QCommandLineOption> options() const override
    {
        QList<QCommandLineOption> list{
            QCommandLineOption(u"name"_qs, u"The task's name."_qs, u"NAME"_qs),
            QCommandLineOption(u"command"_qs, u"The shell command line to run."_qs, u"CMD"_qs),
        };
        list += ScheduleOptions::options();
        list += {
            QCommandLineOption(u"dir"_qs, u"Working folder of the command."_qs, u"DIR"_qs),
            QCommandLineOption(u"env-file"_qs, u"A .env file loaded before the command."_qs, u"FILE"_qs),
            QCommandLineOption(u"no-login-shell"_qs, u"Do not load the shell profile."_qs),
            QCommandLineOption(u"wake"_qs, u"Wake the computer 5 minutes before each run."_qs),
            QCommandLineOption(u"disabled"_qs, u"Add the task switched off (no job installed)."_qs),
        };
        return list;
    }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        for (const QString &option : {u"name"_qs, u"command"_qs}) {
            if (!parser.isSet(option)) {
                return context.usageError(u"missing option --" % option);
            }
            if (parser.value(option).isEmpty()) {
                return context.usageError(u"--" % option % u" must not be empty");
            }
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
        task.name = parser.value(u"name"_qs);
        task.command = parser.value(u"command"_qs);
        if (const QString dir = parser.value(u"dir"_qs); !dir.isEmpty()) {
            task.workingDirectory = QDir::current().absoluteFilePath(dir);
        }
        if (const QString file = parser.value(u"env-file"_qs); !file.isEmpty()) {
            task.envFilePath = QDir::current().absoluteFilePath(file);
        }
        task.useLoginShell = !parser.isSet(u"no-login-shell"_qs);
        task.wakeBeforeRun = parser.isSet(u"wake"_qs);
        task.schedule = *schedule;
        task.isEnabled = !parser.isSet(u"disabled"_qs);

        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        session.store().add(task);
        context.out << task.fullId() << '\n';
        context.out.flush();
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeAdd()
{
    return std::make_unique<AddCommand>();
}
