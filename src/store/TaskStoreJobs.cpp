// The jobs a load keeps in step: the stray-job sweep and the refresh of outdated scripts, which
// the app runs after its first paint and the tool with a progress line.
#include "store/TaskStore.h"

#include "model/TaskMigration.h"

#include <QFile>

#include <algorithm>

QSet<QUuid> TaskStore::taskIds() const
{
    QSet<QUuid> ids;
    ids.reserve(m_tasks.size());
    for (const ScheduledTask &task : m_tasks) {
        ids.insert(task.id);
    }
    return ids;
}

void TaskStore::sweepStrays()
{
    const TasksFileLock sweep = TasksFileLock::take(TasksFileLock::Kind::sweep, m_options.tasksFile);
    if (!sweep.held() && sweep.busy()) {
        return; // the next load sweeps
    }
    // A task that another writer saved since this store's read is in the file, not yet in the list.
    QSet<QUuid> kept = taskIds();
    QFile file(m_options.tasksFile);
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = file.readAll();
        // The file as this store last read or wrote it: its tasks are known without parsing it again
        // (that parse was most of the sweep's time with thousands of tasks).
        const bool known = !m_fileUnreadable && bytes == m_fileContents;
        const QList<ScheduledTask> inFile = known ? m_fileTasks : TaskMigration::read(bytes).tasks;
        for (const ScheduledTask &task : inFile) {
            kept.insert(task.id);
        }
    }
    m_options.scheduler->removeStrays(kept);
}

QList<QUuid> TaskStore::outdatedScripts() const
{
    const QByteArray header = LaunchdService::scriptHeader().toUtf8();
    QList<QUuid> ids;
    for (const ScheduledTask &task : m_tasks) {
        if (!task.isEnabled) {
            continue;
        }
        QFile script(m_options.launchdService.scriptPath(task));
        if (!script.open(QIODevice::ReadOnly) || !script.readAll().contains(header)) {
            ids.append(task.id);
        }
    }
    return ids;
}

bool TaskStore::reinstall(const QList<QUuid> &ids)
{
    const TasksFileLock quiet = TasksFileLock::take(TasksFileLock::Kind::sweep, m_options.tasksFile);
    if (!quiet.held() && quiet.busy()) {
        return false;
    }
    // Another writer may have changed or deleted one of them since this store's read.
    QFile file(m_options.tasksFile);
    if (!file.open(QIODevice::ReadOnly)) {
        return true;
    }
    const TaskMigration::ReadResult inFile = TaskMigration::read(file.readAll());
    QList<ScheduledTask> tasks;
    for (const QUuid &id : ids) {
        const auto found = std::find_if(inFile.tasks.cbegin(), inFile.tasks.cend(),
                                        [&id](const ScheduledTask &task) { return task.id == id; });
        if (found != inFile.tasks.cend()) {
            tasks.append(*found);
        }
    }
    installAll(tasks);
    return true;
}

void TaskStore::installAll(const QList<ScheduledTask> &tasks)
{
    // One reload of the scheduler for them all, however many there are.
    m_options.scheduler->beginBatch();
    const qsizetype total = tasks.size();
    for (qsizetype done = 0; done < total; ++done) {
        if (m_options.refreshProgress) {
            m_options.refreshProgress(done, total);
        }
        if (tasks.at(done).isEnabled) {
            // Best effort: the next change of the task installs it again anyway.
            (void)m_options.scheduler->install(tasks.at(done));
        }
    }
    m_options.scheduler->endBatch();
    if (m_options.refreshProgress && total > 0) {
        m_options.refreshProgress(total, total);
    }
}

// Called by load with the sweep lock held, right after the read: the list is the file's.
void TaskStore::refreshOutdatedScripts()
{
    QList<ScheduledTask> tasks;
    for (const QUuid &id : outdatedScripts()) {
        tasks.append(m_tasks.at(indexOf(id)));
    }
    installAll(tasks);
}
