#include "cli/TaskLookup.h"

#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {
// The short ids, lengthened until no two are the same, so that each can name its task.
QStringList distinctIds(const QList<const ScheduledTask *> &tasks)
{
    QStringList full;
    qsizetype longest = 0;
    for (const ScheduledTask *task : tasks) {
        full << task->fullId().toLower();
        longest = std::max(longest, full.last().size());
    }
    QStringList ids;
    for (qsizetype length = std::min<qsizetype>(8, longest); length <= longest; ++length) {
        ids.clear();
        for (const QString &id : full) {
            ids << id.left(length);
        }
        if (QSet<QString>(ids.cbegin(), ids.cend()).size() == ids.size()) {
            break;
        }
    }
    return ids;
}
} // namespace

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
    return {std::nullopt, query % u" matches several tasks: " % distinctIds(candidates).join(u", ")};
}
