#include "model/NextRuns.h"

#include <algorithm>
#include <functional>

namespace {

// The longest stretch of days without a matching date for any schedule that can match at all
// (a 5th weekday can be absent for a few months); beyond it the scan gives up.
constexpr int kLongestGapDays = 400;

bool validWeekday(int weekday)
{
    return weekday >= 1 && weekday <= 7;
}

// Qt counts Monday = 1 ... Sunday = 7; the model counts Sunday = 1 ... Saturday = 7.
int modelWeekday(QDate date)
{
    return date.dayOfWeek() % 7 + 1;
}

// Whether some date can ever match, so that a scan for one cannot run forever.
bool canMatchSomeDate(const TaskSchedule &schedule)
{
    if (const auto *weekly = schedule.as<Schedule::Weekly>()) {
        return std::any_of(weekly->weekdays.begin(), weekly->weekdays.end(), validWeekday);
    }
    if (const auto *monthly = schedule.as<Schedule::Monthly>()) {
        return monthly->day >= 1 && monthly->day <= 31;
    }
    if (const auto *nth = schedule.as<Schedule::MonthlyNthWeekday>()) {
        return nth->nth >= 1 && nth->nth <= 5 && validWeekday(nth->weekday);
    }
    return schedule.times() != nullptr;
}

qint64 offsetAt(const QTimeZone &zone, qint64 secsSinceEpoch)
{
    return zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(secsSinceEpoch, QTimeZone::utc()));
}

// The instants (seconds since the epoch) that show this wall-clock time in the zone, earliest first:
// none in a spring-forward gap, two in the repeated autumn hour.
QList<qint64> instantsOf(QDate date, QTime time, const QTimeZone &zone)
{
    const qint64 wall = QDateTime(date, time, QTimeZone::utc()).toSecsSinceEpoch();
    QList<qint64> instants;
    for (const qint64 probe : {wall - 86400, wall, wall + 86400}) {
        const qint64 offset = offsetAt(zone, probe);
        const qint64 candidate = wall - offset;
        if (offsetAt(zone, candidate) == offset && !instants.contains(candidate)) {
            instants.append(candidate);
        }
    }
    std::sort(instants.begin(), instants.end());
    return instants;
}

// Calls `take` with each run time after `after` in order until it returns false or the dates run out.
void forEachRun(const TaskSchedule &schedule, const QDateTime &after, const QTimeZone &zone,
                const std::function<bool(const QDateTime &)> &take)
{
    const QList<QTime> times = calendarTimes(schedule);
    if (!after.isValid() || times.isEmpty() || !canMatchSomeDate(schedule)) {
        return;
    }
    const qint64 afterSecs = after.toSecsSinceEpoch();
    const QDateTime afterLocal = after.toTimeZone(zone);
    const QDate firstDate = afterLocal.date();
    int daysWithoutMatch = 0;
    for (QDate date = firstDate; date.isValid() && daysWithoutMatch < kLongestGapDays; date = date.addDays(1)) {
        if (!runsOnDate(schedule, date)) {
            ++daysWithoutMatch;
            continue;
        }
        daysWithoutMatch = 0;
        QList<qint64> dayRuns;
        for (const QTime &time : times) {
            // Like systemd, compare wall-clock times first: a time already passed on the clock does not
            // fire again when the clock is set back an hour.
            if (date == firstDate && time <= afterLocal.time()) {
                continue;
            }
            for (const qint64 instant : instantsOf(date, time, zone)) {
                if (instant > afterSecs) {
                    dayRuns.append(instant);
                    break;
                }
            }
        }
        std::sort(dayRuns.begin(), dayRuns.end());
        for (const qint64 instant : dayRuns) {
            if (!take(QDateTime::fromSecsSinceEpoch(instant, zone))) {
                return;
            }
        }
    }
}

} // namespace

QList<QTime> calendarTimes(const TaskSchedule &schedule)
{
    QList<QTime> result;
    if (const QList<TimeOfDay> *times = schedule.times()) {
        for (const TimeOfDay &time : *times) {
            if (time.hour >= 0 && time.hour < 24 && time.minute >= 0 && time.minute < 60) {
                result.append(QTime(time.hour, time.minute));
            }
        }
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

bool runsOnDate(const TaskSchedule &schedule, QDate date)
{
    if (schedule.as<Schedule::Daily>()) {
        return true;
    }
    if (const auto *weekly = schedule.as<Schedule::Weekly>()) {
        return weekly->weekdays.contains(modelWeekday(date));
    }
    if (const auto *monthly = schedule.as<Schedule::Monthly>()) {
        return date.day() == monthly->day;
    }
    if (schedule.as<Schedule::MonthlyLastDay>()) {
        return date.day() == date.daysInMonth();
    }
    if (const auto *nth = schedule.as<Schedule::MonthlyNthWeekday>()) {
        return modelWeekday(date) == nth->weekday && date.day() >= 7 * nth->nth - 6 && date.day() <= 7 * nth->nth;
    }
    return false;
}

QList<QDateTime> nextRuns(const TaskSchedule &schedule, const QDateTime &after, int count, const QTimeZone &zone)
{
    QList<QDateTime> runs;
    if (count <= 0) {
        return runs;
    }
    forEachRun(schedule, after, zone, [&](const QDateTime &run) {
        runs.append(run);
        return runs.size() < count;
    });
    return runs;
}

QList<QDateTime> runsBetween(const TaskSchedule &schedule, const QDateTime &from, const QDateTime &to,
                             const QTimeZone &zone)
{
    QList<QDateTime> runs;
    if (!to.isValid() || from >= to) {
        return runs;
    }
    forEachRun(schedule, from, zone, [&](const QDateTime &run) {
        if (run > to) {
            return false;
        }
        runs.append(run);
        return true;
    });
    return runs;
}
