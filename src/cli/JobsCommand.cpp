#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/TextTable.h"
#include "launchd/LaunchdBrowser.h"
#include "systemd/SystemdBrowser.h"

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

// The same shape as a launchd job: a timer's unit name, file and service command; a cron line's place.
QJsonObject jobJson(const QString &label, const QString &source, const QString &path, const QString &command,
                    const QString &schedule, bool disabled, bool runAtLoad)
{
    return QJsonObject{{QStringLiteral("label"), label},         {QStringLiteral("source"), source},
                       {QStringLiteral("path"), path},           {QStringLiteral("command"), command},
                       {QStringLiteral("schedule"), schedule},   {QStringLiteral("disabled"), disabled},
                       {QStringLiteral("runAtLoad"), runAtLoad}, {QStringLiteral("keepAlive"), false}};
}

// Started with the manager (at boot, or at login for the user's), as a launchd job at load.
bool runsAtStart(const TimerUnit &timer)
{
    for (const QString &trigger : timer.otherTriggers) {
        if (trigger.startsWith(u"OnBootSec=") || trigger.startsWith(u"OnStartupSec=")) {
            return true;
        }
    }
    return false;
}

int printSystemdJobs(CommandContext &context, bool json)
{
    const SystemdJobs jobs = SystemdJobs::scan();
    QJsonArray array;
    TextTable table;
    for (const TimerUnit &timer : jobs.timers) {
        const QString source = TimerUnit::sourceTitle(timer.source);
        array.append(jobJson(timer.name, source, timer.path, timer.commandLine(), timer.scheduleSummary(),
                             !timer.enabled, runsAtStart(timer)));
        table.addRow({TextTable::singleLine(timer.name), source, TextTable::singleLine(timer.scheduleSummary())});
    }
    for (const CronEntry &entry : jobs.cron) {
        array.append(jobJson(entry.label(), CronEntry::sourceTitle(), entry.file, entry.command,
                             entry.scheduleSummary(), false, entry.atReboot));
        table.addRow({TextTable::singleLine(entry.label()), CronEntry::sourceTitle(),
                      TextTable::singleLine(entry.scheduleSummary())});
    }
    context.out << (json ? QString::fromUtf8(CliJson::document(array)) : table.render());
    return 0;
}

class JobsCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("jobs"); }
    QString synopsis() const override { return QStringLiteral("jobs [--json]"); }
    QString summary() const override
    {
        return QStringLiteral("List the system's jobs (launchd jobs, or systemd timers and cron lines): label, source, "
                              "schedule.");
    }
    QString details() const override
    {
        return QStringLiteral("With launchd: reads ~/Library/LaunchAgents, /Library/LaunchAgents and "
                              "/Library/LaunchDaemons, leaving out Moxley's own jobs, sorted by label.\n"
                              "With systemd: the user's and the system's timer units (each once, by name), then "
                              "/etc/crontab, /etc/cron.d and the user's crontab, one line per cron line.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the jobs as one JSON array."))};
    }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        if (browsesSystemdJobs()) {
            return printSystemdJobs(context, parser.isSet(QStringLiteral("json")));
        }
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
            table.addRow(
                {TextTable::singleLine(job.label), LaunchdJob::sourceTitle(job.source), job.scheduleSummary()});
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
