#pragma once

#include "model/ScheduledTask.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <limits>
#include <optional>

// The JSON form of tasks, shared by the tasks file, exports and the moxley tool.
namespace TaskJson {

QJsonObject toJson(const TimeOfDay &time);
QJsonObject toJson(const TaskSchedule &schedule);
QJsonObject toJson(const TaskLog &log);
QJsonObject toJson(const ScheduledTask &task);
QJsonArray toJson(const QList<ScheduledTask> &tasks);

// The values a tasks file may hold beyond their types: the form makes no others, and some would
// overflow later (the job's seconds are the interval's minutes × 60).
struct Range {
    int low;
    int high;
    constexpr bool contains(qint64 value) const { return value >= low && value <= high; }
};
inline constexpr Range kHour{0, 23};
inline constexpr Range kMinute{0, 59};
inline constexpr Range kWeekday{1, 7};
inline constexpr Range kDayOfMonth{1, 31};
inline constexpr Range kNthWeek{1, 4};
inline constexpr Range kIntervalMinutes{1, std::numeric_limits<int>::max() / 60};

// A decoding failure: what is wrong, and where ("tasks[2].schedule").
struct DecodeError {
    QString message;
    QString path;
    // The message followed by its location, e.g.
    // "Invalid number of keys found, expected one. (task 3, at schedule)".
    QString description() const;
};

// Each returns nothing and fills `error` when the value does not have the task form.
std::optional<TaskSchedule> scheduleFromJson(const QJsonValue &value, DecodeError *error,
                                             const QString &path = QStringLiteral("schedule"));
std::optional<ScheduledTask> taskFromJson(const QJsonValue &value, DecodeError *error, const QString &path = {});
std::optional<QList<ScheduledTask>> tasksFromJson(const QJsonArray &array, DecodeError *error);

} // namespace TaskJson
