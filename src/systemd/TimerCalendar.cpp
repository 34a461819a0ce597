#include "systemd/TimerCalendar.h"

#include "model/NextRuns.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString twoDigits(int value)
{
    return QString::number(value).rightJustified(2, u'0');
}

// systemd's order and names: Monday first.
QString weekdayList(QList<int> weekdays)
{
    static const char16_t *const names[] = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
    weekdays.removeIf([](int weekday) { return weekday < 1 || weekday > 7; });
    const auto mondayFirst = [](int weekday) { return (weekday + 5) % 7; };
    std::sort(weekdays.begin(), weekdays.end(), [&](int a, int b) { return mondayFirst(a) < mondayFirst(b); });
    weekdays.erase(std::unique(weekdays.begin(), weekdays.end()), weekdays.end());
    QStringList parts;
    for (const int weekday : weekdays) {
        parts.append(QString::fromUtf16(names[weekday - 1]));
    }
    return parts.join(u',');
}

// "weekdays date" without the time, or an empty text when the schedule can never be due.
QString datePart(const TaskSchedule &schedule)
{
    if (schedule.as<Schedule::Daily>()) {
        return u"*-*-*"_s;
    }
    if (const auto *weekly = schedule.as<Schedule::Weekly>()) {
        const QString days = weekdayList(weekly->weekdays);
        if (days.count(u',') == 6) {
            return u"*-*-*"_s; // every day, as systemd writes it
        }
        return days.isEmpty() ? QString() : days + u" *-*-*"_s;
    }
    if (const auto *monthly = schedule.as<Schedule::Monthly>()) {
        return monthly->day >= 1 && monthly->day <= 31 ? u"*-*-"_s + twoDigits(monthly->day) : QString();
    }
    if (schedule.as<Schedule::MonthlyLastDay>()) {
        return u"*-*~01"_s;
    }
    if (const auto *nth = schedule.as<Schedule::MonthlyNthWeekday>()) {
        const QString day = weekdayList({nth->weekday});
        if (day.isEmpty() || nth->nth < 1 || nth->nth > 5) {
            return {};
        }
        const int first = 7 * nth->nth - 6;
        const int last = std::min(7 * nth->nth, 31);
        return day + u" *-*-"_s + twoDigits(first) + u".."_s + twoDigits(last);
    }
    return {};
}

} // namespace

QStringList TimerCalendar::onCalendar(const TaskSchedule &schedule)
{
    const QString date = datePart(schedule);
    QStringList expressions;
    if (date.isEmpty()) {
        return expressions;
    }
    for (const QTime &time : calendarTimes(schedule)) {
        expressions.append(date + u' ' + time.toString(u"HH:mm:ss"_s));
    }
    return expressions;
}
