#include "Sandbox.h"
#include "systemd/CronTable.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class TestCronTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void systemTable_readsUserFieldAndCommand();
    void userTable_hasNoUserField();
    void commentsBlanksAndVariables_scheduleNothing();
    void atReboot_isAtLoadWithoutTimes();
    void specialWord_firesAtItsTime();
    void brokenLines_areKeptWithTheirProblem_andHideNothing();
    void scan_readsEtcCrontabThenCronDByName();
    void scan_skipsNamesCronIgnores();
    void scan_skipsFifoAndDeviceLink();
    void scan_readsThisMachinesCronD();
    void missingOrFailingCrontabProgram_isNoTable();
    void label_namesFileAndLine();
};

void TestCronTable::systemTable_readsUserFieldAndCommand()
{
    const QList<CronEntry> entries = CronTable::parse(
        "30 3 * * 0 root test -e /run/systemd/system || /sbin/e2scrub_all_cron\n", u"/etc/cron.d/x"_s, true);
    QCOMPARE(entries.size(), 1);
    const CronEntry &entry = entries.first();
    QCOMPARE(entry.schedule, u"30 3 * * 0"_s);
    QCOMPARE(entry.user, u"root"_s);
    QCOMPARE(entry.command, u"test -e /run/systemd/system || /sbin/e2scrub_all_cron"_s);
    QCOMPARE(entry.line, 1);
    QCOMPARE(entry.id, u"/etc/cron.d/x:1"_s);
    QVERIFY(entry.problem.isEmpty());
    QCOMPARE(entry.minutesOn(QDate(2026, 11, 29)), QList<int>{210});
    QVERIFY(entry.minutesOn(QDate(2026, 11, 24)).isEmpty());
}

void TestCronTable::userTable_hasNoUserField()
{
    const QList<CronEntry> entries = CronTable::parse("*/30 9-10 * * *  backup.sh  --fast\n", u"crontab -l"_s, false);
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.first().user, QString());
    QCOMPARE(entries.first().command, u"backup.sh  --fast"_s);
    QCOMPARE(entries.first().minutesOn(QDate(2026, 11, 24)), (QList<int>{540, 570, 600, 630}));
}

void TestCronTable::commentsBlanksAndVariables_scheduleNothing()
{
    const QByteArray text = "# m h dom mon dow user command\n"
                            "\n"
                            "SHELL=/bin/sh\n"
                            "PATH = /usr/local/sbin:/usr/bin\n"
                            "   # indented comment\n"
                            "17 * * * * root cd / && run-parts --report /etc/cron.hourly\n";
    const QList<CronEntry> entries = CronTable::parse(text, u"/etc/crontab"_s, true);
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.first().line, 6);
    QCOMPARE(entries.first().command, u"cd / && run-parts --report /etc/cron.hourly"_s);
    QCOMPARE(entries.first().minutesOn(QDate(2026, 11, 24)).size(), 24);
}

void TestCronTable::atReboot_isAtLoadWithoutTimes()
{
    const QList<CronEntry> entries = CronTable::parse("@reboot sleep 60 && mount -a\n", u"crontab -l"_s, false);
    QCOMPARE(entries.size(), 1);
    QVERIFY(entries.first().atReboot);
    QCOMPARE(entries.first().schedule, u"@reboot"_s);
    QCOMPARE(entries.first().command, u"sleep 60 && mount -a"_s);
    QVERIFY(!entries.first().when);
    QVERIFY(entries.first().problem.isEmpty());
    QVERIFY(entries.first().minutesOn(QDate(2026, 11, 24)).isEmpty());
}

void TestCronTable::specialWord_firesAtItsTime()
{
    const QList<CronEntry> entries = CronTable::parse("@hourly root date\n@weekly root df\n", u"/etc/crontab"_s, true);
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries.at(0).user, u"root"_s);
    QCOMPARE(entries.at(0).minutesOn(QDate(2026, 11, 24)).size(), 24);
    QCOMPARE(entries.at(1).minutesOn(QDate(2026, 11, 29)), QList<int>{0});
    QVERIFY(entries.at(1).minutesOn(QDate(2026, 11, 24)).isEmpty());
}

void TestCronTable::brokenLines_areKeptWithTheirProblem_andHideNothing()
{
    const QByteArray text = "this is not a cron line at all\n"
                            "61 * * * * root too-late\n"
                            "0 5 * *\n"
                            "@sometimes root maybe\n"
                            "\xff\xfe 1 * * * root latin\n"
                            "0 6 * * * root fine\n";
    const QList<CronEntry> entries = CronTable::parse(text, u"/etc/cron.d/mess"_s, true);
    QCOMPARE(entries.size(), 6);
    QCOMPARE(entries.at(0).problem, u"bad minute field: this"_s);
    QCOMPARE(entries.at(1).problem, u"bad minute field: 61"_s);
    QCOMPARE(entries.at(2).problem, u"not a cron line: too few fields"_s);
    QCOMPARE(entries.at(3).problem, u"unknown schedule @sometimes"_s);
    QVERIFY(!entries.at(4).problem.isEmpty());
    for (int i = 0; i < 5; ++i) {
        QVERIFY(!entries.at(i).when);
        QVERIFY(entries.at(i).minutesOn(QDate(2026, 11, 24)).isEmpty());
    }
    QVERIFY(entries.at(5).problem.isEmpty());
    QCOMPARE(entries.at(5).command, u"fine"_s);
    QCOMPARE(entries.at(5).minutesOn(QDate(2026, 11, 24)), QList<int>{360});
}

void TestCronTable::scan_readsEtcCrontabThenCronDByName()
{
    Sandbox sandbox;
    const QString etc = sandbox.sysroot() + u"/etc"_s;
    Sandbox::writeFile(etc + u"/crontab"_s, "SHELL=/bin/sh\n25 6 * * * root run-parts /etc/cron.daily\n");
    Sandbox::writeFile(etc + u"/cron.d/zeta"_s, "0 1 * * * root z\n");
    Sandbox::writeFile(etc + u"/cron.d/alpha"_s, "0 2 * * * root a\n0 3 * * * root b\n");
    const QList<CronEntry> entries = CronTable::scan();
    QStringList seen;
    for (const CronEntry &entry : entries) {
        seen << entry.label() + u' ' + entry.command;
    }
    QCOMPARE(seen,
             (QStringList{u"crontab:2 run-parts /etc/cron.daily"_s, u"alpha:1 a"_s, u"alpha:2 b"_s, u"zeta:1 z"_s}));
    QCOMPARE(entries.first().file, etc + u"/crontab"_s);
}

// A FIFO would block the scan and a link to /dev/zero would never end; neither hides the others.
void TestCronTable::scan_skipsFifoAndDeviceLink()
{
    Sandbox sandbox;
    const QString dir = sandbox.sysroot() + u"/etc/cron.d"_s;
    Sandbox::writeFile(dir + u"/real"_s, "0 4 * * * root r\n");
    QCOMPARE(::mkfifo(QFile::encodeName(dir + u"/pipe"_s).constData(), 0644), 0);
    QVERIFY(QFile::link(u"/dev/zero"_s, dir + u"/zero"_s));
    const QList<CronEntry> entries = CronTable::scan();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.first().command, u"r"_s);
}

void TestCronTable::scan_skipsNamesCronIgnores()
{
    Sandbox sandbox;
    const QString dir = sandbox.sysroot() + u"/etc/cron.d"_s;
    Sandbox::writeFile(dir + u"/php"_s, "09,39 * * * * root php-clean\n");
    Sandbox::writeFile(dir + u"/php.dpkg-old"_s, "0 0 * * * root old\n");
    Sandbox::writeFile(dir + u"/.placeholder"_s, "# nothing\n");
    Sandbox::writeFile(dir + u"/backup~"_s, "0 0 * * * root editor-copy\n");
    const QList<CronEntry> entries = CronTable::scan();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.first().command, u"php-clean"_s);
}

void TestCronTable::scan_readsThisMachinesCronD()
{
    // This machine's own cron.d files (a kept copy when it has none), read-only, in the test's sysroot.
    Sandbox sandbox;
    const QString dir = sandbox.sysroot() + u"/etc/cron.d"_s;
    QStringList sources = QDir(u"/etc/cron.d"_s).entryList(QDir::Files);
    QString from = u"/etc/cron.d"_s;
    if (!sources.contains(u"e2scrub_all"_s)) {
        from = QStringLiteral(MOXLEY_TEST_DATA_DIR "/cron");
        sources = QDir(from).entryList(QDir::Files);
    }
    QDir().mkpath(dir);
    for (const QString &name : sources) {
        QVERIFY(QFile::copy(from + u'/' + name, dir + u'/' + name));
    }
    const QList<CronEntry> entries = CronTable::scan();
    QStringList e2scrub;
    for (const CronEntry &entry : entries) {
        QVERIFY2(entry.problem.isEmpty(), qPrintable(entry.id + u": "_s + entry.problem));
        if (entry.file.endsWith(u"/e2scrub_all")) {
            e2scrub << entry.schedule + u" | "_s + entry.user;
        }
    }
    QCOMPARE(e2scrub, (QStringList{u"30 3 * * 0 | root"_s, u"10 3 * * * | root"_s}));
}

void TestCronTable::missingOrFailingCrontabProgram_isNoTable()
{
    Sandbox sandbox;
    const QString crontab = sandbox.sysroot() + u"/etc/crontab"_s;
    Sandbox::writeFile(crontab, "0 4 * * * root only\n");
    const QString cronDir = sandbox.sysroot() + u"/etc/cron.d"_s;
    QCOMPARE(CronTable::scan(crontab, cronDir, sandbox.root() + u"/no-such-program"_s).size(), 1);
    QCOMPARE(CronTable::scan(crontab, cronDir, u"/bin/false"_s).size(), 1);
    // A program that answers on standard output is read as the user's table.
    QCOMPARE(CronTable::scan(crontab, cronDir, u"/bin/echo"_s).size(), 2);
}

void TestCronTable::label_namesFileAndLine()
{
    CronEntry entry;
    entry.file = u"/some/root/etc/cron.d/e2scrub_all"_s;
    entry.line = 2;
    QCOMPARE(entry.label(), u"e2scrub_all:2"_s);
    entry.file = u"crontab -l"_s;
    entry.line = 7;
    QCOMPARE(entry.label(), u"crontab -l:7"_s);
}

QTEST_GUILESS_MAIN(TestCronTable)
#include "test_cron_table.moc"
