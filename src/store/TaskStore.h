#pragma once

#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"
#include "model/ScheduledTask.h"
#include "platform/ChangeNotice.h"
#include "platform/TasksFileLock.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class PmsetServiceProtocol;

// The one owner of the task list. Every change goes through here: it saves at once, keeps the
// jobs and the wake schedule in step, and publishes failures as text. Main thread only.
class TaskStore : public QObject
{
    Q_OBJECT

public:
    enum class LogStream { standardOutput, standardError }; // the stdout and stderr logs

    struct Options {
        QString tasksFile;             // default: AppPaths::tasksFile()
        LaunchdService launchdService; // the store's own
        LaunchdService launchdServiceForViews;
        std::shared_ptr<PmsetServiceProtocol> pmsetService; // null: the system's PmsetService
        // null: launchd, through launchdService and pmsetService (see SchedulerChoice for the
        // front ends' choice)
        std::shared_ptr<JobScheduler> scheduler;
        std::shared_ptr<ChangeNotice> changeNotice; // may be null: no notices observed
        bool resetTasks = false;                    // "--reset-tasks"
        // The app sweeps stray jobs and refreshes scripts even after a failed read (its list is then
        // empty). The moxley tool turns this off: it never acts on a file it could not read.
        bool cleanUpAfterFailedLoad = true;
        // The moxley tool: a file that was changed since this store read it and no longer reads
        // fails the save. The app leaves it off: it keeps a copy of that file and writes its list.
        bool keepOutsideChanges = false;
        // The app: the first load leaves the stray-job sweep and the script refresh to
        // sweepStrays() and reinstall(outdatedScripts()), so that its window paints first.
        bool deferStartUpJobs = false;
        // Told how far a load's script refresh has got (tasks done, of how many): the tool's
        // progress line. Not called when there is nothing to refresh.
        std::function<void(qsizetype done, qsizetype total)> refreshProgress;
    };
    // The app's and the moxley tool's defaults; `arguments` are the process arguments.
    static Options defaultOptions(const QStringList &arguments = {});

    // Runs start-up: the folder, --reset-tasks, load (with the stray-job sweep and script refresh),
    // and observing the change notice.
    explicit TaskStore(Options options, QObject *parent = nullptr);
    ~TaskStore() override;

    const QList<ScheduledTask> &tasks() const { return m_tasks; }
    std::optional<ScheduledTask> task(const QUuid &id) const;
    const std::optional<QString> &lastError() const { return m_lastError; }
    const std::optional<QString> &lastWarning() const { return m_lastWarning; }
    // The tasks file was there but could not be read at the last load. The next save keeps a copy
    // of it beside it before writing over it.
    bool fileUnreadable() const { return m_fileUnreadable; }
    // The tasks file's bytes as this store last read or wrote them (empty when there was no file),
    // so a watcher of the file can tell the store's own saves from changes made behind its back.
    const QByteArray &fileContents() const { return m_fileContents; }
    void clearLastError();
    void clearLastWarning();

    const QString &saveURL() const { return m_options.tasksFile; }
    const LaunchdService &launchdService() const { return m_options.launchdService; }
    const LaunchdService &launchdServiceForViews() const { return m_options.launchdServiceForViews; }
    PmsetServiceProtocol &pmsetService() const { return *m_options.pmsetService; }
    JobScheduler &scheduler() const { return *m_options.scheduler; }
    // For work off the main thread that must keep the scheduler alive (the doctor's checks).
    std::shared_ptr<JobScheduler> sharedScheduler() const { return m_options.scheduler; }
    // Starts the task's job now through the scheduler (recorded in the history); a failure
    // becomes lastError.
    void startNow(const ScheduledTask &task);

    void add(const ScheduledTask &task);
    void update(const ScheduledTask &task);
    void deleteTask(const ScheduledTask &task);
    void deleteTasks(const QSet<QUuid> &ids);
    void setEnabled(bool enabled, const QUuid &id);
    // The copy (disabled, " (copy)", fresh id), appended; nothing if the task is unknown.
    std::optional<ScheduledTask> duplicate(const ScheduledTask &task);

    struct ImportResult {
        int added = 0;
        int skipped = 0;
        std::optional<QString> error; // the read failure; nothing was changed
        // The "Import Complete" text: "2 tasks imported.", "1 skipped (already present).", ...
        QString summary() const;
    };
    ImportResult importTasks(const QByteArray &data);

    void load();
    bool save();

    // A load's stray-job sweep on its own: removes the jobs of tasks neither in the list nor in
    // the tasks file as it is now. Skipped while another writer is in the middle of a change.
    void sweepStrays();
    // The enabled tasks whose wrapper script is missing or was written by another version.
    QList<QUuid> outdatedScripts() const;
    // Installs these tasks' jobs again in one batch of the scheduler, best effort (as a load does),
    // as the tasks stand in the file now: an id that is no longer there, or whose task is disabled,
    // is skipped. False, with nothing done, while another writer is in the middle of a change (it
    // may be deleting one of them): try again later.
    bool reinstall(const QList<QUuid> &ids);

    // Run history and logs, read afresh on every call; missing or broken files read as empty.
    QList<TaskRunRecord> runRecords(const ScheduledTask &task) const;
    QString readLog(const ScheduledTask &task, LogStream stream, int maxLines) const;

Q_SIGNALS:
    void tasksChanged();
    // Emitted for every error and warning set, even one equal to the last.
    void lastErrorChanged();
    void lastWarningChanged();
    // The tasks file was written.
    void saved();

private:
    qsizetype indexOf(const QUuid &id) const;
    void setLastError(const QString &text);
    void setLastWarning(const QString &text);
    void install(const ScheduledTask &task);
    void uninstall(const ScheduledTask &task);
    void refreshOutdatedScripts();
    QSet<QUuid> taskIds() const;
    void installAll(const QList<ScheduledTask> &tasks);
    bool keepUnreadableFile();
    // One change of the list, as it is applied again to the file read inside the write lock.
    struct Change {
        enum class Kind { add, replace, setEnabled, remove };
        Kind kind;
        QUuid id;
        std::optional<ScheduledTask> task; // an imported task; else the list's task with the id
        std::optional<ScheduledTask> base; // for replace: the task before it, so only what changed is kept
    };
    // Held by every change from its start to its save; see TasksFileLock.
    TasksFileLock beginChange() const;
    void record(Change::Kind kind, const QUuid &id, std::optional<ScheduledTask> task = std::nullopt,
                std::optional<ScheduledTask> base = std::nullopt);
    // Inside the write lock: the list to write, from the file as it now is. False (and lastError)
    // when the file changed and cannot be read and keepOutsideChanges is on.
    bool rebaseOnFile(std::optional<QList<ScheduledTask>> &fresh);
    QList<ScheduledTask> replayOn(QList<ScheduledTask> list) const;
    // After a save that took in another writer's changes: jobs follow the tasks this store touched.
    void settleJobs(const QList<ScheduledTask> &mine, const QList<ScheduledTask> &fresh);
    bool writeFile(const QByteArray &bytes);
    // Hands the enabled wake tasks to the wake service; false (and lastError) on the first failure.
    bool syncWakeSchedule();

    Options m_options;
    QList<ScheduledTask> m_tasks;
    std::optional<QString> m_lastError;
    std::optional<QString> m_lastWarning;
    bool m_fileUnreadable = false;
    bool m_deferJobs = false; // the first load's, with deferStartUpJobs
    QByteArray m_fileContents;
    // The list as it was last read or written: what this store's own changes are measured against.
    QList<ScheduledTask> m_fileTasks;
    // This store's changes since then, oldest first.
    QList<Change> m_pending;
    // Whether this store handed wake times to the wake service since then: from its own view of the
    // list, which another writer may have changed meanwhile.
    bool m_wakeSynced = false;
    // Declared last: it goes first, so no notice reaches a store being destroyed.
    std::unique_ptr<ChangeNotice::Observation> m_observation;
};
