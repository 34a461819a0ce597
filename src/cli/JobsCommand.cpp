#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/TextTable.h"
#include "launchd/LaunchdBrowser.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QJsonObject jobJson(const LaunchdJob &job)
{
    return QJsonObject{{QStringLiteral("label"), job.label},
                       {QStringLiteral("source"), LaunchdJob::sourceTitle(job.source)},
                       {QStringLiteral("path"), job.id},
                       {QStringLiteral("command"), job.commandLine()},
                       {QStringLiteral("schedule"), job.scheduleSummary()},
                       {QStringLiteral("disabled"), job.disabled},
                       {QStringLiteral("runAtLoad"), job.runAtLoad},
                       {QStringLiteral("keepAlive"), job.keepAlive}};
}

class JobsCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("jobs"); }
    QString synopsis() const override { return QStringLiteral("jobs [--json]"); }
    QString summary() const override
    {
        return QStringLiteral("List the system's launchd jobs: label, folder, schedule.");
    }
    QString details() const override
    {
        return QStringLiteral("Reads ~/Library/LaunchAgents, /Library/LaunchAgents and /Library/LaunchDaemons, "
                              "leaving out Moxley's own jobs, sorted by label.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the jobs as one JSON array."))};
    }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        if (parser.isSet(QStringLiteral("json"))) {
            QJsonArray array;
            for (const LaunchdJob &job : jobs) {
                array.append(jobJson(job));
            }
            context.out << QString::fromUtf8(CliJson::document(array));
            return 0;
        }
        TextTable table;
        for (const LaunchdJob &job : jobs) {
            table.addRow({TextTable::singleLine(job.label), LaunchdJob::sourceTitle(job.source), job.scheduleSummary()});
        }
        context.out << table.render();
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeJobs()
{
    return std::make_unique<JobsCommand>();
}
