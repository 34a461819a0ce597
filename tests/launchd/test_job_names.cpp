#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/LaunchdService.h"

#include <QDirIterator>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask makeTask(const QString &id)
{
    ScheduledTask task;
    task.id = QUuid::fromString(id);
    task.name = u"T"_s;
    task.command = u"true"_s;
    return task;
}

QStringList filesUnder(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files << it.next();
    }
    return files;
}

} // namespace

// Every name of a task's files derives from its id: upper case for the label, the lower-case
// short id for everything in the scripts and logs folders.
class JobNamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void example_labelPlistScriptRuns()
    {
        const LaunchdService service(u"/LA"_s, u"/S"_s, u"/L"_s);
        const ScheduledTask task = makeTask(u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"_s);
        QCOMPARE(LaunchdService::jobLabel(task), u"com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
        QCOMPARE(service.plistPath(task), u"/LA/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_s);
        QCOMPARE(service.scriptPath(task), u"/S/Moxley_0a1b2c3d.sh"_s);
        QCOMPARE(service.runsPath(task), u"/L/0a1b2c3d.runs"_s);
        QCOMPARE(service.stdoutLogPath(task), u"/L/0a1b2c3d.stdout.log"_s);
        QCOMPARE(service.stderrLogPath(task), u"/L/0a1b2c3d.stderr.log"_s);
        QCOMPARE(service.legacyScriptPath(task.id), u"/S/0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.sh"_s);
    }

    void sharedShortId_sameFileNamesDifferentLabels()
    {
        const LaunchdService service(u"/LA"_s, u"/S"_s, u"/L"_s);
        const ScheduledTask a = makeTask(u"0A1B2C3D-0000-4000-8000-000000000001"_s);
        const ScheduledTask b = makeTask(u"0A1B2C3D-FFFF-4000-8000-000000000002"_s);
        QCOMPARE(service.scriptPath(a), service.scriptPath(b));
        QCOMPARE(service.runsPath(a), service.runsPath(b));
        QCOMPARE(service.stdoutLogPath(a), service.stdoutLogPath(b));
        QVERIFY(LaunchdService::jobLabel(a) != LaunchdService::jobLabel(b));
        QVERIFY(service.plistPath(a) != service.plistPath(b));
    }

    void defaults_underHomeAndDataFolder()
    {
        Sandbox sandbox;
        const LaunchdService service;
        QCOMPARE(service.launchAgentsDir(), sandbox.launchAgentsDir());
        QCOMPARE(service.scriptsDir(), sandbox.scriptsDir());
        QCOMPARE(service.logDir(), sandbox.logDir());
        // The initializer creates nothing.
        QVERIFY(!QFile::exists(sandbox.dataDir()));
        QVERIFY(!QFile::exists(sandbox.launchAgentsDir()));
    }

    void allFoldersGiven_neverTouchesHome()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const QString elsewhere = sandbox.root() + u"/elsewhere"_s;
        const LaunchdService service(elsewhere + u"/Agents"_s, elsewhere + u"/Scripts"_s, elsewhere + u"/Logs"_s);
        for (const QString &path : {service.launchAgentsDir(), service.scriptsDir(), service.logDir()}) {
            QVERIFY(!path.startsWith(sandbox.home()));
        }
        const ScheduledTask task = makeTask(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
        QCOMPARE(service.install(task), std::nullopt);
        service.removeOrphans({task.id});
        QCOMPARE(service.uninstall(task), std::nullopt);
        QCOMPARE(filesUnder(sandbox.home()), QStringList());
        QVERIFY(QFileInfo(elsewhere + u"/Scripts"_s).isDir());
    }
};

QTEST_GUILESS_MAIN(JobNamesTest)
#include "test_job_names.moc"
