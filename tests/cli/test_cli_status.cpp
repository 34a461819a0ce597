#include "Sandbox.h"
#include "ScopedTimeZone.h"
#include "model/TaskMigration.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask makeTask(const char *id, const QString &name, TaskSchedule schedule, bool enabled = true)
{
    ScheduledTask task;
    task.id = QUuid::fromString(QLatin1String(id));
    task.name = name;
    task.command = u"true"_s;
    task.schedule = std::move(schedule);
    task.isEnabled = enabled;
    return task;
}

const ScheduledTask kBackup =
    makeTask("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", u"Backup"_s, TaskSchedule::daily({{7, 0}}));
const ScheduledTask kReport =
    makeTask("9ABCDEF0-0000-4000-8000-000000000002", u"Weekly report"_s, TaskSchedule::weekly({2, 6}, {{9, 0}}));
const ScheduledTask kMonthEnd =
    makeTask("5E6F7A8B-0000-4000-8000-000000000001", u"Month end"_s, TaskSchedule::monthlyLastDay({{23, 30}}));
const ScheduledTask kPaused =
    makeTask("11111111-0000-4000-8000-000000000003", u"Paused"_s, TaskSchedule::daily({{6, 0}}), false);
const ScheduledTask kEvery =
    makeTask("22222222-0000-4000-8000-000000000004", u"Every 15"_s, TaskSchedule::interval(15));
const ScheduledTask kNight =
    makeTask("33333333-0000-4000-8000-000000000005", u"Night"_s, TaskSchedule::daily({{2, 30}}));

QDateTime berlin(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone("Europe/Berlin"));
}

// A job file whose modification time is `installed`.
void writeJobFile(const QString &path, const QDateTime &installed)
{
    Sandbox::writeFile(path, "job\n");
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(installed, QFileDevice::FileModificationTime));
}

QString plistPath(const Sandbox &sandbox, const ScheduledTask &task)
{
    return sandbox.launchAgentsDir() + u"/com.moxley.task."_s + task.fullId() + u".plist"_s;
}

void writeRuns(const Sandbox &sandbox, const ScheduledTask &task, const QByteArray &lines)
{
    Sandbox::writeFile(sandbox.logDir() + u'/' + task.shortId() + u".runs"_s, lines);
}

// Backup: daily 7:00, runs on 2, 4, 6 and 8 March (the last one failed) and late on 5 March, after a
// wake; none on 3 and 7 March. Weekly report: installed two days before 8 March, so Monday 3 March is
// not its to miss; ran on Friday. Month end: never ran. Paused is disabled, Every 15 an interval.
void prepareHistories(const Sandbox &sandbox)
{
    sandbox.writeTasksFile(TaskMigration::encode({kBackup, kReport, kMonthEnd, kPaused, kEvery}));
    writeJobFile(plistPath(sandbox, kBackup), berlin(2025, 2, 1, 12, 0));
    writeJobFile(plistPath(sandbox, kReport), berlin(2025, 3, 6, 9, 0));
    writeJobFile(plistPath(sandbox, kMonthEnd), berlin(2025, 1, 1, 12, 0));
    writeJobFile(plistPath(sandbox, kEvery), berlin(2025, 1, 1, 12, 0));
    writeRuns(sandbox, kBackup,
              "2025-03-02T06:00:04Z\t2025-03-02T06:00:09Z\t0\n"
              "2025-03-04T06:00:03Z\t2025-03-04T06:00:08Z\t0\n"
              "2025-03-05T09:15:00Z\t2025-03-05T09:15:30Z\t0\n"
              "2025-03-06T06:00:02Z\t2025-03-06T06:00:07Z\t0\n"
              "2025-03-08T06:00:05Z\t2025-03-08T06:01:05Z\t2\n");
    writeRuns(sandbox, kReport, "2025-03-07T08:00:30Z\t2025-03-07T08:00:40Z\t0\n");
}

const QString kExpectedText = u"0a1b2c3d  Backup         2025-03-08 07:00 exit 2  2025-03-09 07:00  2 missed\n"
                              u"9abcdef0  Weekly report  2025-03-07 09:00 exit 0  2025-03-10 09:00  0 missed\n"
                              u"5e6f7a8b  Month end      never                    2025-03-31 23:30  0 missed\n"
                              u"11111111  Paused         never                    -                 0 missed\n"
                              u"22222222  Every 15       never                    -                 0 missed\n"_s;

const QByteArray kExpectedJson = R"([
  {
    "id" : "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",
    "isEnabled" : true,
    "lastRun" : {
      "endedAt" : "2025-03-08T06:01:05Z",
      "exitCode" : 2,
      "startedAt" : "2025-03-08T06:00:05Z"
    },
    "missed" : [
      "2025-03-03 07:00",
      "2025-03-07 07:00"
    ],
    "name" : "Backup",
    "nextRun" : "2025-03-09 07:00",
    "shortId" : "0a1b2c3d"
  },
  {
    "id" : "9ABCDEF0-0000-4000-8000-000000000002",
    "isEnabled" : true,
    "lastRun" : {
      "endedAt" : "2025-03-07T08:00:40Z",
      "exitCode" : 0,
      "startedAt" : "2025-03-07T08:00:30Z"
    },
    "missed" : [],
    "name" : "Weekly report",
    "nextRun" : "2025-03-10 09:00",
    "shortId" : "9abcdef0"
  },
  {
    "id" : "5E6F7A8B-0000-4000-8000-000000000001",
    "isEnabled" : true,
    "lastRun" : null,
    "missed" : [],
    "name" : "Month end",
    "nextRun" : "2025-03-31 23:30",
    "shortId" : "5e6f7a8b"
  },
  {
    "id" : "11111111-0000-4000-8000-000000000003",
    "isEnabled" : false,
    "lastRun" : null,
    "missed" : [],
    "name" : "Paused",
    "nextRun" : null,
    "shortId" : "11111111"
  },
  {
    "id" : "22222222-0000-4000-8000-000000000004",
    "isEnabled" : true,
    "lastRun" : null,
    "missed" : [],
    "name" : "Every 15",
    "nextRun" : null,
    "shortId" : "22222222"
  }
]
)";

QJsonArray parseArray(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        qWarning() << "not one JSON array:" << bytes;
        return {};
    }
    return document.array();
}

QStringList missedOf(const QJsonArray &statuses, const ScheduledTask &task)
{
    for (const QJsonValue &status : statuses) {
        if (status[u"id"_s].toString() == task.fullId()) {
            QStringList out;
            for (const QJsonValue &due : status[u"missed"_s].toArray()) {
                out.append(due.toString());
            }
            return out;
        }
    }
    return {u"<no such task>"_s};
}

} // namespace

class CliStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_isAlignedAndPlainWhenNotATerminal()
    {
        const ScopedTimeZone zone("Europe/Berlin");
        Sandbox sandbox;
        prepareHistories(sandbox);
        const auto result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-03-08T09:00"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(QString::fromUtf8(result.out), kExpectedText);
    }

    void json_isExactlyTheDocumentedShape()
    {
        const ScopedTimeZone zone("Europe/Berlin");
        Sandbox sandbox;
        prepareHistories(sandbox);
        const auto result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-03-08T09:00"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, kExpectedJson);
    }

    void monthEnd_februaryLastDayIsMissedAfterwards()
    {
        const ScopedTimeZone zone("Europe/Berlin");
        Sandbox sandbox;
        prepareHistories(sandbox);
        const auto result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-03-02T12:00"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray statuses = parseArray(result.out);
        QCOMPARE(missedOf(statuses, kMonthEnd), QStringList{u"2025-02-28 23:30"_s});
        QCOMPARE(missedOf(statuses, kBackup),
                 (QStringList{u"2025-02-24 07:00"_s, u"2025-02-25 07:00"_s, u"2025-02-26 07:00"_s,
                              u"2025-02-27 07:00"_s, u"2025-02-28 07:00"_s, u"2025-03-01 07:00"_s}));
        // Installed on 6 March: nothing before it is missed.
        QCOMPARE(missedOf(statuses, kReport), QStringList{});
    }

    void dstChanges_inBerlin()
    {
        const ScopedTimeZone zone("Europe/Berlin");
        Sandbox sandbox;
        sandbox.writeTasksFile(TaskMigration::encode({kNight}));
        writeJobFile(plistPath(sandbox, kNight), berlin(2025, 3, 20, 12, 0));
        writeRuns(sandbox, kNight, "2025-03-31T00:30:03Z\t2025-03-31T00:30:09Z\t0\n");
        // 30 March has no 2:30; the run of 31 March came at 2:30 summer time.
        auto result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-03-31T12:00"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(missedOf(parseArray(result.out), kNight),
                 (QStringList{u"2025-03-25 02:30"_s, u"2025-03-26 02:30"_s, u"2025-03-27 02:30"_s,
                              u"2025-03-28 02:30"_s, u"2025-03-29 02:30"_s}));
        QCOMPARE(parseArray(result.out).at(0)[u"nextRun"_s].toString(), u"2025-04-01 02:30"_s);

        // 26 October has its 2:30 twice on the clock but is due once; the run in the first pass covers it.
        writeJobFile(plistPath(sandbox, kNight), berlin(2025, 10, 20, 12, 0));
        writeRuns(sandbox, kNight, "2025-10-26T00:30:02Z\t2025-10-26T00:30:09Z\t0\n");
        result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-10-27T12:00"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(missedOf(parseArray(result.out), kNight),
                 (QStringList{u"2025-10-21 02:30"_s, u"2025-10-22 02:30"_s, u"2025-10-23 02:30"_s,
                              u"2025-10-24 02:30"_s, u"2025-10-25 02:30"_s, u"2025-10-27 02:30"_s}));
    }

    void systemdScheduler_installedAtIsTheTimerUnit()
    {
        const ScopedTimeZone zone("Europe/Berlin");
        Sandbox sandbox;
        sandbox.writeTasksFile(TaskMigration::encode({kBackup}));
        writeRuns(sandbox, kBackup, "2025-03-08T06:00:05Z\t2025-03-08T06:01:05Z\t0\n");
        const QString config = sandbox.root() + u"/config"_s;
        writeJobFile(config + u"/systemd/user/com.moxley.task."_s + kBackup.fullId() + u".timer"_s,
                     berlin(2025, 3, 6, 12, 0));
        // A property list that says otherwise is not the systemd job.
        writeJobFile(plistPath(sandbox, kBackup), berlin(2025, 2, 1, 12, 0));
        qputenv("MOXLEY_SCHEDULER", "systemd");
        qputenv("XDG_CONFIG_HOME", config.toUtf8());
        const auto result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-03-08T09:00"_s, u"--json"_s});
        qunsetenv("MOXLEY_SCHEDULER");
        qunsetenv("XDG_CONFIG_HOME");
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(missedOf(parseArray(result.out), kBackup), QStringList{u"2025-03-07 07:00"_s});
    }

    void terminal_getsRedAndGreen()
    {
        const QString script = QStandardPaths::findExecutable(u"script"_s);
        if (script.isEmpty()) {
            QSKIP("util-linux's script is missing, so there is no terminal to run in");
        }
        const ScopedTimeZone zone("Europe/Berlin");
        Sandbox sandbox;
        prepareHistories(sandbox);
        const QString command = u"'"_s + QStringLiteral(MOXLEY_CLI_PATH) + u"' status --at 2025-03-08T09:00"_s;
        const auto result = sandbox.run(script, {u"-qec"_s, command, u"/dev/null"_s});
        QCOMPARE(result.exitCode, 0);
        const QString red = u"\x1b[31m"_s, green = u"\x1b[32m"_s, reset = u"\x1b[0m"_s;
        const QString expected = u"0a1b2c3d  Backup         "_s + red + u"2025-03-08 07:00 exit 2"_s + reset +
                                 u"  2025-03-09 07:00  "_s + red + u"2 missed"_s + reset + u"\n"_s +
                                 u"9abcdef0  Weekly report  "_s + green + u"2025-03-07 09:00 exit 0"_s + reset +
                                 u"  2025-03-10 09:00  0 missed\n"_s + kExpectedText.section(u'\n', 2);
        QCOMPARE(QString::fromUtf8(result.out).replace(u"\r\n"_s, u"\n"_s), expected);
    }

    void badAt_isAUsageError()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"status"_s, u"--at"_s, u"2025-03-08 09:00"_s});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.out.isEmpty());
        QVERIFY(result.err.startsWith("moxley: --at needs a local time as YYYY-MM-DDTHH:MM"));
    }
};

QTEST_GUILESS_MAIN(CliStatusTest)
#include "test_cli_status.moc"
