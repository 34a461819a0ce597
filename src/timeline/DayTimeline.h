#pragma once

#include "launchd/LaunchdJob.h"
#include "model/ScheduledTask.h"

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QTimeZone>

#include <chrono>
#include <functional>

// Today's timeline as plain data: what is placed, at which minutes (0-1439 from local
// midnight), and which occurrences have run. A pure function of its inputs.
namespace Timeline {

inline constexpr int kTotalMinutes = 1440;

struct Occurrence {
    int minute = 0;
    bool ran = false;
};

struct Run {
    int startMinute = 0;
    double minutes = 1; // drawn length: the duration in minutes, at least 1
    qint32 exitCode = 0;
};

struct WakeWindow {
    int startMinute = 0; // max(occurrence - 5, 0)
    int minutes = 5;
};

struct TaskRow {
    ScheduledTask task;
    QList<Occurrence> occurrences; // in the order the schedule yields them
    QList<Run> runs;               // today's runs
    QList<WakeWindow> wakeWindows; // only for tasks that wake the computer
};

struct SystemRow {
    LaunchdJob job; // empty for a systemd timer or cron line
    QString label;  // the job's label, the timer's unit name or the cron line's "FILE:LINE"
    QString name;   // what the lane shows: the last two dot-separated parts of a label, a timer's name
    QList<int> marks;
};

struct Day {
    QDate date;
    int currentHour = 0;
    QList<TaskRow> tasks;
    QList<SystemRow> systemJobs;
};

// The instants whose runs compute() can place for the day of `now`: it needs the runs that started
// in this window, and only those (a reader may then skip the rest of a history).
struct RunWindow {
    std::chrono::sys_seconds from;
    std::chrono::sys_seconds to;
};
RunWindow runWindow(const QDateTime &now, const QTimeZone &zone);

using RunHistory = std::function<QList<TaskRunRecord>(const ScheduledTask &)>;

Day compute(const QList<ScheduledTask> &tasks, const RunHistory &runsFor, const QList<LaunchdJob> &systemJobs,
            const QDateTime &now, const QTimeZone &zone);

} // namespace Timeline
