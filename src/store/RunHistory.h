#pragma once

#include "model/ScheduledTask.h"

#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

// The reading side of a task's runs file and logs. Readers never fail loudly: a missing,
// unreadable or non-UTF-8 file reads as empty. Nothing is cached; every call reads anew.
namespace RunHistory {

// One runs-file line: "START<TAB>END<TAB>EXIT", or the older "START<TAB>EXIT" (end = start).
// Tabs split the line and empty pieces are dropped; pieces are not trimmed, so a carriage
// return makes its piece fail. Dates are internet date-times, "2025-03-01T06:00:00Z" or with a
// numeric offset "+02:00", no fractional seconds; they come back in UTC. The exit status is an
// optional sign and decimal digits within the signed 32-bit range. The record gets a fresh
// random id.
std::optional<TaskRunRecord> parseLine(QStringView line);

// Every good line of the file, in file order; a trailing line feed or a half-written last line
// is dropped like any malformed line.
QList<TaskRunRecord> readRuns(const QString &runsPath);

// The last `maxLines` line-feed-separated pieces of the log (empty pieces count), joined with
// line feeds and trimmed of white space at both ends. Only the tail is kept in memory; the rest
// of the file is read once in blocks to check that it is UTF-8 (a file that is not reads as
// empty, as when reading it whole). `maxLines` must not be negative.
QString readLogTail(const QString &logPath, int maxLines);

} // namespace RunHistory
