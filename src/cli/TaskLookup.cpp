#include "cli/TaskLookup.h"

#include <QStringList>

TaskLookup::Result TaskLookup::find(const QList<ScheduledTask> &tasks, const QString &query)
{
    const QString upper = query.toUpper();
    for (const ScheduledTask &task : tasks) {
        if (task.fullId() == upper) {
            return {task, {}};
        }
    }
    QList<const ScheduledTask *> candidates;
    for (const ScheduledTask &task : tasks) {
        const bool prefix = query.size() >= 4 && task.fullId().startsWith(upper);
        if (prefix || task.name == query) {
            candidates.append(&task);
        }
    }
    if (candidates.size() == 1) {
        return {*candidates.first(), {}};
    }
    if (candidates.isEmpty()) {
        return {std::nullopt, u"no task matches " % query};
    }
    QStringList ids;
    for (const ScheduledTask *task : candidates) {
        ids << task->shortId();
    }
    return {std::nullopt, query % u" matches several tasks: " % ids.join(u", ")};
}
