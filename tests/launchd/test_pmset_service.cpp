#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/PmsetService.h"
#include "platform/AdminShell.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

TimeOfDay at(int hour, int minute)
{
    return TimeOfDay{hour, minute};
}

QDateTime local(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute));
}

ScheduledTask wakeTask(const TaskSchedule &schedule)
{
    ScheduledTask task;
    task.id = QUuid::createUuid();
    task.name = u"Wake"_s;
    task.command = u"true"_s;
    task.wakeBeforeRun = true;
    task.schedule = schedule;
    return task;
}

QString commandFor(const TaskSchedule &schedule, const QDateTime &now = local(2025, 3, 1, 10, 0))
{
    const PmsetService::Command command = PmsetService::wakeCommand(schedule, now);
    if (command.error) {
        return u"error: "_s + command.error->description();
    }
    return command.text.value_or(u"(none)"_s);
}

QString adminSource(const QString &command)
{
    return u"do shell script \""_s + command + u"\" with administrator privileges"_s;
}

// An osascript that fails the way the real one does: its message on standard error.
void writeFailingOsascript(const Sandbox &sandbox, const QByteArray &standardError, int status)
{
    Sandbox::writeFile(
        sandbox.sysroot() + u"/usr/bin/osascript"_s,
        "#!/bin/bash\nprintf '%s' '" + standardError + "' >&2\nexit " + QByteArray::number(status) + "\n", 0755);
}

} // namespace

// Wake commands must be exactly what the power-management tool expects, and reach it through the
// administrator AppleScript byte for byte.
class PmsetServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // A zone with daylight saving time, so the skipped hour can be checked.
        qputenv("TZ", "America/New_York");
    }

    void errorTexts()
    {
        QCOMPARE(PmsetError::scriptFailed(u"boom"_s).description(), u"pmset failed: boom"_s);
        QCOMPARE(PmsetError::unsupportedSchedule().description(), u"This schedule type does not support wake."_s);
    }

    void wakeTime_earliestMinusFive()
    {
        QCOMPARE(PmsetService::wakeTime({at(7, 0), at(6, 30)}), std::optional(at(6, 25)));
        QCOMPARE(PmsetService::wakeTime({at(0, 3)}), std::optional(at(23, 58)));
        QCOMPARE(PmsetService::wakeTime({at(0, 5)}), std::optional(at(0, 0)));
        QCOMPARE(PmsetService::wakeTime({at(18, 0), at(9, 0), at(9, 0)}), std::optional(at(8, 55)));
        QCOMPARE(PmsetService::wakeTime({}), std::nullopt);
    }

    void command_daily()
    {
        QCOMPARE(commandFor(TaskSchedule::daily({at(7, 0), at(6, 30)})),
                 u"pmset repeat wakeorpoweron MTWRFSU 06:25:00"_s);
        QCOMPARE(commandFor(TaskSchedule::daily({at(0, 3)})), u"pmset repeat wakeorpoweron MTWRFSU 23:58:00"_s);
        QCOMPARE(commandFor(TaskSchedule::daily({at(14, 5)})), u"pmset repeat wakeorpoweron MTWRFSU 14:00:00"_s);
    }

    void command_lastDayIsEveryDay()
    {
        QCOMPARE(commandFor(TaskSchedule::monthlyLastDay({at(23, 0)})),
                 u"pmset repeat wakeorpoweron MTWRFSU 22:55:00"_s);
    }

    void command_weeklyLettersInListOrder()
    {
        QCOMPARE(commandFor(TaskSchedule::weekly({2, 6}, {at(9, 0)})), u"pmset repeat wakeorpoweron MF 08:55:00"_s);
        QCOMPARE(commandFor(TaskSchedule::weekly({1, 7}, {at(9, 0)})), u"pmset repeat wakeorpoweron US 08:55:00"_s);
        QCOMPARE(commandFor(TaskSchedule::weekly({7, 1, 4}, {at(9, 0)})), u"pmset repeat wakeorpoweron SUW 08:55:00"_s);
        QCOMPARE(commandFor(TaskSchedule::weekly({1, 2, 3, 4, 5, 6, 7}, {at(12, 0)})),
                 u"pmset repeat wakeorpoweron UMTWRFS 11:55:00"_s);
        // The day is never moved when the wake falls before midnight.
        QCOMPARE(commandFor(TaskSchedule::weekly({2}, {at(0, 2)})), u"pmset repeat wakeorpoweron M 23:57:00"_s);
        QCOMPARE(commandFor(TaskSchedule::weekly({8}, {at(9, 0)})),
                 u"error: This schedule type does not support wake."_s);
    }

    void command_nthWeekdayWakesEveryWeek()
    {
        QCOMPARE(commandFor(TaskSchedule::monthlyNthWeekday(2, 3, {at(8, 30)})),
                 u"pmset repeat wakeorpoweron T 08:25:00"_s);
        QCOMPARE(commandFor(TaskSchedule::monthlyNthWeekday(4, 1, {at(18, 0), at(7, 0)})),
                 u"pmset repeat wakeorpoweron U 06:55:00"_s);
    }

    void command_unsupportedKinds()
    {
        const QString unsupported = u"error: This schedule type does not support wake."_s;
        QCOMPARE(commandFor(TaskSchedule::interval(30)), unsupported);
        QCOMPARE(commandFor(TaskSchedule::runAtLoad()), unsupported);
        QCOMPARE(commandFor(TaskSchedule::daily({})), unsupported);
        QCOMPARE(commandFor(TaskSchedule::monthly(14, {})), unsupported);
    }

    void command_monthlyOneTimeEvent_data()
    {
        QTest::addColumn<int>("day");
        QTest::addColumn<TimeOfDay>("time");
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, int day, TimeOfDay time, QDateTime now, const char16_t *date) {
            QTest::newRow(name) << day << time << now
                                << (u"pmset schedule wakeorpoweron \""_s + QString::fromUtf16(date) + u"\""_s);
        };
        row("later this month", 14, at(9, 0), local(2025, 3, 1, 10, 0), u"03/14/25 08:55:00");
        row("later today", 1, at(9, 0), local(2025, 3, 1, 8, 0), u"03/01/25 08:55:00");
        row("passed today", 1, at(9, 0), local(2025, 3, 1, 8, 55), u"04/01/25 08:55:00");
        row("passed this month", 5, at(6, 0), local(2025, 3, 20, 0, 0), u"04/05/25 05:55:00");
        row("next year", 5, at(6, 0), local(2025, 12, 20, 0, 0), u"01/05/26 05:55:00");
        row("skips short months", 31, at(9, 0), local(2025, 4, 5, 0, 0), u"05/31/25 08:55:00");
        row("skips february", 30, at(9, 0), local(2025, 2, 1, 0, 0), u"03/30/25 08:55:00");
        row("leap day", 29, at(9, 0), local(2028, 2, 10, 0, 0), u"02/29/28 08:55:00");
        row("no leap day", 29, at(9, 0), local(2027, 2, 10, 0, 0), u"03/29/27 08:55:00");
        row("wrap keeps the day", 14, at(0, 2), local(2025, 3, 1, 10, 0), u"03/14/25 23:57:00");
        row("skipped hour", 9, at(2, 35), local(2025, 3, 1, 0, 0), u"03/09/25 03:00:00");
    }

    void command_monthlyOneTimeEvent()
    {
        QFETCH(int, day);
        QFETCH(TimeOfDay, time);
        QFETCH(QDateTime, now);
        QFETCH(QString, expected);
        QCOMPARE(commandFor(TaskSchedule::monthly(day, {time}), now), expected);
    }

    void command_monthlyDayThatNeverComes_nothingAndNoError()
    {
        for (int day : {0, 32, -1}) {
            const PmsetService::Command command =
                PmsetService::wakeCommand(TaskSchedule::monthly(day, {at(9, 0)}), local(2025, 3, 1, 10, 0));
            QVERIFY(!command.text);
            QVERIFY(!command.error);
        }
    }

    void command_usesInjectedClock()
    {
        const PmsetService service([] { return local(2025, 6, 20, 12, 0); });
        QCOMPARE(service.wakeCommand(TaskSchedule::monthly(14, {at(9, 0)})).text,
                 std::optional(u"pmset schedule wakeorpoweron \"07/14/25 08:55:00\""_s));
    }

    void escape_backslashesFirstThenQuotes()
    {
        QCOMPARE(AdminShell::escapeForAppleScript(u"a\\b"_s), u"a\\\\b"_s);
        QCOMPARE(AdminShell::escapeForAppleScript(u"say \"hi\""_s), u"say \\\"hi\\\""_s);
        // A backslash before a quote: doubled, and the quote escaped after it.
        QCOMPARE(AdminShell::escapeForAppleScript(u"\\\""_s), u"\\\\\\\""_s);
        QCOMPARE(AdminShell::appleScriptSource(u"echo 'x'"_s),
                 u"do shell script \"echo 'x'\" with administrator privileges"_s);
    }

    void adminShell_runsOsascriptWithExactSource()
    {
        Sandbox sandbox;
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        QVERIFY(AdminShell::usesAppleScript());
        const QString command = u"printf '%s\\n' \"a\\\\b\" \"c\\\"d\""_s; // printf '%s\n' "a\\b" "c\"d"
        QCOMPARE(AdminShell::runWithAdministratorPrivileges(command), std::nullopt);
        const QList<QStringList> expected{
            {u"-e"_s,
             u"do shell script \"printf '%s\\\\n' \\\"a\\\\\\\\b\\\" \\\"c\\\\\\\"d\\\"\" with administrator privileges"_s}};
        QCOMPARE(osascript.calls(), expected);
        // The same text, built the documented way.
        QString escaped = command;
        escaped.replace(u"\\"_s, u"\\\\"_s).replace(u"\""_s, u"\\\""_s);
        QCOMPARE(osascript.calls().constFirst().at(1), adminSource(escaped));
    }

#ifndef Q_OS_MACOS
    void adminShell_withoutSysrootIsNotAppleScriptHere()
    {
        const QByteArray saved = qgetenv("MOXLEY_SYSROOT");
        qunsetenv("MOXLEY_SYSROOT");
        const bool apple = AdminShell::usesAppleScript();
        if (!saved.isNull()) {
            qputenv("MOXLEY_SYSROOT", saved);
        }
        QVERIFY(!apple);
    }
#endif

    void scheduleWake_daily_runsAdminScript()
    {
        Sandbox sandbox;
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        StandInTool pmset(sandbox, u"/usr/bin/pmset"_s);
        const PmsetService service;
        QCOMPARE(service.scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0), at(6, 30)}))), std::nullopt);
        const QList<QStringList> expected{{u"-e"_s, adminSource(u"pmset repeat wakeorpoweron MTWRFSU 06:25:00"_s)}};
        QCOMPARE(osascript.calls(), expected);
        QVERIFY(pmset.calls().isEmpty()); // pmset itself runs inside the administrator shell
    }

    void scheduleWake_monthly_quotesEscaped()
    {
        Sandbox sandbox;
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        const PmsetService service([] { return local(2025, 3, 1, 10, 0); });
        QCOMPARE(service.scheduleWake(wakeTask(TaskSchedule::monthly(14, {at(9, 0)}))), std::nullopt);
        const QList<QStringList> expected{
            {u"-e"_s,
             u"do shell script \"pmset schedule wakeorpoweron \\\"03/14/25 08:55:00\\\"\" with administrator privileges"_s}};
        QCOMPARE(osascript.calls(), expected);
    }

    void scheduleWake_unsupported_runsNothing()
    {
        Sandbox sandbox;
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        const PmsetService service;
        QCOMPARE(service.scheduleWake(wakeTask(TaskSchedule::interval(30))), PmsetError::unsupportedSchedule());
        QCOMPARE(service.scheduleWake(wakeTask(TaskSchedule::runAtLoad())), PmsetError::unsupportedSchedule());
        QCOMPARE(service.scheduleWake(wakeTask(TaskSchedule::monthly(32, {at(9, 0)}))), std::nullopt);
        QVERIFY(osascript.calls().isEmpty());
    }

    void scheduleWake_cancelledPrompt_givesAppleScriptMessage()
    {
        Sandbox sandbox;
        writeFailingOsascript(sandbox, "0:93: execution error: User canceled. (-128)\n", 1);
        const auto error = PmsetService().scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0)})));
        QVERIFY(error);
        QCOMPARE(error->description(), u"pmset failed: User canceled."_s);
    }

    void scheduleWake_failingCommand_givesItsText()
    {
        Sandbox sandbox;
        writeFailingOsascript(sandbox, "0:70: execution error: pmset: Usage error (1)", 1);
        auto error = PmsetService().scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0)})));
        QCOMPARE(error->description(), u"pmset failed: pmset: Usage error"_s);

        writeFailingOsascript(sandbox, "  something else went wrong \n", 1);
        error = PmsetService().scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0)})));
        QCOMPARE(error->description(), u"pmset failed: something else went wrong"_s);
    }

    void scheduleWake_failureWithoutText_unknownError()
    {
        Sandbox sandbox;
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        osascript.setExitStatus(1);
        const auto error = PmsetService().scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0)})));
        QCOMPARE(error, PmsetError::scriptFailed(u"Unknown error"_s));
        QCOMPARE(error->description(), u"pmset failed: Unknown error"_s);
        QCOMPARE(osascript.calls().size(), 1);
    }

    void scheduleWake_scriptThatCannotCompileOrStart_failedToCreate()
    {
        Sandbox sandbox;
        writeFailingOsascript(sandbox, "0:12: syntax error: Expected end of line but found identifier. (-2741)", 1);
        auto error = PmsetService().scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0)})));
        QCOMPARE(error->description(), u"pmset failed: Failed to create script"_s);

        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        osascript.makeUnstartable();
        error = PmsetService().scheduleWake(wakeTask(TaskSchedule::daily({at(7, 0)})));
        QCOMPARE(error->description(), u"pmset failed: Failed to create script"_s);
    }

    void twelveHourText()
    {
        QCOMPARE(PmsetService::twelveHourText(at(6, 55)), u"6:55AM"_s);
        QCOMPARE(PmsetService::twelveHourText(at(12, 3)), u"12:03PM"_s);
        QCOMPARE(PmsetService::twelveHourText(at(0, 5)), u"12:05AM"_s);
        QCOMPARE(PmsetService::twelveHourText(at(23, 59)), u"11:59PM"_s);
        QCOMPARE(PmsetService::twelveHourText(at(11, 59)), u"11:59AM"_s);
        QCOMPARE(PmsetService::twelveHourText(at(13, 0)), u"1:00PM"_s);
    }

    void isWakeActive_daily_readsSchedule()
    {
        Sandbox sandbox;
        StandInTool pmset(sandbox, u"/usr/bin/pmset"_s);
        pmset.setOutput("Repeating power events:\n  wakepoweron at 6:55AM every day\n", u"-g"_s);
        const PmsetService service;
        QVERIFY(service.isWakeActive(wakeTask(TaskSchedule::daily({at(7, 0)}))));
        QVERIFY(!service.isWakeActive(wakeTask(TaskSchedule::daily({at(8, 0)}))));
        const QList<QStringList> expected{{u"-g"_s, u"sched"_s}, {u"-g"_s, u"sched"_s}};
        QCOMPARE(pmset.calls(), expected);

        pmset.setOutput("Repeating power events:\n  wakepoweron at 12:03PM every day\n", u"-g"_s);
        QVERIFY(service.isWakeActive(wakeTask(TaskSchedule::daily({at(12, 8)}))));
        QVERIFY(!service.isWakeActive(wakeTask(TaskSchedule::daily({}))));
    }

    void isWakeActive_monthly_anyWakeEvent()
    {
        Sandbox sandbox;
        StandInTool pmset(sandbox, u"/usr/bin/pmset"_s);
        const PmsetService service;
        const ScheduledTask monthly = wakeTask(TaskSchedule::monthly(14, {at(9, 0)}));
        pmset.setOutput("Scheduled power events:\n [0]  wakeorpoweron at 03/14/25 08:55:00 by 'pmset'\n", u"-g"_s);
        QVERIFY(service.isWakeActive(monthly));
        pmset.setOutput("Scheduled power events:\n [0]  wakepoweron at 03/14/25 08:55:00\n", u"-g"_s);
        QVERIFY(service.isWakeActive(monthly));
        pmset.setOutput("Scheduled power events:\n [0]  sleep at 03/14/25 08:55:00\n", u"-g"_s);
        QVERIFY(!service.isWakeActive(monthly));
    }

    void isWakeActive_otherKindsNever()
    {
        Sandbox sandbox;
        StandInTool pmset(sandbox, u"/usr/bin/pmset"_s);
        pmset.setOutput("wakeorpoweron wakepoweron 8:55AM 6:55AM\n", u"-g"_s);
        const PmsetService service;
        QVERIFY(!service.isWakeActive(wakeTask(TaskSchedule::weekly({2}, {at(9, 0)}))));
        QVERIFY(!service.isWakeActive(wakeTask(TaskSchedule::monthlyLastDay({at(7, 0)}))));
        QVERIFY(!service.isWakeActive(wakeTask(TaskSchedule::monthlyNthWeekday(1, 2, {at(9, 0)}))));
        QVERIFY(!service.isWakeActive(wakeTask(TaskSchedule::interval(5))));
        QVERIFY(pmset.calls().isEmpty());
    }

    void isWakeActive_pmsetMissing_false()
    {
        Sandbox sandbox;
        QVERIFY(!PmsetService().isWakeActive(wakeTask(TaskSchedule::daily({at(7, 0)}))));
        QVERIFY(!PmsetService().isWakeActive(wakeTask(TaskSchedule::monthly(1, {at(7, 0)}))));
    }
};

QTEST_GUILESS_MAIN(PmsetServiceTest)
#include "test_pmset_service.moc"
