#include "Sandbox.h"
#include "StandInTool.h"

#include <QtTest>

// The stand-ins are what every job and wake test leans on; they must record and answer exactly.
class StandInToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsArgumentsExactly()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/bin/launchctl"_qs);
        const QStringList odd{u"load"_qs, u"/a b/it's \"x\"\n$HOME"_qs, QString(), u"-w"_qs};
        QCOMPARE(sandbox.run(tool.path(), odd).exitCode, 0);
        QCOMPARE(sandbox.run(tool.path(), {u"unload"_qs}).exitCode, 0);
        const QList<QStringList> expected{odd, {u"unload"_qs}};
        QCOMPARE(tool.calls(), expected);
        tool.clearCalls();
        QVERIFY(tool.calls().isEmpty());
    }

    void answersPerFirstArgument()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/pmset"_qs);
        tool.setExitStatus(3);
        tool.setExitStatus(0, u"-g"_qs);
        tool.setOutput("Scheduled power events:\n", u"-g"_qs);
        const auto sched = sandbox.run(tool.path(), {u"-g"_qs, u"sched"_qs});
        QCOMPARE(sched.exitCode, 0);
        QCOMPARE(sched.out, QByteArray("Scheduled power events:\n"));
        const auto other = sandbox.run(tool.path(), {u"repeat"_qs});
        QCOMPARE(other.exitCode, 3);
        QCOMPARE(other.out, QByteArray());
    }

    void sharedLogKeepsOrderAcrossTools()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_qs);
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_qs);
        sandbox.run(launchctl.path(), {u"unload"_qs, u"/p"_qs});
        sandbox.run(osascript.path(), {u"-e"_qs, u"do shell script \"x\""_qs});
        sandbox.run(launchctl.path(), {u"load"_qs, u"/p"_qs});
        const QList<QStringList> expected{{u"launchctl"_qs, u"unload"_qs, u"/p"_qs},
                                          {u"osascript"_qs, u"-e"_qs, u"do shell script \"x\""_qs},
                                          {u"launchctl"_qs, u"load"_qs, u"/p"_qs}};
        QCOMPARE(StandInTool::allCalls(sandbox), expected);
    }

    void unstartable_cannotBeRun()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/bin/launchctl"_qs);
        tool.makeUnstartable();
        QProcess process;
        process.start(tool.path(), {u"load"_qs});
        QVERIFY(!process.waitForStarted(5000));
        QVERIFY(tool.calls().isEmpty());
    }
};

QTEST_GUILESS_MAIN(StandInToolTest)
#include "test_stand_in_tool.moc"
