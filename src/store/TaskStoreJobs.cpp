// The jobs a load keeps in step: the stray-job sweep and the refresh of outdated scripts, which
// the app runs after its first paint and the tool with a progress line.
#include "store/TaskStore.h"

#include "model/TaskMigration.h"

#include <QFile>

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
        const TaskMigration::ReadResult inFile = TaskMigration::read(file.readAll());
        for (const ScheduledTask &task : inFile.tasks) {
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

void TaskStore::reinstall(const QList<QUuid> &ids)
{
    // One reload of the scheduler for them all, however many there are.
    m_options.scheduler->beginBatch();
    const qsizetype total = ids.size();
    for (qsizetype done = 0; done < total; ++done) {
        if (m_options.refreshProgress) {
            m_options.refreshProgress(done, total);
        }
        const qsizetype index = indexOf(ids.at(done));
        if (index >= 0 && m_tasks.at(index).isEnabled) {
            // Best effort: the next change of the task installs it again anyway.
            (void)m_options.scheduler->install(m_tasks.at(index));
        }
    }
    m_options.scheduler->endBatch();
    if (m_options.refreshProgress && total > 0) {
        m_options.refreshProgress(total, total);
    }
}

void TaskStore::refreshOutdatedScripts()
{
    reinstall(outdatedScripts());
}
