#include "PrivateSystemdManager.h"
#include "Sandbox.h"
#include "systemd/SystemdTimerScanner.h"
#include "systemd/TimerElapse.h"

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

class TestTimerElapse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listTimersJson_givesNextAndLastByUnit();
    void notJson_givesNothing();
    void noManager_leavesTheFilesAlone();
    void privateUserManager_reportsNextAndLastElapse();
};

void TestTimerElapse::listTimersJson_givesNextAndLastByUnit()
{
    const QByteArray json = R"([{"next":1795505155207632,"left":1795505155207632,"last":0,"passed":0,)"
                            R"("unit":"hello.timer","activates":"hello.service"},)"
                            R"({"next":0,"left":0,"last":1795500000000000,"passed":5,"unit":"done.timer",)"
                            R"("activates":"done.service"}])";
    const QHash<QString, TimerElapse::Elapse> found = TimerElapse::parse(json);
    QCOMPARE(found.size(), 2);
    QCOMPARE(found.value(u"hello.timer"_s).next, QDateTime::fromMSecsSinceEpoch(1795505155207, QTimeZone::utc()));
    QVERIFY(!found.value(u"hello.timer"_s).last);
    QVERIFY(!found.value(u"done.timer"_s).next);
    QCOMPARE(found.value(u"done.timer"_s).last, QDateTime::fromSecsSinceEpoch(1795500000, QTimeZone::utc()));
}

void TestTimerElapse::notJson_givesNothing()
{
    QVERIFY(TimerElapse::parse("NEXT LEFT LAST PASSED UNIT ACTIVATES\n").isEmpty());
    QVERIFY(TimerElapse::parse(R"({"unit":"x.timer"})").isEmpty());
    QVERIFY(TimerElapse::parse(R"([{"next":"soon","unit":"x.timer"}])").value(u"x.timer"_s).next == std::nullopt);
}

void TestTimerElapse::noManager_leavesTheFilesAlone()
{
    Sandbox sandbox;
    // No systemctl in the sysroot: no manager answers.
    Sandbox::writeFile(sandbox.sysroot() + u"/usr/lib/systemd/system/a.timer"_s, "[Timer]\nOnCalendar=daily\n");
    QList<TimerUnit> timers = SystemdTimerScanner().scan();
    QCOMPARE(timers.size(), 1);
    TimerElapse::apply(timers);
    QVERIFY(!timers.first().nextElapse);
    QVERIFY(!timers.first().lastElapse);
    QCOMPARE(timers.first().calendars, QStringList{u"daily"_s});
}

void TestTimerElapse::privateUserManager_reportsNextAndLastElapse()
{
    Sandbox sandbox;
    const QString units = sandbox.home() + u"/.config/systemd/user"_s;
    Sandbox::writeFile(units + u"/test-backup.timer"_s,
                       "[Unit]\nDescription=Test backup\n[Timer]\nOnCalendar=*-*-* 12:30\n");
    Sandbox::writeFile(units + u"/test-backup.service"_s, "[Service]\nType=oneshot\nExecStart=/bin/true\n");
    Sandbox::writeFile(units + u"/test-quick.timer"_s, "[Timer]\nOnActiveSec=1s\n");
    Sandbox::writeFile(units + u"/test-quick.service"_s, "[Service]\nType=oneshot\nExecStart=/bin/true\n");
    QVERIFY(PrivateSystemdManager::linkSystemctlInto(sandbox.sysroot()));

    QList<TimerUnit> timers;
    QDateTime started;
    {
        // While it lives, this process's XDG_RUNTIME_DIR and XDG_CONFIG_HOME point to it.
        const PrivateSystemdManager manager(sandbox.home());
        REQUIRE_SYSTEMD_MANAGER(manager);
        QCOMPARE(manager.systemctl({u"start"_s, u"test-backup.timer"_s, u"test-quick.timer"_s}).exitCode, 0);
        started = QDateTime::currentDateTimeUtc();
        QTRY_VERIFY_WITH_TIMEOUT(TimerElapse::query(true).value(u"test-quick.timer"_s).last.has_value(), 10000);
        timers = SystemdTimerScanner().scan();
        TimerElapse::apply(timers);
    }

    const auto backup =
        std::find_if(timers.cbegin(), timers.cend(), [](const TimerUnit &t) { return t.name == u"test-backup.timer"; });
    QVERIFY(backup != timers.cend());
    QCOMPARE(backup->source, TimerUnit::Source::userTimers);
    // The next 12:30 local time after the moment it was started.
    const QDateTime localStart = started.toLocalTime();
    QDateTime expected(localStart.date(), QTime(12, 30), QTimeZone::systemTimeZone());
    if (expected <= localStart) {
        expected = expected.addDays(1);
    }
    QVERIFY(backup->nextElapse);
    QCOMPARE(backup->nextElapse->toSecsSinceEpoch(), expected.toSecsSinceEpoch());
    QVERIFY(!backup->lastElapse);

    const auto quick =
        std::find_if(timers.cbegin(), timers.cend(), [](const TimerUnit &t) { return t.name == u"test-quick.timer"; });
    QVERIFY(quick != timers.cend() && quick->lastElapse);
    QVERIFY(*quick->lastElapse >= started.addSecs(-1));
    QVERIFY(*quick->lastElapse <= QDateTime::currentDateTimeUtc());
}

QTEST_GUILESS_MAIN(TestTimerElapse)
#include "test_timer_elapse.moc"
