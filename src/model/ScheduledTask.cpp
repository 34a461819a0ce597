#include "model/ScheduledTask.h"

#include <array>
#include <cmath>
#include <type_traits>

QDateTime TaskLog::timestampDate() const
{
    const double ms = std::round((timestamp + double(kReferenceDateOffset)) * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(qint64(ms), QTimeZone::utc());
}

namespace {

// Each character's value as a hexadecimal digit; 0xFF for any other.
constexpr std::array<quint8, 256> kHexDigits = [] {
    std::array<quint8, 256> digits{};
    for (int c = 0; c < 256; ++c) {
        digits[size_t(c)] = quint8(c >= '0' && c <= '9'   ? c - '0'
                                   : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                   : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                          : 0xFF);
    }
    return digits;
}();

template <typename Char> unsigned hexDigit(Char c)
{
    const auto code = static_cast<std::make_unsigned_t<Char>>(c);
    return code < kHexDigits.size() ? kHexDigits[code] : 0xFF;
}

// By hand rather than through QUuid::fromString: the tasks file's reader calls this for every
// task, and the spelling is checked here already. Fields of 8, 4, 4, 4 and 12 digits, a hyphen
// after each but the last.
template <typename Char> std::optional<QUuid> parseCanonicalId(const Char *text, qsizetype size)
{
    if (size != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        return std::nullopt;
    }
    // What is not a digit is told once, at the end, rather than at each character.
    unsigned digits = 0;
    const auto field = [&](qsizetype at, qsizetype count) {
        quint64 value = 0;
        for (qsizetype i = at; i < at + count; ++i) {
            const unsigned digit = hexDigit(text[i]);
            digits |= digit;
            value = (value << 4) | (digit & 0xF);
        }
        return value;
    };
    const quint64 first = field(0, 8);
    const quint64 second = field(9, 4);
    const quint64 third = field(14, 4);
    const quint64 fourth = field(19, 4);
    const quint64 last = field(24, 12);
    if (digits > 0xF) {
        return std::nullopt;
    }
    return QUuid(uint(first), ushort(second), ushort(third), uchar(fourth >> 8), uchar(fourth), uchar(last >> 40),
                 uchar(last >> 32), uchar(last >> 24), uchar(last >> 16), uchar(last >> 8), uchar(last));
}

} // namespace

std::optional<QUuid> ScheduledTask::parseId(QStringView text)
{
    return parseCanonicalId(text.utf16(), text.size());
}

std::optional<QUuid> ScheduledTask::parseId(QLatin1StringView text)
{
    return parseCanonicalId(text.data(), text.size());
}

QString ScheduledTask::fullId(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QString ScheduledTask::shortId(const QUuid &id)
{
    // The id's first eight hexadecimal digits are its first field; spelling out the whole id for
    // them cost `moxley list` 4,500 instructions a task.
    return QString::number(id.data1, 16).rightJustified(8, u'0');
}

ScheduledTask withChanges(ScheduledTask current, const ScheduledTask &base, const ScheduledTask &mine)
{
    const auto take = [&](auto member) {
        if (!(mine.*member == base.*member)) {
            current.*member = mine.*member;
        }
    };
    take(&ScheduledTask::name);
    take(&ScheduledTask::command);
    take(&ScheduledTask::workingDirectory);
    take(&ScheduledTask::envFilePath);
    take(&ScheduledTask::useLoginShell);
    take(&ScheduledTask::wakeBeforeRun);
    take(&ScheduledTask::schedule);
    take(&ScheduledTask::isEnabled);
    take(&ScheduledTask::logs);
    return current;
}
