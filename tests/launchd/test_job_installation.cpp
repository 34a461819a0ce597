#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/LaunchdService.h"

#include <QFileInfo>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QUuid kId = QUuid::fromString(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
const QUuid kOtherId = QUuid::fromString(u"FEDCBA98-7654-4321-8FED-CBA987654321"_s);

ScheduledTask makeTask(const QUuid &id = kId)
{
    ScheduledTask task;
    task.id = id;
    task.name = u"Backup"_s;
    task.command = u"make backup"_s;
    task.schedule = TaskSchedule::daily({{9, 30}});
    return task;
}

LaunchdService serviceIn(const Sandbox &sandbox)
{
    return LaunchdService(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
}

QStringList call(const QString &subcommand, const QString &path)
{
    return {subcommand, path};
}

} // namespace

// Installing, reinstalling, uninstalling and sweeping jobs, with launchctl a recording stand-in.
class JobInstallationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorDescriptions()
    {
        QCOMPARE(JobControlError::launchctlFailed(u"load"_s, 5).description(),
                 u"launchctl load failed (exit code 5)"_s);
        QCOMPARE(JobControlError::launchctlFailed(u"unload"_s, -1).description(),
                 u"launchctl unload failed (exit code -1)"_s);
        QCOMPARE(JobControlError::installFailed(u"disk full"_s).description(), u"Failed to install task: disk full"_s);
    }

    void runJobControl_passesArgumentsExactly()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.setOutput("chatter that nobody sees\n");
        const QStringList arguments{u"load"_s, u"/a b/it's \"x\".plist"_s};
        QCOMPARE(serviceIn(sandbox).runJobControl(arguments), std::nullopt);
        QCOMPARE(launchctl.calls(), QList<QStringList>{arguments});
    }

    void runJobControl_nonZeroExit_isThatStatus()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.setExitStatus(5, u"unload"_s);
        QCOMPARE(serviceIn(sandbox).runJobControl({u"unload"_s, u"/p"_s}),
                 JobControlError::launchctlFailed(u"unload"_s, 5));
    }

    void runJobControl_unstartable_isMinusOne()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.makeUnstartable();
        const auto error = serviceIn(sandbox).runJobControl({u"load"_s, u"/p"_s});
        QCOMPARE(error, JobControlError::launchctlFailed(u"load"_s, -1));
        QCOMPARE(error->description(), u"launchctl load failed (exit code -1)"_s);
        // No arguments at all: the subcommand is empty.
        QCOMPARE(serviceIn(sandbox).runJobControl({}), JobControlError::launchctlFailed(QString(), -1));
    }

    void runJobControl_missingTool_isMinusOne()
    {
        Sandbox sandbox;
        QCOMPARE(serviceIn(sandbox).runJobControl({u"unload"_s, u"/p"_s}),
                 JobControlError::launchctlFailed(u"unload"_s, -1));
    }

    void firstInstall_writesFilesAndLoadsWithoutUnload()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        QCOMPARE(service.install(task), std::nullopt);
        QCOMPARE(launchctl.calls(), QList<QStringList>{call(u"load"_s, service.plistPath(task))});
        QCOMPARE(Sandbox::readFile(service.scriptPath(task)), service.scriptText(task).toUtf8());
        QCOMPARE(Sandbox::readFile(service.plistPath(task)), service.plistText(task).toUtf8());
        QVERIFY(QFileInfo(service.scriptPath(task)).permissions().testFlag(QFile::ExeOwner));
        QVERIFY(QFileInfo(sandbox.logDir()).isDir());
        QCOMPARE(service.plistPath(task),
                 sandbox.launchAgentsDir() + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_s);
    }

    void reinstall_unloadThenLoadSamePath()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        ScheduledTask task = makeTask();
        QCOMPARE(service.install(task), std::nullopt);
        launchctl.clearCalls();
        task.schedule = TaskSchedule::interval(15);
        QCOMPARE(service.install(task), std::nullopt);
        const QString plist = service.plistPath(task);
        QCOMPARE(launchctl.calls(), (QList<QStringList>{call(u"unload"_s, plist), call(u"load"_s, plist)}));
        QCOMPARE(Sandbox::readFile(plist), service.plistText(task).toUtf8());
    }

    void reinstall_failingUnloadIsIgnored()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        Sandbox::writeFile(service.plistPath(task), "old");
        launchctl.setExitStatus(3, u"unload"_s);
        QCOMPARE(service.install(task), std::nullopt);
        QCOMPARE(launchctl.calls().size(), 2);
        QCOMPARE(Sandbox::readFile(service.plistPath(task)), service.plistText(task).toUtf8());
    }

    void loadFails_errorAndFilesStay()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.setExitStatus(1, u"load"_s);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        const auto error = service.install(task);
        QCOMPARE(error, JobControlError::launchctlFailed(u"load"_s, 1));
        QCOMPARE(error->description(), u"launchctl load failed (exit code 1)"_s);
        QCOMPARE(Sandbox::readFile(service.scriptPath(task)), service.scriptText(task).toUtf8());
        QCOMPARE(Sandbox::readFile(service.plistPath(task)), service.plistText(task).toUtf8());
    }

    void launchctlUnstartable_installGivesMinusOneAndFilesStay()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.makeUnstartable();
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        const auto error = service.install(task);
        QCOMPARE(error, JobControlError::launchctlFailed(u"load"_s, -1));
        QCOMPARE(error->description(), u"launchctl load failed (exit code -1)"_s);
        QVERIFY(QFile::exists(service.scriptPath(task)));
        QVERIFY(QFile::exists(service.plistPath(task)));
    }

    void scriptsFolderBlocked_installFailedNothingLoaded()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        Sandbox::writeFile(sandbox.scriptsDir(), "a file where the folder should be");
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        const auto error = service.install(task);
        QVERIFY(error);
        QCOMPARE(error->kind, JobControlError::Kind::installFailed);
        QVERIFY2(error->description().startsWith(u"Failed to install task: "), qPrintable(error->description()));
        QVERIFY2(error->message.contains(sandbox.scriptsDir()), qPrintable(error->message));
        QVERIFY(launchctl.calls().isEmpty());
        QVERIFY(!QFile::exists(service.plistPath(task)));
    }

    void plistCannotBeWritten_installFailedScriptStays()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        // A file where the launch-agents folder should be: the property list cannot be saved.
        Sandbox::writeFile(sandbox.launchAgentsDir(), "blocked");
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        const auto error = service.install(task);
        QVERIFY(error);
        QCOMPARE(error->kind, JobControlError::Kind::installFailed);
        QVERIFY2(error->message.contains(service.plistPath(task)), qPrintable(error->message));
        QVERIFY(launchctl.calls().isEmpty());
        QVERIFY(QFile::exists(service.scriptPath(task)));
    }

    void uninstall_unloadsAndDeletesScriptsKeepsHistory()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        QCOMPARE(service.install(task), std::nullopt);
        Sandbox::writeFile(service.legacyScriptPath(task.id), "#!/bin/bash\n");
        Sandbox::writeFile(service.runsPath(task), "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n");
        Sandbox::writeFile(service.stdoutLogPath(task), "out\n");
        Sandbox::writeFile(service.stderrLogPath(task), "err\n");
        launchctl.clearCalls();

        QCOMPARE(service.uninstall(task), std::nullopt);
        QCOMPARE(launchctl.calls(), QList<QStringList>{call(u"unload"_s, service.plistPath(task))});
        QVERIFY(!QFile::exists(service.plistPath(task)));
        QVERIFY(!QFile::exists(service.scriptPath(task)));
        QVERIFY(!QFile::exists(service.legacyScriptPath(task.id)));
        QVERIFY(QFile::exists(service.runsPath(task)));
        QVERIFY(QFile::exists(service.stdoutLogPath(task)));
        QVERIFY(QFile::exists(service.stderrLogPath(task)));
    }

    void uninstall_notInstalled_returnsUnloadFailureAndDeletesNothingElse()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.setExitStatus(113, u"unload"_s);
        const LaunchdService service = serviceIn(sandbox);
        Sandbox::writeFile(sandbox.scriptsDir() + u"/notes.txt"_s, "keep");
        QCOMPARE(service.uninstall(makeTask()), JobControlError::launchctlFailed(u"unload"_s, 113));
        QVERIFY(QFile::exists(sandbox.scriptsDir() + u"/notes.txt"_s));
    }

    void uninstall_unloadFailsFilesStillDeleted()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask task = makeTask();
        QCOMPARE(service.install(task), std::nullopt);
        launchctl.makeUnstartable();
        QCOMPARE(service.uninstall(task), JobControlError::launchctlFailed(u"unload"_s, -1));
        QVERIFY(!QFile::exists(service.plistPath(task)));
        QVERIFY(!QFile::exists(service.scriptPath(task)));
    }

    void removeOrphans_sweepsOnlyThisAppsStrays()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask kept = makeTask(kId);
        const ScheduledTask deleted = makeTask(kOtherId);
        QCOMPARE(service.install(kept), std::nullopt);
        QCOMPARE(service.install(deleted), std::nullopt);
        const QString agents = sandbox.launchAgentsDir();
        const QString scripts = sandbox.scriptsDir();
        const QStringList untouched{
            agents + u"/com.example.other.plist"_s, agents + u"/com.moxley.task.not-a-uuid.plist"_s,
            agents + u"/com.moxley.helper.plist"_s, scripts + u"/notes.txt"_s, scripts + u"/helper.py"_s};
        for (const QString &path : untouched) {
            Sandbox::writeFile(path, "keep");
        }
        const QString straySh = scripts + u"/Moxley_deadbeef.sh"_s;
        const QString legacyKept = service.legacyScriptPath(kept.id);
        Sandbox::writeFile(straySh, "#!/bin/bash\n");
        Sandbox::writeFile(legacyKept, "#!/bin/bash\n");
        launchctl.clearCalls();

        service.removeOrphans({kept.id});

        QCOMPARE(launchctl.calls(), QList<QStringList>{call(u"unload"_s, service.plistPath(deleted))});
        QVERIFY(!QFile::exists(service.plistPath(deleted)));
        QVERIFY(!QFile::exists(service.scriptPath(deleted)));
        QVERIFY(!QFile::exists(straySh));
        QVERIFY(!QFile::exists(legacyKept));
        QVERIFY(QFile::exists(service.plistPath(kept)));
        QVERIFY(QFile::exists(service.scriptPath(kept)));
        for (const QString &path : untouched) {
            QVERIFY2(QFile::exists(path), qPrintable(path));
            QCOMPARE(Sandbox::readFile(path), QByteArray("keep"));
        }
    }

    void removeOrphans_lowerCaseIdInName_isParsedToo()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const QString lower =
            sandbox.launchAgentsDir() + u"/com.moxley.task.fedcba98-7654-4321-8fed-cba987654321.plist"_s;
        const QString keptLower =
            sandbox.launchAgentsDir() + u"/com.moxley.task.0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9.plist"_s;
        Sandbox::writeFile(lower, "x");
        Sandbox::writeFile(keptLower, "x");
        service.removeOrphans({kId});
        QCOMPARE(launchctl.calls(), QList<QStringList>{call(u"unload"_s, lower)});
        QVERIFY(!QFile::exists(lower));
        QVERIFY(QFile::exists(keptLower));
    }

    void removeOrphans_unloadFailureIgnored_fileStillDeleted()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        launchctl.setExitStatus(1);
        const LaunchdService service = serviceIn(sandbox);
        const ScheduledTask gone = makeTask(kOtherId);
        Sandbox::writeFile(service.plistPath(gone), "x");
        service.removeOrphans({});
        QCOMPARE(launchctl.calls().size(), 1);
        QVERIFY(!QFile::exists(service.plistPath(gone)));
    }

    void removeOrphans_noFolders_doesNothing()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        service.removeOrphans({kId});
        QVERIFY(launchctl.calls().isEmpty());
        QVERIFY(!QFile::exists(sandbox.launchAgentsDir()));
        QVERIFY(!QFile::exists(sandbox.scriptsDir()));
    }

    void removeOrphans_agentsFolderMissing_stillSweepsScripts()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        const LaunchdService service = serviceIn(sandbox);
        const QString stray = sandbox.scriptsDir() + u"/Moxley_deadbeef.sh"_s;
        Sandbox::writeFile(stray, "x");
        service.removeOrphans({kId});
        QVERIFY(!QFile::exists(stray));
        QVERIFY(launchctl.calls().isEmpty());
    }
};

QTEST_GUILESS_MAIN(JobInstallationTest)
#include "test_job_installation.moc"
