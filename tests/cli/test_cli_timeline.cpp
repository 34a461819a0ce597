#include "Sandbox.h"
#include "ScopedTimeZone.h"
#include "cli/TimelineCommand.h"
#include "model/TaskMigration.h"

#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask makeTask(const char *id, const QString &name, TaskSchedule schedule, bool wake = false,
                       bool enabled = true)
{
    ScheduledTask task;
    task.id = QUuid::fromString(QLatin1String(id));
    task.name = name;
    task.command = u"echo hi"_s;
    task.schedule = std::move(schedule);
    task.wakeBeforeRun = wake;
    task.isEnabled = enabled;
    return task;
}

const ScheduledTask kBackup = makeTask("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", u"Backup"_s,
                                       TaskSchedule::daily({TimeOfDay{6, 0}, TimeOfDay{0, 2}}), true);
const ScheduledTask kHourly =
    makeTask("5E6F7A8B-0000-4000-8000-000000000001", u"Hourly"_s, TaskSchedule::interval(360));
const ScheduledTask kMondays =
    makeTask("9ABCDEF0-0000-4000-8000-000000000002", u"Mondays"_s, TaskSchedule::weekly({2}, {TimeOfDay{9, 0}}));
const ScheduledTask kOff =
    makeTask("11111111-0000-4000-8000-000000000003", u"Off"_s, TaskSchedule::daily({TimeOfDay{6, 0}}), false, false);
const ScheduledTask kAtLoad = makeTask("22222222-0000-4000-8000-000000000004", u"At load"_s, TaskSchedule::runAtLoad());

QJsonObject occurrence(int minute, bool ran)
{
    return {{u"minute"_s, minute}, {u"ran"_s, ran}};
}

QJsonObject drawnRun(int startMinute, double minutes, int exitCode)
{
    return {{u"startMinute"_s, startMinute}, {u"minutes"_s, minutes}, {u"exitCode"_s, exitCode}};
}

QJsonObject window(int startMinute)
{
    return {{u"startMinute"_s, startMinute}, {u"minutes"_s, 5}};
}

QJsonObject parse(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        qWarning() << "not one JSON object:" << bytes;
        return {};
    }
    return document.object();
}

} // namespace

class CliTimelineTest : public QObject
{
    Q_OBJECT

private:
    static void prepare(const Sandbox &sandbox)
    {
        sandbox.writeTasksFile(TaskMigration::encode({kOff, kBackup, kAtLoad, kHourly, kMondays}));
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.runs",
                           "2025-02-28T05:00:00Z\t2025-02-28T05:00:10Z\t0\n" // yesterday
                           "2025-03-01T05:03:00Z\t2025-03-01T05:03:10Z\t0\n" // 06:03 in Berlin
                           "2025-03-01T09:00:00Z\t2025-03-01T09:02:30Z\t3\n");
        Sandbox::writeFile(sandbox.logDir() + u"/5e6f7a8b.runs", "2025-03-01T11:01:00Z\t1\n"); // 12:01
    }

private Q_SLOTS:
    void json_hasTheAgreedShape()
    {
        Sandbox sandbox;
        prepare(sandbox);
        ScopedTimeZone zone("Europe/Berlin");
        const auto result = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-01T06:30"_s, u"--json"_s});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        const QJsonObject expected{
            {u"date"_s, u"2025-03-01"_s},
            {u"currentHour"_s, 6},
            {u"tasks"_s,
             QJsonArray{
                 QJsonObject{{u"id"_s, kBackup.fullId()},
                             {u"name"_s, u"Backup"_s},
                             {u"occurrences"_s, QJsonArray{occurrence(360, true), occurrence(2, false)}},
                             {u"runs"_s, QJsonArray{drawnRun(363, 1, 0), drawnRun(600, 2.5, 3)}},
                             {u"wakeWindows"_s, QJsonArray{window(355), window(0)}}},
                 QJsonObject{{u"id"_s, kHourly.fullId()},
                             {u"name"_s, u"Hourly"_s},
                             {u"occurrences"_s, QJsonArray{occurrence(0, false), occurrence(360, false),
                                                           occurrence(720, true), occurrence(1080, false)}},
                             {u"runs"_s, QJsonArray{drawnRun(721, 1, 1)}}},
                 QJsonObject{{u"id"_s, kMondays.fullId()},
                             {u"name"_s, u"Mondays"_s},
                             {u"occurrences"_s, QJsonArray{}},
                             {u"runs"_s, QJsonArray{}}},
             }},
        };
        QCOMPARE(parse(result.out), expected);
        QVERIFY(!result.out.contains("systemJobs"));
        QVERIFY(result.out.endsWith("}\n"));
    }

    void at_isLocalTimeInTz()
    {
        Sandbox sandbox;
        prepare(sandbox);
        ScopedTimeZone zone("America/New_York");
        const auto result = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-01T06:30"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject day = parse(result.out);
        QCOMPARE(day[u"currentHour"].toInt(), 6);
        const QJsonObject backup = day[u"tasks"].toArray().at(0).toObject();
        // 05:03 UTC is 00:03 in New York: it marks the 0:02 occurrence, not the 6:00 one.
        QCOMPARE(backup[u"occurrences"].toArray(), (QJsonArray{occurrence(360, false), occurrence(2, true)}));
        QCOMPARE(backup[u"runs"].toArray(), (QJsonArray{drawnRun(3, 1, 0), drawnRun(240, 2.5, 3)}));
        // The same instant, a day earlier in Tokyo's calendar.
        ScopedTimeZone tokyo("Asia/Tokyo");
        const auto early = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-01T06:30"_s, u"--json"_s});
        const QJsonObject tokyoDay = parse(early.out);
        QCOMPARE(tokyoDay[u"date"].toString(), u"2025-03-01"_s);
        QCOMPARE(tokyoDay[u"tasks"].toArray().at(0).toObject()[u"runs"].toArray(),
                 (QJsonArray{drawnRun(843, 1, 0), drawnRun(1080, 2.5, 3)}));
    }

    // 30 March 2025 in Berlin has no 2:00-2:59; minutes stay wall-clock minutes.
    void daylightSavingDay_usesWallClockMinutes()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(TaskMigration::encode({kHourly}));
        Sandbox::writeFile(sandbox.logDir() + u"/5e6f7a8b.runs", "2025-03-30T04:00:00Z\t2025-03-30T04:01:00Z\t0\n");
        ScopedTimeZone zone("Europe/Berlin");
        const auto result = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-30T12:00"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject task = parse(result.out)[u"tasks"].toArray().at(0).toObject();
        QCOMPARE(task[u"runs"].toArray(), QJsonArray{drawnRun(360, 1, 0)});
        QCOMPARE(task[u"occurrences"].toArray().at(1).toObject(), occurrence(360, true));

        const auto skipped = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-30T02:30"_s});
        QCOMPARE(skipped.exitCode, 2);
        QCOMPARE(skipped.err, QByteArray("moxley: --at 2025-03-30T02:30 does not exist in the local time zone "
                                         "(the clocks skip it)\n"
                                         "Try 'moxley timeline --help' for more information.\n"));
    }

    void text_isReadable()
    {
        Sandbox sandbox;
        prepare(sandbox);
        ScopedTimeZone zone("Europe/Berlin");
        const auto result = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-01T06:30"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("Timeline for Saturday, 2025-03-01, now in hour 6\n"
                                        "\n"
                                        "My tasks\n"
                                        "  Backup (0a1b2c3d), Daily at 0:02, 6:00\n"
                                        "    due:  6:00 (ran), 0:02\n"
                                        "    runs: 6:03 for 1 min, exit 0; 10:00 for 2.5 min, exit 3\n"
                                        "    wake: 5:55, 0:00 (5 min each)\n"
                                        "  Hourly (5e6f7a8b), Every 360 min\n"
                                        "    due:  0:00, 6:00, 12:00 (ran), 18:00\n"
                                        "    runs: 12:01 for 1 min, exit 1\n"
                                        "  Mondays (9abcdef0), Mon at 9:00\n"
                                        "    due:  not today\n"));
    }

    void noPlacedTasks_saysNoEnabledTasks()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile(TaskMigration::encode({kOff, kAtLoad}));
        ScopedTimeZone zone("Europe/Berlin");
        const auto result = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-01T23:59"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("Timeline for Saturday, 2025-03-01, now in hour 23\n\nNo enabled tasks\n"));
        const auto json = sandbox.runCli({u"timeline"_s, u"--at"_s, u"2025-03-01T23:59"_s, u"--json"_s});
        QCOMPARE(parse(json.out),
                 (QJsonObject{{u"date"_s, u"2025-03-01"_s}, {u"currentHour"_s, 23}, {u"tasks"_s, QJsonArray{}}}));
    }

    void withoutAt_usesTheClock()
    {
        Sandbox sandbox;
        ScopedTimeZone zone("UTC");
        const QDateTime before = QDateTime::currentDateTimeUtc();
        const auto result = sandbox.runCli({u"timeline"_s, u"--json"_s});
        const QDateTime after = QDateTime::currentDateTimeUtc();
        QCOMPARE(result.exitCode, 0);
        const QJsonObject day = parse(result.out);
        const QDate date = QDate::fromString(day[u"date"].toString(), Qt::ISODate);
        QVERIFY(date == before.date() || date == after.date());
        const int hour = day[u"currentHour"].toInt();
        QVERIFY(hour == before.time().hour() || hour == after.time().hour());
    }

    void badAt_isUsageError_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("date only") << u"2025-03-01"_s;
        QTest::newRow("seconds") << u"2025-03-01T06:30:00"_s;
        QTest::newRow("blank for T") << u"2025-03-01 06:30"_s;
        QTest::newRow("single-digit hour") << u"2025-03-01T6:30"_s;
        QTest::newRow("no such day") << u"2025-02-29T06:30"_s;
        QTest::newRow("hour 24") << u"2025-03-01T24:00"_s;
        QTest::newRow("words") << u"tomorrow"_s;
    }

    void badAt_isUsageError()
    {
        QFETCH(QString, value);
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"timeline"_s, u"--at"_s, value});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray("moxley: --at needs a local time as YYYY-MM-DDTHH:MM, not '" + value.toUtf8() +
                                        "'\nTry 'moxley timeline --help' for more information.\n"));
    }

    // --system scans the machine's job folders, as the app's timeline does.
    void system_scansTheJobFolders()
    {
        Sandbox sandbox;
        prepare(sandbox);
        const QByteArray plist = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                                 "<key>Label</key><string>org.example.hourly.sync</string>"
                                 "<key>StartInterval</key><integer>3600</integer></dict></plist>";
        Sandbox::writeFile(sandbox.sysroot() + u"/Library/LaunchDaemons/org.example.hourly.sync.plist"_s, plist);
        const auto result =
            sandbox.runCli({u"timeline"_s, u"--system"_s, u"--json"_s, u"--at"_s, u"2025-03-01T06:30"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray jobs = QJsonDocument::fromJson(result.out).object().value(u"systemJobs"_s).toArray();
        QCOMPARE(jobs.size(), 1);
        const QJsonObject job = jobs.at(0).toObject();
        QCOMPARE(job.value(u"label"_s).toString(), u"org.example.hourly.sync"_s);
        QCOMPARE(job.value(u"name"_s).toString(), u"hourly.sync"_s);
        QJsonArray marks;
        for (int minute = 0; minute < 1440; minute += 60) {
            marks.append(minute);
        }
        QCOMPARE(job.value(u"marks"_s).toArray(), marks);
    }

    // The system lane's JSON, from a computed day with jobs.
    void systemJobsJson_onlyWhenAsked()
    {
        LaunchdJob calendar;
        calendar.label = u"com.apple.backupd.auto"_s;
        calendar.startCalendarInterval = QMap<QString, qint64>{{u"Hour"_s, 9}, {u"Weekday"_s, 1}};
        LaunchdJob fast;
        fast.label = u"org.example.poll"_s;
        fast.startInterval = 30;
        LaunchdJob own;
        own.label = u"com.moxley.task."_s + kBackup.fullId();
        own.startInterval = 3600;
        const QDateTime now(QDate(2025, 3, 1), QTime(6, 30), QTimeZone("Europe/Berlin"));
        const Timeline::Day day =
            Timeline::compute({kBackup}, {}, {calendar, fast, own}, now, QTimeZone("Europe/Berlin"));
        const QJsonObject with = TimelineOutput::json(day, true);
        QCOMPARE(
            with[u"systemJobs"].toArray(),
            (QJsonArray{
                QJsonObject{
                    {u"label"_s, calendar.label}, {u"name"_s, u"backupd.auto"_s}, {u"marks"_s, QJsonArray{540}}},
                QJsonObject{{u"label"_s, fast.label}, {u"name"_s, u"example.poll"_s}, {u"marks"_s, QJsonArray{}}}}));
        QVERIFY(!TimelineOutput::json(day, false).contains(u"systemJobs"));
        QCOMPARE(
            TimelineOutput::json(Timeline::compute({}, {}, {}, now, QTimeZone("Europe/Berlin")), true)[u"systemJobs"]
                .toArray(),
            QJsonArray{});
        const QString text = TimelineOutput::text(day, true);
        QVERIFY(text.endsWith(u"\nSystem jobs\n"
                              "  backupd.auto (com.apple.backupd.auto): 9:00\n"
                              "  example.poll (org.example.poll): more often than once a minute, not drawn\n"));
    }

    void readOnly_writesNothing()
    {
        Sandbox sandbox;
        prepare(sandbox);
        const auto listing = [&] {
            QStringList entries;
            QDirIterator it(sandbox.root(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                            QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString path = it.next();
                entries << path + u' ' + QString::number(QFileInfo(path).size());
            }
            entries.sort();
            return entries;
        };
        const QStringList before = listing();
        QCOMPARE(sandbox.runCli({u"timeline"_s, u"--json"_s}).exitCode, 0);
        QCOMPARE(sandbox.runCli({u"history"_s, u"Backup"_s}).exitCode, 0);
        QCOMPARE(sandbox.runCli({u"logs"_s, u"Backup"_s}).exitCode, 0);
        QCOMPARE(listing(), before);
    }
};

QTEST_GUILESS_MAIN(CliTimelineTest)
#include "test_cli_timeline.moc"
