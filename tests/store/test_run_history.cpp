#include "Sandbox.h"
#include "store/RunHistory.h"
#include "store/Utf8Validator.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QStringDecoder>
#include <QtTest>

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using RunHistoryDetail::Utf8Check;

// Every check this processor can run, by the name MOXLEY_UTF8_CHECK takes.
QList<std::pair<QByteArray, Utf8Check>> availableChecks()
{
    QList<std::pair<QByteArray, Utf8Check>> checks;
    for (const auto &[name, check] : {std::pair{QByteArray("scalar"), Utf8Check::scalar},
                                      std::pair{QByteArray("ssse3"), Utf8Check::ssse3},
                                      std::pair{QByteArray("avx2"), Utf8Check::avx2}}) {
        if (RunHistoryDetail::utf8CheckAvailable(check)) {
            checks.append({name, check});
        }
    }
    return checks;
}

bool decodesAsUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    return !decoder.hasError();
}

// Good and bad sequences for the UTF-8 checks.
const QList<QByteArray> &utf8Pieces()
{
    static const QList<QByteArray> pieces{"a", "\n", " ", "\x7F", "\xC3\xA9", "\xDF\xBF", "\xE2\x82\xAC",
                                          "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEF\xBF\xBF", "\xF0\x90\x80\x80",
                                          "\xF4\x8F\xBF\xBF", "\xF0\x9F\x98\x80", "abcdefghijklmnop",
                                          // and the bad: alone, cut short, overlong, surrogate, too large
                                          "\x80", "\xBF", "\xC2", "\xE2\x82", "\xF0\x9F\x98", "\xC0\x80", "\xC1\xBF",
                                          "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                                          "\xF5\x80\x80\x80", "\xFF", "\xFE", "\x80\x80\x80\x80"};
    return pieces;
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
}

// The reading as told plainly: the whole file as UTF-8, split at every line feed, each piece parsed.
std::optional<QString> readWholeUtf8(const QString &path)
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

QList<TaskRunRecord> plainReadRuns(const QString &path)
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

QString plainReadLog(const QString &path, int maxLines)
{
    const auto text = readWholeUtf8(path);
    if (!text) {
        return {};
    }
    const QStringList pieces = text->split(u'\n');
    return pieces.mid(std::max<qsizetype>(0, pieces.size() - maxLines)).join(u'\n').trimmed();
}

bool sameRuns(const QList<TaskRunRecord> &a, const QList<TaskRunRecord> &b)
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

} // namespace

class RunHistoryTest : public QObject
{
    Q_OBJECT

private:
    QString write(const QByteArray &bytes, const QString &name = u"0a1b2c3d.runs"_s)
    {
        const QString path = m_dir.path() + u'/' + name;
        Sandbox::writeFile(path, bytes);
        return path;
    }

    QTemporaryDir m_dir;

private Q_SLOTS:
    void lineWithEndTime_givesFiveSecondRecord()
    {
        const auto runs = RunHistory::readRuns(write("2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n"));
        QCOMPARE(runs.size(), 1);
        QCOMPARE(runDateTime(runs[0].startedAt), utc(2025, 3, 1, 6, 0, 0));
        QCOMPARE(runDateTime(runs[0].endedAt), utc(2025, 3, 1, 6, 0, 5));
        QCOMPARE((runs[0].endedAt - runs[0].startedAt).count(), 5);
        QCOMPARE(runs[0].exitCode, 0);
        QVERIFY(!runs[0].id.isNull());
    }

    void twoPieceLine_startsAndEndsAtOnce()
    {
        const auto record = RunHistory::parseLine(u"2025-03-01T06:00:00Z\t1");
        QVERIFY(record);
        QCOMPARE(runDateTime(record->startedAt), utc(2025, 3, 1, 6, 0, 0));
        QCOMPARE(record->endedAt, record->startedAt);
        QCOMPARE(record->exitCode, 1);
    }

    void emptyPieces_areDropped()
    {
        const auto doubled = RunHistory::parseLine(u"2025-03-01T06:00:00Z\t\t2025-03-01T06:00:05Z\t0");
        QVERIFY(doubled);
        QCOMPARE(runDateTime(doubled->endedAt), utc(2025, 3, 1, 6, 0, 5));
        const auto edges = RunHistory::parseLine(u"\t\t2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t\t3\t\t");
        QVERIFY(edges);
        QCOMPARE(edges->exitCode, 3);
    }

    void otherPieceCounts_areDropped()
    {
        QVERIFY(!RunHistory::parseLine(u"2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\t0"));
        QVERIFY(!RunHistory::parseLine(u"2025-03-01T06:00:00Z"));
        QVERIFY(!RunHistory::parseLine(u""));
        QVERIFY(!RunHistory::parseLine(u"\t\t"));
        // A trailing tab leaves two pieces, and a date is no exit status.
        QVERIFY(!RunHistory::parseLine(u"2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t"));
    }

    void exitStatus_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<bool>("parses");
        QTest::addColumn<int>("value");
        QTest::newRow("-15") << u"-15"_s << true << -15;
        QTest::newRow("+7") << u"+7"_s << true << 7;
        QTest::newRow("leading zeros") << u"0000000000000000000042"_s << true << 42;
        QTest::newRow("-0") << u"-0"_s << true << 0;
        QTest::newRow("max") << u"2147483647"_s << true << 2147483647;
        QTest::newRow("min") << u"-2147483648"_s << true << int(-2147483648LL);
        QTest::newRow("max + 1") << u"2147483648"_s << false << 0;
        QTest::newRow("min - 1") << u"-2147483649"_s << false << 0;
        QTest::newRow("huge") << u"99999999999999999999999"_s << false << 0;
        QTest::newRow("hex") << u"0x1"_s << false << 0;
        QTest::newRow("sign only") << u"-"_s << false << 0;
        QTest::newRow("two signs") << u"+-1"_s << false << 0;
        QTest::newRow("blank") << u" 0"_s << false << 0;
        QTest::newRow("carriage return") << u"0\r"_s << false << 0;
        QTest::newRow("decimal") << u"1.0"_s << false << 0;
        QTest::newRow("arabic-indic digit") << u"\u0661"_s << false << 0;
    }

    void exitStatus()
    {
        QFETCH(QString, status);
        QFETCH(bool, parses);
        QFETCH(int, value);
        const auto record = RunHistory::parseLine(QString(u"2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t" + status));
        QCOMPARE(bool(record), parses);
        if (record) {
            QCOMPARE(record->exitCode, value);
        }
        // The older form reads its status the same way.
        QCOMPARE(bool(RunHistory::parseLine(QString(u"2025-03-01T06:00:00Z\t" + status))), parses);
    }

    void dates_data()
    {
        QTest::addColumn<QString>("date");
        QTest::addColumn<QDateTime>("expected"); // invalid: no record
        QTest::newRow("Z") << u"2025-03-01T06:00:00Z"_s << utc(2025, 3, 1, 6, 0, 0);
        QTest::newRow("+02:00") << u"2025-03-01T08:00:00+02:00"_s << utc(2025, 3, 1, 6, 0, 0);
        QTest::newRow("-05:30 across midnight") << u"2025-02-28T23:30:00-05:30"_s << utc(2025, 3, 1, 5, 0, 0);
        QTest::newRow("+00:00") << u"2025-03-01T06:00:00+00:00"_s << utc(2025, 3, 1, 6, 0, 0);
        QTest::newRow("leap day") << u"2024-02-29T00:00:00Z"_s << utc(2024, 2, 29, 0, 0, 0);
        QTest::newRow("year end") << u"1999-12-31T23:59:59Z"_s << utc(1999, 12, 31, 23, 59, 59);
        QTest::newRow("before the epoch") << u"1969-07-20T20:17:40Z"_s << utc(1969, 7, 20, 20, 17, 40);
        QTest::newRow("fractional seconds") << u"2025-03-01T06:00:00.5Z"_s << QDateTime();
        QTest::newRow("no zone") << u"2025-03-01T06:00:00"_s << QDateTime();
        QTest::newRow("offset without colon") << u"2025-03-01T06:00:00+0200"_s << QDateTime();
        QTest::newRow("lower-case z") << u"2025-03-01T06:00:00z"_s << QDateTime();
        QTest::newRow("blank for T") << u"2025-03-01 06:00:00Z"_s << QDateTime();
        QTest::newRow("not a leap year") << u"2025-02-29T06:00:00Z"_s << QDateTime();
        QTest::newRow("month 13") << u"2025-13-01T06:00:00Z"_s << QDateTime();
        QTest::newRow("day 0") << u"2025-03-00T06:00:00Z"_s << QDateTime();
        QTest::newRow("hour 24") << u"2025-03-01T24:00:00Z"_s << QDateTime();
        QTest::newRow("second 60") << u"2025-03-01T06:00:60Z"_s << QDateTime();
        QTest::newRow("short") << u"2025-3-01T06:00:00Z"_s << QDateTime();
        QTest::newRow("date only") << u"2025-03-01"_s << QDateTime();
        QTest::newRow("leading blank") << u" 2025-03-01T06:00:00Z"_s << QDateTime();
        QTest::newRow("wide digit") << u"2025-03-01T06:00:0\uFF10Z"_s << QDateTime();
    }

    void dates()
    {
        QFETCH(QString, date);
        QFETCH(QDateTime, expected);
        const auto record = RunHistory::parseLine(QString(date + u"\t" + date + u"\t0"));
        QCOMPARE(bool(record), expected.isValid());
        if (record) {
            QCOMPARE(runDateTime(record->startedAt), expected);
            QCOMPARE(runDateTime(record->endedAt), expected);
        }
        // The same through a file, where lines are read as bytes.
        const auto runs = RunHistory::readRuns(write(QString(date + u"\t" + date + u"\t0").toUtf8()));
        QCOMPARE(runs.size(), expected.isValid() ? 1 : 0);
        if (!runs.isEmpty()) {
            QCOMPARE(runDateTime(runs[0].startedAt), expected);
            QCOMPARE(runDateTime(runs[0].endedAt), expected);
        }
    }

    // Lines read from a file are parsed as bytes, single lines as text, and the wrapper's own
    // layout takes a shortcut past the general split: all must agree on every character at every
    // position of the dates.
    void everyDateCharacter_fileAndLineParsingAgree()
    {
        const QByteArray date = "2025-03-01T06:00:00Z";
        const QByteArray replacements = "0123456789/:-TZ zA\x7F\t";
        QByteArray bytes;
        for (qsizetype at = 0; at < date.size(); ++at) {
            for (const char replacement : replacements) {
                QByteArray changed = date;
                changed[at] = replacement;
                bytes += changed + "\t" + date + "\t0\n";
                bytes += date + "\t" + changed + "\t1\n";
            }
        }
        const QString path = write(bytes);
        const auto runs = RunHistory::readRuns(path);
        const auto expected = plainReadRuns(path);
        QVERIFY(expected.size() > 100);               // many still parse (other digits) ...
        QVERIFY(expected.size() < bytes.count('\n')); // ... and many do not
        QVERIFY(sameRuns(runs, expected));
    }

    void crlfLineEnds_failEveryLine()
    {
        const QByteArray crlf = "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\r\n"
                                "2025-03-01T07:00:00Z\t2025-03-01T07:00:05Z\t0\r\n"
                                "2025-03-01T08:00:00Z\t1\r\n";
        QCOMPARE(RunHistory::readRuns(write(crlf)).size(), 0);
        QVERIFY(!RunHistory::parseLine(u"2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\r"));
    }

    void badLines_droppedGoodOnesKeptInOrder()
    {
        const QByteArray bytes = "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n"
                                 "garbage\n"
                                 "\n"
                                 "2025-03-01T07:00:00Z\t2\n"
                                 "2025-03-01T08:00:00Z\t2025-03-01T08:00:01Z\t0\t9\n"
                                 "caf\xC3\xA9\t\xE2\x82\xAC\n"
                                 "2025-03-01T09:00:00Z\t2025-03-01T09:01:00Z\t-1\n"
                                 "2025-03-01T10:00:00Z\t2025-03-01T10:0"; // half written
        const auto runs = RunHistory::readRuns(write(bytes));
        QCOMPARE(runs.size(), 3);
        QCOMPARE(runDateTime(runs[0].startedAt), utc(2025, 3, 1, 6, 0, 0));
        QCOMPARE(runDateTime(runs[1].startedAt), utc(2025, 3, 1, 7, 0, 0));
        QCOMPARE(runs[1].exitCode, 2);
        QCOMPARE(runDateTime(runs[2].endedAt), utc(2025, 3, 1, 9, 1, 0));
        QCOMPARE(runs[2].exitCode, -1);
    }

    void everyRecord_getsAFreshRandomId()
    {
        QByteArray bytes;
        for (int i = 0; i < 2000; ++i) {
            bytes += "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n";
        }
        const QString path = write(bytes);
        const auto first = RunHistory::readRuns(path);
        const auto second = RunHistory::readRuns(path);
        QCOMPARE(first.size(), 2000);
        QSet<QUuid> ids;
        for (const auto &runs : {first, second}) {
            for (const TaskRunRecord &run : runs) {
                QCOMPARE(run.id.version(), QUuid::Random);
                QCOMPARE(run.id.variant(), QUuid::DCE);
                ids.insert(run.id);
            }
        }
        QCOMPARE(ids.size(), 4000);
        const auto a = RunHistory::parseLine(u"2025-03-01T06:00:00Z\t0");
        const auto b = RunHistory::parseLine(u"2025-03-01T06:00:00Z\t0");
        QVERIFY(a && b && a->id != b->id);
        QCOMPARE(a->id.version(), QUuid::Random);
    }

    void missingFiles_readAsEmpty()
    {
        const QString missing = m_dir.path() + u"/nothing-here.runs";
        QCOMPARE(RunHistory::readRuns(missing).size(), 0);
        QCOMPARE(RunHistory::readLogTail(missing, 100), QString());
        QCOMPARE(RunHistory::readRuns(m_dir.path()).size(), 0); // a folder
        QCOMPARE(RunHistory::readLogTail(m_dir.path(), 100), QString());
        QCOMPARE(RunHistory::readRuns(write("")).size(), 0);
        QCOMPARE(RunHistory::readLogTail(write("", u"empty.log"_s), 100), QString());
    }

    void notUtf8_readsAsEmpty_data()
    {
        QTest::addColumn<QByteArray>("bad");
        QTest::newRow("stray continuation") << QByteArray("\x80");
        QTest::newRow("0xFF") << QByteArray("\xFF");
        QTest::newRow("overlong slash") << QByteArray("\xC0\xAF");
        QTest::newRow("overlong three bytes") << QByteArray("\xE0\x80\xAF");
        QTest::newRow("surrogate") << QByteArray("\xED\xA0\x80");
        QTest::newRow("above U+10FFFF") << QByteArray("\xF4\x90\x80\x80");
        QTest::newRow("cut short at the end") << QByteArray("\xE2\x82");
        QTest::newRow("latin-1 e acute") << QByteArray("caf\xE9");
    }

    void notUtf8_readsAsEmpty()
    {
        QFETCH(QByteArray, bad);
        const QByteArray good = "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n";
        for (const QByteArray &bytes : {QByteArray(bad + "\n" + good), QByteArray(good + bad)}) {
            QCOMPARE(RunHistory::readRuns(write(bytes)).size(), 0);
            QCOMPARE(RunHistory::readLogTail(write(bytes, u"x.log"_s), 100), QString());
        }
        // Far before the tail that is kept, it still counts.
        QByteArray log = "\n" + bad + "\n";
        for (int i = 0; i < 300000; ++i) {
            log += "line\n";
        }
        QCOMPARE(RunHistory::readLogTail(write(log, u"big.log"_s), 10), QString());
        QCOMPARE(plainReadLog(m_dir.path() + u"/big.log", 10), QString());
    }

    void goodUtf8_isRead()
    {
        const QByteArray bytes = "\xF0\x9F\x98\x80 \xE2\x82\xAC \xC3\xA9 \xF4\x8F\xBF\xBF \xEF\xBB\xBF\n"
                                 "2025-03-01T06:00:00Z\t0\n";
        QCOMPARE(RunHistory::readRuns(write(bytes)).size(), 1);
        QCOMPARE(RunHistory::readLogTail(write(bytes, u"x.log"_s), 100),
                 QString::fromUtf8(bytes).trimmed());
    }

    void log150Lines_readWith100_givesLines51To150()
    {
        QStringList lines;
        for (int i = 1; i <= 150; ++i) {
            lines << u"line " + QString::number(i);
        }
        const QString path = write(lines.join(u'\n').toUtf8(), u"0a1b2c3d.stdout.log"_s);
        const QString result = RunHistory::readLogTail(path, 100);
        QCOMPARE(result, lines.mid(50).join(u'\n'));
        QVERIFY(result.startsWith(u"line 51\n"));
        QVERIFY(result.endsWith(u"\nline 150"));
    }

    // A final line feed makes an empty last piece, which takes one of the 100 places.
    void log150LinesWithFinalLineFeed_readWith100_givesLines52To150()
    {
        QStringList lines;
        for (int i = 1; i <= 150; ++i) {
            lines << u"line " + QString::number(i);
        }
        const QString path = write(QString(lines.join(u'\n') + u'\n').toUtf8(), u"0a1b2c3d.stdout.log"_s);
        QCOMPARE(RunHistory::readLogTail(path, 100), lines.mid(51).join(u'\n'));
        QCOMPARE(RunHistory::readLogTail(path, 101), lines.mid(50).join(u'\n'));
    }

    void logEndingInBlankLines_losesThemToTrimming()
    {
        const QString path = write("first\nsecond\n\n\n  \n", u"a.log"_s);
        QCOMPARE(RunHistory::readLogTail(path, 100), u"first\nsecond"_s);
        // The cut comes before the trimming: the last three pieces are all blank.
        QCOMPARE(RunHistory::readLogTail(path, 3), QString());
        QCOMPARE(RunHistory::readLogTail(path, 4), QString());
        QCOMPARE(RunHistory::readLogTail(path, 5), u"second"_s);
        QCOMPARE(RunHistory::readLogTail(write(" \t\n\n\r\n", u"blank.log"_s), 100), QString());
        QCOMPARE(RunHistory::readLogTail(write("\n\t indented\u00A0 \n", u"b.log"_s), 100), u"indented"_s);
    }

    void logTail_edgeCounts()
    {
        const QString path = write("a\nb\nc", u"c.log"_s);
        QCOMPARE(RunHistory::readLogTail(path, 0), QString());
        QCOMPARE(RunHistory::readLogTail(path, 1), u"c"_s);
        QCOMPARE(RunHistory::readLogTail(path, 2), u"b\nc"_s);
        QCOMPARE(RunHistory::readLogTail(path, 3), u"a\nb\nc"_s);
        QCOMPARE(RunHistory::readLogTail(path, 10000), u"a\nb\nc"_s);
        const QString crlf = write("a\r\nb\r\n", u"crlf.log"_s);
        QCOMPARE(RunHistory::readLogTail(crlf, 1), QString());
        QCOMPARE(RunHistory::readLogTail(crlf, 2), u"b"_s);
        QCOMPARE(RunHistory::readLogTail(crlf, 3), u"a\r\nb"_s);
    }

    void negativeMaxLines_isAnAssertion()
    {
#ifdef QT_NO_DEBUG
        QSKIP("assertions are compiled out");
#else
        QProcess probe;
        probe.start(QCoreApplication::applicationFilePath(), {u"--probe-negative-max-lines"_s});
        QVERIFY(probe.waitForFinished(60000));
        QCOMPARE(probe.exitStatus(), QProcess::CrashExit);
        QVERIFY(probe.readAllStandardError().contains("maxLines must not be negative"));
#endif
    }

    // Lines cut across the reader's blocks, compared with the plain reading.
    // A long file is read in blocks: lines and characters cut by a block's end, malformed lines and
    // lines of 3,000 bytes must not change the result.
    void longRunsFile_matchesPlainReading()
    {
        QRandomGenerator random(20250301);
        QByteArray bytes;
        int good = 0;
        while (bytes.size() < 9 * 1024 * 1024 + 17) {
            const qint64 start = 1700000000 + random.bounded(100000000);
            const QByteArray a = QDateTime::fromSecsSinceEpoch(start, QTimeZone::utc()).toString(Qt::ISODate).toUtf8();
            const QByteArray b =
                QDateTime::fromSecsSinceEpoch(start + random.bounded(4000), QTimeZone::utc()).toString(Qt::ISODate).toUtf8();
            switch (random.bounded(6)) {
            case 0:
                bytes += a + "\t" + QByteArray::number(random.bounded(256)) + "\n";
                ++good;
                break;
            case 1:
                bytes += QByteArray(random.bounded(3000), 'x') + "\n";
                break;
            case 2:
                bytes += a + "\t\t" + b + "\t-" + QByteArray::number(random.bounded(99)) + "\t\n";
                ++good;
                break;
            case 3:
                bytes += a + "\t" + b + "\t1\r\n";
                break;
            default:
                bytes += a + "\t" + b + "\t" + QByteArray::number(random.bounded(256)) + "\n";
                ++good;
            }
        }
        const QString path = write(bytes);
        const auto runs = RunHistory::readRuns(path);
        QCOMPARE(runs.size(), good);
        QVERIFY(sameRuns(runs, plainReadRuns(path)));
    }

    // A bad byte anywhere in a long file makes the whole file read as empty, as when reading it
    // whole; so does a sequence cut off by the end of the file.
    void longRunsFile_badUtf8Anywhere_readsAsEmpty_data()
    {
        QTest::addColumn<double>("where");
        QTest::addColumn<QByteArray>("bad");
        QTest::newRow("first half") << 0.2 << QByteArray("\xC3\x28");
        QTest::newRow("just before the middle") << 0.4999 << QByteArray("\xFF");
        QTest::newRow("just after the middle") << 0.5001 << QByteArray("\xED\xA0\x80");
        QTest::newRow("second half") << 0.9 << QByteArray("\xF4\x90\x80\x80");
        QTest::newRow("cut off at the end") << 1.0 << QByteArray("\xE2\x82");
    }

    void longRunsFile_badUtf8Anywhere_readsAsEmpty()
    {
        QFETCH(double, where);
        QFETCH(QByteArray, bad);
        const QByteArray line = "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n";
        QByteArray bytes = line.repeated(9 * 1024 * 1024 / line.size());
        const qsizetype at = qsizetype(double(bytes.size()) * where) / line.size() * line.size();
        bytes.insert(at, bad);
        const QString path = write(bytes);
        QCOMPARE(RunHistory::readRuns(path).size(), 0);
        // The same file without the bad bytes reads in full.
        bytes.remove(at, bad.size());
        QCOMPARE(RunHistory::readRuns(write(bytes)).size(), bytes.size() / line.size());
    }

    // A long file: every good line once, in file order.
    void longRunsFile_keepsEveryLineInOrder()
    {
        QByteArray bytes;
        bytes.reserve(7 * 1024 * 1024);
        qint32 expected = 0;
        for (qint32 i = 0; bytes.size() < 6 * 1024 * 1024; ++i) {
            if (i % 997 == 0) {
                bytes += "2025-03-01T06:00:00Z\tnot a status\n";
                continue;
            }
            bytes += "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t" + QByteArray::number(i) + "\n";
            ++expected;
        }
        const auto runs = RunHistory::readRuns(write(bytes));
        QCOMPARE(runs.size(), expected);
        qint32 previous = 0;
        for (const TaskRunRecord &run : runs) {
            QVERIFY2(run.exitCode > previous && run.exitCode % 997 != 0, qPrintable(QString::number(run.exitCode)));
            previous = run.exitCode;
        }
    }

    // A line far longer than a block (a huge malformed one) and a byte-order mark at the start.
    void lineLongerThanABlock_isReadWhole()
    {
        const QByteArray line = "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t7\n";
        const QByteArray bytes = "\xEF\xBB\xBF" + line + QByteArray(9 * 1024 * 1024, 'y') + "\n" + line + line;
        const QString path = write(bytes);
        const auto runs = RunHistory::readRuns(path);
        QCOMPARE(runs.size(), 3);
        QVERIFY(sameRuns(runs, plainReadRuns(path)));
        QCOMPARE(runs.last().exitCode, 7);
    }

    // Random small logs of awkward characters: the backwards reader against the plain reading.
    void randomLogs_matchPlainReading()
    {
        QRandomGenerator random(7);
        const QList<QByteArray> alphabet{"a", "b", " ", "\n", "\n", "\n", "\r", "\t", "\xC3\xA9", "\xE2\x80\xA8",
                                         "\xC2\xA0", "\xF0\x9F\x98\x80", "xyz", "\n\n"};
        int nonEmpty = 0;
        for (int round = 0; round < 3000; ++round) {
            QByteArray bytes;
            const int pieces = random.bounded(40);
            for (int i = 0; i < pieces; ++i) {
                bytes += alphabet.at(random.bounded(alphabet.size()));
            }
            if (random.bounded(25) == 0 && !bytes.isEmpty()) {
                bytes[random.bounded(bytes.size())] = char(0xFF); // not UTF-8 any more
            }
            // A new file each time: rewriting one in place makes the file system flush on every close.
            const QString path = m_dir.path() + u"/random-" + QString::number(round) + u".log";
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
            file.close();
            const int maxLines = random.bounded(12);
            const QString expected = plainReadLog(path, maxLines);
            nonEmpty += expected.isEmpty() ? 0 : 1;
            QCOMPARE(RunHistory::readLogTail(path, maxLines), expected);
            QFile::remove(path);
        }
        QVERIFY(nonEmpty > 1000); // the comparison was not only between empty texts
    }

    // Random bytes, good and bad UTF-8 mixed at every offset of a 16-byte block: every check this
    // processor has (chosen with MOXLEY_UTF8_CHECK) agrees with the plain reading.
    void randomBytes_everyCheckMatchesPlainReading()
    {
        QRandomGenerator random(16);
        const QList<QByteArray> alphabet{"a", "\n", " ", "\x7F", "\xC3\xA9", "\xDF\xBF", "\xE2\x82\xAC",
                                         "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEF\xBF\xBF", "\xF0\x90\x80\x80",
                                         "\xF4\x8F\xBF\xBF", "\xF0\x9F\x98\x80", "abcdefghijklmnop",
                                         // and the bad: alone, cut short, overlong, surrogate, too large
                                         "\x80", "\xBF", "\xC2", "\xE2\x82", "\xF0\x9F\x98", "\xC0\x80", "\xC1\xBF",
                                         "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                                         "\xF5\x80\x80\x80", "\xFF", "\xFE"};
        const qsizetype firstBad = alphabet.indexOf("\x80");
        const auto checks = availableChecks();
        const auto unset = qScopeGuard([] { qunsetenv("MOXLEY_UTF8_CHECK"); });
        int good = 0;
        int bad = 0;
        for (int round = 0; round < 4000; ++round) {
            QByteArray bytes;
            const int pieces = random.bounded(60);
            // Mostly good text, so a bad piece lands anywhere in it, or nowhere.
            const bool spoil = random.bounded(3) == 0;
            for (int i = 0; i < pieces; ++i) {
                bytes += alphabet.at(random.bounded(spoil && random.bounded(20) == 0 ? alphabet.size() : firstBad));
            }
            const QString path = m_dir.path() + u"/bytes-" + QString::number(round) + u".log";
            Sandbox::writeFile(path, bytes);
            const QString expected = plainReadLog(path, 1000000);
            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
            const QString decoded = decoder.decode(bytes);
            (decoder.hasError() ? bad : good) += 1;
            QCOMPARE(RunHistory::readLogTail(path, 1000000), expected);
            for (const auto &[name, check] : checks) {
                qputenv("MOXLEY_UTF8_CHECK", name);
                QCOMPARE(RunHistory::readLogTail(path, 1000000), expected);
            }
            qunsetenv("MOXLEY_UTF8_CHECK");
            QFile::remove(path);
        }
        QVERIFY(good > 1000);
        QVERIFY(bad > 300);
    }

    // Each check on its own, at every offset of two 64-byte chunks (the vector checks' step) and
    // fed whole or cut anywhere, against decoding: every good and bad sequence, after and before
    // good text of every kind.
    void everyCheck_atEveryOffset_matchesDecoding()
    {
        QRandomGenerator random(64);
        const QList<QByteArray> &pieces = utf8Pieces();
        const qsizetype firstBad = pieces.indexOf("\x80");
        const auto goodText = [&](qsizetype size) {
            QByteArray text;
            while (text.size() < size) {
                const QByteArray &piece = pieces.at(random.bounded(firstBad));
                text += text.size() + piece.size() <= size ? piece : QByteArray("a");
            }
            return text;
        };
        int good = 0;
        int bad = 0;
        for (const auto &[name, check] : availableChecks()) {
            for (const QByteArray &piece : pieces) {
                for (qsizetype offset = 0; offset <= 130; ++offset) {
                    const QByteArray bytes = goodText(offset) + piece + goodText(random.bounded(100));
                    const bool expected = decodesAsUtf8(bytes);
                    (expected ? good : bad) += 1;
                    RunHistoryDetail::Utf8Validator whole(check);
                    const bool wholeOk = whole.feed(bytes.constData(), bytes.size()) && whole.complete();
                    RunHistoryDetail::Utf8Validator cut(check);
                    bool cutOk = true;
                    for (qsizetype at = 0; at < bytes.size() && cutOk;) {
                        const qsizetype length = std::min<qsizetype>(random.bounded(1, 80), bytes.size() - at);
                        cutOk = cut.feed(bytes.constData() + at, length);
                        at += length;
                    }
                    cutOk = cutOk && cut.complete();
                    if (wholeOk != expected || cutOk != expected) {
                        qWarning() << name << "offset" << offset << bytes.toHex(' ');
                    }
                    QCOMPARE(wholeOk, expected);
                    QCOMPARE(cutOk, expected);
                }
            }
        }
        QVERIFY(good > 1000);
        QVERIFY(bad > 1000);
    }

    // A stretch of a file checked block by block against decoding: sequences good and bad at
    // every place around the middle, small blocks so a sequence is often cut by a block's end.
    void fileCheck_matchesDecoding()
    {
        QRandomGenerator random(2);
        const QList<QByteArray> &pieces = utf8Pieces();
        const qsizetype firstBad = pieces.indexOf("\x80");
        const QString path = m_dir.path() + u"/stretch.log";
        int good = 0;
        int bad = 0;
        for (int round = 0; round < 300; ++round) {
            QByteArray bytes;
            while (bytes.size() < 1000 + random.bounded(3000)) {
                bytes += pieces.at(random.bounded(firstBad));
            }
            // A good or bad piece from a little before to a little after the middle.
            const QByteArray &piece = pieces.at(random.bounded(pieces.size()));
            const qsizetype at = std::max<qsizetype>(0, bytes.size() / 2 - 5 + random.bounded(10));
            bytes.insert(at, piece);
            // Some rounds check only a stretch, beginning after a line feed.
            const qsizetype begin = round % 4 == 0 ? bytes.indexOf('\n') + 1 : 0;
            const qsizetype end = bytes.size() - (round % 3 == 0 ? random.bounded(4) : 0);
            Sandbox::writeFile(path, bytes);
            const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
            QVERIFY(fd >= 0);
            const bool expected = decodesAsUtf8(bytes.mid(begin, end - begin));
            (expected ? good : bad) += 1;
            for (const auto &[name, check] : availableChecks()) {
                const qint64 blockSize = 64 + random.bounded(200);
                const bool got = RunHistoryDetail::isUtf8(fd, begin, end, {check, blockSize});
                if (got != expected) {
                    qWarning() << name << "round" << round << "piece" << piece.toHex(' ') << "at" << at;
                }
                QCOMPARE(got, expected);
            }
            // Past the end of the file: not readable, so not UTF-8.
            QVERIFY(!RunHistoryDetail::isUtf8(fd, 0, bytes.size() + 1, {Utf8Check::scalar, 64}));
            QVERIFY(RunHistoryDetail::isUtf8(fd, 7, 7, {Utf8Check::scalar, 64}));
            ::close(fd);
        }
        QVERIFY(good > 50);
        QVERIFY(bad > 50);
    }

    // A 17 MiB log with a bad byte near its start, around its middle, just before its tail, in its
    // tail, or nowhere: as the plain reading.
    void longLog_badByteAnywhere_matchesPlainReading()
    {
        QByteArray bytes;
        bytes.reserve(18 << 20);
        const QByteArray line = "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80 line of the log\n";
        while (bytes.size() < (17 << 20)) {
            bytes += line;
        }
        const QString path = m_dir.path() + u"/long.log";
        // Where the reader cuts what precedes the last 100 lines.
        qsizetype tailStart = bytes.size();
        for (int feeds = 0; feeds < 101; ++feeds) {
            tailStart = bytes.lastIndexOf('\n', tailStart - 1);
        }
        const qsizetype middle = tailStart / 2;
        for (const qsizetype at : {qsizetype(-1), qsizetype(5), middle - 2, middle - 1, middle, middle + 1,
                                   tailStart - 3, bytes.size() - 10}) {
            QByteArray spoilt = bytes;
            if (at >= 0) {
                spoilt[at] = char(0x80 | (spoilt[at] & 0x3F)); // a stray or misplaced continuation byte
                if (decodesAsUtf8(spoilt)) {
                    continue; // it was one already
                }
            }
            Sandbox::writeFile(path, spoilt);
            const QString expected = plainReadLog(path, 100);
            QCOMPARE(expected.isEmpty(), at >= 0);
            QCOMPARE(RunHistory::readLogTail(path, 100), expected);
        }
    }

    // Tails longer than the reader's blocks, and files larger than them.
    void largeLogs_matchPlainReading()
    {
        QRandomGenerator random(99);
        const QString path = m_dir.path() + u"/large.log";
        for (int round = 0; round < 6; ++round) {
            QByteArray bytes;
            const qsizetype target = (1 + round) * 700 * 1024;
            while (bytes.size() < target) {
                const int length = random.bounded(round % 2 ? 2000 : 80);
                bytes += QByteArray(length, char('a' + random.bounded(26)));
                bytes += random.bounded(10) == 0 ? "\xE2\x82\xAC\n" : "\n";
            }
            bytes += QByteArray(random.bounded(3), '\n');
            Sandbox::writeFile(path, bytes);
            for (const int maxLines : {1, 100, 10000, 1000000}) {
                QCOMPARE(RunHistory::readLogTail(path, maxLines), plainReadLog(path, maxLines));
            }
        }
    }
};

int main(int argc, char *argv[])
{
    if (argc == 2 && std::strcmp(argv[1], "--probe-negative-max-lines") == 0) {
        RunHistory::readLogTail(QStringLiteral("/nonexistent"), -1);
        return 0;
    }
    QCoreApplication app(argc, argv);
    RunHistoryTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_run_history.moc"
