#include "store/RunHistory.h"
#include "store/Utf8Validator.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

using RunHistoryDetail::Utf8Validator;

// Large enough that a read costs little per byte, small enough to stay out of the way.
constexpr qint64 kBlockSize = 1 << 20;
constexpr qint64 kTailBlockSize = 64 << 10;

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
        if (!ok || !is(4, '-') || !is(7, '-') || month < 1 || month > 12 || day < 1 ||
            day > daysInMonth(year, month)) {
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

TaskRunRecord makeRecord(const Fields &fields, const QUuid &id)
{
    return TaskRunRecord{id, QDateTime::fromMSecsSinceEpoch(fields.startedAt * 1000, Qt::UTC),
                         QDateTime::fromMSecsSinceEpoch(fields.endedAt * 1000, Qt::UTC), fields.exitCode};
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
                     uchar((byte(low, 56) & 0x3F) | 0x80), byte(low, 48), byte(low, 40), byte(low, 32),
                     byte(low, 24), byte(low, 16), byte(low, 8), byte(low, 0));
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

// Reads exactly `size` bytes at `offset`; false on any shortfall.
bool readAt(QFile &file, qint64 offset, char *into, qint64 size)
{
    if (!file.seek(offset)) {
        return false;
    }
    while (size > 0) {
        const qint64 got = file.read(into, size);
        if (got <= 0) {
            return false;
        }
        into += got;
        size -= got;
    }
    return true;
}

} // namespace

std::optional<TaskRunRecord> RunHistory::parseLine(QStringView line)
{
    const char16_t *begin = line.utf16();
    DateCache<char16_t> cache;
    const auto fields = parseFields(begin, begin + line.size(), cache);
    if (!fields) {
        return std::nullopt;
    }
    return makeRecord(*fields, QUuid::createUuid());
}

QList<TaskRunRecord> RunHistory::readRuns(const QString &runsPath)
{
    QFile file(runsPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {};
    }
    // Lines hold only ASCII when they parse, so they are cut and parsed as bytes; the whole file
    // must still be UTF-8 for any of them to count. Records go straight into the list, which
    // grows in place (they are relocatable): memory grows with the records alone.
    QList<TaskRunRecord> records;
    IdSource ids;
    Utf8Validator utf8;
    DateCache<char> cache;
    const auto parse = [&](const char *begin, const char *end) {
        if (const auto fields = parseFields(begin, end, cache)) {
            records.append(makeRecord(*fields, ids.next()));
        }
    };
    // Not much larger than the file (a timeline reads a thousand small ones), and not zero-filled.
    const qint64 blockSize = std::clamp<qint64>(file.size() + 1, kTailBlockSize, kBlockSize);
    const std::unique_ptr<char[]> block(new char[size_t(blockSize)]);
    QByteArray partial; // the unfinished line at the end of the previous block
    bool atStart = true;
    for (;;) {
        const qint64 got = file.read(block.get(), blockSize);
        if (got < 0) {
            return {};
        }
        if (got == 0) {
            break;
        }
        if (!utf8.feed(block.get(), got)) {
            return {};
        }
        const char *p = block.get();
        const char *end = p + got;
        // Reading the file as UTF-8 text takes a byte-order mark at its very start as no text.
        if (atStart && got >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) {
            p += 3;
        }
        atStart = false;
        if (!partial.isEmpty()) {
            const auto *feed = static_cast<const char *>(std::memchr(p, '\n', end - p));
            if (!feed) {
                partial.append(p, end - p);
                continue;
            }
            partial.append(p, feed - p);
            parse(partial.constData(), partial.constData() + partial.size());
            partial.clear();
            p = feed + 1;
        }
        while (const auto *feed = static_cast<const char *>(std::memchr(p, '\n', end - p))) {
            parse(p, feed);
            p = feed + 1;
        }
        partial.append(p, end - p);
    }
    if (!utf8.complete()) {
        return {};
    }
    // The piece after the last line feed (empty when the file ends with one, and then dropped).
    parse(partial.constData(), partial.constData() + partial.size());
    return records;
}

QString RunHistory::readLogTail(const QString &logPath, int maxLines)
{
    Q_ASSERT_X(maxLines >= 0, "RunHistory::readLogTail", "maxLines must not be negative");
    if (maxLines <= 0) {
        return {};
    }
    QFile file(logPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {};
    }
    // Whatever is appended while we read is left for the next read.
    const qint64 size = file.size();

    // The kept pieces begin just after the maxLines-th line feed from the end, or at the start
    // of the file when it has fewer.
    qint64 tailStart = 0;
    {
        std::vector<char> block(std::clamp<qint64>(size, 1, kTailBlockSize));
        int feeds = 0;
        qint64 blockStart = size;
        bool found = false;
        while (blockStart > 0 && !found) {
            const qint64 length = std::min(qint64(block.size()), blockStart);
            blockStart -= length;
            if (!readAt(file, blockStart, block.data(), length)) {
                return {};
            }
            for (qint64 i = length - 1; i >= 0; --i) {
                if (block[i] == '\n' && ++feeds == maxLines) {
                    tailStart = blockStart + i + 1;
                    found = true;
                    break;
                }
            }
        }
    }

    // Reading the file whole would fail on bad UTF-8 anywhere, so the part before the tail is
    // checked too, without being kept. It ends with a line feed, so it and the tail are UTF-8
    // together exactly when each is on its own.
    if (!RunHistoryDetail::isUtf8(file.handle(), 0, tailStart)) {
        return {};
    }
    QByteArray tail(size - tailStart, Qt::Uninitialized);
    Utf8Validator utf8;
    if (!readAt(file, tailStart, tail.data(), tail.size()) || !utf8.feed(tail.constData(), tail.size()) ||
        !utf8.complete()) {
        return {};
    }
    // A byte-order mark is no text only at the very start of the file; after a line feed it is
    // a character like any other (QString::fromUtf8 would drop it wherever the tail begins).
    QStringDecoder decoder(QStringDecoder::Utf8, tailStart == 0
                                                     ? QStringDecoder::Flag::Stateless
                                                     : QStringDecoder::Flag::Stateless |
                                                           QStringDecoder::Flag::ConvertInitialBom);
    return QString(decoder.decode(tail)).trimmed();
}
