#include "RunHistoryReference.h"

using namespace Qt::StringLiterals;
using namespace RunHistoryReference;
using RunHistoryDetail::Utf8Check;

class LogTailTest : public QObject, private Files
{
    Q_OBJECT

private Q_SLOTS:
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
};

int main(int argc, char *argv[])
{
    if (argc == 2 && std::strcmp(argv[1], "--probe-negative-max-lines") == 0) {
        RunHistory::readLogTail(QStringLiteral("/nonexistent"), -1);
        return 0;
    }
    QCoreApplication app(argc, argv);
    LogTailTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_log_tail.moc"
