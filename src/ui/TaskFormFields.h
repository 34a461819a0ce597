#pragma once

#include "model/ScheduledTask.h"

#include <QList>
#include <QSet>
#include <QString>

#include <optional>

// The form's own kinds of schedule; `monthly` and a MonthlyType pick one of the three monthly
// cases of TaskSchedule. Not stored anywhere.
enum class ScheduleType { runAtLoad, interval, daily, weekly, monthly };
enum class MonthlyType { specificDay, lastDay, nthWeekday };

namespace TaskFormText {
// "runAtLoad", ... "monthly"; "specificDay", "lastDay", "nthWeekday"
QString rawValue(ScheduleType type);
QString rawValue(MonthlyType type);
// The picker labels: "Run at load (login / reboot)", ..., "Specific day", ...
QString label(ScheduleType type);
QString label(MonthlyType type);
QList<ScheduleType> allScheduleTypes();
QList<MonthlyType> allMonthlyTypes();

// The interval picker's minutes and their labels ("Every 5 min", "Every 1h 30m", "Every 2 hours").
QList<int> intervalChoices();
QString intervalLabel(int minutes);

// "Wakes your Mac ..." for the chosen kind.
// The texts of the wake option: the macOS ones with launchd, the computer's with systemd.
bool wakesThroughLaunchd();
QString wakeCheckboxText();
QString wakeExplanation(ScheduleType type, MonthlyType monthlyType, int nthWeek, int nthWeekday);
// "This task won't run in months with fewer than N days." for days above 28, else nothing.
std::optional<QString> shortMonthCaption(int dayOfMonth);
// "Load your shell profile ... " and, while the login shell is on, "Using zsh." (the last path
// component of `shellVariable`, or "unknown" when it is not set).
QString loginShellCaption(bool useLoginShell, const std::optional<QString> &shellVariable);
} // namespace TaskFormText

// Everything the task form edits, with the new-task defaults; the add and edit sheets own one.
struct TaskFormFields {
    QString name;
    QString command;
    QString workingDirectory;
    QString envFilePath;
    bool useLoginShell = true;
    bool wakeBeforeRun = false;
    ScheduleType scheduleType = ScheduleType::daily;
    QList<TimeOfDay> times{TimeOfDay{7, 0}};
    int intervalMinutes = 5;
    int dayOfMonth = 1;
    QSet<int> weekdays{2};
    MonthlyType monthlyType = MonthlyType::specificDay;
    int nthWeek = 1;
    int nthWeekday = 2;

    // The schedule the fields describe: times sorted, weekdays ascending.
    TaskSchedule schedule() const;

    // A new task: fresh id, name and command as typed, empty folder and .env as none, enabled.
    ScheduledTask newTask() const;
    // `original` with the edited values; its id, enabled state and logs stay.
    ScheduledTask applyTo(const ScheduledTask &original) const;
    // The fields of an existing task; what its schedule does not carry keeps the defaults.
    static TaskFormFields fromTask(const ScheduledTask &task);

    // Add and Save need a name and a command (blanks count as text).
    bool canSubmit() const { return !name.isEmpty() && !command.isEmpty(); }

    friend bool operator==(const TaskFormFields &, const TaskFormFields &) = default;
};
