#include "launchd/PmsetService.h"

#include "platform/AdminShell.h"
#include "platform/ChildProcess.h"
#include "platform/SystemPaths.h"

namespace {

constexpr int kMinutesPerDay = 1440;
constexpr int kLeadMinutes = 5;
// The power-management tool's day letters, Sunday first.
constexpr char16_t kDayLetters[] = u"UMTWRFS";
const QString kEveryDay = QStringLiteral("MTWRFSU");

QString repeatingTimeText(TimeOfDay time)
{
    return QString::asprintf("%02d:%02d:00", time.hour, time.minute);
}

std::optional<QString> dayLetter(int weekday)
{
    if (weekday < 1 || weekday > 7) {
        return std::nullopt;
    }
    return QString(QChar(kDayLetters[weekday - 1]));
}

QString repeatCommand(const QString &days, TimeOfDay time)
{
    return u"pmset repeat wakeorpoweron " % days % u' ' % repeatingTimeText(time);
}

// Local wall time on `date`; a time that the clocks skip becomes the first minute that exists
// after it (2:30 on a spring-forward night becomes 3:00).
std::optional<QDateTime> localAt(QDate date, QTime time)
{
    for (int step = 0; step <= 24 * 60; ++step) {
        const QTime candidate = time.addSecs(step * 60);
        if (step > 0 && candidate <= time) {
            break; // past midnight: the rest of the day does not exist
        }
        const QDateTime dateTime(date, candidate);
        if (dateTime.isValid() && dateTime.date() == date && dateTime.time() == candidate) {
            return dateTime;
        }
    }
    return std::nullopt;
}

} // namespace

QString PmsetError::description() const
{
    switch (kind) {
    case Kind::scriptFailed:
        return u"pmset failed: " % text;
    case Kind::unsupportedSchedule:
        break;
    }
    return QStringLiteral("This schedule type does not support wake.");
}

PmsetService::PmsetService(Clock now) : m_now(now ? std::move(now) : [] { return QDateTime::currentDateTime(); })
{
}

std::optional<TimeOfDay> PmsetService::wakeTime(const QList<TimeOfDay> &times)
{
    if (times.isEmpty()) {
        return std::nullopt;
    }
    TimeOfDay earliest = times.first();
    for (const TimeOfDay &time : times) {
        if (time.minuteOfDay() < earliest.minuteOfDay()) {
            earliest = time;
        }
    }
    int minute = earliest.minuteOfDay() - kLeadMinutes;
    if (minute < 0) {
        minute += kMinutesPerDay;
    }
    return TimeOfDay{minute / 60, minute % 60};
}

std::optional<QDateTime> PmsetService::nextMonthlyWake(int day, TimeOfDay time, const QDateTime &now)
{
    const QTime wallTime(time.hour, time.minute);
    if (day < 1 || day > 31 || !wallTime.isValid()) {
        return std::nullopt;
    }
    const QDate today = now.toLocalTime().date();
    // Every day 1-31 comes round within a year; two leave room for the odd calendar.
    for (int months = 0; months <= 24; ++months) {
        const QDate first = QDate(today.year(), today.month(), 1).addMonths(months);
        const QDate date(first.year(), first.month(), day);
        if (!date.isValid()) {
            continue;
        }
        const std::optional<QDateTime> candidate = localAt(date, wallTime);
        if (candidate && *candidate > now) {
            return candidate;
        }
    }
    return std::nullopt;
}

QString PmsetService::twelveHourText(TimeOfDay time)
{
    const int hour = time.hour % 12 == 0 ? 12 : time.hour % 12;
    return QString::asprintf("%d:%02d", hour, time.minute) %
           (time.minuteOfDay() < 720 ? QStringLiteral("AM") : QStringLiteral("PM"));
}

PmsetService::Command PmsetService::wakeCommand(const TaskSchedule &schedule, const QDateTime &now)
{
    const Command unsupported{std::nullopt, PmsetError::unsupportedSchedule()};
    const QList<TimeOfDay> *times = schedule.times();
    if (!times) {
        return unsupported; // interval, runAtLoad
    }
    const std::optional<TimeOfDay> wake = wakeTime(*times);
    if (!wake) {
        return unsupported;
    }
    switch (schedule.kind()) {
    case TaskSchedule::Kind::daily:
    case TaskSchedule::Kind::monthlyLastDay:
        // The power schedule knows no days of the month; the wrapper script skips the other days.
        return {repeatCommand(kEveryDay, *wake), std::nullopt};
    case TaskSchedule::Kind::weekly: {
        QString days;
        for (int weekday : schedule.as<Schedule::Weekly>()->weekdays) {
            const std::optional<QString> letter = dayLetter(weekday);
            if (!letter) {
                return unsupported;
            }
            days += *letter;
        }
        return {repeatCommand(days, *wake), std::nullopt};
    }
    case TaskSchedule::Kind::monthlyNthWeekday: {
        // Every week on that weekday: the wrapper script keeps only the n-th.
        const std::optional<QString> letter = dayLetter(schedule.as<Schedule::MonthlyNthWeekday>()->weekday);
        if (!letter) {
            return unsupported;
        }
        return {repeatCommand(*letter, *wake), std::nullopt};
    }
    case TaskSchedule::Kind::monthly: {
        const std::optional<QDateTime> date = nextMonthlyWake(schedule.as<Schedule::Monthly>()->day, *wake, now);
        if (!date) {
            return {};
        }
        return {u"pmset schedule wakeorpoweron \"" % date->toString(QStringLiteral("MM/dd/yy HH:mm:ss")) % u'"',
                std::nullopt};
    }
    case TaskSchedule::Kind::interval:
    case TaskSchedule::Kind::runAtLoad:
        break;
    }
    return unsupported;
}

std::optional<PmsetError> PmsetService::scheduleWake(const ScheduledTask &task) const
{
    const Command command = wakeCommand(task.schedule);
    if (command.error) {
        return command.error;
    }
    if (!command.text) {
        return std::nullopt;
    }
    if (const std::optional<QString> failure = AdminShell::runWithAdministratorPrivileges(*command.text)) {
        return PmsetError::scriptFailed(*failure);
    }
    return std::nullopt;
}

bool PmsetService::isWakeActive(const ScheduledTask &task) const
{
    const TaskSchedule::Kind kind = task.schedule.kind();
    if (kind != TaskSchedule::Kind::daily && kind != TaskSchedule::Kind::monthly) {
        return false;
    }
    const ChildProcess::Result result = ChildProcess::run(
        SystemPaths::pmset(), {QStringLiteral("-g"), QStringLiteral("sched")}, {ChildProcess::Output::capture, {}, {}});
    const QString schedule = QString::fromUtf8(result.standardOutput);
    if (kind == TaskSchedule::Kind::monthly) {
        return schedule.contains(u"wakeorpoweron") || schedule.contains(u"wakepoweron");
    }
    const std::optional<TimeOfDay> wake = wakeTime(*task.schedule.times());
    return wake && schedule.contains(twelveHourText(*wake));
}
