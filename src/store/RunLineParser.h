#pragma once

#include "model/ScheduledTask.h"

#include <QRandomGenerator>

#include <array>
#include <cstring>
#include <optional>
#include <type_traits>

// Parsing of one runs-file line, shared by the line parser (UTF-16) and the file reader (bytes).
namespace RunHistoryDetail {

template <typename Ch> Q_ALWAYS_INLINE unsigned code(Ch c)
{
    return static_cast<std::make_unsigned_t<Ch>>(c);
}

template <typename Ch> struct Piece {
    const Ch *begin = nullptr;
    const Ch *end = nullptr;
    qsizetype size() const { return end - begin; }
};

// Days from 1970-01-01 to the given proleptic Gregorian date (year 0 is 1 BC).
Q_ALWAYS_INLINE constexpr qint64 daysFromCivil(qint64 year, int month, int day)
{
    year -= month <= 2 ? 1 : 0;
    const qint64 era = (year >= 0 ? year : year - 399) / 400;
    const qint64 yearOfEra = year - era * 400;
    const qint64 dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const qint64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

struct CivilDate {
    qint64 year = 1970;
    int month = 1;
    int day = 1;
};

// The proleptic Gregorian date of a day counted from 1970-01-01 (year 0 is 1 BC).
Q_ALWAYS_INLINE constexpr CivilDate civilFromDays(qint64 days)
{
    days += 719468;
    const qint64 era = (days >= 0 ? days : days - 146096) / 146097;
    const qint64 dayOfEra = days - era * 146097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 monthIndex = (5 * dayOfYear + 2) / 153;
    const int day = int(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    const int month = int(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    return CivilDate{yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

Q_ALWAYS_INLINE constexpr int daysInMonth(int year, int month)
{
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : days[month - 1];
}

// The last calendar date read: a line's two dates, and neighbouring lines, mostly share it.
template <typename Ch> struct DateCache {
    std::array<Ch, 10> text{};
    qint64 days = 0;
    bool filled = false;
};

// "YYYY-MM-DDTHH:MM:SSZ" or "YYYY-MM-DDTHH:MM:SS+HH:MM" (or "-HH:MM"), read from its fixed
// layout: seconds since the epoch, or nothing.
template <typename Ch> Q_ALWAYS_INLINE std::optional<qint64> parseInternetDate(Piece<Ch> piece, DateCache<Ch> &cache)
{
    const qsizetype size = piece.size();
    if (size != 20 && size != 25) {
        return std::nullopt;
    }
    const Ch *s = piece.begin;
    bool ok = true;
    const auto digits = [&](int at, int count) {
        int value = 0;
        for (int i = at; i < at + count; ++i) {
            const unsigned c = code(s[i]);
            if (c < '0' || c > '9') {
                ok = false;
                return 0;
            }
            value = value * 10 + int(c - '0');
        }
        return value;
    };
    const auto is = [&](int at, char expected) { return code(s[at]) == unsigned(expected); };

    if (!cache.filled || std::memcmp(cache.text.data(), s, sizeof cache.text) != 0) {
        const int year = digits(0, 4);
        const int month = digits(5, 2);
        const int day = digits(8, 2);
        if (!ok || !is(4, '-') || !is(7, '-') || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) {
            return std::nullopt;
        }
        std::memcpy(cache.text.data(), s, sizeof cache.text);
        cache.days = daysFromCivil(year, month, day);
        cache.filled = true;
    }
    const int hour = digits(11, 2);
    const int minute = digits(14, 2);
    const int second = digits(17, 2);
    if (!ok || !is(10, 'T') || !is(13, ':') || !is(16, ':') || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    int offset = 0;
    if (size == 20) {
        if (!is(19, 'Z')) {
            return std::nullopt;
        }
    } else {
        const int offsetHours = digits(20, 2);
        const int offsetMinutes = digits(23, 2);
        if (!ok || !(is(19, '+') || is(19, '-')) || !is(22, ':') || offsetHours > 23 || offsetMinutes > 59) {
            return std::nullopt;
        }
        offset = (offsetHours * 60 + offsetMinutes) * 60 * (is(19, '-') ? -1 : 1);
    }
    return cache.days * 86400 + hour * 3600 + minute * 60 + second - offset;
}

// An optional "+" or "-" and at least one decimal digit, within the signed 32-bit range.
template <typename Ch> Q_ALWAYS_INLINE std::optional<qint32> parseExitStatus(Piece<Ch> piece)
{
    const Ch *p = piece.begin;
    bool negative = false;
    if (p < piece.end && (code(*p) == '+' || code(*p) == '-')) {
        negative = code(*p) == '-';
        ++p;
    }
    if (p == piece.end) {
        return std::nullopt;
    }
    qint64 value = 0;
    for (; p < piece.end; ++p) {
        const unsigned c = code(*p);
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
        if (value > qint64(1) << 31) {
            return std::nullopt;
        }
    }
    if (!negative && value > 0x7FFFFFFF) {
        return std::nullopt;
    }
    return qint32(negative ? -value : value);
}

struct Fields {
    qint64 startedAt = 0; // seconds since the epoch
    qint64 endedAt = 0;
    qint32 exitCode = 0;
};

template <typename Ch> std::optional<Fields> parseFields(const Ch *begin, const Ch *end, DateCache<Ch> &cache)
{
    // The layout the wrapper script writes: when it reads cleanly the general split below would
    // find the same three pieces (dates hold no tabs, and the exit status takes digits only).
    if (end - begin > 42 && code(begin[20]) == '\t' && code(begin[41]) == '\t') {
        const auto started = parseInternetDate(Piece<Ch>{begin, begin + 20}, cache);
        const auto ended = parseInternetDate(Piece<Ch>{begin + 21, begin + 41}, cache);
        const auto exitCode = parseExitStatus(Piece<Ch>{begin + 42, end});
        if (started && ended && exitCode) {
            return Fields{*started, *ended, *exitCode};
        }
    }
    std::array<Piece<Ch>, 3> pieces;
    int count = 0;
    for (const Ch *p = begin; p < end;) {
        while (p < end && code(*p) == '\t') {
            ++p;
        }
        if (p == end) {
            break;
        }
        const Ch *start = p;
        while (p < end && code(*p) != '\t') {
            ++p;
        }
        if (count == 3) {
            return std::nullopt;
        }
        pieces[count++] = {start, p};
    }
    if (count != 2 && count != 3) {
        return std::nullopt;
    }
    const auto started = parseInternetDate(pieces[0], cache);
    const auto ended = count == 3 ? parseInternetDate(pieces[1], cache) : started;
    const auto exitCode = parseExitStatus(pieces[count - 1]);
    if (!started || !ended || !exitCode) {
        return std::nullopt;
    }
    return Fields{*started, *ended, *exitCode};
}

inline TaskRunRecord makeRecord(const Fields &fields, const QUuid &id)
{
    return TaskRunRecord{id, std::chrono::sys_seconds(std::chrono::seconds(fields.startedAt)),
                         std::chrono::sys_seconds(std::chrono::seconds(fields.endedAt)), fields.exitCode};
}

// Random (version 4) ids for the records of one read. Drawing each from the system's random
// source would cost more than the rest of the parsing, so a small fast generator (xoshiro256**)
// is started from that source once per read. The ids only tell rows apart; they need not be
// unpredictable.
class IdSource
{
public:
    IdSource()
    {
        do {
            QRandomGenerator::system()->fillRange(m_state.data(), m_state.size());
        } while ((m_state[0] | m_state[1] | m_state[2] | m_state[3]) == 0);
    }

    QUuid next()
    {
        const quint64 high = draw();
        const quint64 low = draw();
        const auto byte = [](quint64 word, int shift) { return uchar(word >> shift); };
        return QUuid(uint(high >> 32), ushort(high >> 16), ushort((high & 0x0FFF) | 0x4000),
                     uchar((byte(low, 56) & 0x3F) | 0x80), byte(low, 48), byte(low, 40), byte(low, 32), byte(low, 24),
                     byte(low, 16), byte(low, 8), byte(low, 0));
    }

private:
    static quint64 rotateLeft(quint64 x, int k) { return (x << k) | (x >> (64 - k)); }

    quint64 draw()
    {
        const quint64 result = rotateLeft(m_state[1] * 5, 7) * 9;
        const quint64 t = m_state[1] << 17;
        m_state[2] ^= m_state[0];
        m_state[3] ^= m_state[1];
        m_state[1] ^= m_state[2];
        m_state[0] ^= m_state[3];
        m_state[2] ^= t;
        m_state[3] = rotateLeft(m_state[3], 45);
        return result;
    }

    std::array<quint64, 4> m_state{};
};

} // namespace RunHistoryDetail
