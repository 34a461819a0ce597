#pragma once

// What the run-history tests compare the reader with: the plain reading (the whole file decoded,
// split at every line feed), and the UTF-8 checks this processor offers.

#include "Sandbox.h"
#include "store/RunHistory.h"
#include "store/Utf8Validator.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace RunHistoryReference {

using RunHistoryDetail::Utf8Check;

// Every check this processor can run, by the name MOXLEY_UTF8_CHECK takes.
inline QList<std::pair<QByteArray, Utf8Check>> availableChecks()
{
    QList<std::pair<QByteArray, Utf8Check>> checks;
    for (const auto &[name, check] :
         {std::pair{QByteArray("scalar"), Utf8Check::scalar}, std::pair{QByteArray("ssse3"), Utf8Check::ssse3},
          std::pair{QByteArray("avx2"), Utf8Check::avx2}}) {
        if (RunHistoryDetail::utf8CheckAvailable(check)) {
            checks.append({name, check});
        }
    }
    return checks;
}

inline bool decodesAsUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    return !decoder.hasError();
}

// Good and bad sequences for the UTF-8 checks.
const QList<QByteArray> &utf8Pieces()
{
    static const QList<QByteArray> pieces{
        "a", "\n", " ", "\x7F", "\xC3\xA9", "\xDF\xBF", "\xE2\x82\xAC", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEF\xBF\xBF",
        "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "\xF0\x9F\x98\x80", "abcdefghijklmnop",
        // and the bad: alone, cut short, overlong, surrogate, too large
        "\x80", "\xBF", "\xC2", "\xE2\x82", "\xF0\x9F\x98", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xFE", "\x80\x80\x80\x80"};
    return pieces;
}

inline QDateTime utc(int year, int month, int day, int hour, int minute, int second)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
}

// The reading as told plainly: the whole file as UTF-8, split at every line feed, each piece parsed.
inline std::optional<QString> readWholeUtf8(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

inline QList<TaskRunRecord> plainReadRuns(const QString &path)
{
    QList<TaskRunRecord> records;
    const auto text = readWholeUtf8(path);
    if (!text) {
        return records;
    }
    for (const QString &piece : text->split(u'\n')) {
        if (const auto record = RunHistory::parseLine(piece)) {
            records.append(*record);
        }
    }
    return records;
}

inline QString plainReadLog(const QString &path, int maxLines)
{
    const auto text = readWholeUtf8(path);
    if (!text) {
        return {};
    }
    const QStringList pieces = text->split(u'\n');
    return pieces.mid(std::max<qsizetype>(0, pieces.size() - maxLines)).join(u'\n').trimmed();
}

inline bool sameRuns(const QList<TaskRunRecord> &a, const QList<TaskRunRecord> &b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (a[i].startedAt != b[i].startedAt || a[i].endedAt != b[i].endedAt || a[i].exitCode != b[i].exitCode) {
            return false;
        }
    }
    return true;
}

// A temporary folder to write runs files and logs in.
// Pieces of log text that test the edges: line feeds and carriage returns, blanks Qt trims (tab,
// no-break and ideographic spaces, the line separator), multi-byte characters and a byte-order mark.
inline const QList<QByteArray> &awkwardLogPieces()
{
    static const QList<QByteArray> pieces{"a",
                                          "b",
                                          " ",
                                          "\n",
                                          "\n",
                                          "\n",
                                          "\r",
                                          "\t",
                                          "\xC3\xA9",
                                          "\xE2\x80\xA8",
                                          "\xC2\xA0",
                                          "\xE3\x80\x80",
                                          "\xF0\x9F\x98\x80",
                                          "xyz",
                                          "\n\n",
                                          "\xEF\xBB\xBF"};
    return pieces;
}

// A log of `pieces` pieces drawn from `alphabet`; one log in `badOneIn` gets a byte that is never
// UTF-8 somewhere.
inline QByteArray randomLog(QRandomGenerator &random, const QList<QByteArray> &alphabet, int pieces, int badOneIn)
{
    QByteArray bytes;
    for (int i = 0; i < pieces; ++i) {
        bytes += alphabet.at(random.bounded(alphabet.size()));
    }
    if (random.bounded(badOneIn) == 0 && !bytes.isEmpty()) {
        bytes[random.bounded(bytes.size())] = char(0xFF);
    }
    return bytes;
}

class Files
{
public:
    QString write(const QByteArray &bytes, const QString &name = QStringLiteral("0a1b2c3d.runs"))
    {
        const QString path = m_dir.path() + u'/' + name;
        Sandbox::writeFile(path, bytes);
        return path;
    }

protected:
    QTemporaryDir m_dir;
};

} // namespace RunHistoryReference
