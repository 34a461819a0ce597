#pragma once

#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"

#include <algorithm>
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
    // Installs in a batch write their files at once and leave launchctl to endBatch, which unloads
    // the replaced jobs and loads them all with a few calls taking many paths each.
    void beginBatch() override;
    QHash<QUuid, QString> endBatch() override;
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

    // Paths per launchctl call: far below the system's limit on a command line's length.
    static constexpr qsizetype kPathsPerCall = 200;
    void setPathsPerCall(qsizetype count) { m_pathsPerCall = std::max<qsizetype>(1, count); }

private:
    struct PendingJob {
        QUuid id;
        QString plist;
        bool replaced = false;
    };
    void loadPending(const QList<PendingJob> &jobs, QHash<QUuid, QString> &failures) const;

    LaunchdService m_service;
    bool m_batching = false;
    QList<PendingJob> m_pending;
    qsizetype m_pathsPerCall = kPathsPerCall;
    std::shared_ptr<PmsetServiceProtocol> m_pmset;
};
