#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace Qt::StringLiterals;

// A task from the command line to its recorded run: moxley add writes and loads the job, the
// generated script runs for real, and moxley history reads the run back.
class CliEndToEndTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void add_run_history()
    {
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);

        const auto added = sandbox.runCli({u"add"_s, u"--name"_s, u"End to end"_s, u"--command"_s,
                                           u"echo \"hello from $0\"; echo oops >&2; false"_s, u"--no-login-shell"_s,
                                           u"--daily"_s, u"--at"_s, u"6:00"_s});
        QCOMPARE(added.exitCode, 0);
        QCOMPARE(added.err, QByteArray());
        const QList<ScheduledTask> tasks = TaskMigration::read(sandbox.readTasksFile()).tasks;
        QCOMPARE(tasks.size(), 1);
        const ScheduledTask task = tasks.constFirst();
        QCOMPARE(added.out, task.fullId().toUtf8() + '\n');

        // The job files, exactly as generated, and launchctl asked to load the property list.
        const LaunchdService files;
        QCOMPARE(Sandbox::readFile(files.plistPath(task)), files.plistText(task).toUtf8());
        QCOMPARE(Sandbox::readFile(files.scriptPath(task)), files.scriptText(task).toUtf8());
        QCOMPARE(QFileInfo(files.scriptPath(task)).permissions() & 0x7000, QFile::Permissions(0x7000));
        QCOMPARE(launchctl.calls(), (QList<QStringList>{{u"load"_s, files.plistPath(task)}}));
        QVERIFY(osascript.calls().isEmpty());

        // What launchd would do at 6:00: run the script.
        const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
        const auto run = sandbox.run(u"bash"_s, {files.scriptPath(task)});
        const QDateTime after = QDateTime::currentDateTimeUtc().addSecs(1);
        QCOMPARE(run.exitCode, 1);
        QVERIFY(run.out.startsWith("hello from "));
        QCOMPARE(run.err, QByteArray("oops\n"));
        QCOMPARE(Sandbox::readFile(files.runsPath(task)).count('\n'), 1);

        const auto history = sandbox.runCli({u"history"_s, task.shortId(), u"--json"_s});
        QCOMPARE(history.exitCode, 0);
        const QJsonArray runs = QJsonDocument::fromJson(history.out).array();
        QCOMPARE(runs.size(), 1);
        const QJsonObject record = runs.at(0).toObject();
        QCOMPARE(record.value(u"exitCode"_s).toInt(), 1);
        const QDateTime started = QDateTime::fromString(record.value(u"startedAt"_s).toString(), Qt::ISODate);
        const QDateTime ended = QDateTime::fromString(record.value(u"endedAt"_s).toString(), Qt::ISODate);
        QVERIFY(started.isValid());
        QVERIFY2(started >= before && ended <= after && started <= ended,
                 qPrintable(started.toString(Qt::ISODate) + u' ' + ended.toString(Qt::ISODate)));

        // Switching it off removes the job and keeps the history.
        QCOMPARE(sandbox.runCli({u"disable"_s, u"End to end"_s}).exitCode, 0);
        QVERIFY(!QFileInfo::exists(files.plistPath(task)));
        QCOMPARE(launchctl.calls().constLast(), (QStringList{u"unload"_s, files.plistPath(task)}));
        QCOMPARE(QJsonDocument::fromJson(sandbox.runCli({u"history"_s, task.shortId(), u"--json"_s}).out).array(),
                 runs);
    }
};

QTEST_GUILESS_MAIN(CliEndToEndTest)
#include "test_cli_end_to_end.moc"
