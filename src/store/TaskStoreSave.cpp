// How a change reaches the file: under the short write lock, the file is read again, this
// store's changes are replayed on top of what is there, and the result is written; jobs and wake
// times then follow what was written.
#include "store/TaskStore.h"

#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

TasksFileLock TaskStore::beginChange() const
{
    // Should a sweep hold it past the wait, the change goes ahead: only that sweep is then unsafe.
    return TasksFileLock::take(TasksFileLock::Kind::change, m_options.tasksFile);
}

void TaskStore::record(Change::Kind kind, const QUuid &id, std::optional<ScheduledTask> task,
                       std::optional<ScheduledTask> base)
{
    m_pending.append({kind, id, std::move(task), std::move(base)});
}

namespace {

bool isRepeatingWakeKind(TaskSchedule::Kind kind)
{
    switch (kind) {
    case TaskSchedule::Kind::daily:
    case TaskSchedule::Kind::weekly:
    case TaskSchedule::Kind::monthlyLastDay:
    case TaskSchedule::Kind::monthlyNthWeekday:
        return true;
    case TaskSchedule::Kind::interval:
    case TaskSchedule::Kind::monthly:
    case TaskSchedule::Kind::runAtLoad:
        break;
    }
    return false;
}

const ScheduledTask *findTask(const QList<ScheduledTask> &tasks, const QUuid &id)
{
    for (const ScheduledTask &task : tasks) {
        if (task.id == id) {
            return &task;
        }
    }
    return nullptr;
}

// What the wake schedule is made from: the enabled wake tasks' schedules, in list order.
QList<TaskSchedule> wakeTasks(const QList<ScheduledTask> &tasks)
{
    QList<TaskSchedule> schedules;
    for (const ScheduledTask &task : tasks) {
        if (task.isEnabled && task.wakeBeforeRun) {
            schedules.append(task.schedule);
        }
    }
    return schedules;
}

} // namespace

QList<ScheduledTask> TaskStore::replayOn(QList<ScheduledTask> list) const
{
    QSet<QUuid> present;
    for (const ScheduledTask &task : std::as_const(list)) {
        present.insert(task.id);
    }
    // A task another writer removed stays removed, whatever this store did to it meanwhile; a
    // task it added is never added twice.
    for (const Change &change : m_pending) {
        const ScheduledTask *mine = change.task ? &*change.task : findTask(m_tasks, change.id);
        const auto index =
            std::find_if(list.begin(), list.end(), [&](const ScheduledTask &task) { return task.id == change.id; });
        switch (change.kind) {
        case Change::Kind::add:
            if (mine && !present.contains(change.id)) {
                list.append(*mine);
            }
            break;
        case Change::Kind::replace:
            // Field by field: another writer's switch or rename of the same task meanwhile stays.
            if (mine && index != list.end()) {
                *index = withChanges(*index, *change.base, *mine); // update() always records the base
            }
            break;
        case Change::Kind::setEnabled:
            if (mine && index != list.end()) {
                index->isEnabled = mine->isEnabled;
            }
            break;
        case Change::Kind::remove:
            list.removeIf([&](const ScheduledTask &task) { return task.id == change.id; });
            break;
        }
    }
    return list;
}

bool TaskStore::rebaseOnFile(std::optional<QList<ScheduledTask>> &fresh)
{
    QFile file(m_options.tasksFile);
    // A file that went away leaves nothing to keep.
    if (!file.open(QIODevice::ReadOnly)) {
        return true;
    }
    const QByteArray bytes = file.readAll();
    if (bytes == m_fileContents) {
        return true;
    }
    const TaskMigration::ReadResult read = TaskMigration::read(bytes);
    if (!read.ok()) {
        if (m_options.keepOutsideChanges) {
            setLastError(u"Failed to save tasks: the tasks file was changed meanwhile and cannot be read: " %
                         read.error->description);
            return false;
        }
        m_fileUnreadable = true; // kept aside before it is replaced
        return true;
    }
    m_fileUnreadable = false;
    fresh = read.tasks;
    m_tasks = replayOn(read.tasks);
    return true;
}

void TaskStore::settleJobs(const QList<ScheduledTask> &mine, const QList<ScheduledTask> &fresh)
{
    JobScheduler &jobs = *m_options.scheduler;
    QSet<QUuid> done;
    for (const Change &change : std::as_const(m_pending)) {
        if (done.contains(change.id)) {
            continue;
        }
        done.insert(change.id);
        const ScheduledTask *own = findTask(mine, change.id);
        const ScheduledTask *theirs = findTask(fresh, change.id);
        const ScheduledTask *before = findTask(m_fileTasks, change.id);
        const ScheduledTask *written = findTask(m_tasks, change.id);
        // Best effort, as the sweep: the next change of the task installs it again anyway.
        if (!written) {
            if (own && own->isEnabled) {
                (void)jobs.uninstall(*own);
            } else if (theirs && theirs->isEnabled) {
                (void)jobs.uninstall(*theirs);
            }
        } else if (theirs && before && *theirs != *before) {
            // Both writers changed it: the job follows the task as written, off too when this
            // store's own change had installed it.
            if (written->isEnabled) {
                (void)jobs.install(*written);
            } else if (theirs->isEnabled || (own && own->isEnabled)) {
                (void)jobs.uninstall(*written);
            }
        }
    }
    // The wake times handed over before the save came from this store's own view; when another
    // writer changed a waking task meanwhile, they follow the list as written.
    if (m_wakeSynced && wakeTasks(mine) != wakeTasks(m_tasks)) {
        (void)syncWakeSchedule();
    }
}

bool TaskStore::writeFile(const QByteArray &bytes)
{
    QSaveFile file(m_options.tasksFile);
    const bool written =
        file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser) && file.commit();
    if (!written) {
        setLastError(u"Failed to save tasks: " % file.errorString());
    }
    return written;
}

// Every writer, the app and each moxley tool, saves the same way: inside the short write lock it
// reads the file again and, when another writer changed it, applies this store's changes since
// its last read or write to what is there; the list written is what the store then holds. With
// a single writer the file is as the store last left it, and its list is written as it stands.
bool TaskStore::save()
{
    QDir().mkpath(QFileInfo(m_options.tasksFile).absolutePath());
    const QList<ScheduledTask> mine = m_tasks;
    std::optional<QList<ScheduledTask>> fresh;
    {
        const TasksFileLock lock = TasksFileLock::take(TasksFileLock::Kind::write, m_options.tasksFile);
        if (lock.busy()) {
            setLastError(u"Failed to save tasks: " % lock.busyText());
            return false;
        }
        if (!rebaseOnFile(fresh) || !keepUnreadableFile()) {
            return false;
        }
        const QByteArray bytes = TaskMigration::encode(m_tasks);
        if (!writeFile(bytes)) {
            return false;
        }
        m_fileContents = bytes;
    }
    if (fresh) {
        settleJobs(mine, *fresh);
    }
    m_pending.clear();
    m_wakeSynced = false;
    m_fileTasks = m_tasks;
    Q_EMIT saved();
    return true;
}

bool TaskStore::syncWakeSchedule()
{
    m_wakeSynced = true;
    QList<ScheduledTask> waking;
    for (const ScheduledTask &task : std::as_const(m_tasks)) {
        if (task.isEnabled && task.wakeBeforeRun) {
            waking.append(task);
        }
    }
    // With no wake task left, the machine's existing wake entries stay as they are.
    if (waking.isEmpty()) {
        return true;
    }
    JobScheduler &scheduler = *m_options.scheduler;
    // The machine keeps a single repeating wake, so only the first repeating task gets it.
    for (const ScheduledTask &task : std::as_const(waking)) {
        if (isRepeatingWakeKind(task.schedule.kind())) {
            if (const auto error = scheduler.scheduleWake(task)) {
                setLastError(*error);
                return false;
            }
            break;
        }
    }
    for (const ScheduledTask &task : std::as_const(waking)) {
        if (task.schedule.kind() == TaskSchedule::Kind::monthly) {
            if (const auto error = scheduler.scheduleWake(task)) {
                setLastError(*error);
                return false;
            }
        }
    }
    return true;
}
