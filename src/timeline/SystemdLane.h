#pragma once

#include "systemd/SystemdBrowser.h"
#include "timeline/DayTimeline.h"

#include <QDate>
#include <QList>
#include <QTimeZone>

namespace Timeline {

// The system lane on Linux: one row per calendar timer that runs (enabled, or with a next elapse from
// its manager; not a template, not masked) with systemd's own elapses of `date`, then one per cron line
// that has a time schedule, with its minutes of `date`. A row may have no mark on a day it does not run.
QList<SystemRow> systemdRows(const SystemdJobs &jobs, const QDate &date, const QTimeZone &zone);

} // namespace Timeline
