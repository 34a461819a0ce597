#include "systemd/SchedulerChoice.h"

#include "launchd/LaunchdScheduler.h"
#include "launchd/PmsetService.h"
#include "platform/SystemPaths.h"
#include "systemd/SystemdScheduler.h"

using namespace Qt::StringLiterals;

SchedulerChoice::Choice SchedulerChoice::fromEnvironment()
{
#ifdef Q_OS_MACOS
    return {JobScheduler::Kind::launchd, std::nullopt};
#else
    const QString named = qEnvironmentVariable("MOXLEY_SCHEDULER");
    if (named.isEmpty()) {
        return {platformDefault(), std::nullopt};
    }
    if (named == u"launchd") {
        return {JobScheduler::Kind::launchd, std::nullopt};
    }
    if (named == u"systemd") {
        return {JobScheduler::Kind::systemd, std::nullopt};
    }
    return {std::nullopt, u"Unknown MOXLEY_SCHEDULER “" % named % u"”: use launchd or systemd."};
#endif
}

JobScheduler::Kind SchedulerChoice::platformDefault()
{
#ifdef Q_OS_MACOS
    return JobScheduler::Kind::launchd;
#else
    return SystemPaths::sysroot().isEmpty() ? JobScheduler::Kind::systemd : JobScheduler::Kind::launchd;
#endif
}

std::shared_ptr<JobScheduler> SchedulerChoice::make(JobScheduler::Kind kind, const LaunchdService &files,
                                                    std::shared_ptr<PmsetServiceProtocol> pmset)
{
    if (kind == JobScheduler::Kind::systemd) {
        return std::make_shared<SystemdScheduler>(files);
    }
    return std::make_shared<LaunchdScheduler>(files, pmset ? std::move(pmset) : std::make_shared<PmsetService>());
}
