#include "timeline/DayTimeline.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

// Minutes are wall-clock minutes of the local day (hour × 60 + minute), not minutes elapsed since
// midnight: on a day whose clocks change the same numbers apply, a skipped hour simply has no runs
// and a repeated hour maps both of its passes onto the same minutes.

namespace {

// 1 = Sunday ... 7 = Saturday.
int weekdayNumber(const QDate &date)
{
    return date.dayOfWeek() % 7 + 1;
}

int minuteOfDay(const QTime &time)
{
    return time.hour() * 60 + time.minute();
}

QList<int> minutesOf(const QList<TimeOfDay> &times)
{
    QList<int> minutes;
    minutes.reserve(times.size());
    for (const TimeOfDay &time : times) {
        minutes.append(time.minuteOfDay());
    }
    return minutes;
}

QList<int> occurrenceMinutes(const TaskSchedule &schedule, const QDate &today)
{
    const int weekday = weekdayNumber(today);
    switch (schedule.kind()) {
    case TaskSchedule::Kind::interval: {
        const int step = schedule.as<Schedule::Interval>()->minutes;
        Q_ASSERT_X(step > 0, "Timeline::compute", "an interval of 0 minutes");
        QList<int> minutes;
        if (step <= 0) {
            return minutes;
        }
        for (int minute = 0; minute < Timeline::kTotalMinutes; minute += step) {
            minutes.append(minute);
        }
        return minutes;
    }
    case TaskSchedule::Kind::daily:
        return minutesOf(schedule.as<Schedule::Daily>()->times);
    case TaskSchedule::Kind::weekly: {
        const auto *weekly = schedule.as<Schedule::Weekly>();
        return weekly->weekdays.contains(weekday) ? minutesOf(weekly->times) : QList<int>{};
    }
    case TaskSchedule::Kind::monthly:
        // launchd fires on every day; the wrapper script is what keeps to the day of the month.
        return minutesOf(schedule.as<Schedule::Monthly>()->times);
    case TaskSchedule::Kind::monthlyLastDay:
        return today.addDays(1).day() == 1 ? minutesOf(schedule.as<Schedule::MonthlyLastDay>()->times)
                                           : QList<int>{};
    case TaskSchedule::Kind::monthlyNthWeekday: {
        const auto *nth = schedule.as<Schedule::MonthlyNthWeekday>();
        const bool matches = weekday == nth->weekday && (today.day() - 1) / 7 + 1 == nth->nth;
        return matches ? minutesOf(nth->times) : QList<int>{};
    }
    case TaskSchedule::Kind::runAtLoad:
        break;
    }
    return {};
}

// The label's last two dot-separated parts ("com.apple.backupd" gives "apple.backupd"); a label
// with fewer parts is shown whole. Empty parts count as parts.
QString shortName(const QString &label)
{
    const qsizetype lastDot = label.lastIndexOf(u'.');
    if (lastDot < 0) {
        return label;
    }
    const qsizetype previousDot = lastDot == 0 ? -1 : label.lastIndexOf(u'.', lastDot - 1);
    return previousDot < 0 ? label : label.mid(previousDot + 1);
}

QList<int> systemMarks(const LaunchdJob &job)
{
    QList<int> marks;
    if (job.startInterval) {
        // Jobs that fire more than once a minute are not drawn.
        const qint64 seconds = *job.startInterval;
        if (seconds >= 60) {
            const qint64 step = seconds / 60;
            for (qint64 minute = 0; minute < Timeline::kTotalMinutes; minute += step) {
                marks.append(int(minute));
            }
        }
        return marks;
    }
    if (job.startCalendarInterval) {
        // Day, Weekday and Month are ignored: a calendar job is drawn every day.
        const qint64 hour = job.startCalendarInterval->value(QStringLiteral("Hour"), 0);
        const qint64 minute = job.startCalendarInterval->value(QStringLiteral("Minute"), 0);
        qint64 product = 0;
        qint64 sum = 0;
        if (!__builtin_mul_overflow(hour, qint64(60), &product) && !__builtin_add_overflow(product, minute, &sum) &&
            sum >= std::numeric_limits<int>::min() && sum <= std::numeric_limits<int>::max()) {
            marks.append(int(sum));
        }
    }
    return marks;
}

} // namespace

Timeline::Day Timeline::compute(const QList<ScheduledTask> &tasks, const RunHistory &runsFor,
                                const QList<LaunchdJob> &systemJobs, const QDateTime &now, const QTimeZone &zone)
{
    const QDateTime localNow = now.toTimeZone(zone);
    Day day;
    day.date = localNow.date();
    day.currentHour = localNow.time().hour();

    for (const ScheduledTask &task : tasks) {
        if (!task.isEnabled || task.schedule.kind() == TaskSchedule::Kind::runAtLoad) {
            continue;
        }
        TaskRow row;
        row.task = task;
        QList<int> runStarts;
        for (const TaskRunRecord &run : runsFor ? runsFor(task) : QList<TaskRunRecord>{}) {
            const QDateTime localStart = run.startedAt.toTimeZone(zone);
            if (localStart.date() != day.date) {
                continue;
            }
            const int startMinute = minuteOfDay(localStart.time());
            runStarts.append(startMinute);
            const double minutes = double(run.startedAt.msecsTo(run.endedAt)) / 60000.0;
            row.runs.append(Run{startMinute, std::max(minutes, 1.0), run.exitCode});
        }
        for (const int minute : occurrenceMinutes(task.schedule, day.date)) {
            // Up to 4 minutes early or late; one run may mark two nearby occurrences.
            const bool ran = std::any_of(runStarts.cbegin(), runStarts.cend(),
                                         [minute](int start) { return std::abs(start - minute) < 5; });
            row.occurrences.append(Occurrence{minute, ran});
            if (task.wakeBeforeRun) {
                row.wakeWindows.append(WakeWindow{std::max(minute - 5, 0), 5});
            }
        }
        day.tasks.append(row);
    }

    for (const LaunchdJob &job : systemJobs) {
        if (job.label.startsWith(u"com.moxley.task.") || job.disabled ||
            (!job.startInterval && !job.startCalendarInterval)) {
            continue;
        }
        day.systemJobs.append(SystemRow{job, shortName(job.label), systemMarks(job)});
    }
    return day;
}
