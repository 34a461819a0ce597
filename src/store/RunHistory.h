#pragma once

#include "model/ScheduledTask.h"

#include <QList>
#include <QString>
#include <QStringView>

#include <chrono>
#include <functional>
#include <memory>
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

// What the views show of a long history, read from the end of the file so that only those lines
// are parsed. The rest of the file is still looked at once, quickly, because the answer must be the
// one readRuns gives: a file with a byte that is not UTF-8 anywhere reads as empty, and a line
// earlier in the file may belong to the answer when the lines are out of time order.

// The last record readRuns would give, or nothing.
std::optional<TaskRunRecord> lastRun(const QString &runsPath);

struct RecentRuns {
    QList<TaskRunRecord> runs; // the last records, in file order
    qsizetype total = 0;       // how many records the whole file holds
};
// The last `count` records of readRuns and how many it gives in all.
RecentRuns lastRuns(const QString &runsPath, int count);

// The records of readRuns whose start lies in [from, to), in file order. Read backwards until a
// run that started before `from`; when an earlier line is found to start at `from` or later
// (lines out of time order), the whole file is read instead.
QList<TaskRunRecord> runsStartingBetween(const QString &runsPath, std::chrono::sys_seconds from,
                                         std::chrono::sys_seconds to);

// The records whose start is `since` or later, in file order; when there are none, the last record
// alone (the run that started last, in a file in time order). What a task's status needs: its last
// run and its recent ones, without reading a long history.
QList<TaskRunRecord> runsSince(const QString &runsPath, std::chrono::sys_seconds since);

// A runs file handed out line by line in fixed blocks, for printing as it is read.
class RunsStream
{
public:
    // Opens the file and checks that all of it is UTF-8 (else it reads as empty).
    explicit RunsStream(const QString &runsPath);
    ~RunsStream();

    // Each good line's times (seconds since the epoch, UTC) and exit status, in file order; the file
    // is read again on every call, up to its size at opening.
    void forEach(const std::function<void(qint64 startedAt, qint64 endedAt, qint32 exitCode)> &visit);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

// The last `maxLines` line-feed-separated pieces of the log (empty pieces count), joined with
// line feeds and trimmed of white space at both ends. Only the tail is kept in memory; the rest
// of the file is read once in blocks to check that it is UTF-8 (a file that is not reads as
// empty, as when reading it whole). `maxLines` must not be negative.
QString readLogTail(const QString &logPath, int maxLines);

using LogWrite = std::function<void(const char *data, qint64 size)>;
// Writes bytes [offset, offset + length) of the open file `fd` itself; returns how many it wrote.
using LogCopy = std::function<qint64(int fd, qint64 offset, qint64 length)>;

// The same text as readLogTail, UTF-8, handed to `write` in pieces as it is read instead of being
// held. When `copy` is given it is offered the text first, once, as a range of the open log (it
// can have the system copy it without reading it in); what it does not write goes to `write`.
// Returns how many bytes were handed out.
qint64 streamLogTail(const QString &logPath, int maxLines, const LogWrite &write, const LogCopy &copy = {});

} // namespace RunHistory

namespace RunHistoryDetail {

enum class LogRead { mapped, blocks };
// streamLogTail, with the log read through a mapping (falling back to blocks when it cannot be
// mapped or is cut short meanwhile), or in blocks only: the two give the same text.
qint64 streamLogTail(const QString &logPath, int maxLines, const RunHistory::LogWrite &write,
                     const RunHistory::LogCopy &copy, LogRead how);

} // namespace RunHistoryDetail
