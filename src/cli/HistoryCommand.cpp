#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/TextTable.h"
#include "launchd/LaunchdService.h"
#include "store/RunHistory.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTimeZone>

namespace {

QString utcText(const QDateTime &date)
{
    return date.toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'");
}

// "5s", "2m 05s", "1h 00m 07s".
QString durationText(qint64 seconds)
{
    const QString sign = seconds < 0 ? QStringLiteral("-") : QString();
    seconds = seconds < 0 ? -seconds : seconds;
    if (seconds < 60) {
        return sign + QString::number(seconds) + u's';
    }
    const QString secs = QString::number(seconds % 60).rightJustified(2, u'0') + u's';
    if (seconds < 3600) {
        return sign + QString::number(seconds / 60) + u"m " + secs;
    }
    return sign + QString::number(seconds / 3600) + u"h " + QString::number(seconds / 60 % 60).rightJustified(2, u'0') +
           u"m " + secs;
}

class HistoryCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("history"); }
    QString synopsis() const override { return QStringLiteral("history TASK [--json]"); }
    QString summary() const override { return QStringLiteral("Show a task's recorded runs, oldest first."); }
    QString details() const override
    {
        return QStringLiteral("One line per run: its local start time, how long it took and its exit status.\n"
                              "With --json, times are in UTC.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the runs as one JSON array."))};
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        const QList<TaskRunRecord> runs = RunHistory::readRuns(LaunchdService().runsPath(task));
        if (parser.isSet(QStringLiteral("json"))) {
            QJsonArray array;
            for (const TaskRunRecord &run : runs) {
                array.append(QJsonObject{{QStringLiteral("startedAt"), utcText(runDateTime(run.startedAt))},
                                         {QStringLiteral("endedAt"), utcText(runDateTime(run.endedAt))},
                                         {QStringLiteral("exitCode"), run.exitCode}});
            }
            context.out << QString::fromUtf8(CliJson::document(array));
            return 0;
        }
        // An unknown TZ reads as UTC, as the C library takes it.
        const QTimeZone system = QTimeZone::systemTimeZone();
        const QTimeZone zone = system.isValid() ? system : QTimeZone::utc();
        TextTable table;
        for (const TaskRunRecord &run : runs) {
            table.addRow({runDateTime(run.startedAt).toTimeZone(zone).toString(u"yyyy-MM-dd HH:mm:ss"),
                          durationText((run.endedAt - run.startedAt).count()),
                          u"exit " + QString::number(run.exitCode)});
        }
        context.out << table.render();
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeHistory()
{
    return std::make_unique<HistoryCommand>();
}
