#pragma once

#include "model/ScheduledTask.h"

#include <optional>

// How the moxley tool names a task: the full id in any letter case, an id prefix of at least
// 4 characters that only one task has, or a name that exactly one task has.
namespace TaskLookup {

struct Result {
    std::optional<ScheduledTask> task;
    QString error; // "no task matches X" or "X matches several tasks: a, b"
};

Result find(const QList<ScheduledTask> &tasks, const QString &query);

} // namespace TaskLookup
