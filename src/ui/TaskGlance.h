#pragma once

#include "store/TaskStore.h"
#include "timeline/TaskStatus.h"

#include <QDateTime>
#include <QString>
#include <QTimeZone>

// The app's side of `moxley status`: the same facts, read from the store's files.
namespace TaskGlance {

// The job file's modification time stands for when the job was installed, as `moxley status` takes it.
TaskStatus::Status status(const TaskStore &store, const ScheduledTask &task, const QDateTime &now,
                          const QTimeZone &zone);

// When the task's job was last installed: its job file's modification time; nothing without one.
std::optional<QDateTime> installedAt(const TaskStore &store, const ScheduledTask &task);

// How far `to` lies after `from`, coarsely: "in 3 h 20 min", "in 45 min", "in 2 d 4 h",
// "in under a minute"; a time already past reads "now".
QString relative(const QDateTime &from, const QDateTime &to);

// A time as the glance shows it, in `zone`: "Wed 5 Mar 14:00".
QString shortTime(const QDateTime &time, const QTimeZone &zone);

} // namespace TaskGlance
