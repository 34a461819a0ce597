#pragma once

#include "model/TaskSchedule.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QTimeZone>
#include <QUuid>

#include <chrono>
#include <optional>

// An older per-task log entry, still carried in the tasks file.
struct TaskLog {
    QUuid id;
    // Seconds since 2001-01-01 00:00:00 UTC, kept as read so a file round-trips exactly.
    double timestamp = 0;
    qint32 exitCode = 0;
    QString output;

    QDateTime timestampDate() const;
    friend bool operator==(const TaskLog &, const TaskLog &) = default;
};

// One run read back from a task's runs file. Never stored in the tasks file. Its times are whole
// seconds in UTC, as the runs file holds them: a long history is a million records, and a plain
// number costs a fraction of a QDateTime to make; views make one only for what they show.
struct TaskRunRecord {
    QUuid id;
    std::chrono::sys_seconds startedAt;
    std::chrono::sys_seconds endedAt;
    qint32 exitCode = 0;
};

// A run's start or end as a UTC date-time.
inline QDateTime runDateTime(std::chrono::sys_seconds time)
{
    return QDateTime::fromSecsSinceEpoch(time.time_since_epoch().count(), QTimeZone::utc());
}
// Its members may be moved in memory as bytes, so a growing list of a million runs is
// reallocated in place instead of being copied record by record.
Q_DECLARE_TYPEINFO(TaskRunRecord, Q_RELOCATABLE_TYPE);

struct ScheduledTask {
    QUuid id;
    QString name;
    QString command;
    std::optional<QString> workingDirectory;
    std::optional<QString> envFilePath;
    bool useLoginShell = true;
    bool wakeBeforeRun = false;
    TaskSchedule schedule;
    bool isEnabled = true;
    QList<TaskLog> logs;

    // The id as 36 upper-case characters with hyphens.
    QString fullId() const { return fullId(id); }
    // The first 8 characters of the full id, lower-cased.
    QString shortId() const { return shortId(id); }
    static QString fullId(const QUuid &id);
    static QString shortId(const QUuid &id);
    // An id as files, names and the tasks file spell it: only the canonical 36 hexadecimal digits
    // and hyphens, either case, no braces; nothing for any other spelling.
    static std::optional<QUuid> parseId(QStringView text);
    static std::optional<QUuid> parseId(QLatin1StringView text);

    friend bool operator==(const ScheduledTask &, const ScheduledTask &) = default;
};

// `current` with each field that `mine` changed from `base` taken from `mine`: a change made to a
// copy of the task, applied to the task as another writer may have left it meanwhile.
ScheduledTask withChanges(ScheduledTask current, const ScheduledTask &base, const ScheduledTask &mine);

// Seconds between the Unix epoch and 2001-01-01 00:00:00 UTC, the reference of stored dates.
inline constexpr qint64 kReferenceDateOffset = 978307200;
