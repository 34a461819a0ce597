#pragma once

#include "systemd/CronTable.h"
#include "systemd/TimerUnit.h"

#include <QList>

// What a Linux machine schedules by itself: its systemd timers (with the managers' next and last
// elapse where a manager answers) and its cron lines. Only reads.
struct SystemdJobs {
    QList<TimerUnit> timers;
    QList<CronEntry> cron;

    static SystemdJobs scan();
    bool isEmpty() const { return timers.isEmpty() && cron.isEmpty(); }
    qsizetype size() const { return timers.size() + cron.size(); }
};

// Whether the System Jobs browser, `moxley jobs` and the timeline's system lane show systemd timers and
// cron (true) or launchd jobs (false): MOXLEY_SCHEDULER when it says "systemd" or "launchd", else
// launchd under MOXLEY_SYSROOT and systemd without; macOS always launchd.
// The one place that decides this for the browser: point it at the scheduler seam's choice once that exists.
bool browsesSystemdJobs();
