#pragma once

#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"

#include <memory>

class PmsetServiceProtocol;

// The launchd jobs of LaunchdService and the wake of the power-management tool, behind the
// scheduler seam. Every text and call is LaunchdService's and PmsetService's own.
class LaunchdScheduler final : public JobScheduler
{
public:
    LaunchdScheduler(LaunchdService service, std::shared_ptr<PmsetServiceProtocol> pmset);

    Kind kind() const override { return Kind::launchd; }
    std::optional<QString> install(const ScheduledTask &task) override;
    std::optional<QString> uninstall(const ScheduledTask &task) override;
    void removeStrays(const QSet<QUuid> &keptIds) override;
    // launchctl kickstart gui/UID/LABEL
    std::optional<QString> startNow(const ScheduledTask &task) override;
    // The calendar's true times; an interval: nothing (launchd does not tell).
    QList<QDateTime> nextRuns(const ScheduledTask &task, const QDateTime &after, int count) const override;
    std::optional<QString> scheduleWake(const ScheduledTask &task) override;
    bool isWakeActive(const ScheduledTask &task) const override;
    QString jobFilePath(const ScheduledTask &task) const override;
    // launchctl list LABEL succeeds
    bool isLoaded(const ScheduledTask &task) const override;
    QList<JobFile> jobFiles(const ScheduledTask &task) const override;
    QString scriptText(const ScheduledTask &task) const override;
    QString shellName(const ScheduledTask &task) const override;
    // The run-at-load job runs as launchctl loads it; unloading stops it.
    std::optional<QString> runOnce(const ScheduledTask &task) override;
    void removeRunOnce(const ScheduledTask &task) override;
    // Off macOS, and under MOXLEY_SYSROOT, launchctl is a stand-in that runs nothing.
    QString unavailableReason() const override;
    // PATH=/usr/bin:/bin:/usr/sbin:/sbin, and the root folder.
    QStringList defaultEnvironment() const override;
    QString defaultWorkingDirectory() const override;

private:
    LaunchdService m_service;
    std::shared_ptr<PmsetServiceProtocol> m_pmset;
};
