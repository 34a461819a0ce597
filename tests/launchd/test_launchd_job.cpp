#include "LaunchdJobFields.h"
#include "Sandbox.h"
#include "launchd/LaunchdBrowser.h"
#include "launchd/LaunchdJob.h"

#include <QDateTime>
#include <QPoint>
#include <QTimeZone>
#include <QtTest>

#include "launchd/PlistCompat.h"

#include <cstdlib>
#include <utility>

using namespace Qt::StringLiterals;

// Fixtures are written with libplist itself, in both of its file forms, so the reader meets the
// same bytes a real system folder would hold.
namespace {

enum class Form { xml, binary };

plist_t str(const char *text)
{
    return plist_new_string(text);
}
plist_t integer(qint64 value)
{
    return plistcompat::newInt(value);
}
plist_t real(double value)
{
    return plist_new_real(value);
}
plist_t boolean(bool value)
{
    return plist_new_bool(value ? 1 : 0);
}

plist_t dict(std::initializer_list<std::pair<const char *, plist_t>> items)
{
    plist_t node = plist_new_dict();
    for (const auto &[key, value] : items) {
        plist_dict_set_item(node, key, value);
    }
    return node;
}

plist_t array(std::initializer_list<plist_t> items)
{
    plist_t node = plist_new_array();
    for (plist_t value : items) {
        plist_array_append_item(node, value);
    }
    return node;
}

QByteArray encode(plist_t root, Form form)
{
    char *bytes = nullptr;
    uint32_t length = 0;
    if (form == Form::xml) {
        plist_to_xml(root, &bytes, &length);
    } else {
        plist_to_bin(root, &bytes, &length);
    }
    QByteArray result(bytes, qsizetype(length));
    std::free(bytes);
    plist_free(root);
    return result;
}

// Takes the node over.
QString writePlist(const QString &path, plist_t root, Form form)
{
    Sandbox::writeFile(path, encode(root, form));
    return path;
}

LaunchdJob jobWith(std::optional<qint64> interval, std::optional<QMap<QString, qint64>> calendar,
                   bool runAtLoad = false, bool keepAlive = false)
{
    LaunchdJob job;
    job.label = QStringLiteral("x");
    job.startInterval = interval;
    job.startCalendarInterval = std::move(calendar);
    job.runAtLoad = runAtLoad;
    job.keepAlive = keepAlive;
    return job;
}

} // namespace

Q_DECLARE_METATYPE(Form)
Q_DECLARE_METATYPE(LaunchdJob)

class LaunchdJobTest : public QObject
{
    Q_OBJECT

private:
    static void addForms()
    {
        QTest::addColumn<Form>("form");
        QTest::newRow("xml") << Form::xml;
        QTest::newRow("binary") << Form::binary;
    }

private Q_SLOTS:
    void sourceTitles_areTheDisplayNames()
    {
        QCOMPARE(LaunchdJob::sourceTitle(LaunchdJob::Source::userAgents), u"User Agents"_s);
        QCOMPARE(LaunchdJob::sourceTitle(LaunchdJob::Source::globalAgents), u"Global Agents"_s);
        QCOMPARE(LaunchdJob::sourceTitle(LaunchdJob::Source::globalDaemons), u"Global Daemons"_s);
    }

    void summary_data()
    {
        using Calendar = QMap<QString, qint64>;
        QTest::addColumn<LaunchdJob>("job");
        QTest::addColumn<QString>("summary");
        QTest::newRow("30 s") << jobWith(30, {}) << u"Every 30 sec"_s;
        QTest::newRow("59 s") << jobWith(59, {}) << u"Every 59 sec"_s;
        QTest::newRow("60 s") << jobWith(60, {}) << u"Every 1 min"_s;
        QTest::newRow("90 s") << jobWith(90, {}) << u"Every 1 min"_s;
        QTest::newRow("119 s") << jobWith(119, {}) << u"Every 1 min"_s;
        QTest::newRow("3600 s") << jobWith(3600, {}) << u"Every 60 min"_s;
        QTest::newRow("no grouping") << jobWith(6000000, {}) << u"Every 100000 min"_s;
        QTest::newRow("0 s") << jobWith(0, {}) << u"Every 0 sec"_s;
        QTest::newRow("interval beats run at load") << jobWith(300, {}, true, true) << u"Every 5 min"_s;
        QTest::newRow("interval beats calendar") << jobWith(120, Calendar{{u"Hour"_s, 9}}) << u"Every 2 min"_s;
        QTest::newRow("weekday 9:30") << jobWith({}, Calendar{{u"Weekday"_s, 1}, {u"Hour"_s, 9}, {u"Minute"_s, 30}})
                                      << u"Weekday 1, 9:30"_s;
        QTest::newRow("6:05") << jobWith({}, Calendar{{u"Hour"_s, 6}, {u"Minute"_s, 5}}) << u"6:05"_s;
        QTest::newRow("day weekday time")
            << jobWith({}, Calendar{{u"Minute"_s, 30}, {u"Hour"_s, 9}, {u"Weekday"_s, 2}, {u"Day"_s, 1}})
            << u"Day 1, Weekday 2, 9:30"_s;
        QTest::newRow("hour only") << jobWith({}, Calendar{{u"Hour"_s, 9}}) << u"9:00"_s;
        QTest::newRow("day only") << jobWith({}, Calendar{{u"Day"_s, 15}}) << u"Day 15"_s;
        QTest::newRow("weekday 0 as stored") << jobWith({}, Calendar{{u"Weekday"_s, 0}}) << u"Weekday 0"_s;
        QTest::newRow("minute only") << jobWith({}, Calendar{{u"Minute"_s, 15}}) << u"Calendar interval"_s;
        QTest::newRow("month only") << jobWith({}, Calendar{{u"Month"_s, 3}}) << u"Calendar interval"_s;
        QTest::newRow("month not shown")
            << jobWith({}, Calendar{{u"Month"_s, 3}, {u"Day"_s, 2}, {u"Hour"_s, 23}, {u"Minute"_s, 59}})
            << u"Day 2, 23:59"_s;
        QTest::newRow("empty calendar") << jobWith({}, Calendar{}) << u"Calendar interval"_s;
        QTest::newRow("calendar beats run at load") << jobWith({}, Calendar{{u"Hour"_s, 7}}, true) << u"7:00"_s;
        QTest::newRow("run at load") << jobWith({}, {}, true, true) << u"Run at load"_s;
        QTest::newRow("keep alive") << jobWith({}, {}, false, true) << u"Keep alive"_s;
        QTest::newRow("manual") << jobWith({}, {}) << u"Manual"_s;
    }

    void summary()
    {
        QFETCH(LaunchdJob, job);
        QFETCH(QString, summary);
        QCOMPARE(job.scheduleSummary(), summary);
    }

    void commandLine_argumentsThenProgramThenUnknown()
    {
        LaunchdJob job;
        QCOMPARE(job.commandLine(), u"(unknown)"_s);
        job.program = u"/usr/bin/true"_s;
        QCOMPARE(job.commandLine(), u"/usr/bin/true"_s);
        job.programArguments = QStringList{u"/bin/echo"_s, u"two words"_s, u"x"_s};
        QCOMPARE(job.commandLine(), u"/bin/echo two words x"_s);
    }

    void parse_everyField_data() { addForms(); }
    void parse_everyField()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QString path =
            writePlist(dir.filePath(u"org.example.full.plist"_s),
                       dict({{"Label", str("org.example.full")},
                             {"ProgramArguments", array({str("/bin/sh"), str("-c"), str("echo hi")})},
                             {"Program", str("/bin/sh")},
                             {"StartCalendarInterval",
                              dict({{"Hour", integer(6)}, {"Minute", integer(5)}, {"Weekday", integer(3)}})},
                             {"StandardOutPath", str("/tmp/out.log")},
                             {"StandardErrorPath", str("/tmp/err.log")},
                             {"Disabled", boolean(true)},
                             {"RunAtLoad", boolean(true)},
                             {"KeepAlive", boolean(true)}}),
                       form);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::globalDaemons);
        QVERIFY(job);
        QCOMPARE(job->id, path);
        QCOMPARE(job->url, path);
        QCOMPARE(job->label, u"org.example.full"_s);
        QCOMPARE(job->source, LaunchdJob::Source::globalDaemons);
        QCOMPARE(job->programArguments, std::optional<QStringList>({u"/bin/sh"_s, u"-c"_s, u"echo hi"_s}));
        QCOMPARE(job->program, std::optional<QString>(u"/bin/sh"_s));
        QVERIFY(!job->startInterval);
        const QMap<QString, qint64> calendar{{u"Hour"_s, 6}, {u"Minute"_s, 5}, {u"Weekday"_s, 3}};
        QCOMPARE(job->startCalendarInterval, std::optional(calendar));
        QCOMPARE(job->standardOutPath, std::optional<QString>(u"/tmp/out.log"_s));
        QCOMPARE(job->standardErrorPath, std::optional<QString>(u"/tmp/err.log"_s));
        QVERIFY(job->disabled);
        QVERIFY(job->runAtLoad);
        QVERIFY(job->keepAlive);
        QCOMPARE(job->scheduleSummary(), u"Weekday 3, 6:05"_s);
        QCOMPARE(job->commandLine(), u"/bin/sh -c echo hi"_s);
        QCOMPARE(job->raw.value(u"Label"_s), QVariant(u"org.example.full"_s));
        QCOMPARE(job->raw.size(), 9);
    }

    void parse_interval_data() { addForms(); }
    void parse_interval()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QString path =
            writePlist(dir.filePath(u"i.plist"_s),
                       dict({{"Label", str("i")}, {"StartInterval", integer(90)}, {"RunAtLoad", boolean(true)}}), form);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->startInterval, std::optional<qint64>(90));
        QVERIFY(job->runAtLoad);
        QCOMPARE(job->scheduleSummary(), u"Every 1 min"_s);
        QVERIFY(!job->disabled);
        QVERIFY(!job->keepAlive);
        QCOMPARE(job->commandLine(), u"(unknown)"_s);
    }

    void parse_wrongTypesCountAsAbsent_data() { addForms(); }
    void parse_wrongTypesCountAsAbsent()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QString path = writePlist(dir.filePath(u"w.plist"_s),
                                        dict({{"Label", str("w")},
                                              {"ProgramArguments", array({str("/bin/echo"), integer(3)})},
                                              {"Program", integer(1)},
                                              {"StartInterval", str("60")},
                                              {"StandardOutPath", array({str("/tmp/a")})},
                                              {"StandardErrorPath", boolean(true)},
                                              {"Disabled", str("true")},
                                              {"RunAtLoad", integer(1)},
                                              {"KeepAlive", dict({{"SuccessfulExit", boolean(false)}})}}),
                                        form);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(typedFieldsSet(*job), QStringList());
        QCOMPARE(job->scheduleSummary(), u"Manual"_s);
        QCOMPARE(job->commandLine(), u"(unknown)"_s);
        // The raw view still shows what was there.
        QCOMPARE(job->raw.value(u"Program"_s), QVariant(qint64(1)));
        QCOMPARE(job->raw.value(u"KeepAlive"_s).toMap().value(u"SuccessfulExit"_s), QVariant(false));
    }

    void parse_realIntervalIsNotAnInteger()
    {
        QTemporaryDir dir;
        const QString path = writePlist(dir.filePath(u"r.plist"_s),
                                        dict({{"Label", str("r")}, {"StartInterval", real(60.0)}}), Form::xml);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QVERIFY(!job->startInterval);
        QCOMPARE(job->scheduleSummary(), u"Manual"_s);
    }

    void parse_calendarKeepsOnlyIntegers_data() { addForms(); }
    void parse_calendarKeepsOnlyIntegers()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QString path = writePlist(dir.filePath(u"c.plist"_s),
                                        dict({{"Label", str("c")},
                                              {"StartCalendarInterval", dict({{"Hour", integer(9)},
                                                                              {"Minute", str("30")},
                                                                              {"Weekday", real(2.0)},
                                                                              {"Day", boolean(true)},
                                                                              {"Month", integer(4)}})}}),
                                        form);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        const QMap<QString, qint64> expected{{u"Hour"_s, 9}, {u"Month"_s, 4}};
        QCOMPARE(job->startCalendarInterval, std::optional(expected));
        QCOMPARE(job->scheduleSummary(), u"9:00"_s);
    }

    void parse_calendarArrayIsAbsent_data()
    {
        QTest::addColumn<Form>("form");
        QTest::addColumn<bool>("runAtLoad");
        QTest::addColumn<bool>("keepAlive");
        QTest::addColumn<QString>("summary");
        for (const Form form : {Form::xml, Form::binary}) {
            const char *name = form == Form::xml ? "xml" : "binary";
            QTest::addRow("%s run at load", name) << form << true << true << u"Run at load"_s;
            QTest::addRow("%s keep alive", name) << form << false << true << u"Keep alive"_s;
            QTest::addRow("%s manual", name) << form << false << false << u"Manual"_s;
        }
    }
    void parse_calendarArrayIsAbsent()
    {
        QFETCH(Form, form);
        QFETCH(bool, runAtLoad);
        QFETCH(bool, keepAlive);
        QFETCH(QString, summary);
        QTemporaryDir dir;
        const QString path = writePlist(
            dir.filePath(u"a.plist"_s),
            dict({{"Label", str("a")},
                  {"StartCalendarInterval", array({dict({{"Hour", integer(9)}}), dict({{"Hour", integer(17)}})})},
                  {"RunAtLoad", boolean(runAtLoad)},
                  {"KeepAlive", boolean(keepAlive)}}),
            form);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QVERIFY(!job->startCalendarInterval);
        QCOMPARE(job->scheduleSummary(), summary);
    }

    void parse_emptyCalendarDictionary()
    {
        QTemporaryDir dir;
        const QString path = writePlist(dir.filePath(u"e.plist"_s),
                                        dict({{"Label", str("e")}, {"StartCalendarInterval", dict({})}}), Form::binary);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->startCalendarInterval, std::optional(QMap<QString, qint64>{}));
        QCOMPARE(job->scheduleSummary(), u"Calendar interval"_s);
    }

    void parse_labelRequiredAsString_data() { addForms(); }
    void parse_labelRequiredAsString()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QString missing = writePlist(dir.filePath(u"m.plist"_s),
                                           dict({{"Program", str("/bin/true")}, {"RunAtLoad", boolean(true)}}), form);
        QVERIFY(!LaunchdJob::fromFile(missing, LaunchdJob::Source::userAgents));
        const QString number = writePlist(dir.filePath(u"n.plist"_s), dict({{"Label", integer(5)}}), form);
        QVERIFY(!LaunchdJob::fromFile(number, LaunchdJob::Source::userAgents));
        const QString list = writePlist(dir.filePath(u"l.plist"_s), dict({{"Label", array({str("x")})}}), form);
        QVERIFY(!LaunchdJob::fromFile(list, LaunchdJob::Source::userAgents));
        // An empty text is still a string.
        const QString empty = writePlist(dir.filePath(u"e.plist"_s), dict({{"Label", str("")}}), form);
        const auto job = LaunchdJob::fromFile(empty, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        QCOMPARE(job->label, QString());
    }

    void parse_rootMustBeDictionary_data() { addForms(); }
    void parse_rootMustBeDictionary()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QString list = writePlist(dir.filePath(u"a.plist"_s), array({dict({{"Label", str("x")}})}), form);
        QVERIFY(!LaunchdJob::fromFile(list, LaunchdJob::Source::userAgents));
        const QString text = writePlist(dir.filePath(u"s.plist"_s), str("Label"), form);
        QVERIFY(!LaunchdJob::fromFile(text, LaunchdJob::Source::userAgents));
    }

    void parse_unreadableOrMalformedGivesNothing()
    {
        QTemporaryDir dir;
        QVERIFY(!LaunchdJob::fromFile(dir.filePath(u"missing.plist"_s), LaunchdJob::Source::userAgents));
        const QString empty = dir.filePath(u"empty.plist"_s);
        Sandbox::writeFile(empty, {});
        QVERIFY(!LaunchdJob::fromFile(empty, LaunchdJob::Source::userAgents));
        const QString garbage = dir.filePath(u"garbage.plist"_s);
        Sandbox::writeFile(garbage, "this is not a property list\n");
        QVERIFY(!LaunchdJob::fromFile(garbage, LaunchdJob::Source::userAgents));
        const QString truncated = dir.filePath(u"truncated.plist"_s);
        const QByteArray whole = encode(dict({{"Label", str("t")}, {"Program", str("/bin/true")}}), Form::binary);
        Sandbox::writeFile(truncated, whole.left(whole.size() / 2));
        QVERIFY(!LaunchdJob::fromFile(truncated, LaunchdJob::Source::userAgents));
        const QString brokenXml = dir.filePath(u"broken.plist"_s);
        Sandbox::writeFile(brokenXml, "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Label</key><string>x");
        QVERIFY(!LaunchdJob::fromFile(brokenXml, LaunchdJob::Source::userAgents));
        QVERIFY(!LaunchdJob::fromFile(dir.path(), LaunchdJob::Source::userAgents));
    }

    void parse_handWrittenXml()
    {
        // The form a person or another tool writes, with comments, a doctype and negative numbers.
        QTemporaryDir dir;
        const QString path = dir.filePath(u"h.plist"_s);
        Sandbox::writeFile(path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                 "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                 "<plist version=\"1.0\">\n"
                                 "<dict>\n"
                                 "  <!-- a comment -->\n"
                                 "  <key>Label</key>\n"
                                 "  <string>org.example.caf&#233; &amp; more</string>\n"
                                 "  <key>StartInterval</key>\n"
                                 "  <integer>-5</integer>\n"
                                 "  <key>KeepAlive</key>\n"
                                 "  <false/>\n"
                                 "</dict>\n"
                                 "</plist>\n");
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::globalAgents);
        QVERIFY(job);
        QCOMPARE(job->label, u"org.example.café & more"_s);
        QCOMPARE(job->startInterval, std::optional<qint64>(-5));
        QCOMPARE(job->scheduleSummary(), u"Every -5 sec"_s);
    }

    void raw_holdsEveryValueKind_data() { addForms(); }
    void raw_holdsEveryValueKind()
    {
        QFETCH(Form, form);
        QTemporaryDir dir;
        const QByteArray blob("\x00\x01\xfe\xff", 4);
        const QString path = writePlist(dir.filePath(u"k.plist"_s),
                                        dict({{"Label", str("kinds")},
                                              {"Text", str("héllo")},
                                              {"Number", integer(42)},
                                              {"Negative", integer(-7)},
                                              {"Real", real(2.5)},
                                              {"Yes", boolean(true)},
                                              {"No", boolean(false)},
                                              {"When", plistcompat::newDate(86400, 0)},
                                              {"Blob", plist_new_data(blob.constData(), uint64_t(blob.size()))},
                                              {"List", array({str("a"), integer(1), array({})})},
                                              {"Nested", dict({{"Inner", dict({{"Deep", boolean(true)}})}})}}),
                                        form);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        const QVariantMap &raw = job->raw;
        QCOMPARE(raw.size(), 11);
        QCOMPARE(raw.value(u"Text"_s), QVariant(u"héllo"_s));
        QCOMPARE(raw.value(u"Number"_s), QVariant(qint64(42)));
        QCOMPARE(raw.value(u"Negative"_s), QVariant(qint64(-7)));
        QCOMPARE(raw.value(u"Real"_s), QVariant(2.5));
        QCOMPARE(raw.value(u"Yes"_s), QVariant(true));
        QCOMPARE(raw.value(u"No"_s), QVariant(false));
        QCOMPARE(raw.value(u"When"_s).toDateTime(), QDateTime(QDate(2001, 1, 2), QTime(0, 0), QTimeZone::utc()));
        QCOMPARE(raw.value(u"Blob"_s), QVariant(blob));
        const QVariantList list{QVariant(u"a"_s), QVariant(qint64(1)), QVariant(QVariantList{})};
        QCOMPARE(raw.value(u"List"_s), QVariant(list));
        QCOMPARE(raw.value(u"Nested"_s).toMap().value(u"Inner"_s).toMap().value(u"Deep"_s), QVariant(true));
    }

    void rawXml_roundTripsThroughTheParser()
    {
        QTemporaryDir dir;
        const QString path = writePlist(dir.filePath(u"k.plist"_s),
                                        dict({{"Label", str("round <&> trip")},
                                              {"Number", integer(-42)},
                                              {"Real", real(0.25)},
                                              {"Yes", boolean(true)},
                                              {"When", plistcompat::newDate(-86400, 0)},
                                              {"Blob", plist_new_data("abc", 3)},
                                              {"ProgramArguments", array({str("/bin/echo"), str("é")})},
                                              {"StartCalendarInterval", dict({{"Hour", integer(9)}})}}),
                                        Form::binary);
        const auto job = LaunchdJob::fromFile(path, LaunchdJob::Source::userAgents);
        QVERIFY(job);
        const std::optional<QString> xml = LaunchdBrowser::rawXml(job->raw);
        QVERIFY(xml);
        QVERIFY(xml->startsWith(u"<?xml"_s));
        QVERIFY(xml->contains(u"<key>Label</key>"_s));
        QVERIFY(xml->contains(u"round &lt;&amp;&gt; trip"_s));
        QVERIFY(xml->contains(u"<integer>-42</integer>"_s));
        QVERIFY(xml->contains(u"<string>é</string>"_s));
        QVERIFY(!xml->contains(QChar(0)));
        const auto again = LaunchdJob::fromData(xml->toUtf8(), path, LaunchdJob::Source::userAgents);
        QVERIFY(again);
        QCOMPARE(again->raw, job->raw);
        QCOMPARE(again->label, job->label);
        QCOMPARE(again->scheduleSummary(), u"9:00"_s);
    }

    void rawXml_valueWithoutPlistFormGivesNothing()
    {
        QVERIFY(LaunchdBrowser::rawXml({{u"Label"_s, u"x"_s}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Label"_s, u"x"_s}, {u"Null"_s, QVariant()}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Point"_s, QPoint(1, 2)}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Deep"_s, QVariantList{QVariantMap{{u"P"_s, QPoint(1, 2)}}}}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Bad date"_s, QDateTime()}}));
        QVERIFY(
            !LaunchdBrowser::rawXml({{u"Far date"_s, QDateTime(QDate(2200, 1, 1), QTime(0, 0), QTimeZone::utc())}}));
        QVERIFY(!LaunchdBrowser::rawXml({{u"Huge"_s, QVariant(qulonglong(1) << 63)}}));
    }
};

QTEST_GUILESS_MAIN(LaunchdJobTest)
#include "test_launchd_job.moc"
