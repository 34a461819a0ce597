#include "cli/TimelineCommand.h"
#include "launchd/LaunchdBrowser.h"

#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LocalTime.h"
#include "launchd/LaunchdService.h"
#include "store/RunHistory.h"
#include "systemd/SystemdBrowser.h"
#include "timeline/SystemdLane.h"

#include <QJsonArray>

#include <variant>

namespace {

QString clock(int minute)
{
    return QString::asprintf("%d:%02d", minute / 60, minute % 60);
}

// Long lists (an every-minute job) shrink to their span.
QString minuteList(const QList<int> &minutes, const QList<bool> &ran = {})
{
    constexpr int kLongest = 12;
    if (minutes.size() > kLongest) {
        QString line =
            QString::number(minutes.size()) + u" times, " + clock(minutes.first()) + u" to " + clock(minutes.last());
        if (!ran.isEmpty()) {
            line += u", " + QString::number(ran.count(true)) + u" ran";
        }
        return line;
    }
    QStringList parts;
    for (qsizetype i = 0; i < minutes.size(); ++i) {
        parts << clock(minutes.at(i)) + (i < ran.size() && ran.at(i) ? QStringLiteral(" (ran)") : QString());
    }
    return parts.join(u", ");
}

// "1 min", "2.5 min"
QString minutesText(double minutes)
{
    return QString::number(minutes, 'g', 6) + u" min";
}

class TimelineCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("timeline"); }
    QString synopsis() const override { return QStringLiteral("timeline [--at YYYY-MM-DDTHH:MM] [--system] [--json]"); }
    QString summary() const override { return QStringLiteral("Show today's timeline: when tasks are due and ran."); }
    QString details() const override
    {
        return QStringLiteral("Minutes count from local midnight by the wall clock (0-1439). --at sets \"now\" in\n"
                              "local time (TZ is honoured); a time that the clock skips is refused.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("at"), QStringLiteral("Take this local time as now."),
                                   QStringLiteral("YYYY-MM-DDTHH:MM")),
                QCommandLineOption(
                    QStringLiteral("system"),
                    QStringLiteral("Add the system's jobs: launchd jobs, or systemd timers and cron lines.")),
                QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the timeline as one JSON object."))};
    }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const QTimeZone zone = LocalTime::zone();
        const auto at = LocalTime::now(parser, zone);
        if (const auto *problem = std::get_if<QString>(&at)) {
            return context.usageError(*problem);
        }
        const QDateTime now = std::get<QDateTime>(at);
        const auto tasks = context.loadTasks();
        if (!tasks) {
            return 1;
        }
        const bool withSystem = parser.isSet(QStringLiteral("system"));
        const bool systemd = withSystem && browsesSystemdJobs();
        QList<LaunchdJob> jobs;
        if (withSystem && !systemd) {
            jobs = LaunchdBrowser().scan();
        }
        const LaunchdService files;
        // Only the day's runs are parsed, read from the end of each history.
        const Timeline::RunWindow window = Timeline::runWindow(now, zone);
        Timeline::Day day = Timeline::compute(
            *tasks,
            [&](const ScheduledTask &task) {
                return RunHistory::runsStartingBetween(files.runsPath(task), window.from, window.to);
            },
            jobs, now, zone);
        if (systemd) {
            day.systemJobs = Timeline::systemdRows(SystemdJobs::scan(), day.date, zone);
        }
        if (parser.isSet(QStringLiteral("json"))) {
            context.out << QString::fromUtf8(CliJson::document(TimelineOutput::json(day, withSystem)));
        } else {
            context.out << TimelineOutput::text(day, withSystem);
        }
        return 0;
    }
};

} // namespace

QJsonObject TimelineOutput::json(const Timeline::Day &day, bool withSystemJobs)
{
    QJsonArray tasks;
    for (const Timeline::TaskRow &row : day.tasks) {
        QJsonArray occurrences;
        for (const Timeline::Occurrence &occurrence : row.occurrences) {
            occurrences.append(
                QJsonObject{{QStringLiteral("minute"), occurrence.minute}, {QStringLiteral("ran"), occurrence.ran}});
        }
        QJsonArray runs;
        for (const Timeline::Run &run : row.runs) {
            runs.append(QJsonObject{{QStringLiteral("startMinute"), run.startMinute},
                                    {QStringLiteral("minutes"), run.minutes},
                                    {QStringLiteral("exitCode"), run.exitCode}});
        }
        QJsonObject task{{QStringLiteral("id"), row.task.fullId()},
                         {QStringLiteral("name"), row.task.name},
                         {QStringLiteral("occurrences"), occurrences},
                         {QStringLiteral("runs"), runs}};
        if (row.task.wakeBeforeRun) {
            QJsonArray windows;
            for (const Timeline::WakeWindow &window : row.wakeWindows) {
                windows.append(QJsonObject{{QStringLiteral("startMinute"), window.startMinute},
                                           {QStringLiteral("minutes"), window.minutes}});
            }
            task.insert(QStringLiteral("wakeWindows"), windows);
        }
        tasks.append(task);
    }
    QJsonObject object{{QStringLiteral("date"), day.date.toString(Qt::ISODate)},
                       {QStringLiteral("currentHour"), day.currentHour},
                       {QStringLiteral("tasks"), tasks}};
    if (withSystemJobs) {
        QJsonArray jobs;
        for (const Timeline::SystemRow &row : day.systemJobs) {
            QJsonArray marks;
            for (const int mark : row.marks) {
                marks.append(mark);
            }
            jobs.append(QJsonObject{{QStringLiteral("label"), row.label},
                                    {QStringLiteral("name"), row.name},
                                    {QStringLiteral("marks"), marks}});
        }
        object.insert(QStringLiteral("systemJobs"), jobs);
    }
    return object;
}

QString TimelineOutput::text(const Timeline::Day &day, bool withSystemJobs)
{
    QString out = u"Timeline for " + day.date.toString(u"dddd, yyyy-MM-dd") + u", now in hour " +
                  QString::number(day.currentHour) + u'\n';
    if (!day.tasks.isEmpty()) {
        out += u"\nMy tasks\n";
        for (const Timeline::TaskRow &row : day.tasks) {
            out += u"  " + row.task.name.simplified() + u" (" + row.task.shortId() + u"), " +
                   row.task.schedule.description() + u'\n';
            QList<int> minutes;
            QList<bool> ran;
            for (const Timeline::Occurrence &occurrence : row.occurrences) {
                minutes << occurrence.minute;
                ran << occurrence.ran;
            }
            out += u"    due:  " + (minutes.isEmpty() ? QStringLiteral("not today") : minuteList(minutes, ran)) + u'\n';
            if (!row.runs.isEmpty()) {
                QStringList runs;
                for (const Timeline::Run &run : row.runs) {
                    runs << clock(run.startMinute) + u" for " + minutesText(run.minutes) + u", exit " +
                                QString::number(run.exitCode);
                }
                out += u"    runs: " + runs.join(u"; ") + u'\n';
            }
            if (row.task.wakeBeforeRun && !row.wakeWindows.isEmpty()) {
                QList<int> starts;
                for (const Timeline::WakeWindow &window : row.wakeWindows) {
                    starts << window.startMinute;
                }
                out += u"    wake: " + minuteList(starts) + u" (5 min each)\n";
            }
        }
    } else if (!withSystemJobs) {
        out += u"\nNo enabled tasks\n";
    }
    if (withSystemJobs && !day.systemJobs.isEmpty()) {
        out += u"\nSystem jobs\n";
        for (const Timeline::SystemRow &row : day.systemJobs) {
            // Without marks, a launchd job fires too often to draw; a timer or cron line does not run today.
            const QString none = row.job.label.isEmpty() ? QStringLiteral("not today")
                                                         : QStringLiteral("more often than once a minute, not drawn");
            out += u"  " + row.name + u" (" + row.label + u"): " +
                   (row.marks.isEmpty() ? none : minuteList(row.marks)) + u'\n';
        }
    }
    return out;
}

std::unique_ptr<Command> Commands::makeTimeline()
{
    return std::make_unique<TimelineCommand>();
}
