// The runs-line parser agrees with a plain reading of the line format on any text, and the
// history reader agrees with "decode the whole file as UTF-8, split at every line feed, parse
// each piece" on any bytes.
#include "FuzzFile.h"
#include "store/RunHistory.h"

#include <QDate>
#include <QDateTime>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTimeZone>

#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

struct Plain {
    qint64 startedAt = 0;
    qint64 endedAt = 0;
    qint32 exitCode = 0;
    friend bool operator==(const Plain &, const Plain &) = default;
};

std::optional<qint64> plainDate(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(
        "^([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})(?:(Z)|([+-])([0-9]{2}):([0-9]{2}))$"));
    const QRegularExpressionMatch m = form.match(text);
    if (!m.hasMatch()) {
        return std::nullopt;
    }
    const auto n = [&m](int i) { return m.captured(i).toInt(); };
    // Year 0000 is 1 BC, which Qt numbers -1.
    const QDate date(n(1) == 0 ? -1 : n(1), n(2), n(3));
    if (!date.isValid() || n(4) > 23 || n(5) > 59 || n(6) > 59) {
        return std::nullopt;
    }
    qint64 offset = 0;
    if (m.captured(7).isEmpty()) {
        if (n(9) > 23 || n(10) > 59) {
            return std::nullopt;
        }
        offset = (n(9) * 60 + n(10)) * 60 * (m.captured(8) == u"-" ? -1 : 1);
    }
    const QDateTime utc(date, QTime(n(4), n(5), n(6)), QTimeZone::utc());
    return utc.toSecsSinceEpoch() - offset;
}

std::optional<qint32> plainExit(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^[+-]?[0-9]+$"));
    if (!form.match(text).hasMatch()) {
        return std::nullopt;
    }
    // Strip leading zeros so any length of them reads; then the range decides.
    QString digits = text;
    const bool negative = digits.startsWith(u'-');
    if (negative || digits.startsWith(u'+')) {
        digits.remove(0, 1);
    }
    while (digits.size() > 1 && digits.startsWith(u'0')) {
        digits.remove(0, 1);
    }
    if (digits.size() > 11) {
        return std::nullopt;
    }
    const qint64 value = (negative ? -1 : 1) * digits.toLongLong();
    if (value < -2147483648LL || value > 2147483647LL) {
        return std::nullopt;
    }
    return qint32(value);
}

std::optional<Plain> plainParse(const QString &line)
{
    const QStringList pieces = line.split(u'\t', Qt::SkipEmptyParts);
    if (pieces.size() != 2 && pieces.size() != 3) {
        return std::nullopt;
    }
    const auto started = plainDate(pieces.first());
    const auto ended = pieces.size() == 3 ? plainDate(pieces.at(1)) : started;
    const auto exitCode = plainExit(pieces.last());
    if (!started || !ended || !exitCode) {
        return std::nullopt;
    }
    return Plain{*started, *ended, *exitCode};
}

std::optional<Plain> fromRecord(const std::optional<TaskRunRecord> &record)
{
    if (!record) {
        return std::nullopt;
    }
    if (record->id.isNull()) {
        std::abort();
    }
    return Plain{record->startedAt.time_since_epoch().count(), record->endedAt.time_since_epoch().count(),
                 record->exitCode};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));

    // The whole file, read plainly; a file that is not UTF-8 has no runs.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    const bool utf8 = !decoder.hasError();
    // Lines of a broken file still go to the line parser, as replacement characters and all.
    const QStringList lines = (utf8 ? text : QString::fromUtf8(bytes)).split(u'\n');
    QList<Plain> expected;
    for (const QString &line : lines) {
        const std::optional<Plain> plain = plainParse(line);
        if (fromRecord(RunHistory::parseLine(line)) != plain) {
            std::abort();
        }
        if (plain && utf8) {
            expected.append(*plain);
        }
    }

    const QList<TaskRunRecord> records = RunHistory::readRuns(FuzzFile::write(bytes, QStringLiteral("fuzz.runs")));
    if (records.size() != expected.size()) {
        std::abort();
    }
    for (qsizetype i = 0; i < records.size(); ++i) {
        if (fromRecord(records.at(i)) != expected.at(i)) {
            std::abort();
        }
    }
    return 0;
}
