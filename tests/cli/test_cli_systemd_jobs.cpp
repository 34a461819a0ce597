#include "Sandbox.h"
#include "ScopedTimeZone.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QString kDebianUnits = QStringLiteral(MOXLEY_TEST_DATA_DIR "/systemd/usr/lib/systemd/system");

// A machine with apt-daily (enabled), e2scrub_all (enabled), fstrim (not enabled), a user timer of its
// own, this application's own timer, and the e2scrub_all cron file.
void writeMachine(const Sandbox &sandbox)
{
    const QString usrLib = sandbox.sysroot() + u"/usr/lib/systemd/system"_s;
    QDir().mkpath(usrLib);
    for (const QString &name : {u"apt-daily"_s, u"e2scrub_all"_s, u"fstrim"_s}) {
        for (const QString &suffix : {u".timer"_s, u".service"_s}) {
            QVERIFY(QFile::copy(kDebianUnits + u'/' + name + suffix, usrLib + u'/' + name + suffix));
        }
    }
    QVERIFY(QFile::link(u"usr/lib"_s, sandbox.sysroot() + u"/lib"_s));
    const QString wants = sandbox.sysroot() + u"/etc/systemd/system/timers.target.wants"_s;
    QDir().mkpath(wants);
    QVERIFY(QFile::link(u"/lib/systemd/system/apt-daily.timer"_s, wants + u"/apt-daily.timer"_s));
    QVERIFY(QFile::link(u"/lib/systemd/system/e2scrub_all.timer"_s, wants + u"/e2scrub_all.timer"_s));

    const QString user = sandbox.home() + u"/.config/systemd/user"_s;
    Sandbox::writeFile(user + u"/backup.timer"_s, "[Unit]\nDescription=My backup\n[Timer]\nOnCalendar=*-*-* 12:30\n");
    Sandbox::writeFile(user + u"/backup.service"_s, "[Service]\nExecStart=/usr/bin/rsync -a /home /mnt\n");
    QDir().mkpath(user + u"/timers.target.wants"_s);
    QVERIFY(QFile::link(user + u"/backup.timer"_s, user + u"/timers.target.wants/backup.timer"_s));
    Sandbox::writeFile(user + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.timer"_s,
                       "[Timer]\nOnCalendar=daily\n");

    QDir().mkpath(sandbox.sysroot() + u"/etc/cron.d"_s);
    QVERIFY(QFile::copy(QStringLiteral(MOXLEY_TEST_DATA_DIR "/cron/e2scrub_all"),
                        sandbox.sysroot() + u"/etc/cron.d/e2scrub_all"_s));
    QDir().mkpath(sandbox.sysroot() + u"/usr/bin"_s);
    QVERIFY(QFile::link(QStandardPaths::findExecutable(u"systemd-analyze"_s),
                        sandbox.sysroot() + u"/usr/bin/systemd-analyze"_s));
}

} // namespace

class CliSystemdJobsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { qputenv("MOXLEY_SCHEDULER", "systemd"); }
    void cleanup() { qunsetenv("MOXLEY_SCHEDULER"); }

    void jobs_listsTimersThenCronLines()
    {
        Sandbox sandbox;
        writeMachine(sandbox);
        const auto result = sandbox.runCli({u"jobs"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("apt-daily.timer    System Timers  *-*-* 6,18:00\n"
                                        "backup.timer       User Timers    *-*-* 12:30\n"
                                        "e2scrub_all.timer  System Timers  Sun *-*-* 03:10:00\n"
                                        "fstrim.timer       System Timers  weekly\n"
                                        "e2scrub_all:1      Cron           30 3 * * 0\n"
                                        "e2scrub_all:2      Cron           10 3 * * *\n"));
    }

    void jobs_json_hasTheLaunchdShapeWithTimerFields()
    {
        Sandbox sandbox;
        writeMachine(sandbox);
        const auto result = sandbox.runCli({u"jobs"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QVERIFY(result.out.endsWith("]\n"));
        QJsonParseError error;
        const QJsonArray jobs = QJsonDocument::fromJson(result.out, &error).array();
        QCOMPARE(error.error, QJsonParseError::NoError);
        const auto job = [](const QString &label, const QString &source, const QString &path, const QString &command,
                            const QString &schedule, bool disabled, bool runAtLoad) {
            return QJsonObject{{u"label"_s, label},         {u"source"_s, source},     {u"path"_s, path},
                               {u"command"_s, command},     {u"schedule"_s, schedule}, {u"disabled"_s, disabled},
                               {u"runAtLoad"_s, runAtLoad}, {u"keepAlive"_s, false}};
        };
        const QString units = sandbox.sysroot() + u"/usr/lib/systemd/system/"_s;
        const QString cron = sandbox.sysroot() + u"/etc/cron.d/e2scrub_all"_s;
        const QJsonArray expected{
            job(u"apt-daily.timer"_s, u"System Timers"_s, units + u"apt-daily.timer"_s,
                u"/usr/lib/apt/apt.systemd.daily update"_s, u"*-*-* 6,18:00"_s, false, false),
            job(u"backup.timer"_s, u"User Timers"_s, sandbox.home() + u"/.config/systemd/user/backup.timer"_s,
                u"/usr/bin/rsync -a /home /mnt"_s, u"*-*-* 12:30"_s, false, false),
            job(u"e2scrub_all.timer"_s, u"System Timers"_s, units + u"e2scrub_all.timer"_s, u"/sbin/e2scrub_all"_s,
                u"Sun *-*-* 03:10:00"_s, false, false),
            job(u"fstrim.timer"_s, u"System Timers"_s, units + u"fstrim.timer"_s,
                u"/sbin/fstrim --listed-in /etc/fstab:/proc/self/mountinfo --verbose --quiet-unsupported"_s,
                u"weekly"_s, true, false),
            job(u"e2scrub_all:1"_s, u"Cron"_s, cron,
                u"test -e /run/systemd/system || SERVICE_MODE=1 /usr/lib/x86_64-linux-gnu/e2fsprogs/e2scrub_all_cron"_s,
                u"30 3 * * 0"_s, false, false),
            job(u"e2scrub_all:2"_s, u"Cron"_s, cron,
                u"test -e /run/systemd/system || SERVICE_MODE=1 /sbin/e2scrub_all -A -r"_s, u"10 3 * * *"_s, false,
                false)};
        QCOMPARE(jobs, expected);
    }

    void jobs_launchdWhenChosen()
    {
        Sandbox sandbox;
        writeMachine(sandbox);
        qputenv("MOXLEY_SCHEDULER", "launchd");
        const auto result = sandbox.runCli({u"jobs"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("[]\n"));
    }

    void timelineSystem_marksTimersAndCronLinesOfTheDay()
    {
        Sandbox sandbox;
        writeMachine(sandbox);
        const ScopedTimeZone zone("UTC");
        // A Sunday: e2scrub_all runs as a timer at 3:10 and as both cron lines.
        const auto result = sandbox.runCli({u"timeline"_s, u"--system"_s, u"--at"_s, u"2026-11-29T10:00"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("Timeline for Sunday, 2026-11-29, now in hour 10\n"
                                        "\nSystem jobs\n"
                                        "  apt-daily (apt-daily.timer): 6:00, 18:00\n"
                                        "  backup (backup.timer): 12:30\n"
                                        "  e2scrub_all (e2scrub_all.timer): 3:10\n"
                                        "  e2scrub_all:1 (e2scrub_all:1): 3:30\n"
                                        "  e2scrub_all:2 (e2scrub_all:2): 3:10\n"));
    }

    void timelineSystemJson_onAWeekday()
    {
        Sandbox sandbox;
        writeMachine(sandbox);
        const ScopedTimeZone zone("Europe/Berlin");
        const auto result =
            sandbox.runCli({u"timeline"_s, u"--system"_s, u"--json"_s, u"--at"_s, u"2026-11-24T08:00"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray rows = QJsonDocument::fromJson(result.out).object().value(u"systemJobs"_s).toArray();
        QStringList seen;
        for (const QJsonValue &row : rows) {
            QStringList marks;
            for (const QJsonValue &mark : row.toObject().value(u"marks"_s).toArray()) {
                marks << QString::number(mark.toInt());
            }
            seen << row.toObject().value(u"label"_s).toString() + u' ' + row.toObject().value(u"name"_s).toString() +
                        u" [" + marks.join(u',') + u']';
        }
        QCOMPARE(seen, (QStringList{u"apt-daily.timer apt-daily [360,1080]"_s, u"backup.timer backup [750]"_s,
                                    u"e2scrub_all.timer e2scrub_all []"_s, u"e2scrub_all:1 e2scrub_all:1 []"_s,
                                    u"e2scrub_all:2 e2scrub_all:2 [190]"_s}));
    }
};

QTEST_GUILESS_MAIN(CliSystemdJobsTest)
#include "test_cli_systemd_jobs.moc"
