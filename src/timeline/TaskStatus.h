#pragma once

#include "model/ScheduledTask.h"

#include <QDateTime>
#include <QList>
#include <QTimeZone>

#include <functional>
#include <optional>

// At a glance, per task: the last run, the next one and the due times that went without a run.
// Computed from plain inputs (the tasks, their runs, when each job was installed, now, the zone), so
// the command-line tool and the app show the same facts.
namespace TaskStatus {

// How far back missed runs are looked for, and how late a run may start before its due time counts
// as missed.
constexpr int kMissedWindowDays = 7;
constexpr int kGraceMinutes = 5;

struct Status {
    ScheduledTask task;
    std::optional<TaskRunRecord> lastRun; // the run that started last
    std::optional<QDateTime> nextRun;
    QList<QDateTime> missed; // oldest first
};

struct Inputs {
    // The task's runs that started at `since` or later, and at least the one that started last
    // (RunHistory::runsSince); all of them will do too.
    std::function<QList<TaskRunRecord>(const ScheduledTask &, const QDateTime &since)> runsOf;
    // When the task's job was last installed (its job file's modification time); nothing when it has none.
    std::function<std::optional<QDateTime>(const ScheduledTask &)> installedAt;
    // The scheduler's own next time for an interval task, where it can tell; may be empty.
    std::function<std::optional<QDateTime>(const ScheduledTask &)> intervalNextRun;
};

// A missed run is a due time of an enabled calendar task within the kMissedWindowDays calendar days
// before now, at least kGraceMinutes before now and after the job was installed, from which until the
// next due time (or now, whichever is first) no run started.
QList<QDateTime> missedRuns(const ScheduledTask &task, const QList<TaskRunRecord> &runs,
                            const std::optional<QDateTime> &installedAt, const QDateTime &now, const QTimeZone &zone);

Status compute(const ScheduledTask &task, const Inputs &inputs, const QDateTime &now, const QTimeZone &zone);
// One status per task, in the order given.
QList<Status> compute(const QList<ScheduledTask> &tasks, const Inputs &inputs, const QDateTime &now,
                      const QTimeZone &zone);

} // namespace TaskStatus
