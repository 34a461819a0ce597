#pragma once

#include "launchd/LaunchdJob.h"
#include "timeline/DayTimeline.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

// The two forms `moxley timeline` prints, apart from the command so they can be checked alone.
namespace TimelineOutput {

// {"date", "currentHour", "tasks": [...], "systemJobs": [...] (only when asked for)}
QJsonObject json(const Timeline::Day &day, bool withSystemJobs);
// For people; "No enabled tasks" where the app's view says so.
QString text(const Timeline::Day &day, bool withSystemJobs);

// The system's launchd jobs for the system lane, sorted by label as the app's browser lists them;

} // namespace TimelineOutput
