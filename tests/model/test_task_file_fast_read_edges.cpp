#include "RandomTasks.h"
#include "model/TaskFileFastRead.h"
#include "model/TaskMigration.h"

#include <QJsonDocument>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kId = "0A1B2C3D-0000-4000-8000-00000000000F";

// One task's file with `name` and `id` spliced in between their quotes.
QByteArray file(const QByteArray &name, const QByteArray &id = kId)
{
    return R"({"version": 2, "tasks": [{"id": ")" + id + R"(", "name": ")" + name +
           R"(", "command": "c", "useLoginShell": true, "isEnabled": false, "logs": [],)"
           R"( "schedule": {"runAtLoad": {}}}]})";
}

// A piece of a string as the file spells it, and what it reads as.
struct Piece {
    QByteArray spelled;
    QString read;
};

// Whitespace of any kind and length around the punctuation and strings of `compact` (JSON without
// any).
QByteArray withWhitespace(const QByteArray &compact, QRandomGenerator &random)
{
    static const QByteArray kinds = " \t\r\n";
    const auto run = [&] {
        QByteArray run;
        for (int n = random.bounded(0, 20); n > 0; --n) {
            // Spaces mostly, as indentation is.
            run += random.bounded(3) ? ' ' : kinds.at(random.bounded(int(kinds.size())));
        }
        return run;
    };
    QByteArray out = run();
    bool inString = false;
    for (qsizetype i = 0; i < compact.size(); ++i) {
        const char c = compact.at(i);
        out += c;
        if (inString) {
            if (c == '\\') {
                out += compact.at(++i);
            } else if (c == '"') {
                inString = false;
                out += run();
            }
            continue;
        }
        if (c == '"') {
            inString = true;
        } else if (QByteArrayView("{}[],:").contains(c)) {
            out += run();
        }
    }
    return out;
}

} // namespace

// Edges of the quick reader's byte scanning, each against the full reader: which bytes end a run,
// where in a run of eight an escape, a non-ASCII character or the closing quote falls, whitespace
// of every length, and ids spelled every way.
class TaskFileFastReadEdgesTest : public QObject
{
    Q_OBJECT

    // The quick reader's tasks, when it reads, are the full reader's.
    static std::optional<QList<ScheduledTask>> readBoth(const QByteArray &bytes, bool *agree)
    {
        const auto quick = TaskFileFastRead::read(bytes);
        const TaskMigration::ReadResult full = TaskMigration::readDocument(bytes);
        *agree = !quick || (full.ok() && full.version == TaskMigration::kCurrentVersion && full.tasks == *quick);
        return quick;
    }

private Q_SLOTS:
    // Each byte at each place of a name (three words of eight and the tail): printable ASCII but
    // the quote and backslash is read as it is, anything else the quick reader declines.
    void anyByteAnywhereInAName()
    {
        // No letter that makes an escape after a backslash.
        const QByteArray around = "xyzXYZ0123456789xyzXYZ";
        for (qsizetype at = 0; at <= around.size(); ++at) {
            for (int c = 0; c < 256; ++c) {
                const QByteArray name = around.left(at) + char(c) + around.mid(at);
                bool agree = false;
                const auto quick = readBoth(file(name), &agree);
                const QByteArray where = QByteArray::number(at) + ' ' + QByteArray::number(c);
                QVERIFY2(agree, where.constData());
                const bool plain = c >= 0x20 && c < 0x80 && c != '"' && c != '\\';
                QVERIFY2(quick.has_value() == plain, where.constData());
                if (quick) {
                    QCOMPARE(quick->constFirst().name, QString::fromLatin1(name));
                }
            }
        }
    }

    // Names of escapes, non-ASCII characters and plain runs in any order and length (past the 256
    // bytes kept on the stack too): read, and read as written, unless a U+FEFF begins them.
    void escapesAndNonAsciiAnywhere()
    {
        const QList<Piece> pieces{
            {"\\n", u"\n"_s},
            {"\\\"", u"\""_s},
            {"\\\\", u"\\"_s},
            {"\\/", u"/"_s},
            {"\\b\\f\\r\\t", u"\b\f\r\t"_s},
            {"\\u00e9", u"é"_s},
            {"\\u6F22", u"漢"_s},
            {"\\ud83d\\ude42", u"🙂"_s},
            {"\\u0000", QString(QChar(0))},
            {"\\u001f", u"\x1f"_s},
            {"\\ufeff", u"\uFEFF"_s},
            {"\xEF\xBB\xBF", u"\uFEFF"_s},
            {"é", u"é"_s},
            {"漢", u"漢"_s},
            {"🙂", u"🙂"_s},
            {"\x7F", u"\x7F"_s},
            {"x", u"x"_s},
            {"Quatre mots et puis", u"Quatre mots et puis"_s},
        };
        QRandomGenerator random(20261126);
        int read = 0;
        for (int round = 0; round < 4000; ++round) {
            QByteArray name;
            QString expected;
            for (int n = random.bounded(0, round % 10 == 0 ? 60 : 12); n > 0; --n) {
                const Piece &piece = pieces.at(random.bounded(int(pieces.size())));
                name += piece.spelled;
                expected += piece.read;
            }
            bool agree = false;
            const auto quick = readBoth(file(name), &agree);
            QVERIFY2(agree, name.constData());
            QVERIFY2(quick.has_value() == !expected.startsWith(QChar(0xFEFF)), name.constData());
            if (quick) {
                QCOMPARE(quick->constFirst().name, expected);
                ++read;
            }
        }
        QVERIFY(read > 3000);
    }

    // UTF-8 that is not valid, or a U+FFFD, next to escapes and alone: the full reader decides.
    void notValidUtf8_declined_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("a lead byte before an escape") << QByteArray("ab\xC3\\n");
        QTest::newRow("a lead byte after an escape") << QByteArray("\\nab\xC3");
        QTest::newRow("a lead byte before an escaped character") << QByteArray("\xC3\\u00a9");
        QTest::newRow("a cut sequence before an escape") << QByteArray("\xE6\xBC\\t");
        QTest::newRow("a continuation byte after an escape") << QByteArray("\\t\xA9");
        QTest::newRow("a continuation byte in a long run") << QByteArray("abcdefghijklmnop\xA9qrstuvw");
        QTest::newRow("overlong") << QByteArray("abc\xC0\xAF");
        QTest::newRow("a surrogate in UTF-8") << QByteArray("\xED\xA0\x80xyz");
        QTest::newRow("past U+10FFFF") << QByteArray("\xF4\x90\x80\x80");
        QTest::newRow("a replacement character") << QByteArray("ab\xEF\xBF\xBD");
        QTest::newRow("an escaped replacement character") << QByteArray("ab\\ufffd");
        QTest::newRow("a lone low surrogate") << QByteArray("ab\\ude42cd");
        QTest::newRow("a high surrogate then text") << QByteArray("\\ud83dxyzxyzxyz");
        QTest::newRow("a short escape at the end") << QByteArray("abcdefgh\\u12");
        QTest::newRow("a control character after an escape") << QByteArray("\\n\x01");
        QTest::newRow("a backslash before a control character") << QByteArray("abc\\\x01");
    }

    void notValidUtf8_declined()
    {
        QFETCH(QByteArray, name);
        const QByteArray bytes = file(name);
        QVERIFY(!TaskFileFastRead::read(bytes));
        const TaskMigration::ReadResult read = TaskMigration::read(bytes);
        const TaskMigration::ReadResult full = TaskMigration::readDocument(bytes);
        QCOMPARE(read.tasks, full.tasks);
        QCOMPARE(read.error.has_value(), full.error.has_value());
        if (read.error) {
            QCOMPARE(read.error->description, full.error->description);
        }
    }

    // Each byte at each place of an id: read only when the id stays canonical, and then as QUuid
    // reads it.
    void anyByteAnywhereInAnId()
    {
        for (qsizetype at = 0; at < kId.size(); ++at) {
            const bool hyphenPlace = at == 8 || at == 13 || at == 18 || at == 23;
            for (int c = 0; c < 256; ++c) {
                QByteArray id = kId;
                id[at] = char(c);
                bool agree = false;
                const auto quick = readBoth(file("n", id), &agree);
                const QByteArray where = QByteArray::number(at) + ' ' + QByteArray::number(c);
                QVERIFY2(agree, where.constData());
                const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
                QVERIFY2(quick.has_value() == (hyphenPlace ? c == '-' : hex), where.constData());
                if (quick) {
                    QCOMPARE(quick->constFirst().id, QUuid::fromString(QLatin1StringView(id)));
                }
            }
        }
    }

    void idsSpelledOtherwise_data()
    {
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<bool>("quickReads");
        QTest::newRow("lower case") << QByteArray("0a1b2c3d-0000-4000-8000-00000000000f") << true;
        QTest::newRow("mixed case") << QByteArray("0a1B2c3D-0000-4000-8000-00000000000F") << true;
        QTest::newRow("an escaped digit") << QByteArray("\\u0030A1B2C3D-0000-4000-8000-00000000000F") << true;
        QTest::newRow("an escaped hyphen") << QByteArray("0A1B2C3D\\u002d0000-4000-8000-00000000000F") << true;
        QTest::newRow("a non-ASCII digit") << QByteArray("\xD9\xA0"
                                                         "A1B2C3D-0000-4000-8000-00000000000F")
                                           << false;
        QTest::newRow("too long") << QByteArray("0A1B2C3D-0000-4000-8000-00000000000F0") << false;
        QTest::newRow("braces") << QByteArray("{0A1B2C3D-0000-4000-8000-00000000000F}") << false;
        QTest::newRow("empty") << QByteArray() << false;
    }

    void idsSpelledOtherwise()
    {
        QFETCH(QByteArray, id);
        QFETCH(bool, quickReads);
        bool agree = false;
        const auto quick = readBoth(file("n", id), &agree);
        QVERIFY(agree);
        QCOMPARE(quick.has_value(), quickReads);
        if (quick) {
            QCOMPARE(quick->constFirst().id, QUuid::fromString(QLatin1StringView(kId)));
        }
    }

    // Whitespace of every kind and length between every two tokens, and before and after the
    // whole.
    void whitespaceOfAnyLength()
    {
        QRandomGenerator random(20261127);
        const QList<ScheduledTask> tasks = RandomTasks::tasks(random, 40, 2);
        const QByteArray compact = QJsonDocument::fromJson(TaskMigration::encode(tasks)).toJson(QJsonDocument::Compact);
        for (int round = 0; round < 200; ++round) {
            const QByteArray bytes = withWhitespace(compact, random);
            bool agree = false;
            const auto quick = readBoth(bytes, &agree);
            QVERIFY(agree);
            QVERIFY(quick);
            QCOMPARE(*quick, tasks);
        }
    }

    // Lists longer than the room kept for them on the stack.
    void longLists()
    {
        QByteArray times;
        for (int i = 0; i < 30; ++i) {
            times += (i ? ", " : "") + QByteArray(R"({"hour": )") + QByteArray::number(i % 24) + R"(, "minute": )" +
                     QByteArray::number(i) + '}';
        }
        const QByteArray schedule =
            R"({"weekly": {"weekdays": [1, 2, 3, 4, 5, 6, 7, 1, 2, 3, 4, 5], "times": [)" + times + "]}}";
        QByteArray bytes = file("n");
        bytes.replace(R"({"runAtLoad": {}})", schedule);
        bool agree = false;
        const auto quick = readBoth(bytes, &agree);
        QVERIFY(agree);
        QVERIFY(quick);
        const auto *weekly = quick->constFirst().schedule.as<Schedule::Weekly>();
        QVERIFY(weekly);
        QCOMPARE(weekly->weekdays.size(), 12);
        QCOMPARE(weekly->times.size(), 30);
        QCOMPARE(weekly->times.last(), (TimeOfDay{5, 29}));
    }

    // A file cut anywhere, the quick reader's runs meeting the end within a word or its tail.
    void cutAnywhere()
    {
        const QByteArray whole = file("Quatre mots \\n et puis é");
        for (qsizetype size = 0; size < whole.size(); ++size) {
            // A copy of its own, so nothing past the cut is there to be read.
            const QByteArray bytes(whole.constData(), size);
            bool agree = false;
            QVERIFY(!readBoth(bytes, &agree));
            QVERIFY(agree);
        }
        bool agree = false;
        QVERIFY(readBoth(whole, &agree));
        QVERIFY(agree);
    }
};

QTEST_GUILESS_MAIN(TaskFileFastReadEdgesTest)
#include "test_task_file_fast_read_edges.moc"
