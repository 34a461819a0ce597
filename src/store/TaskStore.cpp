#include "store/TaskStore.h"

#include "launchd/LaunchdScheduler.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "platform/AppPaths.h"
#include "store/RunHistory.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString plural(int count, const char16_t *one, const char16_t *many)
{
    return QString::fromUtf16(count == 1 ? one : many);
}

// Beside the file, named for the moment, never over an earlier copy.
QString asideName(const QString &path)
{
    const QString base = path % u".unreadable-" % QDateTime::currentDateTime().toString(u"yyyyMMdd-HHmmss"_s);
    QString name = base;
    for (int n = 2; QFileInfo::exists(name); ++n) {
        name = base % u'-' % QString::number(n);
    }
    return name;
}

} // namespace

TaskStore::Options TaskStore::defaultOptions(const QStringList &arguments)
{
    Options options;
    options.tasksFile = AppPaths::tasksFile();
    options.pmsetService = std::make_shared<PmsetService>();
    options.changeNotice = ChangeNotice::system();
    options.resetTasks = arguments.contains(u"--reset-tasks"_s);
    return options;
}

TaskStore::TaskStore(Options options, QObject *parent) : QObject(parent), m_options(std::move(options))
{
    if (m_options.tasksFile.isEmpty()) {
        m_options.tasksFile = AppPaths::tasksFile();
    }
    if (!m_options.pmsetService) {
        m_options.pmsetService = std::make_shared<PmsetService>();
    }
    if (!m_options.scheduler) {
        m_options.scheduler = std::make_shared<LaunchdScheduler>(m_options.launchdService, m_options.pmsetService);
    }
    QDir().mkpath(QFileInfo(m_options.tasksFile).absolutePath());
    m_deferJobs = m_options.deferStartUpJobs;
    if (m_options.resetTasks) {
        QFile::remove(m_options.tasksFile);
    }
    load();
    if (m_options.changeNotice) {
        m_observation = m_options.changeNotice->observe([this] { load(); });
    }
}

TaskStore::~TaskStore() = default;

std::optional<ScheduledTask> TaskStore::task(const QUuid &id) const
{
    const qsizetype index = indexOf(id);
    return index < 0 ? std::nullopt : std::optional(m_tasks.at(index));
}

qsizetype TaskStore::indexOf(const QUuid &id) const
{
    for (qsizetype i = 0; i < m_tasks.size(); ++i) {
        if (m_tasks.at(i).id == id) {
            return i;
        }
    }
    return -1;
}

void TaskStore::clearLastError()
{
    if (m_lastError) {
        m_lastError.reset();
        Q_EMIT lastErrorChanged();
    }
}

void TaskStore::clearLastWarning()
{
    if (m_lastWarning) {
        m_lastWarning.reset();
        Q_EMIT lastWarningChanged();
    }
}

void TaskStore::setLastError(const QString &text)
{
    m_lastError = text;
    Q_EMIT lastErrorChanged();
}

void TaskStore::setLastWarning(const QString &text)
{
    m_lastWarning = text;
    Q_EMIT lastWarningChanged();
}

void TaskStore::install(const ScheduledTask &task)
{
    if (const auto error = m_options.scheduler->install(task)) {
        setLastError(*error);
    }
}

void TaskStore::uninstall(const ScheduledTask &task)
{
    if (const auto error = m_options.scheduler->uninstall(task)) {
        setLastError(*error);
    }
}

void TaskStore::startNow(const ScheduledTask &task)
{
    if (const auto error = m_options.scheduler->startNow(task)) {
        setLastError(*error);
    }
}

void TaskStore::load()
{
    // Taken before the read: when no change is in flight, a job whose task is not in the list
    // read below has no writer about to save it, so the sweep cannot take a job being installed.
    // When some writer is mid-change, the sweep waits for the next load. A load whose jobs are
    // deferred sweeps later under a lock of its own, and takes none now: a start writes nothing.
    const TasksFileLock sweep =
        m_deferJobs ? TasksFileLock() : TasksFileLock::take(TasksFileLock::Kind::sweep, m_options.tasksFile);
    bool failed = false;
    QFile file(m_options.tasksFile);
    m_fileContents.clear();
    m_pending.clear();
    if (!file.exists()) {
        m_fileTasks.clear();
    } else {
        if (!file.open(QIODevice::ReadOnly)) {
            setLastError(u"Failed to load tasks: " % file.errorString());
            failed = true;
        } else {
            m_fileContents = file.readAll();
            const TaskMigration::ReadResult result = TaskMigration::read(m_fileContents);
            if (result.ok()) {
                m_tasks = result.tasks;
                m_fileTasks = result.tasks;
            } else {
                setLastError(u"Failed to load tasks: " % result.error->description);
                failed = true;
            }
        }
    }
    m_fileUnreadable = failed;
    if (failed && !m_options.cleanUpAfterFailedLoad) {
        return;
    }
    if (std::exchange(m_deferJobs, false)) {
        Q_EMIT tasksChanged();
        return;
    }
    // Where the lock file cannot even be made (a read-only folder) no writer can save either.
    if (sweep.held() || !sweep.busy()) {
        // The kept set is the list as it now stands, even after a failed read.
        m_options.scheduler->removeStrays(taskIds());
        // Under the same lock: a writer deleting or disabling a task read above may already have
        // removed its job and script, and installing it again would leave a job without a task.
        refreshOutdatedScripts();
    }
    Q_EMIT tasksChanged();
}

bool TaskStore::keepUnreadableFile()
{
    if (!m_fileUnreadable) {
        return true;
    }
    if (!QFileInfo::exists(m_options.tasksFile)) {
        m_fileUnreadable = false;
        return true;
    }
    const QString aside = asideName(m_options.tasksFile);
    QFile original(m_options.tasksFile);
    if (!original.copy(aside)) {
        setLastError(u"Failed to save tasks: the tasks file that could not be read was not copied to " % aside % u": " %
                     original.errorString());
        return false;
    }
    m_fileUnreadable = false;
    setLastWarning(u"The tasks file could not be read. It was kept as " % aside % u" before being replaced.");
    return true;
}

void TaskStore::add(const ScheduledTask &task)
{
    const TasksFileLock changing = beginChange();
    m_tasks.append(task);
    record(Change::Kind::add, task.id);
    const qsizetype index = m_tasks.size() - 1;
    if (m_tasks.at(index).isEnabled) {
        if (m_tasks.at(index).wakeBeforeRun && !syncWakeSchedule()) {
            m_tasks[index].isEnabled = false;
        } else {
            install(m_tasks.at(index));
        }
    }
    save();
    Q_EMIT tasksChanged();
}

void TaskStore::update(const ScheduledTask &task)
{
    const qsizetype index = indexOf(task.id);
    if (index < 0) {
        return;
    }
    const TasksFileLock changing = beginChange();
    const ScheduledTask old = m_tasks.at(index);
    record(Change::Kind::replace, task.id, std::nullopt, old);
    const bool oldEnabled = old.isEnabled;
    const bool oldWake = old.wakeBeforeRun;
    const bool newEnabled = task.isEnabled;
    const bool newWake = task.wakeBeforeRun;
    const bool scheduleChanged = old.schedule != task.schedule;
    const bool wakeActive = newWake && newEnabled;

    if (wakeActive && (oldWake != newWake || scheduleChanged)) {
        m_tasks[index] = task;
        if (!syncWakeSchedule()) {
            m_tasks[index].wakeBeforeRun = false;
            if (oldEnabled) {
                uninstall(m_tasks.at(index));
            }
            if (m_tasks.at(index).isEnabled) {
                install(m_tasks.at(index));
            }
        } else {
            if (oldEnabled) {
                uninstall(m_tasks.at(index));
            }
            install(m_tasks.at(index));
        }
        save();
        Q_EMIT tasksChanged();
        return;
    }

    bool needWake = false;
    if (!oldWake && !newWake) {
        needWake = false;
    } else if (oldWake == newWake) {
        needWake = scheduleChanged && !wakeActive;
    } else {
        needWake = true;
    }
    m_tasks[index] = task;
    if (oldEnabled) {
        uninstall(task);
    }
    if (newEnabled) {
        install(task);
        if (needWake && !newWake) {
            syncWakeSchedule();
        }
    }
    if (!newEnabled && needWake) {
        syncWakeSchedule();
    }
    save();
    Q_EMIT tasksChanged();
}

void TaskStore::setEnabled(bool enabled, const QUuid &id)
{
    const qsizetype index = indexOf(id);
    if (index < 0) {
        return;
    }
    const TasksFileLock changing = beginChange();
    record(Change::Kind::setEnabled, id);
    if (enabled && m_tasks.at(index).wakeBeforeRun) {
        m_tasks[index].isEnabled = true;
        if (!syncWakeSchedule()) {
            m_tasks[index].isEnabled = false;
            save();
            Q_EMIT tasksChanged();
            return;
        }
    }
    m_tasks[index].isEnabled = enabled;
    if (!enabled) {
        uninstall(m_tasks.at(index));
        if (m_tasks.at(index).wakeBeforeRun) {
            syncWakeSchedule();
        }
    } else {
        install(m_tasks.at(index));
    }
    save();
    Q_EMIT tasksChanged();
}

void TaskStore::deleteTask(const ScheduledTask &task)
{
    const TasksFileLock changing = beginChange();
    record(Change::Kind::remove, task.id);
    uninstall(task);
    m_tasks.removeIf([&](const ScheduledTask &t) { return t.id == task.id; });
    if (task.wakeBeforeRun) {
        syncWakeSchedule();
    }
    save();
    Q_EMIT tasksChanged();
}

void TaskStore::deleteTasks(const QSet<QUuid> &ids)
{
    const TasksFileLock changing = beginChange();
    for (const QUuid &id : ids) {
        record(Change::Kind::remove, id);
    }
    bool anyWake = false;
    for (const ScheduledTask &task : std::as_const(m_tasks)) {
        if (ids.contains(task.id)) {
            uninstall(task);
            anyWake = anyWake || task.wakeBeforeRun;
        }
    }
    m_tasks.removeIf([&](const ScheduledTask &t) { return ids.contains(t.id); });
    if (anyWake) {
        syncWakeSchedule();
    }
    save();
    Q_EMIT tasksChanged();
}

std::optional<ScheduledTask> TaskStore::duplicate(const ScheduledTask &task)
{
    if (indexOf(task.id) < 0) {
        return std::nullopt;
    }
    ScheduledTask copy = task;
    copy.id = QUuid::createUuid();
    copy.name = task.name % u" (copy)";
    copy.isEnabled = false;
    copy.logs.clear();
    add(copy);
    return m_tasks.constLast();
}

QString TaskStore::ImportResult::summary() const
{
    QStringList lines;
    if (added > 0) {
        lines << QString::number(added) % u" task" % plural(added, u"", u"s") % u" imported.";
    }
    if (skipped > 0) {
        lines << QString::number(skipped) % u" skipped (already present).";
    }
    if (lines.isEmpty()) {
        lines << u"The selected file contained no new tasks."_s;
    }
    return lines.join(u'\n');
}

TaskStore::ImportResult TaskStore::importTasks(const QByteArray &data)
{
    ImportResult result;
    const TaskMigration::ReadResult read = TaskMigration::read(data);
    if (!read.ok()) {
        result.error = read.error->description;
        return result;
    }
    const TasksFileLock changing = beginChange();
    // Taken before the loop: two tasks sharing a new id in one file are both added.
    QSet<QUuid> present;
    for (const ScheduledTask &task : std::as_const(m_tasks)) {
        present.insert(task.id);
    }
    bool anyWake = false;
    m_options.scheduler->beginBatch();
    for (const ScheduledTask &task : read.tasks) {
        if (present.contains(task.id)) {
            ++result.skipped;
            continue;
        }
        m_tasks.append(task);
        record(Change::Kind::add, task.id, task);
        ++result.added;
        if (task.isEnabled) {
            (void)m_options.scheduler->install(task);
        }
        anyWake = anyWake || task.wakeBeforeRun;
    }
    m_options.scheduler->endBatch();
    if (result.added > 0) {
        if (anyWake) {
            syncWakeSchedule();
        }
        save();
        Q_EMIT tasksChanged();
    }
    if (result.skipped > 0) {
        setLastWarning(u"Skipped " % QString::number(result.skipped) % u" task" % plural(result.skipped, u"", u"s") %
                       u" with ID" % plural(result.skipped, u"", u"s") % u" already present.");
    }
    return result;
}

QList<TaskRunRecord> TaskStore::runRecords(const ScheduledTask &task) const
{
    return RunHistory::readRuns(m_options.launchdService.runsPath(task));
}

QString TaskStore::readLog(const ScheduledTask &task, LogStream stream, int maxLines) const
{
    const LaunchdService &files = m_options.launchdService;
    return RunHistory::readLogTail(
        stream == LogStream::standardOutput ? files.stdoutLogPath(task) : files.stderrLogPath(task), maxLines);
}
