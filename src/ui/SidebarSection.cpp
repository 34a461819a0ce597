#include "ui/SidebarSection.h"

bool SidebarFilter::contains(const QString &haystack, const QString &needle)
{
    // Unicode case folding ("É" finds "é"); no locale tailoring beyond that.
    return haystack.contains(needle, Qt::CaseInsensitive);
}

bool SidebarFilter::taskPasses(const ScheduledTask &task, const QString &searchText)
{
    return searchText.isEmpty() || contains(task.name, searchText) || contains(task.command, searchText);
}

bool SidebarFilter::jobPasses(const LaunchdJob &job, const QString &searchText)
{
    return searchText.isEmpty() || contains(job.label, searchText) || contains(job.commandLine(), searchText);
}

bool SidebarFilter::jobPasses(const TimerUnit &timer, const QString &searchText)
{
    return searchText.isEmpty() || contains(timer.name, searchText) || contains(timer.commandLine(), searchText) ||
           contains(timer.description, searchText);
}

bool SidebarFilter::jobPasses(const CronEntry &entry, const QString &searchText)
{
    return searchText.isEmpty() || contains(entry.label(), searchText) || contains(entry.command, searchText);
}
