#include "cli/ByteOutput.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/LaunchdService.h"
#include "store/RunHistory.h"
#include "store/RunLineParser.h"

#include <QTimeZone>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace {

using RunHistoryDetail::civilFromDays;

// Writes two digits.
char *twoDigits(char *p, int value)
{
    p[0] = char('0' + value / 10);
    p[1] = char('0' + value % 10);
    return p + 2;
}

// "YYYY-MM-DD?HH:MM:SS" of seconds since the epoch taken as wall-clock time, when the year has four
// digits (Qt writes other years its own way); null otherwise.
char *dateTimeText(char *p, qint64 seconds, char separator)
{
    const qint64 days = seconds >= 0 ? seconds / 86400 : (seconds - 86399) / 86400;
    const auto date = civilFromDays(days);
    if (date.year < 1 || date.year > 9999) {
        return nullptr;
    }
    const int second = int(seconds - days * 86400);
    p = twoDigits(p, int(date.year / 100));
    p = twoDigits(p, int(date.year % 100));
    *p++ = '-';
    p = twoDigits(p, date.month);
    *p++ = '-';
    p = twoDigits(p, date.day);
    *p++ = separator;
    p = twoDigits(p, second / 3600);
    *p++ = ':';
    p = twoDigits(p, second / 60 % 60);
    *p++ = ':';
    return twoDigits(p, second % 60);
}

QDateTime utcDateTime(qint64 seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc());
}

char *copyText(char *p, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::memcpy(p, bytes.constData(), size_t(bytes.size()));
    return p + bytes.size();
}

// "2025-03-01T06:00:00Z".
char *utcText(char *p, qint64 seconds)
{
    if (char *end = dateTimeText(p, seconds, 'T')) {
        *end = 'Z';
        return end + 1;
    }
    return copyText(p, utcDateTime(seconds).toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'"));
}

char *decimal(char *p, qint64 value)
{
    std::array<char, 24> digits{};
    const bool negative = value < 0;
    quint64 magnitude = negative ? quint64(0) - quint64(value) : quint64(value);
    int count = 0;
    do {
        digits[count++] = char('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (negative) {
        *p++ = '-';
    }
    while (count > 0) {
        *p++ = digits[--count];
    }
    return p;
}

// "5s", "2m 05s", "1h 00m 07s".
char *durationText(char *p, qint64 seconds)
{
    if (seconds < 0) {
        *p++ = '-';
        seconds = -seconds;
    }
    if (seconds < 60) {
        p = decimal(p, seconds);
    } else if (seconds < 3600) {
        p = decimal(p, seconds / 60);
        *p++ = 'm';
        *p++ = ' ';
        p = twoDigits(p, int(seconds % 60));
    } else {
        p = decimal(p, seconds / 3600);
        *p++ = 'h';
        *p++ = ' ';
        p = twoDigits(p, int(seconds / 60 % 60));
        *p++ = 'm';
        *p++ = ' ';
        p = twoDigits(p, int(seconds % 60));
    }
    *p++ = 's';
    return p;
}

// Local wall-clock text of instants, asking the zone only when an instant leaves the stretch
// between two of its transitions where the last one fell (runs come mostly in time order).
class LocalClock
{
public:
    LocalClock()
    {
        // An unknown TZ reads as UTC, as the C library takes it.
        const QTimeZone system = QTimeZone::systemTimeZone();
        m_zone = system.isValid() ? system : QTimeZone::utc();
    }

    // "YYYY-MM-DD HH:MM:SS".
    char *text(char *p, qint64 seconds)
    {
        if (seconds < m_from || seconds >= m_until) {
            refill(seconds);
        }
        if (char *end = dateTimeText(p, seconds + m_offset, ' ')) {
            return end;
        }
        return copyText(p, utcDateTime(seconds).toTimeZone(m_zone).toString(u"yyyy-MM-dd HH:mm:ss"));
    }

private:
    void refill(qint64 seconds)
    {
        const QDateTime at = utcDateTime(seconds);
        m_offset = m_zone.offsetFromUtc(at);
        m_from = seconds;
        m_until = seconds + 1;
        if (m_zone == QTimeZone::utc()) {
            m_from = std::numeric_limits<qint64>::min();
            m_until = std::numeric_limits<qint64>::max();
        } else if (m_zone.hasTransitions()) {
            const auto next = m_zone.nextTransition(at);
            const auto previous = m_zone.previousTransition(at.addSecs(1));
            m_until = next.atUtc.isValid() ? next.atUtc.toSecsSinceEpoch() : std::numeric_limits<qint64>::max();
            m_from = previous.atUtc.isValid() ? previous.atUtc.toSecsSinceEpoch() : std::numeric_limits<qint64>::min();
            if (seconds < m_from || seconds >= m_until) {
                m_from = seconds;
                m_until = seconds + 1;
            }
        }
    }

    QTimeZone m_zone;
    int m_offset = 0;
    qint64 m_from = 0;
    qint64 m_until = 0;
};

// Room for the longest line either form writes, a date Qt writes its own way included.
constexpr qsizetype kLineRoom = 512;

void writeJson(RunHistory::RunsStream &runs, ByteOutput &out)
{
    bool first = true;
    runs.forEach([&](qint64 startedAt, qint64 endedAt, qint32 exitCode) {
        char *p = out.reserve(kLineRoom);
        const auto put = [&p](const char *text) {
            const size_t length = std::strlen(text);
            std::memcpy(p, text, length);
            p += length;
        };
        put(first ? "[\n  {\n    \"endedAt\" : \"" : ",\n  {\n    \"endedAt\" : \"");
        p = utcText(p, endedAt);
        put("\",\n    \"exitCode\" : ");
        p = decimal(p, exitCode);
        put(",\n    \"startedAt\" : \"");
        p = utcText(p, startedAt);
        put("\"\n  }");
        out.commit(p);
        first = false;
    });
    out.write(first ? "[]\n" : "\n]\n", 3);
}

// Columns padded to the widest cell, two blanks apart, as every table of the tool: the widths
// take one pass over the file, the lines a second.
void writeTable(RunHistory::RunsStream &runs, ByteOutput &out)
{
    LocalClock clock;
    qsizetype dateWidth = 0;
    qsizetype durationWidth = 0;
    std::array<char, kLineRoom> scratch{};
    // From 0002-01-01 to 9999-01-01 UTC every local date has a four-digit year: 19 characters.
    constexpr qint64 kFourDigitsFrom = -62104060800;
    constexpr qint64 kFourDigitsUntil = 253370764800;
    runs.forEach([&](qint64 startedAt, qint64 endedAt, qint32) {
        const bool plain = startedAt >= kFourDigitsFrom && startedAt < kFourDigitsUntil;
        dateWidth = std::max<qsizetype>(dateWidth, plain ? 19 : clock.text(scratch.data(), startedAt) - scratch.data());
        durationWidth =
            std::max<qsizetype>(durationWidth, durationText(scratch.data(), endedAt - startedAt) - scratch.data());
    });
    runs.forEach([&](qint64 startedAt, qint64 endedAt, qint32 exitCode) {
        char *line = out.reserve(dateWidth + durationWidth + kLineRoom);
        char *p = clock.text(line, startedAt);
        const auto pad = [&p](char *cell, qsizetype width) {
            const qsizetype blanks = width + 2 - (p - cell);
            std::memset(p, ' ', size_t(blanks));
            p += blanks;
        };
        // Every cell is ASCII, so its bytes are its characters.
        pad(line, dateWidth);
        char *duration = p;
        p = durationText(p, endedAt - startedAt);
        pad(duration, durationWidth);
        std::memcpy(p, "exit ", 5);
        p = decimal(p + 5, exitCode);
        *p++ = '\n';
        out.commit(p);
    });
}

class HistoryCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("history"); }
    QString synopsis() const override { return QStringLiteral("history TASK [--json]"); }
    QString summary() const override { return QStringLiteral("Show a task's recorded runs, oldest first."); }
    QString details() const override
    {
        return QStringLiteral("One line per run: its local start time, how long it took and its exit status.\n"
                              "With --json, times are in UTC.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the runs as one JSON array."))};
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        // Printed as read, in a buffer of fixed size, so a history of any length costs no memory.
        RunHistory::RunsStream runs(LaunchdService().runsPath(task));
        ByteOutput out(context.out);
        if (parser.isSet(QStringLiteral("json"))) {
            writeJson(runs, out);
        } else {
            writeTable(runs, out);
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeHistory()
{
    return std::make_unique<HistoryCommand>();
}
