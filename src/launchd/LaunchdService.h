#pragma once

#include "model/ScheduledTask.h"
#include "platform/GeneratedFile.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

// A failure of installing or removing a job; returned, never thrown.
struct JobControlError {
    enum class Kind { installFailed, launchctlFailed };
    Kind kind = Kind::installFailed;
    QString message;    // installFailed: the system's text
    QString subcommand; // launchctlFailed
    qint32 status = 0;  // launchctlFailed; -1 when launchctl could not be started

    static JobControlError installFailed(const QString &message);
    static JobControlError launchctlFailed(const QString &subcommand, qint32 status);
    // "Failed to install task: MESSAGE" or "launchctl SUB failed (exit code N)"
    QString description() const;
    friend bool operator==(const JobControlError &, const JobControlError &) = default;
};

// Knows where every generated file of a task lives and what it is called, writes the
// wrapper script and the job property list, and loads and unloads jobs with launchctl.
// A plain value: its only state is its three folders.
class LaunchdService
{
public:
    // Each folder left out takes its default: ~/Library/LaunchAgents, <data>/Scripts, <data>/Logs.
    explicit LaunchdService(std::optional<QString> launchAgentsDir = std::nullopt,
                            std::optional<QString> scriptsDir = std::nullopt,
                            std::optional<QString> logDir = std::nullopt);

    const QString &launchAgentsDir() const { return m_launchAgentsDir; }
    const QString &scriptsDir() const { return m_scriptsDir; }
    const QString &logDir() const { return m_logDir; }

    // "com.moxley.task." + full id
    static QString jobLabel(const QUuid &id);
    QString plistPath(const QUuid &id) const;        // launchAgentsDir/label.plist
    QString scriptPath(const QUuid &id) const;       // scriptsDir/Moxley_<short id>.sh
    QString legacyScriptPath(const QUuid &id) const; // scriptsDir/<FULL ID>.sh (only ever deleted)
    QString runsPath(const QUuid &id) const;         // logDir/<short id>.runs
    QString stdoutLogPath(const QUuid &id) const;    // logDir/<short id>.stdout.log
    QString stderrLogPath(const QUuid &id) const;    // logDir/<short id>.stderr.log

    static QString jobLabel(const ScheduledTask &task) { return jobLabel(task.id); }
    QString plistPath(const ScheduledTask &task) const { return plistPath(task.id); }
    QString scriptPath(const ScheduledTask &task) const { return scriptPath(task.id); }
    QString runsPath(const ScheduledTask &task) const { return runsPath(task.id); }
    QString stdoutLogPath(const ScheduledTask &task) const { return stdoutLogPath(task.id); }
    QString stderrLogPath(const ScheduledTask &task) const { return stderrLogPath(task.id); }

    // The wrapper script's version; its header line is "# Moxley script v3".
    static constexpr int kScriptVersion = 3;
    static QString scriptHeader();

    // The exact texts of the generated files (pure: nothing touches the disk).
    QString scriptText(const ScheduledTask &task) const;
    QString plistText(const ScheduledTask &task) const;

    // The script for a scheduler whose calendar is exact (systemd): no day guards, and with a
    // login shell it is `loginShell` (zsh or bash, with its profile; another or none: bash with
    // ~/.profile) instead of zsh, which a stock Linux lacks.
    QString exactCalendarScriptText(const ScheduledTask &task, const QString &loginShell) const;

    // Writes the script (mode 0700, creating the folders), fails with the system's text.
    std::optional<QString> writeScript(const ScheduledTask &task,
                                       GeneratedFile::Sync sync = GeneratedFile::Sync::now) const;
    std::optional<QString> writeScript(const ScheduledTask &task, const QString &text,
                                       GeneratedFile::Sync sync = GeneratedFile::Sync::now) const;
    // Removes scripts whose task id is not kept, and all scripts named by a full id.
    void removeOrphanScripts(const QSet<QUuid> &keptIds) const;

    // launchctl with these arguments (no shell); output discarded.
    std::optional<JobControlError> runJobControl(const QStringList &arguments) const;
    // Writes script and property list, unloads an existing job, loads the new one.
    std::optional<JobControlError> install(const ScheduledTask &task) const;
    // install's files without its launchctl calls, for a batch. `replaced`: a property list was
    // there, so its job is to be unloaded before the new one loads.
    std::optional<JobControlError> writeJobFiles(const ScheduledTask &task, bool &replaced) const;
    // Unloads the job and deletes its property list and scripts; history and logs stay.
    std::optional<JobControlError> uninstall(const ScheduledTask &task) const;
    // Removes this app's jobs and scripts whose task id is not kept.
    void removeOrphans(const QSet<QUuid> &keptIds) const;

private:
    std::optional<JobControlError> savePlist(const ScheduledTask &task,
                                             GeneratedFile::Sync sync = GeneratedFile::Sync::now) const;
    static void appendDayGuard(const ScheduledTask &task, QStringList &lines);
    // From the environment file to the runs line and the exit.
    void appendBody(const ScheduledTask &task, QStringList &lines) const;

    QString m_launchAgentsDir;
    QString m_scriptsDir;
    QString m_logDir;
};
