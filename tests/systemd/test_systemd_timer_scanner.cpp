#include "Sandbox.h"
#include "systemd/SystemdTimerScanner.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString kDebianUnits = QStringLiteral(MOXLEY_TEST_DATA_DIR "/systemd/usr/lib/systemd/system");

void link(const QString &target, const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    QVERIFY(QFile::link(target, path));
}

void copyUnits(const QString &from, const QString &to, const QStringList &patterns)
{
    QDir().mkpath(to);
    const QStringList names = QDir(from).entryList(patterns, QDir::Files);
    for (const QString &name : names) {
        QFile::remove(to + u'/' + name);
        QVERIFY(QFile::copy(from + u'/' + name, to + u'/' + name));
    }
}

const TimerUnit *find(const QList<TimerUnit> &timers, const QString &name)
{
    for (const TimerUnit &timer : timers) {
        if (timer.name == name) {
            return &timer;
        }
    }
    return nullptr;
}
// The pointer is into the list: a temporary one would be gone before it is read.
const TimerUnit *find(QList<TimerUnit> &&timers, const QString &name) = delete;

int count(const QList<TimerUnit> &timers, const QString &name)
{
    return int(std::count_if(timers.cbegin(), timers.cend(), [&name](const TimerUnit &t) { return t.name == name; }));
}

} // namespace

class TestSystemdTimerScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void debianTimers_areListedWithTheirServiceCommand();
    void thisMachinesTimers_areEachListedOnce();
    void etcFile_overridesUsrLib_andDropInsApply();
    void mergedUsr_readsLibOnce();
    void splitLib_addsItsOwnUnits_butUsrLibWins();
    void wantsLink_makesTimerEnabled();
    void maskedTimer_isShownMaskedAndNotEnabled();
    void template_isATemplate_andEnabledInstanceIsAJob();
    void userTimers_comeFromTheUsersFolders_withoutOurOwn();
    void monotonicTriggers_areOtherTriggers();
    void badInput_isShownAsFarAsReadable_andHidesNothing();

private:
    std::unique_ptr<Sandbox> m_sandbox;
    QString m_usrLib;
    QString m_etc;
};

void TestSystemdTimerScanner::init()
{
    m_sandbox = std::make_unique<Sandbox>();
    qputenv("XDG_CONFIG_HOME", (m_sandbox->home() + u"/.config"_s).toUtf8());
    m_usrLib = m_sandbox->sysroot() + u"/usr/lib/systemd/system"_s;
    m_etc = m_sandbox->sysroot() + u"/etc/systemd/system"_s;
    copyUnits(kDebianUnits, m_usrLib, {u"*"_s});
    link(u"usr/lib"_s, m_sandbox->sysroot() + u"/lib"_s);
}

void TestSystemdTimerScanner::cleanup()
{
    qunsetenv("XDG_CONFIG_HOME");
    m_sandbox.reset();
}

void TestSystemdTimerScanner::debianTimers_areListedWithTheirServiceCommand()
{
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    const TimerUnit *apt = find(timers, u"apt-daily.timer"_s);
    QVERIFY(apt);
    QCOMPARE(apt->source, TimerUnit::Source::systemTimers);
    QCOMPARE(apt->path, m_usrLib + u"/apt-daily.timer"_s);
    QCOMPARE(apt->description, u"Daily apt download activities"_s);
    QCOMPARE(apt->calendars, QStringList{u"*-*-* 6,18:00"_s});
    QCOMPARE(apt->serviceName, u"apt-daily.service"_s);
    QCOMPARE(apt->servicePath, m_usrLib + u"/apt-daily.service"_s);
    QCOMPARE(apt->commandLine(), u"/usr/lib/apt/apt.systemd.daily update"_s);
    QVERIFY(apt->timerText.startsWith(u"# "_s + m_usrLib + u"/apt-daily.timer\n"_s));
    QVERIFY(apt->timerText.contains(u"OnCalendar=*-*-* 6,18:00\n"_s));
    QVERIFY(apt->serviceText.contains(u"ExecStartPre=-/usr/lib/apt/apt-helper wait-online"_s));
    QVERIFY(apt->problems.isEmpty());
    QVERIFY(!apt->isTemplate);

    const TimerUnit *manDb = find(timers, u"man-db.timer"_s);
    QVERIFY(manDb);
    QCOMPARE(manDb->scheduleSummary(), u"daily"_s);
    QCOMPARE(manDb->execStart.size(), 3);
    QCOMPARE(manDb->execStart.first(), u"+/usr/bin/install -d -o man -g man -m 0755 /var/cache/man"_s);
    QCOMPARE(find(timers, u"e2scrub_all.timer"_s)->calendars, QStringList{u"Sun *-*-* 03:10:00"_s});
    QCOMPARE(find(timers, u"fstrim.timer"_s)->description, u"Discard unused blocks once a week"_s);
    // Sorted by name.
    QStringList names;
    for (const TimerUnit &timer : timers) {
        names << timer.name;
    }
    QStringList sorted = names;
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(names, sorted);
}

void TestSystemdTimerScanner::thisMachinesTimers_areEachListedOnce()
{
    // The real units of this machine, copied read-only into the sysroot over the kept ones.
    const QStringList real = QDir(u"/usr/lib/systemd/system"_s).entryList({u"*.timer"_s}, QDir::Files);
    if (real.isEmpty()) {
        QSKIP("this machine has no systemd timer units");
    }
    copyUnits(u"/usr/lib/systemd/system"_s, m_usrLib, {u"*.timer"_s, u"*.service"_s});
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    for (const QString &name : real) {
        QCOMPARE(count(timers, name), 1);
        const TimerUnit *timer = find(timers, name);
        QCOMPARE(timer->isTemplate, name.contains(u"@."_s));
        QFile file(u"/usr/lib/systemd/system/"_s + name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        for (const QString &calendar : timer->calendars) {
            QVERIFY2(text.contains(u"OnCalendar="_s + calendar), qPrintable(name + u": "_s + calendar));
        }
    }
}

void TestSystemdTimerScanner::etcFile_overridesUsrLib_andDropInsApply()
{
    Sandbox::writeFile(m_etc + u"/man-db.timer"_s,
                       "[Unit]\nDescription=Local man-db\n[Timer]\nOnCalendar=*-*-* 04:00\n");
    // The /etc drop-in hides the one of the same name in /usr/lib; an empty OnCalendar= clears the list.
    Sandbox::writeFile(m_usrLib + u"/apt-daily.timer.d/override.conf"_s, "[Timer]\nOnCalendar=*-*-* 01:00\n");
    Sandbox::writeFile(m_etc + u"/apt-daily.timer.d/override.conf"_s, "[Timer]\nOnCalendar=\nOnCalendar=*-*-* 7:00\n");
    Sandbox::writeFile(m_usrLib + u"/apt-daily.timer.d/zz-extra.conf"_s, "[Timer]\nOnCalendar=*-*-* 22:00\n");
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();

    QCOMPARE(count(timers, u"man-db.timer"_s), 1);
    const TimerUnit *manDb = find(timers, u"man-db.timer"_s);
    QCOMPARE(manDb->path, m_etc + u"/man-db.timer"_s);
    QCOMPARE(manDb->description, u"Local man-db"_s);
    QCOMPARE(manDb->calendars, QStringList{u"*-*-* 04:00"_s});
    QCOMPARE(manDb->servicePath, m_usrLib + u"/man-db.service"_s);

    const TimerUnit *apt = find(timers, u"apt-daily.timer"_s);
    QCOMPARE(apt->dropIns, (QStringList{m_etc + u"/apt-daily.timer.d/override.conf"_s,
                                        m_usrLib + u"/apt-daily.timer.d/zz-extra.conf"_s}));
    QCOMPARE(apt->calendars, (QStringList{u"*-*-* 7:00"_s, u"*-*-* 22:00"_s}));
    QVERIFY(apt->timerText.contains(u"# "_s + m_etc + u"/apt-daily.timer.d/override.conf\n[Timer]\nOnCalendar=\n"_s));
    QVERIFY(!apt->timerText.contains(u"01:00"_s));
}

void TestSystemdTimerScanner::mergedUsr_readsLibOnce()
{
    const SystemdTimerScanner scanner;
    QCOMPARE(scanner.scopes().at(1).folders.last(), m_sandbox->sysroot() + u"/lib/systemd/system"_s);
    const QList<TimerUnit> timers = scanner.scan();
    QCOMPARE(count(timers, u"fstrim.timer"_s), 1);
    QCOMPARE(find(timers, u"fstrim.timer"_s)->path, m_usrLib + u"/fstrim.timer"_s);
}

void TestSystemdTimerScanner::splitLib_addsItsOwnUnits_butUsrLibWins()
{
    QVERIFY(QFile::remove(m_sandbox->sysroot() + u"/lib"_s));
    const QString lib = m_sandbox->sysroot() + u"/lib/systemd/system"_s;
    Sandbox::writeFile(lib + u"/old.timer"_s, "[Timer]\nOnCalendar=hourly\n");
    Sandbox::writeFile(lib + u"/old.service"_s, "[Service]\nExecStart=/bin/old\n");
    Sandbox::writeFile(lib + u"/fstrim.timer"_s, "[Timer]\nOnCalendar=yearly\n");
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    QCOMPARE(find(timers, u"old.timer"_s)->commandLine(), u"/bin/old"_s);
    QCOMPARE(count(timers, u"fstrim.timer"_s), 1);
    QCOMPARE(find(timers, u"fstrim.timer"_s)->calendars, QStringList{u"weekly"_s});
}

void TestSystemdTimerScanner::wantsLink_makesTimerEnabled()
{
    link(u"/lib/systemd/system/apt-daily.timer"_s, m_etc + u"/timers.target.wants/apt-daily.timer"_s);
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    QVERIFY(find(timers, u"apt-daily.timer"_s)->enabled);
    QVERIFY(!find(timers, u"man-db.timer"_s)->enabled);
    // The link itself is not a second unit.
    QCOMPARE(count(timers, u"apt-daily.timer"_s), 1);
}

void TestSystemdTimerScanner::maskedTimer_isShownMaskedAndNotEnabled()
{
    link(u"/dev/null"_s, m_etc + u"/fstrim.timer"_s);
    link(u"/lib/systemd/system/fstrim.timer"_s, m_etc + u"/timers.target.wants/fstrim.timer"_s);
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    const TimerUnit *fstrim = find(timers, u"fstrim.timer"_s);
    QVERIFY(fstrim->masked);
    QVERIFY(!fstrim->enabled);
    QVERIFY(fstrim->calendars.isEmpty());
    QVERIFY(fstrim->timerText.contains(u"masked"_s));
}

void TestSystemdTimerScanner::template_isATemplate_andEnabledInstanceIsAJob()
{
    link(u"/lib/systemd/system/pg_dump@.timer"_s, m_etc + u"/postgresql@15-main.service.wants/pg_dump@15-main.timer"_s);
    Sandbox::writeFile(m_etc + u"/pg_dump@15-main.timer.d/time.conf"_s, "[Timer]\nOnCalendar=\nOnCalendar=Sat 02:00\n");
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    const TimerUnit *pattern = find(timers, u"pg_dump@.timer"_s);
    QVERIFY(pattern);
    QVERIFY(pattern->isTemplate);
    QVERIFY(!pattern->enabled);
    QCOMPARE(pattern->calendars, QStringList{u"weekly"_s});
    QCOMPARE(pattern->serviceName, u"pg_dump@.service"_s);

    const TimerUnit *instance = find(timers, u"pg_dump@15-main.timer"_s);
    QVERIFY(instance);
    QVERIFY(!instance->isTemplate);
    QVERIFY(instance->enabled);
    QCOMPARE(instance->path, m_usrLib + u"/pg_dump@.timer"_s);
    QVERIFY(instance->id != pattern->id);
    QCOMPARE(instance->calendars, QStringList{u"Sat 02:00"_s});
    QCOMPARE(instance->serviceName, u"pg_dump@15-main.service"_s);
    QCOMPARE(instance->servicePath, m_usrLib + u"/pg_dump@.service"_s);
    QVERIFY(!instance->execStart.isEmpty());
}

void TestSystemdTimerScanner::userTimers_comeFromTheUsersFolders_withoutOurOwn()
{
    const QString user = m_sandbox->home() + u"/.config/systemd/user"_s;
    Sandbox::writeFile(user + u"/backup.timer"_s, "[Unit]\nDescription=My backup\n[Timer]\nOnCalendar=*-*-* 12:30\n");
    Sandbox::writeFile(user + u"/backup.service"_s, "[Service]\nExecStart=/usr/bin/rsync -a /home /mnt\n");
    link(user + u"/backup.timer"_s, user + u"/timers.target.wants/backup.timer"_s);
    Sandbox::writeFile(user + u"/com.moxley.task.0A1B2C3D-0000-0000-0000-000000000000.timer"_s,
                       "[Timer]\nOnCalendar=daily\n");
    const QString shared = m_sandbox->home() + u"/.local/share/systemd/user"_s;
    Sandbox::writeFile(shared + u"/backup.timer"_s, "[Timer]\nOnCalendar=yearly\n");
    Sandbox::writeFile(shared + u"/sync.timer"_s, "[Timer]\nOnCalendar=hourly\nUnit=syncer.service\n");
    Sandbox::writeFile(m_sandbox->sysroot() + u"/usr/lib/systemd/user/syncer.service"_s,
                       "[Service]\nExecStart=/usr/bin/unison\n");

    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    const TimerUnit *backup = find(timers, u"backup.timer"_s);
    QCOMPARE(count(timers, u"backup.timer"_s), 1);
    QCOMPARE(backup->source, TimerUnit::Source::userTimers);
    QCOMPARE(TimerUnit::sourceTitle(backup->source), u"User Timers"_s);
    QCOMPARE(backup->calendars, QStringList{u"*-*-* 12:30"_s});
    QVERIFY(backup->enabled);
    QCOMPARE(backup->commandLine(), u"/usr/bin/rsync -a /home /mnt"_s);
    QCOMPARE(find(timers, u"sync.timer"_s)->commandLine(), u"/usr/bin/unison"_s);
    for (const TimerUnit &timer : timers) {
        QVERIFY(!timer.name.startsWith(u"com.moxley.task."_s));
    }
}

void TestSystemdTimerScanner::monotonicTriggers_areOtherTriggers()
{
    Sandbox::writeFile(m_usrLib + u"/tmp-clean.timer"_s,
                       "[Timer]\nOnBootSec=15min\nOnUnitActiveSec=1d\nAccuracySec=1h\n");
    Sandbox::writeFile(m_etc + u"/tmp-clean.timer.d/reset.conf"_s, "[Timer]\nOnBootSec=\nOnStartupSec=5min\n");
    Sandbox::writeFile(m_usrLib + u"/tmp-clean.service"_s, "[Service]\nExecStart=/bin/clean\n");
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();
    const TimerUnit *timer = find(timers, u"tmp-clean.timer"_s);
    QVERIFY(timer);
    QCOMPARE(timer->otherTriggers, QStringList{u"OnStartupSec=5min"_s});
    QCOMPARE(timer->scheduleSummary(), u"OnStartupSec=5min"_s);
}

void TestSystemdTimerScanner::badInput_isShownAsFarAsReadable_andHidesNothing()
{
    Sandbox::writeFile(m_usrLib + u"/garbage.timer"_s,
                       QByteArray("\0", 1) + "\xff\xfe junk line\n[Unit\nDescription=Half readable\n" +
                           "=no key\nOnCalendar=outside\n[Timer]\nOnCalendar=*-*-* 5:00\n[Timer]\\\n");
    Sandbox::writeFile(m_usrLib + u"/lonely.timer"_s, "[Timer]\nOnCalendar=daily\n");
    QDir().mkpath(m_usrLib + u"/folder.timer"_s);
    // Neither blocks the scan nor reads for ever.
    QCOMPARE(::mkfifo(QFile::encodeName(m_usrLib + u"/pipe.timer"_s).constData(), 0644), 0);
    link(u"/dev/zero"_s, m_usrLib + u"/zero.timer"_s);
    const QList<TimerUnit> timers = SystemdTimerScanner().scan();

    const TimerUnit *garbage = find(timers, u"garbage.timer"_s);
    QVERIFY(garbage);
    QCOMPARE(garbage->calendars, QStringList{u"*-*-* 5:00"_s});
    QVERIFY(!garbage->problems.isEmpty());
    QVERIFY(garbage->problems.join(u'\n').contains(u"not KEY=VALUE"_s));

    const TimerUnit *lonely = find(timers, u"lonely.timer"_s);
    QCOMPARE(lonely->problems, QStringList{u"no service lonely.service found"_s});
    QCOMPARE(lonely->commandLine(), u"(unknown)"_s);

    const TimerUnit *folder = find(timers, u"folder.timer"_s);
    QVERIFY(folder);
    QVERIFY(folder->problems.join(u'\n').contains(u"cannot read"_s));
    for (const QString &name : {u"pipe.timer"_s, u"zero.timer"_s}) {
        const TimerUnit *odd = find(timers, name);
        QVERIFY2(odd && odd->problems.join(u'\n').contains(u"cannot read"_s), qPrintable(name));
    }

    QVERIFY(find(timers, u"apt-daily.timer"_s));
    QVERIFY(find(timers, u"fstrim.timer"_s));
    QVERIFY(find(timers, u"man-db.timer"_s));
}

QTEST_GUILESS_MAIN(TestSystemdTimerScanner)
#include "test_systemd_timer_scanner.moc"
