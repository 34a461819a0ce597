#pragma once

#include "model/TaskSchedule.h"

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QTime>
#include <QTimeZone>

// The times a calendar schedule fires, the way systemd's calendar timers fire them: wall-clock times
// in `zone`; a time that the spring-forward change skips does not fire that day, and a time in the
// repeated autumn hour fires once, at its first instant after `after`. Interval and run-at-load
// schedules have no calendar times and give empty lists.

// The next `count` run times strictly after `after`.
QList<QDateTime> nextRuns(const TaskSchedule &schedule, const QDateTime &after, int count, const QTimeZone &zone);

// Every run time strictly after `from` and at or before `to`, oldest first.
QList<QDateTime> runsBetween(const TaskSchedule &schedule, const QDateTime &from, const QDateTime &to,
                             const QTimeZone &zone);

// The times of day a calendar schedule fires at: the valid ones, sorted, each once (files may hold
// out-of-range times). Empty for interval and run-at-load.
QList<QTime> calendarTimes(const TaskSchedule &schedule);

// Whether the schedule fires on this local date at all (at one of its times).
bool runsOnDate(const TaskSchedule &schedule, QDate date);
