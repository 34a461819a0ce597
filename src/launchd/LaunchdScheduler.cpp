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
    if (const auto error = m_service.install(task)) {
        return error->description();
    }
    return std::nullopt;
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
