#pragma once

#include "model/ScheduledTask.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>

// The JSON form of tasks, shared by the tasks file, exports and the moxley tool.
namespace TaskJson {

QJsonObject toJson(const TimeOfDay &time);
QJsonObject toJson(const TaskSchedule &schedule);
QJsonObject toJson(const TaskLog &log);
QJsonObject toJson(const ScheduledTask &task);
QJsonArray toJson(const QList<ScheduledTask> &tasks);

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
