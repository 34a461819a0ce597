#include "systemd/SystemdBrowser.h"

#include "systemd/SchedulerChoice.h"
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
    // The same choice as the scheduler's; an unknown MOXLEY_SCHEDULER has been reported by then.
    const SchedulerChoice::Choice choice = SchedulerChoice::fromEnvironment();
    return choice.kind.value_or(SchedulerChoice::platformDefault()) == JobScheduler::Kind::systemd;
}
