#include "systemd/SystemdBrowser.h"

#include "platform/SystemPaths.h"
#include "systemd/SystemdTimerScanner.h"
#include "systemd/TimerElapse.h"

SystemdJobs SystemdJobs::scan()
{
    SystemdJobs jobs;
    jobs.timers = SystemdTimerScanner().scan();
    TimerElapse::apply(jobs.timers);
    jobs.cron = CronTable::scan();
    return jobs;
}

bool browsesSystemdJobs()
{
#ifdef Q_OS_MACOS
    return false;
#else
    const QString chosen = qEnvironmentVariable("MOXLEY_SCHEDULER");
    if (chosen == u"systemd") {
        return true;
    }
    if (chosen == u"launchd") {
        return false;
    }
    return SystemPaths::sysroot().isEmpty();
#endif
}
