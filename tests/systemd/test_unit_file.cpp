#include "systemd/UnitFile.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestUnitFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void continuedLines_joinedWithABlank();
    void continuationAtTheEnd_keptOnce();
    void continuationThenComment_keptOnce();
    void emptyAssignment_clearsTheListBeforeIt();
};

void TestUnitFile::continuedLines_joinedWithABlank()
{
    const UnitFile file = UnitFile::parse("[Service]\nExecStart=/bin/echo a \\\n  b \\\n  c\nType=oneshot\n");
    QCOMPARE(file.value(u"Service"_s, u"ExecStart"_s), u"/bin/echo a  b  c"_s);
    QCOMPARE(file.value(u"Service"_s, u"Type"_s), u"oneshot"_s);
    QVERIFY(file.problems.isEmpty());
}

// A file that ends on a backslash, with or without a last line feed: the line counts once.
void TestUnitFile::continuationAtTheEnd_keptOnce()
{
    for (const QByteArray &text :
         {QByteArray("[Service]\nExecStart=/bin/foo \\"), QByteArray("[Service]\nExecStart=/bin/foo \\\n")}) {
        const UnitFile file = UnitFile::parse(text);
        QCOMPARE(file.entries.size(), 1);
        QCOMPARE(file.value(u"Service"_s, u"ExecStart"_s), u"/bin/foo"_s);
    }
}

// Comments inside a continued line are skipped, even as the file's last line.
void TestUnitFile::continuationThenComment_keptOnce()
{
    const UnitFile file = UnitFile::parse("[Timer]\nOnCalendar=daily \\\n# a note");
    QCOMPARE(file.entries.size(), 1);
    QCOMPARE(file.value(u"Timer"_s, u"OnCalendar"_s), u"daily"_s);
}

void TestUnitFile::emptyAssignment_clearsTheListBeforeIt()
{
    const UnitFile file = UnitFile::parse("[Timer]\nOnCalendar=a\nOnCalendar=\nOnCalendar=b\nOnCalendar=c\n");
    QCOMPARE(file.values(u"Timer"_s, u"OnCalendar"_s), (QStringList{u"b"_s, u"c"_s}));
}

QTEST_GUILESS_MAIN(TestUnitFile)
#include "test_unit_file.moc"
