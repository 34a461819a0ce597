#include "Sandbox.h"
#include "doctor/DoctorReport.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestDoctorReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void programOnlyOnTerminalPath_isCommandNotFoundWithItsPath();
    void otherVersionWhenScheduled_isPathOnlyInteractive();
    void missingFolderEnvFileAndShell_eachReportedByKind();
    void scriptWithoutExecuteBit_isNotExecutableAndGoneScriptIsMissing();
    void healthyTask_hasNoProblems();
    void folderLaterOnScheduledPath_isPathOnlyInteractiveWithOrderFix();
    void sideWithoutAnswer_comparesNoCommandsButStillChecksPaths();
};

namespace {
DoctorReport::Facts facts(const QString &home)
{
    DoctorReport::Facts facts;
    facts.home = home;
    facts.interactive = ProbeScript::Answer{};
    facts.scheduled = ProbeScript::Answer{};
    facts.scheduled->cwd = home;
    facts.wrapperShell = u"/bin/bash"_s;
    return facts;
}
} // namespace

void TestDoctorReport::programOnlyOnTerminalPath_isCommandNotFoundWithItsPath()
{
    Sandbox sandbox;
    auto f = facts(sandbox.home());
    f.interactive->resolved = {{u"node"_s, u"/home/me/.nvm/bin/node"_s}, {u"ls"_s, u"/bin/ls"_s}};
    f.scheduled->resolved = {{u"node"_s, QString()}, {u"ls"_s, u"/bin/ls"_s}};
    ScheduledTask task;
    const auto problems = DoctorReport::problems(task, {u"node"_s, u"ls"_s}, f);
    QCOMPARE(problems.size(), 1);
    QCOMPARE(problems[0].kind, u"command-not-found"_s);
    QCOMPARE(problems[0].text, u"`node` is found in your terminal (/home/me/.nvm/bin/node) but not when scheduled; "
                               "add its folder to PATH in the task's .env file or use the full path"_s);
}

void TestDoctorReport::otherVersionWhenScheduled_isPathOnlyInteractive()
{
    Sandbox sandbox;
    auto f = facts(sandbox.home());
    f.interactive->resolved = {{u"python3"_s, u"/opt/py/bin/python3"_s}};
    f.scheduled->resolved = {{u"python3"_s, u"/usr/bin/python3"_s}};
    const auto problems = DoctorReport::problems(ScheduledTask{}, {u"python3"_s}, f);
    QCOMPARE(problems.size(), 1);
    QCOMPARE(problems[0].kind, u"path-only-interactive"_s);
    QVERIFY(problems[0].text.contains(u"/opt/py/bin is only on your terminal's PATH"_s));
}

void TestDoctorReport::missingFolderEnvFileAndShell_eachReportedByKind()
{
    Sandbox sandbox;
    auto f = facts(sandbox.home());
    f.wrapperShell = sandbox.root() + u"/no/zsh"_s;
    f.jobLoaded = false;
    ScheduledTask task;
    task.workingDirectory = sandbox.root() + u"/removed"_s;
    task.envFilePath = sandbox.root() + u"/gone.env"_s;
    QStringList kinds;
    for (const auto &problem : DoctorReport::problems(task, {}, f)) {
        kinds << problem.kind;
    }
    QCOMPARE(kinds, (QStringList{u"shell-missing"_s, u"job-not-loaded"_s, u"missing-working-directory"_s,
                                 u"missing-env-file"_s}));
}

void TestDoctorReport::scriptWithoutExecuteBit_isNotExecutableAndGoneScriptIsMissing()
{
    Sandbox sandbox;
    Sandbox::writeFile(sandbox.home() + u"/backup.sh"_s, "#!/bin/sh\n", 0644);
    const auto problems =
        DoctorReport::problems(ScheduledTask{}, {u"./backup.sh"_s, u"~/gone.sh"_s}, facts(sandbox.home()));
    QCOMPARE(problems.size(), 2);
    QCOMPARE(problems[0].kind, u"script-not-executable"_s);
    QCOMPARE(problems[0].text, u"`./backup.sh` is not executable; run chmod +x "_s + sandbox.home() + u"/backup.sh"_s);
    QCOMPARE(problems[1].kind, u"script-missing"_s);
}

void TestDoctorReport::healthyTask_hasNoProblems()
{
    Sandbox sandbox;
    Sandbox::writeFile(sandbox.home() + u"/run.sh"_s, "#!/bin/sh\n", 0755);
    Sandbox::writeFile(sandbox.home() + u"/.env"_s, "A=1\n");
    auto f = facts(sandbox.home());
    f.interactive->resolved = {{u"ls"_s, u"/bin/ls"_s}};
    f.scheduled->resolved = f.interactive->resolved;
    ScheduledTask task;
    task.workingDirectory = sandbox.home();
    task.envFilePath = sandbox.home() + u"/.env"_s;
    QCOMPARE(DoctorReport::problems(task, {u"ls"_s, u"./run.sh"_s}, f), QList<DoctorProblem>{});
}

void TestDoctorReport::folderLaterOnScheduledPath_isPathOnlyInteractiveWithOrderFix()
{
    Sandbox sandbox;
    auto f = facts(sandbox.home());
    f.interactive->resolved = {{u"python3"_s, u"/opt/py/bin/python3"_s}};
    f.scheduled->resolved = {{u"python3"_s, u"/usr/bin/python3"_s}};
    f.scheduled->path = u"/usr/bin:/opt/py/bin"_s;
    const auto problems = DoctorReport::problems(ScheduledTask{}, {u"python3"_s}, f);
    QCOMPARE(problems.size(), 1);
    QCOMPARE(problems[0].text,
             u"`python3` is /opt/py/bin/python3 in your terminal but /usr/bin/python3 when scheduled, "
             "because /opt/py/bin comes later on the scheduled PATH; put it first in PATH in the "
             "task's .env file"_s);
}

void TestDoctorReport::sideWithoutAnswer_comparesNoCommandsButStillChecksPaths()
{
    Sandbox sandbox;
    auto f = facts(sandbox.home());
    f.scheduled.reset();
    f.interactive->resolved = {{u"node"_s, u"/opt/node/bin/node"_s}};
    ScheduledTask task;
    task.workingDirectory = sandbox.home();
    const auto problems = DoctorReport::problems(task, {u"node"_s, u"./gone.sh"_s}, f);
    QCOMPARE(problems.size(), 1);
    QCOMPARE(problems[0].kind, u"script-missing"_s);
    QCOMPARE(problems[0].text, u"`./gone.sh` does not exist (looked for "_s + sandbox.home() +
                                   u"/gone.sh); check the path, or give the full path"_s);
}

QTEST_GUILESS_MAIN(TestDoctorReport)
#include "test_doctor_report.moc"
