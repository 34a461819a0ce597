#pragma once

#include "launchd/LaunchdJob.h"
#include "model/ScheduledTask.h"
#include "systemd/CronTable.h"
#include "systemd/TimerUnit.h"

#include <QString>
#include <QUuid>

// What the sidebar has selected: one task, one system job, or the timeline.
struct SidebarSection {
    enum class Kind { task, systemJob, timeline };

    Kind kind = Kind::timeline;
    QUuid taskId;  // for task
    QString jobId; // for systemJob: the job's property-list path, the timer's id or the cron line's id

    static SidebarSection task(const QUuid &id) { return {Kind::task, id, {}}; }
    static SidebarSection systemJob(const QString &id) { return {Kind::systemJob, {}, id}; }
    static SidebarSection timeline() { return {Kind::timeline, {}, {}}; }

    friend bool operator==(const SidebarSection &, const SidebarSection &) = default;
};

// The sidebar's filter: with an empty text everything passes; otherwise a case-insensitive
// substring test on the name (label), then on the command (command line). The text is used as typed.
namespace SidebarFilter {
bool contains(const QString &haystack, const QString &needle);
bool taskPasses(const ScheduledTask &task, const QString &searchText);
bool jobPasses(const LaunchdJob &job, const QString &searchText);
bool jobPasses(const TimerUnit &timer, const QString &searchText);
bool jobPasses(const CronEntry &entry, const QString &searchText);
} // namespace SidebarFilter
