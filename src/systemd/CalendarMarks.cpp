#include "systemd/CalendarMarks.h"

#include "platform/ChildProcess.h"
#include "systemd/SystemdTools.h"

#include <QHash>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Most timers fire a few times a day: a short first list, then longer ones for the finer expressions.
constexpr int kFirstIterations = 64;
constexpr int kIterations = 1441; // one more than a day has minutes
constexpr int kRounds = 8;        // expressions finer than a minute are cut off after this many rounds

std::optional<QDateTime> stamp(const QString &line)
{
    static const QRegularExpression pattern(u"(\\d{4}-\\d{2}-\\d{2}) (\\d{2}:\\d{2}:\\d{2})"_s);
    const QRegularExpressionMatch match = pattern.match(line);
    // Built in UTC from its parts: read as local time, an hour that a clock change skips would be lost.
    const QDate date = QDate::fromString(match.captured(1), Qt::ISODate);
    const QTime time = QTime::fromString(match.captured(2), Qt::ISODate);
    if (!match.hasMatch() || !date.isValid() || !time.isValid()) {
        return std::nullopt;
    }
    return QDateTime(date, time, QTimeZone::utc());
}

QList<QDateTime> elapsesAfter(const QString &expression, qint64 baseSeconds, int iterations)
{
    const ChildProcess::Result result = ChildProcess::run(SystemdTools::program(u"systemd-analyze"_s),
                                                          {u"calendar"_s, u"--iterations=%1"_s.arg(iterations),
                                                           u"--base-time=@%1"_s.arg(baseSeconds), u"--"_s, expression},
                                                          {ChildProcess::Output::capture, std::nullopt, std::nullopt});
    return result.succeeded() ? CalendarMarks::parseElapses(result.standardOutput) : QList<QDateTime>();
}

} // namespace

QList<QDateTime> CalendarMarks::parseElapses(const QByteArray &output)
{
    QList<QDateTime> times;
    const QStringList lines = QString::fromUtf8(output).split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        // systemd before 257 writes "Iter. #2:", from 257 on "Iteration #2:".
        if (!line.startsWith(u"Next elapse:") && !line.startsWith(u"Iter. #") && !line.startsWith(u"Iteration #")) {
            continue;
        }
        // Outside UTC the local time comes first and its UTC form on the next line; in UTC only the one.
        const bool utcFollows = i + 1 < lines.size() && lines.at(i + 1).trimmed().startsWith(u"(in UTC):");
        if (const std::optional<QDateTime> time = stamp(utcFollows ? lines.at(i + 1) : line)) {
            times.append(*time);
        }
    }
    return times;
}

QList<int> CalendarMarks::minutesOn(const QString &expression, const QDate &date, const QTimeZone &zone)
{
    static QHash<QString, QList<int>> cache;
    const QString key = expression + u'\n' + date.toString(Qt::ISODate) + u'\n' + QString::fromUtf8(zone.id());
    if (const auto found = cache.constFind(key); found != cache.cend()) {
        return *found;
    }
    const QDateTime dayStart = date.startOfDay(zone);
    const QDateTime dayEnd = date.addDays(1).startOfDay(zone);
    QList<int> minutes;
    // The base itself is not an elapse, so start one second before midnight.
    qint64 base = dayStart.toSecsSinceEpoch() - 1;
    for (int round = 0; round < kRounds; ++round) {
        const int iterations = round == 0 ? kFirstIterations : kIterations;
        const QList<QDateTime> times = elapsesAfter(expression, base, iterations);
        for (const QDateTime &time : times) {
            if (time >= dayEnd) {
                break;
            }
            const QTime local = time.toTimeZone(zone).time();
            minutes.append(local.hour() * 60 + local.minute());
        }
        if (times.size() < iterations || times.last() >= dayEnd) {
            break;
        }
        base = times.last().toSecsSinceEpoch();
    }
    std::sort(minutes.begin(), minutes.end());
    minutes.erase(std::unique(minutes.begin(), minutes.end()), minutes.end());
    cache.insert(key, minutes);
    return minutes;
}
