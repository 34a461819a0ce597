#include "ui/TaskFormFields.h"

#include "model/Weekdays.h"
#include "systemd/SchedulerChoice.h"

#include <QFileInfo>

#include <algorithm>

QString TaskFormText::rawValue(ScheduleType type)
{
    switch (type) {
    case ScheduleType::runAtLoad:
        return QStringLiteral("runAtLoad");
    case ScheduleType::interval:
        return QStringLiteral("interval");
    case ScheduleType::daily:
        return QStringLiteral("daily");
    case ScheduleType::weekly:
        return QStringLiteral("weekly");
    case ScheduleType::monthly:
        return QStringLiteral("monthly");
    }
    Q_UNREACHABLE();
    return QString();
}

QString TaskFormText::rawValue(MonthlyType type)
{
    switch (type) {
    case MonthlyType::specificDay:
        return QStringLiteral("specificDay");
    case MonthlyType::lastDay:
        return QStringLiteral("lastDay");
    case MonthlyType::nthWeekday:
        return QStringLiteral("nthWeekday");
    }
    Q_UNREACHABLE();
    return QString();
}

QString TaskFormText::label(ScheduleType type)
{
    switch (type) {
    case ScheduleType::runAtLoad:
        return QStringLiteral("Run at load (login / reboot)");
    case ScheduleType::interval:
        return QStringLiteral("Every N minutes");
    case ScheduleType::daily:
        return QStringLiteral("Daily");
    case ScheduleType::weekly:
        return QStringLiteral("Weekly");
    case ScheduleType::monthly:
        return QStringLiteral("Monthly");
    }
    Q_UNREACHABLE();
    return QString();
}

QString TaskFormText::label(MonthlyType type)
{
    switch (type) {
    case MonthlyType::specificDay:
        return QStringLiteral("Specific day");
    case MonthlyType::lastDay:
        return QStringLiteral("Last day of month");
    case MonthlyType::nthWeekday:
        return QStringLiteral("Nth weekday");
    }
    Q_UNREACHABLE();
    return QString();
}

QList<ScheduleType> TaskFormText::allScheduleTypes()
{
    return {ScheduleType::runAtLoad, ScheduleType::interval, ScheduleType::daily, ScheduleType::weekly,
            ScheduleType::monthly};
}

QList<MonthlyType> TaskFormText::allMonthlyTypes()
{
    return {MonthlyType::specificDay, MonthlyType::lastDay, MonthlyType::nthWeekday};
}

QList<int> TaskFormText::intervalChoices()
{
    return {1, 2, 3, 5, 10, 15, 20, 30, 45, 60, 90, 120, 180, 360, 720, 1440};
}

QString TaskFormText::intervalLabel(int minutes)
{
    if (minutes < 60) {
        return u"Every " % QString::number(minutes) % u" min";
    }
    const int hours = minutes / 60;
    const int rest = minutes % 60;
    if (rest == 0) {
        return u"Every " % QString::number(hours) % u" hour" % (minutes > 119 ? u"s" : u"");
    }
    return u"Every " % QString::number(hours) % u"h " % QString::number(rest) % u'm';
}

bool TaskFormText::wakesThroughLaunchd()
{
    return SchedulerChoice::fromEnvironment().kind.value_or(SchedulerChoice::platformDefault()) ==
           JobScheduler::Kind::launchd;
}

QString TaskFormText::wakeCheckboxText()
{
    return wakesThroughLaunchd() ? QStringLiteral("Wake Mac for this task")
                                 : QStringLiteral("Wake the computer for this task");
}

QString TaskFormText::wakeExplanation(ScheduleType type, MonthlyType monthlyType, int nthWeek, int nthWeekday)
{
    if (!wakesThroughLaunchd()) {
        // The systemd timer itself wakes the computer, at the run's own time and only on its days.
        return QStringLiteral("Wakes the computer at the scheduled time so the task can run even during sleep.");
    }
    if (type == ScheduleType::monthly && monthlyType == MonthlyType::lastDay) {
        return QStringLiteral("Wakes your Mac every day from the 28th to the 31st, 5 minutes before the scheduled "
                              "time. The task only runs on the actual last day.");
    }
    if (type == ScheduleType::monthly && monthlyType == MonthlyType::nthWeekday) {
        return u"Wakes your Mac every " % Weekdays::fullName(nthWeekday) %
               u" 5 minutes before the scheduled time. The task only runs on the " % Weekdays::ordinal(nthWeek) %
               u" occurrence.";
    }
    return QStringLiteral("Wakes your Mac 5 minutes before the scheduled time so the task can run even during sleep.");
}

std::optional<QString> TaskFormText::shortMonthCaption(int dayOfMonth)
{
    if (dayOfMonth <= 28) {
        return std::nullopt;
    }
    return QString(u"This task won't run in months with fewer than " % QString::number(dayOfMonth) % u" days.");
}

QString TaskFormText::loginShellCaption(bool useLoginShell, const std::optional<QString> &shellVariable)
{
    QString caption = QStringLiteral("Load your shell profile to inherit env vars (e.g. $PATH, $HOME). ");
    if (useLoginShell) {
        const QString shell = shellVariable ? QFileInfo(*shellVariable).fileName() : QStringLiteral("unknown");
        caption += u"Using " % shell % u'.';
    }
    return caption;
}

TaskSchedule TaskFormFields::schedule() const
{
    const QList<TimeOfDay> sorted = sortedTimes(times);
    switch (scheduleType) {
    case ScheduleType::runAtLoad:
        return TaskSchedule::runAtLoad();
    case ScheduleType::interval:
        return TaskSchedule::interval(intervalMinutes);
    case ScheduleType::daily:
        return TaskSchedule::daily(sorted);
    case ScheduleType::weekly: {
        QList<int> days = weekdays.values();
        std::sort(days.begin(), days.end());
        return TaskSchedule::weekly(days, sorted);
    }
    case ScheduleType::monthly:
        switch (monthlyType) {
        case MonthlyType::specificDay:
            return TaskSchedule::monthly(dayOfMonth, sorted);
        case MonthlyType::lastDay:
            return TaskSchedule::monthlyLastDay(sorted);
        case MonthlyType::nthWeekday:
            return TaskSchedule::monthlyNthWeekday(nthWeek, nthWeekday, sorted);
        }
    }
    Q_UNREACHABLE();
    return TaskSchedule();
}

ScheduledTask TaskFormFields::newTask() const
{
    ScheduledTask task;
    task.id = QUuid::createUuid();
    task.isEnabled = true;
    task.logs.clear();
    return applyTo(task);
}

ScheduledTask TaskFormFields::applyTo(const ScheduledTask &original) const
{
    ScheduledTask task = original;
    task.name = name;
    task.command = command;
    task.workingDirectory = workingDirectory.isEmpty() ? std::nullopt : std::optional<QString>(workingDirectory);
    task.envFilePath = envFilePath.isEmpty() ? std::nullopt : std::optional<QString>(envFilePath);
    task.useLoginShell = useLoginShell;
    task.wakeBeforeRun = wakeBeforeRun;
    task.schedule = schedule();
    return task;
}

TaskFormFields TaskFormFields::fromTask(const ScheduledTask &task)
{
    TaskFormFields fields;
    fields.name = task.name;
    fields.command = task.command;
    fields.workingDirectory = task.workingDirectory.value_or(QString());
    fields.envFilePath = task.envFilePath.value_or(QString());
    fields.useLoginShell = task.useLoginShell;
    fields.wakeBeforeRun = task.wakeBeforeRun;
    using namespace Schedule;
    const TaskSchedule &schedule = task.schedule;
    if (schedule.as<RunAtLoad>()) {
        fields.scheduleType = ScheduleType::runAtLoad;
    } else if (const auto *interval = schedule.as<Interval>()) {
        fields.scheduleType = ScheduleType::interval;
        fields.intervalMinutes = interval->minutes;
    } else if (const auto *daily = schedule.as<Daily>()) {
        fields.scheduleType = ScheduleType::daily;
        fields.times = daily->times;
    } else if (const auto *weekly = schedule.as<Weekly>()) {
        fields.scheduleType = ScheduleType::weekly;
        fields.weekdays = QSet<int>(weekly->weekdays.begin(), weekly->weekdays.end());
        fields.times = weekly->times;
    } else if (const auto *monthly = schedule.as<Monthly>()) {
        fields.scheduleType = ScheduleType::monthly;
        fields.monthlyType = MonthlyType::specificDay;
        fields.dayOfMonth = monthly->day;
        fields.times = monthly->times;
    } else if (const auto *lastDay = schedule.as<MonthlyLastDay>()) {
        fields.scheduleType = ScheduleType::monthly;
        fields.monthlyType = MonthlyType::lastDay;
        fields.times = lastDay->times;
    } else if (const auto *nth = schedule.as<MonthlyNthWeekday>()) {
        fields.scheduleType = ScheduleType::monthly;
        fields.monthlyType = MonthlyType::nthWeekday;
        fields.nthWeek = nth->nth;
        fields.nthWeekday = nth->weekday;
        fields.times = nth->times;
    }
    return fields;
}
