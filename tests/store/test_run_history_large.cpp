#include "RunHistoryReference.h"

using namespace Qt::StringLiterals;
using namespace RunHistoryReference;
using RunHistoryDetail::Utf8Check;

class RunHistoryLargeTest : public QObject, private Files
{
    Q_OBJECT

private Q_SLOTS:
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
            const QByteArray b = QDateTime::fromSecsSinceEpoch(start + random.bounded(4000), QTimeZone::utc())
                                     .toString(Qt::ISODate)
                                     .toUtf8();
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
        const QList<QByteArray> alphabet{"a",   "b",   " ",        "\n",           "\n",       "\n",
                                         "\r",  "\t",  "\xC3\xA9", "\xE2\x80\xA8", "\xC2\xA0", "\xF0\x9F\x98\x80",
                                         "xyz", "\n\n"};
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
        const QList<QByteArray> alphabet{
            "a", "\n", " ", "\x7F", "\xC3\xA9", "\xDF\xBF", "\xE2\x82\xAC", "\xE0\xA0\x80", "\xED\x9F\xBF",
            "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "\xF0\x9F\x98\x80", "abcdefghijklmnop",
            // and the bad: alone, cut short, overlong, surrogate, too large
            "\x80", "\xBF", "\xC2", "\xE2\x82", "\xF0\x9F\x98", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
            "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xFE"};
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

QTEST_GUILESS_MAIN(RunHistoryLargeTest)
#include "test_run_history_large.moc"
