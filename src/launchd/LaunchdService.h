#pragma once

#include "model/ScheduledTask.h"

#include <QString>

#include <optional>

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
    QString plistPath(const QUuid &id) const;     // launchAgentsDir/label.plist
    QString scriptPath(const QUuid &id) const;    // scriptsDir/Moxley_<short id>.sh
    QString legacyScriptPath(const QUuid &id) const; // scriptsDir/<FULL ID>.sh (only ever deleted)
    QString runsPath(const QUuid &id) const;      // logDir/<short id>.runs
    QString stdoutLogPath(const QUuid &id) const; // logDir/<short id>.stdout.log
    QString stderrLogPath(const QUuid &id) const; // logDir/<short id>.stderr.log

    static QString jobLabel(const ScheduledTask &task) { return jobLabel(task.id); }
    QString plistPath(const ScheduledTask &task) const { return plistPath(task.id); }
    QString scriptPath(const ScheduledTask &task) const { return scriptPath(task.id); }
    QString runsPath(const ScheduledTask &task) const { return runsPath(task.id); }
    QString stdoutLogPath(const ScheduledTask &task) const { return stdoutLogPath(task.id); }
    QString stderrLogPath(const ScheduledTask &task) const { return stderrLogPath(task.id); }

private:
    QString m_launchAgentsDir;
    QString m_scriptsDir;
    QString m_logDir;
};
