#include "Sandbox.h"
#include "ScriptHarness.h"
#include "launchd/LaunchdService.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QUuid kId = QUuid::fromString(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);

ScheduledTask makeTask(const QString &command, bool loginShell, TaskSchedule schedule = TaskSchedule::daily({{7, 0}}))
{
    ScheduledTask task;
    task.id = kId;
    task.name = u"Run"_s;
    task.command = command;
    task.useLoginShell = loginShell;
    task.schedule = std::move(schedule);
    return task;
}

QProcessEnvironment cleanEnvironment(QProcessEnvironment env)
{
    // Whatever the developer's own shell set up must not leak into the script's shell.
    for (const char16_t *name : {u"ZDOTDIR", u"BASH_ENV", u"ENV", u"GREETING", u"FROM_PROFILE", u"FROM_RC"}) {
        env.remove(QString::fromUtf16(name));
    }
    return env;
}

struct ScriptRun {
    Sandbox::Result result;
    QByteArray runs;
    QDateTime before;
    QDateTime after;
};

// How the script is started: by launchd (directly, through its shebang) or through a named shell.
enum class Start { direct, bash, zsh };

ScriptRun writeAndRun(const Sandbox &sandbox, const ScheduledTask &task, Start start = Start::direct,
                      const QProcessEnvironment &environment = {})
{
    const LaunchdService service(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
    if (const auto failure = service.writeScript(task)) {
        qFatal("writeScript failed: %s", qPrintable(*failure));
    }
    const QString script = service.scriptPath(task);
    const QProcessEnvironment env = cleanEnvironment(environment.isEmpty() ? sandbox.environment() : environment);
    ScriptRun run;
    // The runs line has whole seconds.
    run.before = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), QTimeZone::utc());
    switch (start) {
    case Start::direct:
        run.result = ScriptHarness::run(env, script, {}, sandbox.root());
        break;
    case Start::bash:
        run.result = ScriptHarness::run(env, u"/bin/bash"_s, {script}, sandbox.root());
        break;
    case Start::zsh:
        run.result = ScriptHarness::run(env, u"/bin/zsh"_s, {script}, sandbox.root());
        break;
    }
    run.after = QDateTime::currentDateTimeUtc();
    run.runs = Sandbox::readFile(service.runsPath(task));
    return run;
}

// One runs line: "start TAB end TAB exit LF", UTC, whole seconds, within the run's time.
void verifyRunsLine(const QByteArray &line, const QDateTime &before, const QDateTime &after, int exitStatus)
{
    static const QRegularExpression format(
        u"^(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ)\t(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ)\t(\\d+)\n$"_s);
    const auto match = format.match(QString::fromUtf8(line));
    QVERIFY2(match.hasMatch(), line.constData());
    const QDateTime start = QDateTime::fromString(match.captured(1), Qt::ISODate);
    const QDateTime end = QDateTime::fromString(match.captured(2), Qt::ISODate);
    QVERIFY(start.isValid() && end.isValid());
    QCOMPARE(start.offsetFromUtc(), 0);
    QVERIFY(before <= start);
    QVERIFY(start <= end);
    QVERIFY(end <= after);
    QCOMPARE(match.captured(3).toInt(), exitStatus);
}

void addShellRows()
{
    QTest::addColumn<bool>("loginShell");
    QTest::newRow("zsh") << true;
    QTest::newRow("bash") << false;
}

} // namespace

// The generated wrapper script, run for real by bash and zsh.
class WrapperScriptRunTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void command_runsInWorkingFolder_data()
    {
        QTest::addColumn<bool>("loginShell");
        QTest::addColumn<QString>("folderName");
        QTest::newRow("zsh plain") << true << u"work"_s;
        QTest::newRow("bash plain") << false << u"work"_s;
        QTest::newRow("zsh awkward") << true << u"it's a \"quoted\" $HOME dir"_s;
        QTest::newRow("bash awkward") << false << u"it's a \"quoted\" $HOME dir"_s;
    }

    void command_runsInWorkingFolder()
    {
        QFETCH(bool, loginShell);
        QFETCH(QString, folderName);
        Sandbox sandbox;
        const QString folder = sandbox.root() + u'/' + folderName;
        QVERIFY(QDir().mkpath(folder));
        ScheduledTask task = makeTask(u"pwd\nls"_s, loginShell);
        task.workingDirectory = folder;
        Sandbox::writeFile(folder + u"/marker.txt"_s, "x");
        const ScriptRun run = writeAndRun(sandbox, task);
        QCOMPARE(run.result.err, QByteArray());
        QCOMPARE(run.result.exitCode, 0);
        QCOMPARE(QString::fromUtf8(run.result.out), folder + u"\nmarker.txt\n");
    }

    void missingWorkingFolder_commandStillRuns_data() { addShellRows(); }

    void missingWorkingFolder_commandStillRuns()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        ScheduledTask task = makeTask(u"echo ran"_s, loginShell);
        task.workingDirectory = sandbox.root() + u"/gone"_s;
        const ScriptRun run = writeAndRun(sandbox, task);
        QCOMPARE(run.result.out, QByteArray("ran\n"));
        QCOMPARE(run.result.exitCode, 0);
        QCOMPARE(run.runs.count('\n'), 1);
    }

    void envFile_sourcedAndExported_data() { addShellRows(); }

    void envFile_sourcedAndExported()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        const QString envFile = sandbox.root() + u"/my $env's.env"_s;
        Sandbox::writeFile(envFile, "GREETING='hello world'\nCOUNT=3\n");
        ScheduledTask task = makeTask(u"printenv GREETING\nprintenv COUNT"_s, loginShell);
        task.envFilePath = envFile;
        const ScriptRun run = writeAndRun(sandbox, task);
        QCOMPARE(run.result.err, QByteArray());
        QCOMPARE(run.result.out, QByteArray("hello world\n3\n"));
        QCOMPARE(run.result.exitCode, 0);
    }

    void multiLineCommand_runsLineForLine_lastStatusCounts_data() { addShellRows(); }

    void multiLineCommand_runsLineForLine_lastStatusCounts()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        ScriptRun run = writeAndRun(sandbox, makeTask(u"echo one\nfalse\necho two\n(exit 5)"_s, loginShell));
        QCOMPARE(run.result.out, QByteArray("one\ntwo\n"));
        QCOMPARE(run.result.exitCode, 5);
        verifyRunsLine(run.runs, run.before, run.after, 5);

        Sandbox second;
        run = writeAndRun(second, makeTask(u"false\necho ok"_s, loginShell));
        QCOMPARE(run.result.out, QByteArray("ok\n"));
        QCOMPARE(run.result.exitCode, 0);
        verifyRunsLine(run.runs, run.before, run.after, 0);
    }

    void exitStatus_passesThroughAndIsRecorded_data() { addShellRows(); }

    void exitStatus_passesThroughAndIsRecorded()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        const ScriptRun run = writeAndRun(sandbox, makeTask(u"sh -c 'exit 7'"_s, loginShell));
        QCOMPARE(run.result.exitCode, 7);
        verifyRunsLine(run.runs, run.before, run.after, 7);
    }

    void eachRun_appendsExactlyOneLine_data() { addShellRows(); }

    void eachRun_appendsExactlyOneLine()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        const ScheduledTask task = makeTask(u"echo out; echo err >&2"_s, loginShell);
        const ScriptRun first = writeAndRun(sandbox, task);
        QCOMPARE(first.result.out, QByteArray("out\n"));
        QCOMPARE(first.result.err, QByteArray("err\n"));
        verifyRunsLine(first.runs, first.before, first.after, 0);
        const ScriptRun second = writeAndRun(sandbox, task);
        QVERIFY(second.runs.startsWith(first.runs));
        verifyRunsLine(second.runs.mid(first.runs.size()), second.before, second.after, 0);
    }

    void killedShell_writesNoLine_data() { addShellRows(); }

    void killedShell_writesNoLine()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        const ScriptRun run = writeAndRun(sandbox, makeTask(u"kill -9 $$"_s, loginShell));
        QCOMPARE(run.result.exitCode, -1);
        QCOMPARE(run.runs, QByteArray());
    }

    void shebang_picksTheShell_data() { addShellRows(); }

    void shebang_picksTheShell()
    {
        QFETCH(bool, loginShell);
        Sandbox sandbox;
        const ScriptRun run =
            writeAndRun(sandbox, makeTask(u"echo \"zsh=${ZSH_VERSION:+yes} bash=${BASH_VERSION:+yes}\""_s, loginShell));
        QCOMPARE(run.result.out, loginShell ? QByteArray("zsh=yes bash=\n") : QByteArray("zsh= bash=yes\n"));
    }

    void loginShell_loadsSandboxProfile_data()
    {
        QTest::addColumn<int>("start");
        QTest::newRow("direct") << int(Start::direct);
        QTest::newRow("zsh script") << int(Start::zsh);
    }

    void loginShell_loadsSandboxProfile()
    {
        QFETCH(int, start);
        Sandbox sandbox;
        Sandbox::writeFile(sandbox.home() + u"/.zprofile"_s, "export FROM_PROFILE=profile\n");
        Sandbox::writeFile(sandbox.home() + u"/.zshrc"_s, "export FROM_RC=\"rc after $FROM_PROFILE\"\n");
        const ScriptRun run =
            writeAndRun(sandbox, makeTask(u"echo \"[$FROM_PROFILE][$FROM_RC]\""_s, true), Start(start));
        QCOMPARE(run.result.err, QByteArray());
        QCOMPARE(run.result.out, QByteArray("[profile][rc after profile]\n"));
    }

    void loginShell_missingProfile_isSilent()
    {
        Sandbox sandbox;
        const ScriptRun run = writeAndRun(sandbox, makeTask(u"echo fine"_s, true));
        QCOMPARE(run.result.err, QByteArray());
        QCOMPARE(run.result.out, QByteArray("fine\n"));
    }

    void noLoginShell_ignoresProfile_data()
    {
        QTest::addColumn<int>("start");
        QTest::newRow("direct") << int(Start::direct);
        QTest::newRow("bash script") << int(Start::bash);
    }

    void noLoginShell_ignoresProfile()
    {
        QFETCH(int, start);
        Sandbox sandbox;
        Sandbox::writeFile(sandbox.home() + u"/.zprofile"_s, "export FROM_PROFILE=profile\n");
        Sandbox::writeFile(sandbox.home() + u"/.zshrc"_s, "export FROM_RC=rc\n");
        const ScriptRun run =
            writeAndRun(sandbox, makeTask(u"echo \"[$FROM_PROFILE][$FROM_RC]\""_s, false), Start(start));
        QCOMPARE(run.result.out, QByteArray("[][]\n"));
    }

    void nthWeekdayGuard_letsOnlyItsWeekThrough_data()
    {
        QTest::addColumn<bool>("loginShell");
        QTest::addColumn<int>("nth");
        QTest::addColumn<QString>("day");
        QTest::addColumn<bool>("runs");
        for (const bool login : {true, false}) {
            const char *shell = login ? "zsh" : "bash";
            const struct {
                int nth;
                const char *day;
                bool runs;
            } rows[] = {{1, "01", true},  {1, "07", true}, {1, "08", false}, {2, "07", false}, {2, "08", true},
                        {2, "09", true},  {2, "14", true}, {2, "15", false}, {3, "15", true},  {3, "21", true},
                        {3, "22", false}, {4, "22", true}, {4, "28", true},  {4, "29", false}, {4, "31", false},
                        {5, "29", true},  {5, "31", true}, {5, "28", false}};
            for (const auto &row : rows) {
                QTest::addRow("%s nth %d day %s", shell, row.nth, row.day)
                    << login << row.nth << QString::fromLatin1(row.day) << row.runs;
            }
        }
    }

    void nthWeekdayGuard_letsOnlyItsWeekThrough()
    {
        QFETCH(bool, loginShell);
        QFETCH(int, nth);
        QFETCH(QString, day);
        QFETCH(bool, runs);
        Sandbox sandbox;
        const ScriptHarness::FixedDate date(sandbox, day, u"02"_s);
        const ScriptRun run = writeAndRun(
            sandbox, makeTask(u"echo passed"_s, loginShell, TaskSchedule::monthlyNthWeekday(nth, 3, {{9, 0}})),
            Start::direct, date.environment(sandbox));
        QCOMPARE(date.questions(), QStringList{u"+%d"_s});
        QCOMPARE(run.result.err, QByteArray());
        QCOMPARE(run.result.exitCode, 0);
        if (runs) {
            QCOMPARE(run.result.out, QByteArray("passed\n"));
            verifyRunsLine(run.runs, run.before, run.after, 0);
        } else {
            QCOMPARE(run.result.out, QByteArray());
            QCOMPARE(run.runs, QByteArray());
        }
    }

    void lastDayGuard_runsOnlyWhenTomorrowIsTheFirst_data()
    {
        QTest::addColumn<bool>("loginShell");
        QTest::addColumn<QString>("tomorrow");
        QTest::addColumn<bool>("runs");
        for (const bool login : {true, false}) {
            const char *shell = login ? "zsh" : "bash";
            QTest::addRow("%s tomorrow 01", shell) << login << u"01"_s << true;
            QTest::addRow("%s tomorrow 29", shell) << login << u"29"_s << false;
            QTest::addRow("%s tomorrow 31", shell) << login << u"31"_s << false;
            QTest::addRow("%s tomorrow 1", shell) << login << u"1"_s << false;
        }
    }

    void lastDayGuard_runsOnlyWhenTomorrowIsTheFirst()
    {
        QFETCH(bool, loginShell);
        QFETCH(QString, tomorrow);
        QFETCH(bool, runs);
        Sandbox sandbox;
        const ScriptHarness::FixedDate date(sandbox, u"15"_s, tomorrow);
        const ScriptRun run =
            writeAndRun(sandbox, makeTask(u"echo passed"_s, loginShell, TaskSchedule::monthlyLastDay({{23, 0}})),
                        Start::direct, date.environment(sandbox));
        QCOMPARE(date.questions(), QStringList{u"-v+1d +%d"_s});
        QCOMPARE(run.result.exitCode, 0);
        QCOMPARE(run.result.out, runs ? QByteArray("passed\n") : QByteArray());
        if (runs) {
            verifyRunsLine(run.runs, run.before, run.after, 0);
        } else {
            QCOMPARE(run.runs, QByteArray());
        }
    }
};

QTEST_GUILESS_MAIN(WrapperScriptRunTest)
#include "test_wrapper_script_run.moc"
