#pragma once

#include "model/ScheduledTask.h"

#include <QHash>
#include <QList>
#include <QString>

#include <chrono>
#include <memory>

// For a view that asks for the same day's runs again and again (the timeline on every reload):
// each runs file's answer is kept with the file's identity (device, inode, size, modification
// time), so an unchanged file costs one stat, and a file that grew is read only where it grew.
// The answers are those of RunHistory::runsStartingBetween.
class RunHistoryCache
{
public:
    QList<TaskRunRecord> runsStartingBetween(const QString &runsPath, std::chrono::sys_seconds from,
                                             std::chrono::sys_seconds to);
    // Forgets the files not asked about since the last call.
    void dropUnused();
    qsizetype size() const { return m_entries.size(); }

private:
    struct Entry;
    QHash<QString, std::shared_ptr<Entry>> m_entries;
};
