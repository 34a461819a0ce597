#pragma once

#include "model/ScheduledTask.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

// The scheduler that runs the tasks' jobs: launchd (macOS, and stand-in tools for tests) or the
// user's systemd instance (Linux). The store holds one, chosen once at start-up, and reaches the
// scheduler only through it; the views ask it only for its own words (job file texts, the shell).
// Every failure is returned as the text the app shows in its Error alert.
// It lives in model/ because the store, the views and both implementations see it and none of
// them may include another's folder.
class JobScheduler
{
public:
    enum class Kind { launchd, systemd };

    struct JobFile {
        QString path;
        QString text;
    };

    virtual ~JobScheduler() = default;

    virtual Kind kind() const = 0;

    // Writes the wrapper script and the job files, then (re)loads the job.
    virtual std::optional<QString> install(const ScheduledTask &task) = 0;
    // Stops and unloads the job and removes its files; the runs file and the logs stay.
    virtual std::optional<QString> uninstall(const ScheduledTask &task) = 0;
    // Removes this program's jobs and scripts whose task id is not kept; never anyone else's.
    virtual void removeStrays(const QSet<QUuid> &keptIds) = 0;
    // Installs between these two calls may defer the scheduler's reload to the end, so that a
    // refresh of many tasks reloads once. Not nested. endBatch gives the failures of the deferred
    // work by task id, as install would have returned them.
    virtual void beginBatch() {}
    virtual QHash<QUuid, QString> endBatch() { return {}; }

    // Starts the task's job now, as a scheduled run would (recorded in the history).
    virtual std::optional<QString> startNow(const ScheduledTask &task) = 0;
    // The next `count` run times strictly after `after`, as the scheduler will fire them; empty for
    // run-at-load, a disabled task, or an interval the scheduler cannot tell.
    virtual QList<QDateTime> nextRuns(const ScheduledTask &task, const QDateTime &after, int count) const = 0;

    // Makes the computer wake for the task. launchd: the power-management tool; systemd: nothing
    // to do (WakeSystem= is on the timer).
    virtual std::optional<QString> scheduleWake(const ScheduledTask &task) = 0;
    virtual bool isWakeActive(const ScheduledTask &task) const = 0;

    // The file whose modification time is the moment the job was last installed.
    virtual QString jobFilePath(const ScheduledTask &task) const = 0;
    virtual bool isLoaded(const ScheduledTask &task) const = 0;
    // The job files exactly as installing writes them (pure: nothing touches the disk).
    virtual QList<JobFile> jobFiles(const ScheduledTask &task) const = 0;
    virtual QString scriptText(const ScheduledTask &task) const = 0;
    // The shell the wrapper script runs in, for the detail's "Shell:" line ("zsh", "bash").
    virtual QString shellName(const ScheduledTask &task) const = 0;

    // For the doctor's probe. A run-at-load task's job written as installing writes it, never
    // enabled, run once now; removeRunOnce stops it and deletes its script and job files.
    virtual std::optional<QString> runOnce(const ScheduledTask &task) = 0;
    virtual void removeRunOnce(const ScheduledTask &task) = 0;
    // Why no job can run through it on this computer (launchd's stand-in tools, no systemd user
    // instance); empty when jobs can.
    virtual QString unavailableReason() const = 0;
    // What a job meets when nothing else sets it, as the scheduler documents it: "NAME=VALUE"
    // entries beyond HOME, USER, LOGNAME and SHELL, and the working folder.
    virtual QStringList defaultEnvironment() const = 0;
    virtual QString defaultWorkingDirectory() const = 0;
};
