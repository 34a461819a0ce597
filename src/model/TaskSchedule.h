#pragma once

#include "model/TimeOfDay.h"

#include <QList>
#include <QString>

#include <type_traits>
#include <variant>

// When a task runs. The cases are declared in this order; their names are also the JSON keys.
namespace Schedule {
struct Interval {
    int minutes = 0;
    friend bool operator==(const Interval &, const Interval &) = default;
};
struct Daily {
    QList<TimeOfDay> times;
    friend bool operator==(const Daily &, const Daily &) = default;
};
struct Weekly {
    QList<int> weekdays; // 1 = Sunday ... 7 = Saturday
    QList<TimeOfDay> times;
    friend bool operator==(const Weekly &, const Weekly &) = default;
};
struct Monthly {
    int day = 1;
    QList<TimeOfDay> times;
    friend bool operator==(const Monthly &, const Monthly &) = default;
};
struct MonthlyLastDay {
    QList<TimeOfDay> times;
    friend bool operator==(const MonthlyLastDay &, const MonthlyLastDay &) = default;
};
struct MonthlyNthWeekday {
    int nth = 1; // 1-4
    int weekday = 2;
    QList<TimeOfDay> times;
    friend bool operator==(const MonthlyNthWeekday &, const MonthlyNthWeekday &) = default;
};
struct RunAtLoad {
    friend bool operator==(const RunAtLoad &, const RunAtLoad &) = default;
};
} // namespace Schedule

class TaskSchedule
{
public:
    enum class Kind { interval, daily, weekly, monthly, monthlyLastDay, monthlyNthWeekday, runAtLoad };
    using Value = std::variant<Schedule::Interval, Schedule::Daily, Schedule::Weekly, Schedule::Monthly,
                               Schedule::MonthlyLastDay, Schedule::MonthlyNthWeekday, Schedule::RunAtLoad>;

    TaskSchedule() : m_value(Schedule::Daily{{TimeOfDay{7, 0}}}) {}
    TaskSchedule(Value value) : m_value(std::move(value)) {}
    template <typename Case>
    requires std::is_constructible_v<Value, Case> TaskSchedule(Case value) : m_value(std::move(value)) {}

    static TaskSchedule interval(int minutes) { return Schedule::Interval{minutes}; }
    static TaskSchedule daily(QList<TimeOfDay> times) { return Schedule::Daily{std::move(times)}; }
    static TaskSchedule weekly(QList<int> weekdays, QList<TimeOfDay> times)
    {
        return Schedule::Weekly{std::move(weekdays), std::move(times)};
    }
    static TaskSchedule monthly(int day, QList<TimeOfDay> times) { return Schedule::Monthly{day, std::move(times)}; }
    static TaskSchedule monthlyLastDay(QList<TimeOfDay> times) { return Schedule::MonthlyLastDay{std::move(times)}; }
    static TaskSchedule monthlyNthWeekday(int nth, int weekday, QList<TimeOfDay> times)
    {
        return Schedule::MonthlyNthWeekday{nth, weekday, std::move(times)};
    }
    static TaskSchedule runAtLoad() { return Schedule::RunAtLoad{}; }

    const Value &value() const { return m_value; }
    Kind kind() const { return static_cast<Kind>(m_value.index()); }
    template <typename T> const T *as() const { return std::get_if<T>(&m_value); }

    // The case name: "interval", "daily", ... (the JSON key).
    QString kindName() const;
    static QString kindName(Kind kind);

    // The times of a calendar case; nullptr for interval and runAtLoad.
    const QList<TimeOfDay> *times() const;

    // One line for people: "Daily at 9:05, 14:00", "Mon, Wed, Fri at 9:00", "Every 15 min".
    QString description() const;

    friend bool operator==(const TaskSchedule &, const TaskSchedule &) = default;

private:
    Value m_value;
};
