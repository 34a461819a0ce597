#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LocalTime.h"
#include "cli/TextTable.h"
#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"
#include "store/RunHistory.h"
#include "timeline/TaskStatus.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString localMinute(const QDateTime &time, const QTimeZone &zone)
{
    return time.toTimeZone(zone).toString(u"yyyy-MM-dd HH:mm"_s);
}

QString utcText(std::chrono::sys_seconds time)
{
    return runDateTime(time).toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'"_s);
}

QJsonArray json(const QList<TaskStatus::Status> &statuses, const QTimeZone &zone)
{
    QJsonArray array;
    for (const TaskStatus::Status &status : statuses) {
        QJsonValue lastRun = QJsonValue::Null;
        if (status.lastRun) {
            lastRun = QJsonObject{{u"startedAt"_s, utcText(status.lastRun->startedAt)},
                                  {u"endedAt"_s, utcText(status.lastRun->endedAt)},
                                  {u"exitCode"_s, status.lastRun->exitCode}};
        }
        QJsonArray missed;
        for (const QDateTime &due : status.missed) {
            missed.append(localMinute(due, zone));
        }
        array.append(QJsonObject{{u"id"_s, status.task.fullId()},
                                 {u"shortId"_s, status.task.shortId()},
                                 {u"name"_s, status.task.name},
                                 {u"isEnabled"_s, status.task.isEnabled},
                                 {u"lastRun"_s, lastRun},
                                 {u"nextRun"_s, status.nextRun ? QJsonValue(localMinute(*status.nextRun, zone))
                                                               : QJsonValue(QJsonValue::Null)},
                                 {u"missed"_s, missed}});
    }
    return array;
}

enum class Colour { none, red, green };

struct Cell {
    QString text;
    Colour colour = Colour::none;
};

// Aligned as TextTable aligns, with colour codes around the padded cells so they take no width.
QString text(const QList<TaskStatus::Status> &statuses, const QTimeZone &zone, bool colours)
{
    QList<QList<Cell>> rows;
    for (const TaskStatus::Status &status : statuses) {
        Cell last{u"never"_s};
        if (status.lastRun) {
            last = {localMinute(runDateTime(status.lastRun->startedAt), zone) + u" exit "_s +
                        QString::number(status.lastRun->exitCode),
                    status.lastRun->exitCode == 0 ? Colour::green : Colour::red};
        }
        const Cell next{status.nextRun ? localMinute(*status.nextRun, zone) : u"-"_s};
        const Cell missed{QString::number(status.missed.size()) + u" missed"_s,
                          status.missed.isEmpty() ? Colour::none : Colour::red};
        rows.append({{status.task.shortId()}, {TextTable::singleLine(status.task.name)}, last, next, missed});
    }
    QList<qsizetype> widths(5, 0);
    for (const QList<Cell> &row : rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row.at(i).text.size());
        }
    }
    QString out;
    for (const QList<Cell> &row : rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            const Cell &cell = row.at(i);
            const QString padding(i + 1 == row.size() ? 0 : widths.at(i) + 2 - cell.text.size(), u' ');
            if (colours && cell.colour != Colour::none) {
                out += (cell.colour == Colour::red ? u"\x1b[31m"_s : u"\x1b[32m"_s) + cell.text + u"\x1b[0m"_s;
            } else {
                out += cell.text;
            }
            out += padding;
        }
        out += u'\n';
    }
    return out;
}

bool writesToTerminal(const QTextStream &stream)
{
    const auto *file = qobject_cast<const QFile *>(stream.device());
    return file && file->handle() == STDOUT_FILENO && ::isatty(STDOUT_FILENO) == 1;
}

class StatusCommand : public Command
{
public:
    QString name() const override { return u"status"_s; }
    QString synopsis() const override { return u"status [--at YYYY-MM-DDTHH:MM] [--json]"_s; }
    QString summary() const override { return u"Show each task's last run, next run and missed runs."_s; }
    QString details() const override
    {
        return u"One line per task: short id, name, last run (local start time and exit status, or never),\n"
               u"next run (or -) and how many runs were missed in the last 7 days. A due time counts as\n"
               u"missed when no run started from it until the next due time (or now), it is at least 5\n"
               u"minutes old and the task's job was installed before it. --at sets \"now\" in local time."_s;
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(u"at"_s, u"Take this local time as now."_s, u"YYYY-MM-DDTHH:MM"_s),
                QCommandLineOption(u"json"_s, u"Print the statuses as one JSON array."_s)};
    }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const QTimeZone zone = LocalTime::zone();
        const auto at = LocalTime::now(parser, zone);
        if (const auto *problem = std::get_if<QString>(&at)) {
            return context.usageError(*problem);
        }
        const auto tasks = context.loadTasks();
        if (!tasks) {
            return 1;
        }
        const LaunchdService files;
        TaskStatus::Inputs inputs;
        inputs.runsOf = [&](const ScheduledTask &task, const QDateTime &since) {
            return RunHistory::runsSince(files.runsPath(task),
                                         std::chrono::sys_seconds(std::chrono::seconds(since.toSecsSinceEpoch())));
        };
        const std::shared_ptr<JobScheduler> scheduler = context.scheduler();
        inputs.installedAt = [&](const ScheduledTask &task) -> std::optional<QDateTime> {
            const QFileInfo job(scheduler->jobFilePath(task));
            return job.exists() ? std::optional(job.lastModified().toUTC()) : std::nullopt;
        };
        inputs.intervalNextRun = [&](const ScheduledTask &task) -> std::optional<QDateTime> {
            const QList<QDateTime> next = scheduler->nextRuns(task, std::get<QDateTime>(at), 1);
            return next.isEmpty() ? std::nullopt : std::optional(next.first());
        };
        const QList<TaskStatus::Status> statuses = TaskStatus::compute(*tasks, inputs, std::get<QDateTime>(at), zone);
        if (parser.isSet(u"json"_s)) {
            context.out << QString::fromUtf8(CliJson::document(json(statuses, zone)));
        } else {
            context.out << text(statuses, zone, writesToTerminal(context.out));
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeStatus()
{
    return std::make_unique<StatusCommand>();
}
