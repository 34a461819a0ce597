#include "Sandbox.h"
#include "doctor/ProbeScript.h"
#include "launchd/LaunchdService.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestProbeScript : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wrapperWithEnvFileAndFolder_probeReportsTheirEffect();
    void cutOffAnswer_isNotRead();
};

// The probe as the command of the task's real wrapper, run by real bash.
void TestProbeScript::wrapperWithEnvFileAndFolder_probeReportsTheirEffect()
{
    Sandbox sandbox;
    const QString tools = sandbox.root() + u"/tools"_s;
    Sandbox::writeFile(tools + u"/only-here"_s, "#!/bin/sh\n", 0755);
    const QString envFile = sandbox.root() + u"/task.env"_s;
    Sandbox::writeFile(envFile, "PATH=" + tools.toUtf8() + ":/usr/bin:/bin\n");
    const QString folder = sandbox.root() + u"/work folder"_s;
    QVERIFY(QDir().mkpath(folder));

    const QString result = sandbox.root() + u"/answer"_s;
    ScheduledTask task;
    task.command = ProbeScript::probeLines({u"only-here"_s, u"missing-tool"_s}, result);
    task.envFilePath = envFile;
    task.workingDirectory = folder;
    task.useLoginShell = false;
    const LaunchdService files(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
    const QString probe = files.exactCalendarScriptText(task, u"/bin/bash"_s);
    const QString script = sandbox.root() + u"/probe.sh"_s;
    Sandbox::writeFile(script, probe.toUtf8(), 0700);
    QProcess bash;
    bash.start(u"/bin/bash"_s, {script});
    QVERIFY(bash.waitForFinished(10000));

    const auto answer = ProbeScript::parse(QString::fromUtf8(Sandbox::readFile(result)));
    QVERIFY(answer);
    QCOMPARE(answer->path, tools + u":/usr/bin:/bin"_s);
    QCOMPARE(answer->cwd, folder);
    QCOMPARE(answer->shell, u"bash"_s);
    QCOMPARE(answer->resolved.value(u"only-here"_s), tools + u"/only-here"_s);
    QVERIFY(answer->resolved.contains(u"missing-tool"_s));
    QCOMPARE(answer->resolved.value(u"missing-tool"_s), QString());
    QVERIFY(!QFile::exists(result + u".part"_s));
}

void TestProbeScript::cutOffAnswer_isNotRead()
{
    QVERIFY(!ProbeScript::parse(u"path\t/usr/bin\ncwd\t/\n"_s));
    QVERIFY(ProbeScript::parse(u"path\t/usr/bin\ncwd\t/\nend\n"_s));
}

QTEST_GUILESS_MAIN(TestProbeScript)
#include "test_probe_script.moc"
