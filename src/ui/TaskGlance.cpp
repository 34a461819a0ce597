#include "ui/TaskGlance.h"

#include "store/RunHistory.h"

#include <QFileInfo>
#include <QLocale>

using namespace Qt::StringLiterals;

TaskStatus::Status TaskGlance::status(const TaskStore &store, const ScheduledTask &task, const QDateTime &now,
                                      const QTimeZone &zone)
{
    TaskStatus::Inputs inputs;
    inputs.runsOf = [&store](const ScheduledTask &t, const QDateTime &since) {
        return RunHistory::runsSince(store.launchdService().runsPath(t),
                                     std::chrono::sys_seconds(std::chrono::seconds(since.toSecsSinceEpoch())));
    };
    inputs.installedAt = [&store](const ScheduledTask &t) { return installedAt(store, t); };
    return TaskStatus::compute(task, inputs, now, zone);
}

std::optional<QDateTime> TaskGlance::installedAt(const TaskStore &store, const ScheduledTask &task)
{
    const QFileInfo job(store.scheduler().jobFilePath(task));
    return job.exists() ? std::optional(job.lastModified().toUTC()) : std::nullopt;
}

QString TaskGlance::relative(const QDateTime &from, const QDateTime &to)
{
    const qint64 minutes = from.secsTo(to) / 60;
    if (from.secsTo(to) <= 0) {
        return u"now"_s;
    }
    if (minutes < 1) {
        return u"in under a minute"_s;
    }
    const qint64 days = minutes / (24 * 60);
    const qint64 hours = minutes / 60 % 24;
    const qint64 rest = minutes % 60;
    QStringList parts;
    if (days > 0) {
        parts << QString::number(days) + u" d"_s;
        if (hours > 0) {
            parts << QString::number(hours) + u" h"_s;
        }
    } else {
        if (hours > 0) {
            parts << QString::number(hours) + u" h"_s;
        }
        if (rest > 0) {
            parts << QString::number(rest) + u" min"_s;
        }
    }
    return u"in "_s + parts.join(u' ');
}

QString TaskGlance::shortTime(const QDateTime &time, const QTimeZone &zone)
{
    return QLocale().toString(time.toTimeZone(zone), u"ddd d MMM HH:mm"_s);
}
