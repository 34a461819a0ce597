#include "cli/CliJson.h"
#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "doctor/Doctor.h"

namespace {

const QString kJson = QStringLiteral("json");

class DoctorCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("doctor"); }
    QString synopsis() const override { return QStringLiteral("doctor TASK [--json]"); }
    QString summary() const override
    {
        return QStringLiteral("Check that a task runs when scheduled as it does in a Test Run.");
    }
    QString details() const override
    {
        return QStringLiteral("Runs a probe through the scheduler (as start does, then removed with every file of it)\n"
                              "and in a Test Run's shell, compares the two environments and prints each problem on\n"
                              "its own line as KIND: TEXT. Where the scheduler cannot be asked, the scheduled side is\n"
                              "its documented default environment, and a notice says so. Exit 0 when there are no\n"
                              "problems, 1 when there are some.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(kJson, QStringLiteral("Print the report as one JSON object."))};
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        const Doctor::Result result = Doctor::check(task, *context.scheduler(), LaunchdService());
        if (!result.note.isEmpty()) {
            context.notice(result.note);
        }
        if (parser.isSet(kJson)) {
            context.out << QString::fromUtf8(CliJson::document(Doctor::toJson(result)));
        } else {
            context.out << Doctor::text(result);
        }
        context.out.flush();
        return result.ok() ? 0 : 1;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeDoctor()
{
    return std::make_unique<DoctorCommand>();
}
