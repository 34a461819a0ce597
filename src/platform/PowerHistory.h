#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QTimeZone>

// When the computer was off or asleep, read from the system's own records, to say why a due time
// went without a run. Linux: the system journal's boot list (`journalctl --list-boots`) and its
// suspend entries (systemd-sleep). macOS: the power log (`pmset -g log`) and `last`.
namespace PowerHistory {

enum class State { off, asleep };

struct Interval {
    State state = State::off;
    QDateTime from;
    QDateTime to;
    friend bool operator==(const Interval &, const Interval &) = default;
};

enum class Reason { off, asleep, noRunRecorded };

// Off: from the last entry of one boot to the first entry of the next. Times that carry the
// abbreviation "UTC" are UTC; others are wall-clock times in `zone`.
QList<Interval> parseJournalBoots(const QString &text, const QTimeZone &zone);
// Asleep: from systemd-sleep's "Entering sleep state" (or "Performing sleep operation") to its
// "System returned from sleep" (or "System resumed"), in `journalctl -o short-iso` lines.
QList<Interval> parseJournalSleep(const QString &text);
// Asleep: from a "Sleep" line to the next "Wake" line; a dark wake does not wake the user's session.
QList<Interval> parsePmsetLog(const QString &text);
// Off: from a "shutdown" line to the next "reboot" line. `last` leaves out the year: each date is
// taken in the latest year that puts it no later than `now` and no later than the line above it.
QList<Interval> parseLast(const QString &text, const QDateTime &now, const QTimeZone &zone);

Reason reasonFor(const QDateTime &due, const QList<Interval> &intervals);
// "the computer was off", "the computer was asleep", "no run recorded".
QString reasonText(Reason reason);

// This machine's intervals since `since`, read through the tools above; empty where they are
// missing or say nothing.
QList<Interval> read(const QDateTime &since, const QTimeZone &zone);

} // namespace PowerHistory
