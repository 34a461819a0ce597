#include "RunHistoryReference.h"

using namespace Qt::StringLiterals;
using namespace RunHistoryReference;
using RunHistoryDetail::Utf8Check;

class RunHistoryTest : public QObject, private Files
{
    Q_OBJECT

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
        QCOMPARE(RunHistory::readLogTail(write(bytes, u"x.log"_s), 100), QString::fromUtf8(bytes).trimmed());
    }
};

QTEST_GUILESS_MAIN(RunHistoryTest)
#include "test_run_history.moc"
