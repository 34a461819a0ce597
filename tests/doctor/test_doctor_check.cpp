#include "Sandbox.h"
#include "StandInTool.h"
#include "doctor/Doctor.h"
#include "launchd/LaunchdScheduler.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace Qt::StringLiterals;

// Doctor::check over launchd's stand-ins, where the scheduled side runs here in launchd's default
// environment: the time allowed is kept, and what outlives it is stopped and removed.
class TestDoctorCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void probeThatHangs_isProbeFailedOnBothSidesWithinTheTimeAllowed();
    void healthyTask_isOkWithTheDefaultEnvironmentNote();
};

namespace {
QStringList filesUnder(const QString &folder)
{
    QStringList out;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        out << it.next();
    }
    return out;
}

bool processRunning(const QString &pattern)
{
    QProcess pgrep;
    pgrep.start(u"pgrep"_s, {u"-f"_s, pattern});
    pgrep.waitForFinished(5000);
    return pgrep.exitCode() == 0;
}
} // namespace

void TestDoctorCheck::probeThatHangs_isProbeFailedOnBothSidesWithinTheTimeAllowed()
{
    Sandbox sandbox;
    StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
    const LaunchdService files(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
    LaunchdScheduler scheduler(files, nullptr);
    const QString envFile = sandbox.root() + u"/slow.env"_s;
    Sandbox::writeFile(envFile, "sleep 31.25\n");
    ScheduledTask task;
    task.command = u"true"_s;
    task.useLoginShell = false;
    task.envFilePath = envFile;

    QElapsedTimer clock;
    clock.start();
    const Doctor::Result result = Doctor::check(task, scheduler, files, 2);
    QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(result.problems.size(), 2);
    QCOMPARE(result.problems[0].kind, u"probe-failed"_s);
    QCOMPARE(
        result.problems[0].text,
        u"The probe in a Test Run's shell failed (no answer within 2 seconds), so that side "
        "could not be compared; try again, and run the task with Test Run or `moxley start` to see what stops it"_s);
    QCOMPARE(
        result.problems[1].text,
        u"The probe in the default environment failed (no answer within 2 seconds), so that side "
        "could not be compared; try again, and run the task with Test Run or `moxley start` to see what stops it"_s);
    QVERIFY(!result.scheduled && !result.interactive);
    QVERIFY(!processRunning(u"sleep 31.25"_s));
    QCOMPARE(filesUnder(sandbox.dataDir()), QStringList{});
}

void TestDoctorCheck::healthyTask_isOkWithTheDefaultEnvironmentNote()
{
    Sandbox sandbox;
    StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
    const LaunchdService files(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
    LaunchdScheduler scheduler(files, nullptr);
    ScheduledTask task;
    task.command = u"ls / | wc -l"_s;
    task.useLoginShell = false;
    const Doctor::Result result = Doctor::check(task, scheduler, files);
    QCOMPARE(result.problems, QList<DoctorProblem>{});
    QVERIFY(result.ok());
    QCOMPARE(result.scheduled->resolved.value(u"wc"_s), u"/usr/bin/wc"_s);
    QCOMPARE(result.note, u"The scheduler could not be asked (launchctl is a stand-in here), so the scheduled side is "
                          "its documented default environment: PATH=/usr/bin:/bin:/usr/sbin:/sbin, working folder /"_s);
    QCOMPARE(Doctor::text(result), u"No problems: the task will run when scheduled as it does in a Test Run.\n"_s);
    QCOMPARE(filesUnder(sandbox.dataDir()), QStringList{});
}

QTEST_GUILESS_MAIN(TestDoctorCheck)
#include "test_doctor_check.moc"
