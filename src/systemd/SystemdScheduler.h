#pragma once

#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"

#include <QStringList>

#include <algorithm>

// The tasks as units of the user's systemd instance, through `systemctl --user`. The wrapper
// script, runs file and logs are LaunchdService's (same paths, same runs line); the units live in
// $XDG_CONFIG_HOME/systemd/user. Failures read "systemctl SUB failed (exit code N)" followed by
// systemctl's own message, or say that no user instance answers.
class SystemdScheduler final : public JobScheduler
{
public:
    // `unitDir` empty: AppPaths::systemdUserUnitDir(); `loginShell` empty: AppPaths::loginShell().
    // `alertTool`: the moxley executable that the alert unit runs; nothing: the one beside this
    // program (AppPaths::besideThisProgram); empty: no alert unit, and no OnFailure= on the services.
    explicit SystemdScheduler(LaunchdService files, QString unitDir = {}, QString loginShell = {},
                              std::optional<QString> alertTool = std::nullopt);

    const QString &unitDir() const { return m_unitDir; }

    // Unit names per enable or restart call: one call for a whole batch of thousands would come
    // near the system's limit on a command line's length (each name is 57 characters or more).
    static constexpr qsizetype kUnitsPerCall = 2000;
    void setUnitsPerCall(qsizetype count) { m_unitsPerCall = std::max<qsizetype>(1, count); }
    const QString &alertTool() const { return m_alertTool; }

    Kind kind() const override { return Kind::systemd; }
    std::optional<QString> install(const ScheduledTask &task) override;
    std::optional<QString> uninstall(const ScheduledTask &task) override;
    void removeStrays(const QSet<QUuid> &keptIds) override;
    void beginBatch() override;
    // A failed reload is every pending task's failure: systemctl does not say whose unit it was.
    QHash<QUuid, QString> endBatch() override;
    std::optional<QString> startNow(const ScheduledTask &task) override;
    // Calendar: the schedule's true times in local time; interval: the manager's next elapse.
    QList<QDateTime> nextRuns(const ScheduledTask &task, const QDateTime &after, int count) const override;
    std::optional<QString> scheduleWake(const ScheduledTask &task) override;
    bool isWakeActive(const ScheduledTask &task) const override;
    QString jobFilePath(const ScheduledTask &task) const override;
    bool isLoaded(const ScheduledTask &task) const override;
    QList<JobFile> jobFiles(const ScheduledTask &task) const override;
    QString scriptText(const ScheduledTask &task) const override;
    QString shellName(const ScheduledTask &task) const override;
    // The service alone, started with `systemctl --user start`; never enabled (SystemdRunOnce.cpp).
    std::optional<QString> runOnce(const ScheduledTask &task) override;
    void removeRunOnce(const ScheduledTask &task) override;
    // The manager does not answer (or systemctl is missing): its message.
    QString unavailableReason() const override;
    // `systemd-path search-binaries-default`, the PATH systemd gives units; HOME as the folder.
    QStringList defaultEnvironment() const override;
    QString defaultWorkingDirectory() const override;

    struct Reply {
        std::optional<QString> error;
        QString output;
    };
    // systemctl --user with these arguments; the error as described above.
    Reply systemctl(const QStringList &arguments) const;

private:
    QString servicePath(const ScheduledTask &task) const;
    QString timerPath(const ScheduledTask &task) const;
    // `alerts`: whether the service names the alert unit (a probe's failure is no run's failure).
    std::optional<QString> writeUnits(const ScheduledTask &task, bool alerts = true) const;
    QList<JobFile> unitFiles(const ScheduledTask &task, bool alerts) const;
    // daemon-reload, then enable --now (and start, for run-at-load services) the units given.
    std::optional<QString> activate(const QStringList &units, const QStringList &started);
    // systemctl VERB... UNITS, kUnitsPerCall units a call; the first failure.
    std::optional<QString> systemctlEach(const QStringList &verb, const QStringList &units) const;
    std::optional<QString> withoutWake(const ScheduledTask &task);
    std::optional<QDateTime> managerNextElapse(const ScheduledTask &task) const;
    // The alert template goes with the last task's units.
    void removeUnusedAlertTemplate() const;

    LaunchdService m_files;
    QString m_unitDir;
    QString m_loginShell;
    QString m_alertTool;
    bool m_batching = false;
    // The alert template was written in this batch (writeUnits is const to every other member).
    mutable bool m_alertTemplateInBatch = false;
    qsizetype m_unitsPerCall = kUnitsPerCall;
    QStringList m_pendingUnits;
    QStringList m_pendingStarts;
    QList<QUuid> m_pendingIds;
};
