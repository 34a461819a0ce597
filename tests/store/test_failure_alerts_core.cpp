#include "Sandbox.h"
#include "model/TaskMigration.h"
#include "platform/AppSettings.h"
#include "store/FailureAlert.h"
#include "store/RunHistory.h"
#include "store/RunsWatcher.h"

#include <QFile>
#include <QSignalSpy>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

void append(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append));
    QCOMPARE(file.write(bytes), bytes.size());
}

ScheduledTask task(const QString &name)
{
    ScheduledTask task;
    task.id = QUuid::fromString(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
    task.name = name;
    task.command = u"false"_s;
    task.schedule = TaskSchedule::daily({{9, 0}});
    return task;
}

QDateTime utc(int hour, int minute, int second)
{
    return QDateTime(QDate(2026, 11, 24), QTime(hour, minute, second), QTimeZone::utc());
}

} // namespace

// The alert's words, the runs watcher that tells of finished runs, and the shared setting.
class FailureAlertsCoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_failedRun_namesTaskTimeAndStatus()
    {
        const auto run = RunHistory::parseLine(u"2026-11-24T08:00:01Z\t2026-11-24T08:00:04Z\t3");
        QVERIFY(run);
        const FailureAlert::Text text = FailureAlert::forRun(task(u"Back up"_s), *run, QTimeZone("Europe/Berlin"));
        QCOMPARE(text.summary, u"Back up failed"_s);
        QCOMPARE(text.body, u"The run at 9:00 ended with exit status 3."_s);
    }

    void text_unnamedTaskAndUnrecordedFailure_useShortIdAndSystemdsWord()
    {
        const FailureAlert::Text text = FailureAlert::forUnrecordedFailure(task(u"  "_s), std::nullopt, u"signal"_s);
        QCOMPARE(text.summary, u"0a1b2c3d failed"_s);
        QCOMPARE(text.body, u"The run did not finish (systemd: signal)."_s);
        QCOMPARE(FailureAlert::forUnrecordedFailure(task(u"X"_s), std::nullopt, QString()).body,
                 u"The run did not finish."_s);
        QCOMPARE(FailureAlert::forUnrecordedFailure(task(u"X"_s), 3, u"exit-code"_s).body,
                 u"The run ended with exit status 3."_s);
    }

    void recentFailure_onlyAFailedRunThatJustEnded()
    {
        QTemporaryDir dir;
        const QString runs = dir.path() + u"/a.runs"_s;
        QVERIFY(!FailureAlert::recentFailure(runs, utc(8, 1, 0), 300));
        append(runs, "2026-11-24T08:00:01Z\t2026-11-24T08:00:04Z\t3\n");
        const auto recent = FailureAlert::recentFailure(runs, utc(8, 1, 0), 300);
        QVERIFY(recent);
        QCOMPARE(recent->exitCode, 3);
        // Too old to be the failure systemd reports now.
        QVERIFY(!FailureAlert::recentFailure(runs, utc(8, 5, 5), 300));
        append(runs, "2026-11-24T08:01:00Z\t2026-11-24T08:01:02Z\t0\n");
        QVERIFY(!FailureAlert::recentFailure(runs, utc(8, 1, 5), 300));
    }

    void watcher_appendedLine_isToldOnce_andEarlierLinesNot()
    {
        QTemporaryDir dir;
        const QString runs = dir.path() + u"/a.runs"_s;
        append(runs, "2026-11-24T08:00:01Z\t2026-11-24T08:00:04Z\t3\n");
        RunsWatcher watcher(20, 60000);
        QSignalSpy told(&watcher, &RunsWatcher::runFinished);
        const QUuid id = QUuid::createUuid();
        watcher.setFiles({{id, runs}});
        QTest::qWait(200);
        QCOMPARE(told.size(), 0);

        append(runs, "2026-11-24T09:00:00Z\t2026-11-24T09:00:02Z\t7\n");
        QTRY_COMPARE(told.size(), 1);
        QCOMPARE(told.at(0).at(0).value<QUuid>(), id);
        QCOMPARE(told.at(0).at(1).value<TaskRunRecord>().exitCode, 7);
        // Looking again finds nothing new.
        watcher.check();
        QTest::qWait(200);
        QCOMPARE(told.size(), 1);
        // Given again (the store reloaded), a file keeps what was seen of it.
        watcher.setFiles({{id, runs}});
        watcher.check();
        QCOMPARE(told.size(), 1);
    }

    void watcher_runsFileThatAppears_isTold_andAnOlderLineIsNot()
    {
        QTemporaryDir dir;
        const QString runs = dir.path() + u"/Logs/b.runs"_s;
        QVERIFY(QDir().mkpath(dir.path() + u"/Logs"_s));
        RunsWatcher watcher(20, 60000);
        QSignalSpy told(&watcher, &RunsWatcher::runFinished);
        watcher.setFiles({{QUuid::createUuid(), runs}});
        append(runs, "2026-11-24T09:00:00Z\t2026-11-24T09:00:02Z\t0\n");
        QTRY_COMPARE(told.size(), 1);
        QCOMPARE(told.at(0).at(1).value<TaskRunRecord>().exitCode, 0);
        // A line that ended before the last one seen is history, not a new run.
        append(runs, "2026-11-24T07:00:00Z\t2026-11-24T07:00:02Z\t1\n");
        QTest::qWait(300);
        watcher.check();
        QCOMPARE(told.size(), 1);
    }

    void watcher_poll_findsAChangeWithoutAWatch()
    {
        QTemporaryDir dir;
        const QString runs = dir.path() + u"/missing-folder/c.runs"_s;
        RunsWatcher watcher(20, 100);
        QSignalSpy told(&watcher, &RunsWatcher::runFinished);
        watcher.setFiles({{QUuid::createUuid(), runs}});
        // The folder did not exist, so nothing watches it: only the poll can find the run.
        Sandbox::writeFile(runs, "2026-11-24T09:00:00Z\t2026-11-24T09:00:02Z\t2\n");
        QTRY_COMPARE(told.size(), 1);
    }

    void setting_defaultsOn_andIsKeptInTheSharedFile()
    {
        Sandbox sandbox;
#ifdef Q_OS_MACOS
        QCOMPARE(AppSettings::filePath(), sandbox.dataDir() + u"/settings.ini"_s);
#else
        qputenv("XDG_CONFIG_HOME", (sandbox.home() + u"/.config"_s).toUtf8());
        QCOMPARE(AppSettings::filePath(), sandbox.home() + u"/.config/Moxley/settings.ini"_s);
#endif
        QVERIFY(AppSettings::alertsEnabled());
        AppSettings::setAlertsEnabled(false);
        QVERIFY(!AppSettings::alertsEnabled());
        QCOMPARE(Sandbox::readFile(AppSettings::filePath()), "[alerts]\nfailedRuns=false\n"_ba);
        AppSettings::setAlertsEnabled(true);
        QVERIFY(AppSettings::alertsEnabled());
#ifndef Q_OS_MACOS
        qunsetenv("XDG_CONFIG_HOME");
        QCOMPARE(AppSettings::filePath(), sandbox.home() + u"/.config/Moxley/settings.ini"_s);
#endif
    }
};

QTEST_GUILESS_MAIN(FailureAlertsCoreTest)
#include "test_failure_alerts_core.moc"
