#include "timeline/SystemdLane.h"

#include "systemd/CalendarMarks.h"

#include <algorithm>

QList<Timeline::SystemRow> Timeline::systemdRows(const SystemdJobs &jobs, const QDate &date, const QTimeZone &zone)
{
    QList<SystemRow> rows;
    for (const TimerUnit &timer : jobs.timers) {
        if (timer.isTemplate || timer.masked || timer.calendars.isEmpty() || (!timer.enabled && !timer.nextElapse)) {
            continue;
        }
        QList<int> marks;
        for (const QString &expression : timer.calendars) {
            marks.append(CalendarMarks::minutesOn(expression, date, zone));
        }
        std::sort(marks.begin(), marks.end());
        marks.erase(std::unique(marks.begin(), marks.end()), marks.end());
        SystemRow row;
        row.label = timer.name;
        row.name = timer.shortName();
        row.marks = marks;
        rows.append(row);
    }
    for (const CronEntry &entry : jobs.cron) {
        if (!entry.when) {
            continue;
        }
        SystemRow row;
        row.label = entry.label();
        row.name = entry.label();
        row.marks = entry.minutesOn(date);
        rows.append(row);
    }
    return rows;
}
