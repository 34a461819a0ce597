#include "Sandbox.h"
#include "launchd/LaunchdService.h"

#include <QFileInfo>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QUuid kId = QUuid::fromString(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);

ScheduledTask makeTask(TaskSchedule schedule, const QString &command = u"make backup"_s)
{
    ScheduledTask task;
    task.id = kId;
    task.name = u"Backup"_s;
    task.command = command;
    task.schedule = std::move(schedule);
    return task;
}

const LaunchdService kService(u"/LA"_s, u"/S"_s, u"/L"_s);

const QByteArray kRunsTail = "_mx_start=$(date -u +%Y-%m-%dT%H:%M:%SZ)\n";
const QByteArray kEcho = "echo \"$_mx_start\t$(date -u +%Y-%m-%dT%H:%M:%SZ)\t$_mx_exit\" >> '/L/0a1b2c3d.runs'\n";

} // namespace

// The wrapper script's exact text: launchd runs it, the store compares its header, and the
// history reader parses the line it appends.
class WrapperScriptTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void example_secondWeekdayLoginShellEnvAndQuotedFolder_isExact()
    {
        ScheduledTask task = makeTask(TaskSchedule::monthlyNthWeekday(2, 3, {{9, 0}}));
        task.useLoginShell = true;
        task.envFilePath = u"/Users/a/.env"_s;
        task.workingDirectory = u"/Users/a/it's here"_s;
        const QByteArray expected = "#!/bin/zsh\n"
                                    "# Moxley script v3\n"
                                    "source ~/.zprofile 2>/dev/null\n"
                                    "source ~/.zshrc 2>/dev/null\n"
                                    "\n"
                                    "# Guard: only run on the 2nd occurrence this month\n"
                                    "_day=$(date +%d)\n"
                                    "[ \"$_day\" -lt 8 ] || [ \"$_day\" -gt 14 ] && exit 0\n"
                                    "set -a\n"
                                    "source '/Users/a/.env'\n"
                                    "set +a\n"
                                    "cd '/Users/a/it'\\''s here'\n"
                                    "_mx_start=$(date -u +%Y-%m-%dT%H:%M:%SZ)\n"
                                    "make backup\n"
                                    "_mx_exit=$?\n"
                                    "echo \"$_mx_start\t$(date -u +%Y-%m-%dT%H:%M:%SZ)\t$_mx_exit\" >> "
                                    "'/L/0a1b2c3d.runs'\n"
                                    "exit $_mx_exit\n";
        QCOMPARE(kService.scriptText(task).toUtf8(), expected);
    }

    void header_isVersion3()
    {
        QCOMPARE(LaunchdService::kScriptVersion, 3);
        QCOMPARE(LaunchdService::scriptHeader(), u"# Moxley script v3"_s);
    }

    void tabs_areRealTabCharacters()
    {
        const QString text = kService.scriptText(makeTask(TaskSchedule::daily({{7, 0}})));
        const QString echoLine = text.split(u'\n').at(text.split(u'\n').size() - 3);
        QVERIFY(echoLine.startsWith(u"echo "));
        QCOMPARE(echoLine.count(u'\t'), 2);
        QVERIFY(!echoLine.contains(u"\\t"));
    }

    void noLoginShell_bashWithoutProfileLines()
    {
        ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        task.useLoginShell = false;
        const QByteArray expected = "#!/bin/bash\n"
                                    "# Moxley script v3\n" +
                                    kRunsTail + "make backup\n_mx_exit=$?\n" + kEcho + "exit $_mx_exit\n";
        QCOMPARE(kService.scriptText(task).toUtf8(), expected);
    }

    void nonMonthlySchedules_noGuardNoBlankLine_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::newRow("interval") << TaskSchedule::interval(15);
        QTest::newRow("daily") << TaskSchedule::daily({{7, 0}});
        QTest::newRow("weekly") << TaskSchedule::weekly({2, 6}, {{8, 0}});
        QTest::newRow("monthly") << TaskSchedule::monthly(15, {{8, 0}});
        QTest::newRow("runAtLoad") << TaskSchedule::runAtLoad();
    }

    void nonMonthlySchedules_noGuardNoBlankLine()
    {
        QFETCH(TaskSchedule, schedule);
        ScheduledTask task = makeTask(schedule);
        task.workingDirectory = u"/w"_s;
        const QByteArray expected = "#!/bin/zsh\n"
                                    "# Moxley script v3\n"
                                    "source ~/.zprofile 2>/dev/null\n"
                                    "source ~/.zshrc 2>/dev/null\n"
                                    "cd '/w'\n" +
                                    kRunsTail + "make backup\n_mx_exit=$?\n" + kEcho + "exit $_mx_exit\n";
        QCOMPARE(kService.scriptText(task).toUtf8(), expected);
    }

    void lastDay_guardAsksForTomorrow()
    {
        ScheduledTask task = makeTask(TaskSchedule::monthlyLastDay({{23, 0}}));
        task.useLoginShell = false;
        const QByteArray expected = "#!/bin/bash\n"
                                    "# Moxley script v3\n"
                                    "\n"
                                    "# Guard: only run on the last day of the month\n"
                                    "[ \"$(date -v+1d +%d)\" != \"01\" ] && exit 0\n" +
                                    kRunsTail + "make backup\n_mx_exit=$?\n" + kEcho + "exit $_mx_exit\n";
        QCOMPARE(kService.scriptText(task).toUtf8(), expected);
    }

    void nthWeekday_ordinalAndBounds_data()
    {
        QTest::addColumn<int>("nth");
        QTest::addColumn<QString>("comment");
        QTest::addColumn<QString>("guard");
        QTest::newRow("1") << 1 << u"# Guard: only run on the 1st occurrence this month"_s
                           << u"[ \"$_day\" -lt 1 ] || [ \"$_day\" -gt 7 ] && exit 0"_s;
        QTest::newRow("2") << 2 << u"# Guard: only run on the 2nd occurrence this month"_s
                           << u"[ \"$_day\" -lt 8 ] || [ \"$_day\" -gt 14 ] && exit 0"_s;
        QTest::newRow("3") << 3 << u"# Guard: only run on the 3rd occurrence this month"_s
                           << u"[ \"$_day\" -lt 15 ] || [ \"$_day\" -gt 21 ] && exit 0"_s;
        QTest::newRow("4") << 4 << u"# Guard: only run on the 4th occurrence this month"_s
                           << u"[ \"$_day\" -lt 22 ] || [ \"$_day\" -gt 28 ] && exit 0"_s;
        QTest::newRow("5") << 5 << u"# Guard: only run on the 5th occurrence this month"_s
                           << u"[ \"$_day\" -lt 29 ] || [ \"$_day\" -gt 35 ] && exit 0"_s;
        QTest::newRow("11") << 11 << u"# Guard: only run on the 11th occurrence this month"_s
                            << u"[ \"$_day\" -lt 71 ] || [ \"$_day\" -gt 77 ] && exit 0"_s;
    }

    void nthWeekday_ordinalAndBounds()
    {
        QFETCH(int, nth);
        QFETCH(QString, comment);
        QFETCH(QString, guard);
        ScheduledTask task = makeTask(TaskSchedule::monthlyNthWeekday(nth, 2, {{9, 0}}));
        task.useLoginShell = false;
        const QStringList lines = kService.scriptText(task).split(u'\n');
        const QStringList expected{u"#!/bin/bash"_s,
                                   u"# Moxley script v3"_s,
                                   QString(),
                                   comment,
                                   u"_day=$(date +%d)"_s,
                                   guard,
                                   u"_mx_start=$(date -u +%Y-%m-%dT%H:%M:%SZ)"_s};
        QCOMPARE(lines.mid(0, expected.size()), expected);
    }

    void emptyEnvFileAndFolder_noLines()
    {
        ScheduledTask task = makeTask(TaskSchedule::interval(5));
        task.useLoginShell = false;
        task.envFilePath = QString();
        task.workingDirectory = QString();
        const QByteArray expected = "#!/bin/bash\n"
                                    "# Moxley script v3\n" +
                                    kRunsTail + "make backup\n_mx_exit=$?\n" + kEcho + "exit $_mx_exit\n";
        QCOMPARE(kService.scriptText(task).toUtf8(), expected);
    }

    void envFileWithoutFolder_setAroundSource()
    {
        ScheduledTask task = makeTask(TaskSchedule::interval(5));
        task.useLoginShell = false;
        task.envFilePath = u"/e/.env"_s;
        const QStringList lines = kService.scriptText(task).split(u'\n');
        QCOMPARE(lines.mid(2, 4), (QStringList{u"set -a"_s, u"source '/e/.env'"_s, u"set +a"_s,
                                               u"_mx_start=$(date -u +%Y-%m-%dT%H:%M:%SZ)"_s}));
    }

    void pathsWithShellCharacters_onlySingleQuoteEscaped()
    {
        ScheduledTask task = makeTask(TaskSchedule::interval(5));
        task.useLoginShell = false;
        task.workingDirectory = u"/a \"b\" $HOME \\n 'c'"_s;
        task.envFilePath = u"/x/it's.env"_s;
        const QStringList lines = kService.scriptText(task).split(u'\n');
        QVERIFY(lines.contains(u"cd '/a \"b\" $HOME \\n '\\''c'\\'''"_s));
        QVERIFY(lines.contains(u"source '/x/it'\\''s.env'"_s));
    }

    void runsPathWithSingleQuote_isQuoted()
    {
        const LaunchdService service(u"/LA"_s, u"/S"_s, u"/Users/o'neil/Logs"_s);
        const QString text = service.scriptText(makeTask(TaskSchedule::interval(5)));
        QVERIFY(text.contains(u"$_mx_exit\" >> '/Users/o'\\''neil/Logs/0a1b2c3d.runs'\nexit $_mx_exit\n"));
    }

    void multiLineCommand_embeddedVerbatim()
    {
        ScheduledTask task = makeTask(TaskSchedule::interval(5), u"echo 'a  b'\n  cd /tmp && ls\t-l\nfalse"_s);
        task.useLoginShell = false;
        const QByteArray expected = "#!/bin/bash\n"
                                    "# Moxley script v3\n" +
                                    kRunsTail + "echo 'a  b'\n  cd /tmp && ls\t-l\nfalse\n_mx_exit=$?\n" + kEcho +
                                    "exit $_mx_exit\n";
        QCOMPARE(kService.scriptText(task).toUtf8(), expected);
    }

    void writeScript_createsFoldersAndMode700()
    {
        Sandbox sandbox;
        const QString scripts = sandbox.root() + u"/deep/er/Scripts"_s;
        const QString logs = sandbox.root() + u"/deep/Logs"_s;
        const LaunchdService service(sandbox.launchAgentsDir(), scripts, logs);
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        QCOMPARE(service.writeScript(task), std::nullopt);
        QVERIFY(QFileInfo(logs).isDir());
        const QString path = scripts + u"/Moxley_0a1b2c3d.sh"_s;
        QCOMPARE(service.scriptPath(task), path);
        QCOMPARE(Sandbox::readFile(path), service.scriptText(task).toUtf8());
        const auto permissions =
            QFileInfo(path).permissions() &
            (QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::WriteGroup |
             QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther);
        QCOMPARE(permissions, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // Nothing is left behind from the atomic write.
        QCOMPARE(QDir(scripts).entryList(QDir::Files | QDir::Hidden), QStringList{u"Moxley_0a1b2c3d.sh"_s});
    }

    void writeScript_replacesOlderFileAndItsMode()
    {
        Sandbox sandbox;
        const LaunchdService service(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
        const ScheduledTask task = makeTask(TaskSchedule::daily({{7, 0}}));
        Sandbox::writeFile(service.scriptPath(task), "#!/bin/zsh\n# Moxley script v2\necho old\n", 0644);
        QCOMPARE(service.writeScript(task), std::nullopt);
        QCOMPARE(Sandbox::readFile(service.scriptPath(task)), service.scriptText(task).toUtf8());
        QVERIFY(QFileInfo(service.scriptPath(task)).permissions().testFlag(QFile::ExeOwner));
        QVERIFY(!QFileInfo(service.scriptPath(task)).permissions().testFlag(QFile::ReadOther));
    }

    void writeScript_fileInPlaceOfFolder_failsWithSystemText()
    {
        Sandbox sandbox;
        Sandbox::writeFile(sandbox.dataDir(), "not a folder");
        const LaunchdService service(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
        const auto failure = service.writeScript(makeTask(TaskSchedule::daily({{7, 0}})));
        QVERIFY(failure);
        QVERIFY2(failure->contains(sandbox.scriptsDir()), qPrintable(*failure));
        QVERIFY2(failure->contains(u"Not a directory"_s) || failure->contains(u"File exists"_s), qPrintable(*failure));
    }

    void writeScript_logFolderBlocked_fails()
    {
        Sandbox sandbox;
        Sandbox::writeFile(sandbox.logDir(), "not a folder");
        const LaunchdService service(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
        const auto failure = service.writeScript(makeTask(TaskSchedule::daily({{7, 0}})));
        QVERIFY(failure);
        QVERIFY2(failure->contains(sandbox.logDir()), qPrintable(*failure));
        QVERIFY(!QFile::exists(sandbox.scriptsDir() + u"/Moxley_0a1b2c3d.sh"_s));
    }
};

QTEST_GUILESS_MAIN(WrapperScriptTest)
#include "test_wrapper_script.moc"
