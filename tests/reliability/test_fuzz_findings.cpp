// Every finding of the fuzz targets (fuzz/), kept as a test of its own.
#include "Sandbox.h"
#include "launchd/LaunchdBrowser.h"
#include "launchd/LaunchdJob.h"
#include "model/TaskMigration.h"
#include "store/RunHistory.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QString dataFile(const QString &name)
{
    return QStringLiteral(MOXLEY_TEST_DATA_DIR "/broken/") + name;
}

} // namespace

class FuzzFindingsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // fuzz_launchd_job: libplist stopped the program (a failed assertion in plist_get_key_val) when
    // the raw dictionary of a binary list whose key held U+0000 was read.
    void binaryPlistKeyHoldingNul_readsAsNoJob()
    {
        const QByteArray bytes = Sandbox::readFile(dataFile(u"plist-key-with-nul.plist"_s));
        QVERIFY(bytes.startsWith("bplist00"));
        // The key is "Bäd", U+0000, "Key", stored as UTF-16 (libplist cuts ASCII keys at U+0000).
        QVERIFY(bytes.contains(QByteArray("\0B\0\xE4\0d\0\0\0K\0e\0y", 14)));
        QVERIFY(!LaunchdJob::fromData(bytes, u"/x.plist"_s, LaunchdJob::Source::userAgents));
        QVERIFY(!LaunchdJob::fromFile(dataFile(u"plist-key-with-nul.plist"_s), LaunchdJob::Source::userAgents));
    }

    // A folder holding such a file still lists its other jobs.
    void folderWithKeyHoldingNul_listsTheOtherJobs()
    {
        QTemporaryDir dir;
        Sandbox::writeFile(dir.filePath(u"bad.plist"_s), Sandbox::readFile(dataFile(u"plist-key-with-nul.plist"_s)));
        Sandbox::writeFile(dir.filePath(u"good.plist"_s),
                           "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>Label</key>"
                           "<string>org.example.good</string></dict></plist>");
        const QList<LaunchdJob> jobs = LaunchdBrowser({{dir.path(), LaunchdJob::Source::userAgents}}).scan();
        QCOMPARE(jobs.size(), 1);
        QCOMPARE(jobs.first().label, u"org.example.good"_s);
    }

    // A string value holding U+0000 is still read whole (libplist keeps its length)...
    void binaryPlistStringHoldingNul_readsWhole()
    {
        const QByteArray bytes = plistWithProgram(QString(u"/bin/a"_s % QChar(0) % u"b"_s));
        const auto job = LaunchdJob::fromData(bytes, u"/x.plist"_s, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->program, std::optional<QString>(QString(u"/bin/a"_s % QChar(0) % u"b")));
    }

    // ...but the raw XML view gave that string cut at U+0000 (libplist takes C strings), so it no
    // longer read back as the same job. XML cannot carry U+0000 or other controls at all, so there
    // is no raw XML for such a dictionary.
    void rawXml_textThatXmlCannotCarryGivesNothing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("U+0000") << QString(u"a"_s % QChar(0) % u"b");
        QTest::newRow("U+0001") << QString(u"a"_s % QChar(1));
        QTest::newRow("U+001F") << QString(QChar(0x1F));
        QTest::newRow("U+FFFE") << QString(QChar(0xFFFE));
        QTest::newRow("U+FFFF") << QString(QChar(0xFFFF));
        QTest::newRow("lone high surrogate") << QString(QChar(0xD800));
        QTest::newRow("lone low surrogate") << QString(u"x"_s % QChar(0xDC00));
        QTest::newRow("reversed pair") << QString(QChar(0xDC00)) + QChar(0xD800);
    }
    void rawXml_textThatXmlCannotCarryGivesNothing()
    {
        QFETCH(QString, text);
        QVERIFY(!LaunchdBrowser::rawXml({{u"Label"_s, u"x"_s}, {u"Program"_s, text}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Label"_s, u"x"_s}, {text, u"value"_s}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Label"_s, u"x"_s}, {u"List"_s, QVariantList{text}}}));
        QVERIFY(!LaunchdBrowser::rawXml(
            {{u"Label"_s, u"x"_s}, {u"Env"_s, QVariantMap{{u"K"_s, QVariantMap{{u"Inner"_s, text}}}}}}));
    }

    void rawXml_tabsFeedsAndAllOtherCharactersRoundTrip()
    {
        const QString text = u"tab\there\nline\r€ 😀 \uFFFD <&>'\""_s;
        const auto xml = LaunchdBrowser::rawXml({{u"Label"_s, text}, {text, text}});
        QVERIFY(xml);
        const auto job = LaunchdJob::fromData(xml->toUtf8(), u"/x.plist"_s, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->label, text);
        QCOMPARE(job->raw.value(text).toString(), text);
    }

    // fuzz_launchd_job: a binary list may repeat a key. The typed fields took the first
    // (plist_dict_get_item), the raw dictionary the last, so the raw XML read back as a different
    // job. The first now counts everywhere.
    void repeatedKey_firstCountsInTypedFieldsAndRaw_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("calendar");
        QTest::addColumn<QString>("summary");
        // StartCalendarInterval twice: first a dictionary {Hour: 5}, then a string; and the other way.
        QTest::newRow("dictionary first") << u"plist-repeated-key.plist"_s << true << u"5:00"_s;
        QTest::newRow("string first") << u"plist-repeated-key-string-first.plist"_s << false << u"Manual"_s;
    }
    void repeatedKey_firstCountsInTypedFieldsAndRaw()
    {
        QFETCH(QString, file);
        QFETCH(bool, calendar);
        QFETCH(QString, summary);
        const auto job = LaunchdJob::fromFile(dataFile(file), LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->label, u"org.example.repeat"_s);
        QCOMPARE(job->startCalendarInterval.has_value(), calendar);
        QCOMPARE(job->scheduleSummary(), summary);
        const QVariant raw = job->raw.value(u"StartCalendarInterval"_s);
        QCOMPARE(raw.typeId(), calendar ? QMetaType::QVariantMap : QMetaType::QString);
        const auto xml = LaunchdBrowser::rawXml(job->raw);
        QVERIFY(xml);
        const auto again = LaunchdJob::fromData(xml->toUtf8(), u"/x.plist"_s, LaunchdJob::Source::userAgents);
        QVERIFY(again);
        QCOMPARE(again->startCalendarInterval, job->startCalendarInterval);
        QCOMPARE(again->scheduleSummary(), summary);
        QCOMPARE(again->raw, job->raw);
    }

    // fuzz_launchd_job, kept as it is: XML has no UID type, so the raw view writes a UID as the
    // dictionary {"CF$UID": n}, as the system's own writer does. The typed field sees a UID, not a
    // dictionary; the raw XML read back sees a dictionary.
    void uidWhereADictionaryBelongs_isNoCalendarButShowsAsCfUid()
    {
        const auto job = LaunchdJob::fromFile(dataFile(u"plist-uid-calendar.plist"_s), LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QVERIFY(!job->startCalendarInterval);
        QCOMPARE(job->scheduleSummary(), u"Manual"_s);
        QCOMPARE(job->raw.value(u"StartCalendarInterval"_s), QVariant(QVariantMap{{u"CF$UID"_s, qint64(7)}}));
        const auto xml = LaunchdBrowser::rawXml(job->raw);
        QVERIFY(xml);
        QVERIFY(xml->contains(u"<key>CF$UID</key>"_s));
    }

    // fuzz_log_tail: QString::fromUtf8 drops a byte-order mark at the start of what it decodes, so a
    // tail that began just after a line feed lost a U+FEFF that reading the whole file keeps.
    void logTail_byteOrderMarkAfterLineFeedIsKept()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"a.stdout.log"_s);
        Sandbox::writeFile(path, "first\n\xEF\xBB\xBFsecond");
        QCOMPARE(RunHistory::readLogTail(path, 1), QString(QChar(0xFEFF) + u"second"_s));
        QCOMPARE(RunHistory::readLogTail(path, 2), QString(u"first\n"_s + QChar(0xFEFF) + u"second"_s));
    }

    void logTail_byteOrderMarkAtFileStartIsNoText()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"a.stdout.log"_s);
        Sandbox::writeFile(path, "\xEF\xBB\xBFonly");
        QCOMPARE(RunHistory::readLogTail(path, 1), u"only"_s);
        QCOMPARE(RunHistory::readLogTail(path, 100), u"only"_s);
    }

    // fuzz_runs_file: the runs reader cuts lines as bytes, so a byte-order mark at the start of the
    // file stayed on the first line and dropped it, where reading the file as text does not.
    void runs_byteOrderMarkAtFileStartKeepsTheFirstRun()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"0a1b2c3d.runs"_s);
        Sandbox::writeFile(path, "\xEF\xBB\xBF"
                                 "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n"
                                 "\xEF\xBB\xBF"
                                 "2025-03-02T06:00:00Z\t2025-03-02T06:00:05Z\t0\n");
        const QList<TaskRunRecord> runs = RunHistory::readRuns(path);
        // The second mark is inside the text, so its line does not parse.
        QCOMPARE(runs.size(), 1);
        QCOMPARE(runDateTime(runs.first().startedAt), QDateTime(QDate(2025, 3, 1), QTime(6, 0), QTimeZone::utc()));
    }

    // fuzz_tasks_file: a name read from "\\udddd" (a surrogate without its other half, which Qt's
    // reader takes) was written as UTF-8, where it has none, and came back as '?'.
    void tasksFile_loneSurrogateReadsBackTheSame()
    {
        const QByteArray bytes = "{\"version\": 2, \"tasks\": [{\"id\": \"00000000-0000-0000-0000-000000000001\", "
                                 "\"name\": \"Task \\udddd\", \"command\": \"true\", \"useLoginShell\": true, "
                                 "\"isEnabled\": true, \"schedule\": {\"runAtLoad\": {}}, \"logs\": []}]}";
        const TaskMigration::ReadResult first = TaskMigration::read(bytes);
        QVERIFY(first.ok());
        QCOMPARE(first.tasks.constFirst().name, u"Task "_s + QChar(0xDDDD));
        const QByteArray written = TaskMigration::encode(first.tasks);
        QVERIFY(written.contains("\"Task \\udddd\""));
        const TaskMigration::ReadResult again = TaskMigration::read(written);
        QVERIFY(again.ok());
        QCOMPARE(again.tasks, first.tasks);
        QCOMPARE(TaskMigration::encode(again.tasks), written);
    }

private:
    static QByteArray plistWithProgram(const QString &program)
    {
        // A hand-made binary list {"Label": "x", "Program": program}, the program as a UTF-16 string
        // so it can hold U+0000 (libplist cuts ASCII strings there).
        QByteArray objects;
        QList<int> offsets;
        const auto ascii = [&](const QByteArray &s) {
            offsets << 8 + int(objects.size());
            objects += char(0x50 | s.size());
            objects += s;
        };
        offsets << 8;
        objects += char(0xD2); // dict of two: key refs 1, 2, value refs 3, 4
        objects += char(1);
        objects += char(2);
        objects += char(3);
        objects += char(4);
        ascii("Label");
        ascii("Program");
        ascii("x");
        offsets << 8 + int(objects.size());
        objects += char(0x60 | program.size());
        for (QChar c : program) {
            objects += char(c.unicode() >> 8);
            objects += char(c.unicode() & 0xFF);
        }
        QByteArray bytes = "bplist00" + objects;
        const int tableOffset = int(bytes.size());
        for (int offset : offsets) {
            bytes += char(offset);
        }
        QByteArray trailer(32, '\0');
        trailer[6] = 1; // offset size
        trailer[7] = 1; // object reference size
        trailer[15] = char(offsets.size());
        trailer[23] = 0; // top object
        trailer[31] = char(tableOffset);
        return bytes + trailer;
    }
};

QTEST_GUILESS_MAIN(FuzzFindingsTest)
#include "test_fuzz_findings.moc"
