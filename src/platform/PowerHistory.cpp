#include "platform/PowerHistory.h"

#include "platform/ChildProcess.h"
#include "platform/SystemPaths.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// "+0100", "+01:00", "Z" as seconds east of UTC.
int offsetSeconds(const QString &text)
{
    if (text.isEmpty() || text == u"Z"_s) {
        return 0;
    }
    const QString digits = QString(text).remove(u':');
    const int sign = digits.startsWith(u'-') ? -1 : 1;
    return sign * (digits.mid(1, 2).toInt() * 3600 + digits.mid(3, 2).toInt() * 60);
}

// "2025-02-27 07:01:10" (or with a "T") at a numeric offset.
QDateTime atOffset(const QString &wallClock, const QString &offset)
{
    QDateTime wall = QDateTime::fromString(QString(wallClock).replace(u'T', u' '), u"yyyy-MM-dd HH:mm:ss"_s);
    if (!wall.isValid()) {
        return {};
    }
    wall.setTimeZone(QTimeZone::utc());
    return wall.addSecs(-offsetSeconds(offset));
}

// A wall-clock time in `zone` named by its abbreviation, which tells the two passes of a repeated
// autumn hour apart.
QDateTime inZone(const QString &wallClock, const QString &abbreviation, const QTimeZone &zone)
{
    if (abbreviation == u"UTC"_s) {
        return atOffset(wallClock, {});
    }
    const QDateTime guess = QDateTime::fromString(wallClock, u"yyyy-MM-dd HH:mm:ss"_s);
    if (!guess.isValid()) {
        return {};
    }
    const QDateTime local(guess.date(), guess.time(), zone);
    for (const int shift : {0, -3600, 3600}) {
        const QDateTime candidate = local.addSecs(shift);
        if (candidate.toTimeZone(zone).time() == guess.time() && zone.abbreviation(candidate) == abbreviation) {
            return candidate;
        }
    }
    return local;
}

QList<PowerHistory::Interval> sorted(QList<PowerHistory::Interval> intervals)
{
    std::sort(intervals.begin(), intervals.end(),
              [](const PowerHistory::Interval &a, const PowerHistory::Interval &b) { return a.from < b.from; });
    return intervals;
}

QString capture(const QString &program, const QStringList &arguments)
{
    ChildProcess::Options options;
    options.output = ChildProcess::Output::capture;
    const ChildProcess::Result result = ChildProcess::run(program, arguments, options);
    return result.succeeded() ? QString::fromUtf8(result.standardOutput) : QString();
}

} // namespace

QList<PowerHistory::Interval> PowerHistory::parseJournalBoots(const QString &text, const QTimeZone &zone)
{
    // " -1 8e5c...  Wed 2025-02-26 08:01:12 UTC  Wed 2025-02-26 23:40:02 UTC"; older journalctl joins
    // the two times with a dash.
    static const QRegularExpression boot(
        u"^\\s*-?\\d+\\s+[0-9a-f]{32}\\s+\\w+ (\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}) (\\S+?)\\s*[\u2014-]?\\s*"
        u"\\w+ (\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}) (\\S+)\\s*$"_s);
    QList<Interval> boots;
    for (const QString &line : text.split(u'\n')) {
        const QRegularExpressionMatch match = boot.match(line);
        if (match.hasMatch()) {
            boots.append({State::off, inZone(match.captured(1), match.captured(2), zone),
                          inZone(match.captured(3), match.captured(4), zone)});
        }
    }
    boots = sorted(boots);
    QList<Interval> off;
    for (qsizetype i = 0; i + 1 < boots.size(); ++i) {
        if (boots.at(i).to.isValid() && boots.at(i + 1).from.isValid() && boots.at(i).to < boots.at(i + 1).from) {
            off.append({State::off, boots.at(i).to, boots.at(i + 1).from});
        }
    }
    return off;
}

QList<PowerHistory::Interval> PowerHistory::parseJournalSleep(const QString &text)
{
    static const QRegularExpression entry(
        u"^(\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2})(?:\\.\\d+)?(Z|[+-]\\d{2}:?\\d{2}) \\S+ (.*)$"_s);
    QList<Interval> asleep;
    QDateTime since;
    for (const QString &line : text.split(u'\n')) {
        const QRegularExpressionMatch match = entry.match(line);
        if (!match.hasMatch()) {
            continue;
        }
        const QDateTime at = atOffset(match.captured(1), match.captured(2));
        const QString message = match.captured(3);
        if (message.contains(u"Entering sleep state"_s) || message.contains(u"Performing sleep operation"_s)) {
            since = at;
        } else if ((message.contains(u"System returned from sleep"_s) || message.contains(u"System resumed"_s)) &&
                   since.isValid()) {
            asleep.append({State::asleep, since, at});
            since = {};
        }
    }
    return asleep;
}

QList<PowerHistory::Interval> PowerHistory::parsePmsetLog(const QString &text)
{
    static const QRegularExpression entry(u"^(\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}) ([+-]\\d{4}) (\\S+)\\s"_s);
    QList<Interval> asleep;
    QDateTime since;
    for (const QString &line : text.split(u'\n')) {
        const QRegularExpressionMatch match = entry.match(line);
        if (!match.hasMatch()) {
            continue;
        }
        const QString event = match.captured(3);
        const QDateTime at = atOffset(match.captured(1), match.captured(2));
        if (event == u"Sleep"_s && !since.isValid()) {
            since = at;
        } else if (event == u"Wake"_s && since.isValid()) {
            asleep.append({State::asleep, since, at});
            since = {};
        }
    }
    return asleep;
}

QList<PowerHistory::Interval> PowerHistory::parseLast(const QString &text, const QDateTime &now, const QTimeZone &zone)
{
    static const QRegularExpression entry(
        u"^(reboot|shutdown)\\s.*?\\b(?:Mon|Tue|Wed|Thu|Fri|Sat|Sun) (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) "
        u"+(\\d{1,2}) (\\d{2}):(\\d{2})"_s);
    static const QStringList months{u"Jan"_s, u"Feb"_s, u"Mar"_s, u"Apr"_s, u"May"_s, u"Jun"_s,
                                    u"Jul"_s, u"Aug"_s, u"Sep"_s, u"Oct"_s, u"Nov"_s, u"Dec"_s};
    struct Event {
        bool reboot;
        QDateTime at;
    };
    QList<Event> events; // newest first, as `last` lists them
    QDateTime ceiling = now.toTimeZone(zone);
    for (const QString &line : text.split(u'\n')) {
        const QRegularExpressionMatch match = entry.match(line);
        if (!match.hasMatch()) {
            continue;
        }
        const int month = static_cast<int>(months.indexOf(match.captured(2))) + 1;
        const QTime time(match.captured(4).toInt(), match.captured(5).toInt());
        QDateTime at;
        for (int year = ceiling.date().year(); year > ceiling.date().year() - 8 && !at.isValid(); --year) {
            const QDate date(year, month, match.captured(3).toInt());
            const QDateTime candidate(date, time, zone);
            if (date.isValid() && candidate.isValid() && candidate <= ceiling) {
                at = candidate;
            }
        }
        if (at.isValid()) {
            events.append({match.captured(1) == u"reboot"_s, at});
            ceiling = at;
        }
    }
    std::reverse(events.begin(), events.end());
    QList<Interval> off;
    for (qsizetype i = 0; i + 1 < events.size(); ++i) {
        if (!events.at(i).reboot && events.at(i + 1).reboot) {
            off.append({State::off, events.at(i).at, events.at(i + 1).at});
        }
    }
    return off;
}

PowerHistory::Reason PowerHistory::reasonFor(const QDateTime &due, const QList<Interval> &intervals)
{
    const auto inside = [&](State state) {
        return std::any_of(intervals.begin(), intervals.end(), [&](const Interval &interval) {
            return interval.state == state && interval.from <= due && due < interval.to;
        });
    };
    if (inside(State::off)) {
        return Reason::off;
    }
    return inside(State::asleep) ? Reason::asleep : Reason::noRunRecorded;
}

QString PowerHistory::reasonText(Reason reason)
{
    switch (reason) {
    case Reason::off:
        return u"the computer was off"_s;
    case Reason::asleep:
        return u"the computer was asleep"_s;
    case Reason::noRunRecorded:
        break;
    }
    return u"no run recorded"_s;
}

QList<PowerHistory::Interval> PowerHistory::read(const QDateTime &since, const QTimeZone &zone)
{
#ifdef Q_OS_MACOS
    QList<Interval> intervals = parsePmsetLog(capture(SystemPaths::pmset(), {u"-g"_s, u"log"_s}));
    intervals += parseLast(capture(SystemPaths::resolve(u"/usr/bin/last"_s), {u"reboot"_s, u"shutdown"_s}),
                           QDateTime::currentDateTimeUtc(), zone);
#else
    const QString journalctl = u"journalctl"_s;
    QList<Interval> intervals =
        parseJournalBoots(capture(journalctl, {u"--utc"_s, u"--no-pager"_s, u"--list-boots"_s}), zone);
    intervals += parseJournalSleep(
        capture(journalctl, {u"--utc"_s, u"--no-pager"_s, u"--quiet"_s, u"-o"_s, u"short-iso"_s, u"-t"_s,
                             u"systemd-sleep"_s, u"--since=@"_s + QString::number(since.toSecsSinceEpoch())}));
#endif
    intervals.removeIf([&](const Interval &interval) { return interval.to < since; });
    return sorted(intervals);
}
