#include "launchd/LaunchdScheduler.h"

#include "launchd/PmsetService.h"
#include "model/NextRuns.h"
#include "platform/SystemPaths.h"

#include <QTimeZone>

#include <unistd.h>

using namespace Qt::StringLiterals;

LaunchdScheduler::LaunchdScheduler(LaunchdService service, std::shared_ptr<PmsetServiceProtocol> pmset)
    : m_service(std::move(service)), m_pmset(std::move(pmset))
{
}

std::optional<QString> LaunchdScheduler::install(const ScheduledTask &task)
{
    if (m_batching) {
        PendingJob job{task.id, m_service.plistPath(task)};
        if (const auto error = m_service.writeJobFiles(task, job.replaced)) {
            return error->description();
        }
        m_pending.append(job);
        return std::nullopt;
    }
    if (const auto error = m_service.install(task)) {
        return error->description();
    }
    return std::nullopt;
}

void LaunchdScheduler::beginBatch()
{
    m_batching = true;
    m_pending.clear();
}

QHash<QUuid, QString> LaunchdScheduler::endBatch()
{
    m_batching = false;
    QHash<QUuid, QString> failures;
    if (!m_pending.isEmpty()) {
        GeneratedFile::syncAll();
    }
    for (qsizetype start = 0; start < m_pending.size(); start += m_pathsPerCall) {
        loadPending(m_pending.mid(start, m_pathsPerCall), failures);
    }
    m_pending.clear();
    return failures;
}

void LaunchdScheduler::loadPending(const QList<PendingJob> &jobs, QHash<QUuid, QString> &failures) const
{
    QStringList unload{u"unload"_s};
    QStringList load{u"load"_s};
    for (const PendingJob &job : jobs) {
        if (job.replaced) {
            unload << job.plist;
        }
        load << job.plist;
    }
    // As for one job, a failed unload is no failure: the job may not have been loaded.
    if (unload.size() > 1) {
        (void)m_service.runJobControl(unload);
    }
    const auto error = m_service.runJobControl(load);
    if (!error) {
        return;
    }
    if (jobs.size() == 1) {
        failures.insert(jobs.constFirst().id, error->description());
        return;
    }
    // launchctl's status does not say which path failed, and some of them may be loaded now: each
    // job is taken down and loaded on its own, so that the failure is that job's, as install gives it.
    for (const PendingJob &job : jobs) {
        (void)m_service.runJobControl({u"unload"_s, job.plist});
        if (const auto error = m_service.runJobControl({u"load"_s, job.plist})) {
            failures.insert(job.id, error->description());
        }
    }
}

std::optional<QString> LaunchdScheduler::uninstall(const ScheduledTask &task)
{
    if (const auto error = m_service.uninstall(task)) {
        return error->description();
    }
    return std::nullopt;
}

void LaunchdScheduler::removeStrays(const QSet<QUuid> &keptIds)
{
    m_service.removeOrphans(keptIds);
}

std::optional<QString> LaunchdScheduler::startNow(const ScheduledTask &task)
{
    const QString target = u"gui/" % QString::number(::getuid()) % u'/' % LaunchdService::jobLabel(task);
    if (const auto error = m_service.runJobControl({u"kickstart"_s, target})) {
        return error->description();
    }
    return std::nullopt;
}

QList<QDateTime> LaunchdScheduler::nextRuns(const ScheduledTask &task, const QDateTime &after, int count) const
{
    if (!task.isEnabled) {
        return {};
    }
    return ::nextRuns(task.schedule, after, count, QTimeZone::systemTimeZone());
}

std::optional<QString> LaunchdScheduler::scheduleWake(const ScheduledTask &task)
{
    if (const auto error = m_pmset->scheduleWake(task)) {
        return error->description();
    }
    return std::nullopt;
}

bool LaunchdScheduler::isWakeActive(const ScheduledTask &task) const
{
    return m_pmset->isWakeActive(task);
}

QString LaunchdScheduler::jobFilePath(const ScheduledTask &task) const
{
    return m_service.plistPath(task);
}

bool LaunchdScheduler::isLoaded(const ScheduledTask &task) const
{
    return !m_service.runJobControl({u"list"_s, LaunchdService::jobLabel(task)});
}

QList<JobScheduler::JobFile> LaunchdScheduler::jobFiles(const ScheduledTask &task) const
{
    return {{m_service.plistPath(task), m_service.plistText(task)}};
}

QString LaunchdScheduler::scriptText(const ScheduledTask &task) const
{
    return m_service.scriptText(task);
}

QString LaunchdScheduler::shellName(const ScheduledTask &task) const
{
    return task.useLoginShell ? u"zsh"_s : u"bash"_s;
}

std::optional<QString> LaunchdScheduler::runOnce(const ScheduledTask &task)
{
    return install(task);
}

void LaunchdScheduler::removeRunOnce(const ScheduledTask &task)
{
    (void)m_service.uninstall(task);
}

QString LaunchdScheduler::unavailableReason() const
{
#ifdef Q_OS_MACOS
    if (SystemPaths::sysroot().isEmpty()) {
        return {};
    }
#endif
    return u"launchctl is a stand-in here"_s;
}

QStringList LaunchdScheduler::defaultEnvironment() const
{
    return {u"PATH=/usr/bin:/bin:/usr/sbin:/sbin"_s};
}

QString LaunchdScheduler::defaultWorkingDirectory() const
{
    return u"/"_s;
}
