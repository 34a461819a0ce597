#include "timeline/DayTimeline.h"

#include <algorithm>
#include <array>
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
        // The file reader refuses such an interval; should one get here, it has no marks.
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
        return today.addDays(1).day() == 1 ? minutesOf(schedule.as<Schedule::MonthlyLastDay>()->times) : QList<int>{};
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

// The offsets from UTC in force during one local day, read once, so that each run's start becomes
// a minute of the day without a time-zone lookup of its own (a timeline may hold a million runs).
class DayClock
{
public:
    DayClock(const QDate &date, const QTimeZone &zone)
        : m_start(date.startOfDay(zone).toMSecsSinceEpoch()),
          m_end(date.addDays(1).startOfDay(zone).toMSecsSinceEpoch()), m_exact(zone.hasTransitions())
    {
        m_offsets.append({m_start, zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(m_start, QTimeZone::utc()))});
        if (m_exact) {
            const auto transitions = zone.transitions(QDateTime::fromMSecsSinceEpoch(m_start, QTimeZone::utc()),
                                                      QDateTime::fromMSecsSinceEpoch(m_end - 1, QTimeZone::utc()));
            for (const QTimeZone::OffsetData &transition : transitions) {
                m_offsets.append({transition.atUtc.toMSecsSinceEpoch(), transition.offsetFromUtc});
            }
        }
    }

    // False when the zone gives no transitions to rely on; the caller then converts each run.
    bool exact() const { return m_exact; }
    // Whether the instant falls on the day (local time).
    bool contains(qint64 msecs) const { return msecs >= m_start && msecs < m_end; }

    // Hour × 60 + minute of the local wall-clock time of an instant of the day.
    int minuteOf(qint64 msecs) const
    {
        int offset = m_offsets.first().second;
        for (const auto &[at, value] : m_offsets) {
            if (at <= msecs) {
                offset = value;
            }
        }
        const qint64 seconds = (msecs >= 0 ? msecs : msecs - 999) / 1000 + offset;
        const qint64 secondOfDay = ((seconds % 86400) + 86400) % 86400;
        return int(secondOfDay / 60);
    }

private:
    qint64 m_start;
    qint64 m_end;
    bool m_exact;
    QList<std::pair<qint64, int>> m_offsets; // from this instant (UTC msecs) on, this offset (s)
};

// Which minutes of the day lie within 4 minutes of a run start: filled once per task, so each
// occurrence is a look-up instead of a pass over the runs.
class RunCoverage
{
public:
    void add(int startMinute)
    {
        for (int minute = std::max(startMinute - 4, 0);
             minute <= std::min(startMinute + 4, Timeline::kTotalMinutes - 1); ++minute) {
            m_covered[minute] = true;
        }
    }

    // `runs` are the same runs, for a minute outside the day (a time of day out of range).
    bool covers(int minute, const QList<Timeline::Run> &runs) const
    {
        if (minute >= 0 && minute < Timeline::kTotalMinutes) {
            return m_covered[minute];
        }
        return std::any_of(runs.cbegin(), runs.cend(),
                           [minute](const Timeline::Run &run) { return std::abs(run.startMinute - minute) < 5; });
    }

private:
    std::array<bool, Timeline::kTotalMinutes> m_covered{};
};

// The rows of the tasks that the timeline shows, in the tasks' order.
QList<Timeline::TaskRow> taskRows(const QList<ScheduledTask> &tasks, const Timeline::RunHistory &runsFor,
                                  const DayClock &clock, const QTimeZone &zone, const QDate &date)
{
    using namespace Timeline;
    QList<TaskRow> rows;
    for (const ScheduledTask &task : tasks) {
        if (!task.isEnabled || task.schedule.kind() == TaskSchedule::Kind::runAtLoad) {
            continue;
        }
        TaskRow row;
        row.task = task;
        RunCoverage coverage;
        for (const TaskRunRecord &run : runsFor ? runsFor(task) : QList<TaskRunRecord>{}) {
            int startMinute = 0;
            if (clock.exact()) {
                // Most runs are of other days: the cheapest test first.
                const qint64 start = std::chrono::milliseconds(run.startedAt.time_since_epoch()).count();
                if (!clock.contains(start)) {
                    continue;
                }
                startMinute = clock.minuteOf(start);
            } else {
                const QDateTime localStart = runDateTime(run.startedAt).toTimeZone(zone);
                if (localStart.date() != date) {
                    continue;
                }
                startMinute = minuteOfDay(localStart.time());
            }
            coverage.add(startMinute);
            const double minutes = double((run.endedAt - run.startedAt).count()) / 60.0;
            row.runs.append(Run{startMinute, std::max(minutes, 1.0), run.exitCode});
        }
        for (const int minute : occurrenceMinutes(task.schedule, date)) {
            // Up to 4 minutes early or late; one run may mark two nearby occurrences.
            row.occurrences.append(Occurrence{minute, coverage.covers(minute, row.runs)});
            if (task.wakeBeforeRun) {
                row.wakeWindows.append(WakeWindow{std::max(minute - 5, 0), 5});
            }
        }
        rows.append(row);
    }
    return rows;
}

} // namespace

Timeline::Day Timeline::compute(const QList<ScheduledTask> &tasks, const RunHistory &runsFor,
                                const QList<LaunchdJob> &systemJobs, const QDateTime &now, const QTimeZone &zone)
{
    const QDateTime localNow = now.toTimeZone(zone);
    Day day;
    day.date = localNow.date();
    day.currentHour = localNow.time().hour();

    const DayClock clock(day.date, zone);
    day.tasks = taskRows(tasks, runsFor, clock, zone, day.date);

    for (const LaunchdJob &job : systemJobs) {
        if (job.label.startsWith(u"com.moxley.task.") || job.disabled ||
            (!job.startInterval && !job.startCalendarInterval)) {
            continue;
        }
        day.systemJobs.append(SystemRow{job, job.label, shortName(job.label), systemMarks(job)});
    }
    return day;
}

Timeline::RunWindow Timeline::runWindow(const QDateTime &now, const QTimeZone &zone)
{
    const QDate date = now.toTimeZone(zone).date();
    // Without transitions the day is told by converting each run: a day more on either side.
    const qint64 margin = zone.hasTransitions() ? 0 : 86400 * 2;
    const qint64 start = date.startOfDay(zone).toMSecsSinceEpoch();
    const qint64 end = date.addDays(1).startOfDay(zone).toMSecsSinceEpoch();
    const auto floorSeconds = [](qint64 msecs) { return msecs >= 0 ? msecs / 1000 : (msecs - 999) / 1000; };
    return RunWindow{std::chrono::sys_seconds(std::chrono::seconds(floorSeconds(start) - margin)),
                     std::chrono::sys_seconds(std::chrono::seconds(floorSeconds(end + 999) + margin))};
}
