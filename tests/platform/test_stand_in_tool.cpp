#include "Sandbox.h"
#include "StandInTool.h"

#include <QtTest>

using namespace Qt::StringLiterals;

// The stand-ins are what every job and wake test leans on; they must record and answer exactly.
class StandInToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsArgumentsExactly()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/bin/launchctl"_s);
        const QStringList odd{u"load"_s, u"/a b/it's \"x\"\n$HOME"_s, QString(), u"-w"_s};
        QCOMPARE(sandbox.run(tool.path(), odd).exitCode, 0);
        QCOMPARE(sandbox.run(tool.path(), {u"unload"_s}).exitCode, 0);
        const QList<QStringList> expected{odd, {u"unload"_s}};
        QCOMPARE(tool.calls(), expected);
        tool.clearCalls();
        QVERIFY(tool.calls().isEmpty());
    }

    void answersPerFirstArgument()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/pmset"_s);
        tool.setExitStatus(3);
        tool.setExitStatus(0, u"-g"_s);
        tool.setOutput("Scheduled power events:\n", u"-g"_s);
        const auto sched = sandbox.run(tool.path(), {u"-g"_s, u"sched"_s});
        QCOMPARE(sched.exitCode, 0);
        QCOMPARE(sched.out, QByteArray("Scheduled power events:\n"));
        const auto other = sandbox.run(tool.path(), {u"repeat"_s});
        QCOMPARE(other.exitCode, 3);
        QCOMPARE(other.out, QByteArray());
    }

    void statusForArgument_anywhereInTheCall_beforeFirstArgumentsStatus()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/bin/launchctl"_s);
        tool.setExitStatus(0, u"load"_s);
        tool.setExitStatus(4);
        tool.setExitStatusForArgument(7, u"/b c.plist"_s);
        QCOMPARE(sandbox.run(tool.path(), {u"load"_s, u"/a.plist"_s, u"/b c.plist"_s}).exitCode, 7);
        QCOMPARE(sandbox.run(tool.path(), {u"/b c.plist"_s}).exitCode, 7);
        // Only the whole argument counts.
        QCOMPARE(sandbox.run(tool.path(), {u"load"_s, u"/b"_s, u"c.plist"_s}).exitCode, 0);
        QCOMPARE(sandbox.run(tool.path(), {u"load"_s, u"/b c.plist2"_s}).exitCode, 0);
        QCOMPARE(sandbox.run(tool.path(), {u"list"_s}).exitCode, 4);
    }

    void sharedLogKeepsOrderAcrossTools()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
        sandbox.run(launchctl.path(), {u"unload"_s, u"/p"_s});
        sandbox.run(osascript.path(), {u"-e"_s, u"do shell script \"x\""_s});
        sandbox.run(launchctl.path(), {u"load"_s, u"/p"_s});
        const QList<QStringList> expected{{u"launchctl"_s, u"unload"_s, u"/p"_s},
                                          {u"osascript"_s, u"-e"_s, u"do shell script \"x\""_s},
                                          {u"launchctl"_s, u"load"_s, u"/p"_s}};
        QCOMPARE(StandInTool::allCalls(sandbox), expected);
    }

    void unstartable_cannotBeRun()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/bin/launchctl"_s);
        tool.makeUnstartable();
        QProcess process;
        process.start(tool.path(), {u"load"_s});
        QVERIFY(!process.waitForStarted(5000));
        QVERIFY(tool.calls().isEmpty());
    }
};

QTEST_GUILESS_MAIN(StandInToolTest)
#include "test_stand_in_tool.moc"
