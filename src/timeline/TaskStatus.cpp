#include "timeline/TaskStatus.h"

#include "model/NextRuns.h"

#include <algorithm>
#include <vector>

namespace {

bool isCalendar(const TaskSchedule &schedule)
{
    return schedule.times() != nullptr;
}

std::optional<TaskRunRecord> latestRun(const QList<TaskRunRecord> &runs)
{
    std::optional<TaskRunRecord> latest;
    for (const TaskRunRecord &run : runs) {
        // On equal start times the later line of the runs file wins.
        if (!latest || run.startedAt >= latest->startedAt) {
            latest = run;
        }
    }
    return latest;
}

// Calendar days in the local zone, as people count "the last 7 days"; the first moment counts.
QDateTime windowStart(const QDateTime &now, const QTimeZone &zone)
{
    return now.toTimeZone(zone).addDays(-TaskStatus::kMissedWindowDays).addMSecs(-1);
}

} // namespace

QList<QDateTime> TaskStatus::missedRuns(const ScheduledTask &task, const QList<TaskRunRecord> &runs,
                                        const std::optional<QDateTime> &installedAt, const QDateTime &now,
                                        const QTimeZone &zone)
{
    if (!task.isEnabled || !isCalendar(task.schedule) || !installedAt || !now.isValid()) {
        return {};
    }
    const QDateTime from = std::max(windowStart(now, zone), *installedAt);
    const QDateTime lastDue = now.addSecs(-60 * kGraceMinutes);
    const QList<QDateTime> due = runsBetween(task.schedule, from, lastDue, zone);
    if (due.isEmpty()) {
        return {};
    }
    std::vector<qint64> starts;
    starts.reserve(runs.size());
    for (const TaskRunRecord &run : runs) {
        starts.push_back(run.startedAt.time_since_epoch().count());
    }
    std::sort(starts.begin(), starts.end());
    const QList<QDateTime> after = nextRuns(task.schedule, due.last(), 1, zone);
    QList<QDateTime> missed;
    for (qsizetype i = 0; i < due.size(); ++i) {
        QDateTime end = i + 1 < due.size() ? due.at(i + 1) : (after.isEmpty() ? now : after.first());
        end = std::min(end, now);
        const qint64 begin = due.at(i).toSecsSinceEpoch();
        const auto first = std::lower_bound(starts.begin(), starts.end(), begin);
        if (first == starts.end() || *first >= end.toSecsSinceEpoch()) {
            missed.append(due.at(i));
        }
    }
    return missed;
}

TaskStatus::Status TaskStatus::compute(const ScheduledTask &task, const Inputs &inputs, const QDateTime &now,
                                       const QTimeZone &zone)
{
    Status status;
    status.task = task;
    const QList<TaskRunRecord> runs =
        inputs.runsOf ? inputs.runsOf(task, windowStart(now, zone)) : QList<TaskRunRecord>{};
    status.lastRun = latestRun(runs);
    if (task.isEnabled) {
        if (isCalendar(task.schedule)) {
            const QList<QDateTime> next = nextRuns(task.schedule, now, 1, zone);
            if (!next.isEmpty()) {
                status.nextRun = next.first();
            }
        } else if (task.schedule.as<Schedule::Interval>() && inputs.intervalNextRun) {
            status.nextRun = inputs.intervalNextRun(task);
        }
    }
    const std::optional<QDateTime> installed = inputs.installedAt ? inputs.installedAt(task) : std::nullopt;
    status.missed = missedRuns(task, runs, installed, now, zone);
    return status;
}

QList<TaskStatus::Status> TaskStatus::compute(const QList<ScheduledTask> &tasks, const Inputs &inputs,
                                              const QDateTime &now, const QTimeZone &zone)
{
    QList<Status> statuses;
    statuses.reserve(tasks.size());
    for (const ScheduledTask &task : tasks) {
        statuses.append(compute(task, inputs, now, zone));
    }
    return statuses;
}
