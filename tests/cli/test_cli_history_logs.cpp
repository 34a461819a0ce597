#include "Sandbox.h"
#include "ScopedTimeZone.h"
#include "cli/CliJson.h"
#include "cli/TextTable.h"
#include "model/TaskMigration.h"
#include "store/RunHistory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask makeTask(const char *id, const QString &name)
{
    ScheduledTask task;
    task.id = QUuid::fromString(QLatin1String(id));
    task.name = name;
    task.command = u"echo hi"_s;
    task.schedule = TaskSchedule::daily({TimeOfDay{6, 0}});
    return task;
}

const ScheduledTask kBackup = makeTask("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", u"Backup"_s);
const ScheduledTask kReport = makeTask("5E6F7A8B-0000-4000-8000-000000000001", u"Report"_s);

const QByteArray kTwoRuns = "2025-03-01T06:00:00Z\t2025-03-01T06:00:05Z\t0\n"
                            "not a run\n"
                            "2025-03-01T08:00:00+02:00\t2025-03-01T08:02:05+02:00\t-15\n"
                            "2025-03-02T23:30:00Z\t1\n";

QByteArray usageHint(const char *command)
{
    return QByteArray("Try 'moxley ") + command + " --help' for more information.\n";
}

// Runs of every era and duration, around this zone's clock changes and in no particular order.
QByteArray randomRuns(QRandomGenerator &random, const QTimeZone &zone)
{
    const auto zulu = [](qint64 secs) {
        return QDateTime::fromSecsSinceEpoch(secs, QTimeZone::utc()).toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'").toUtf8();
    };
    QByteArray bytes = "0001-01-01T00:00:00Z\t0001-01-01T00:00:09Z\t1\n"
                       "9999-12-31T23:59:59Z\t0\n"
                       "0000-03-01T00:30:00+01:00\t2\n"
                       "2025-03-01T06:00:00+14:00\t2025-03-01T05:00:00Z\t-2147483648\n";
    QList<qint64> near;
    if (zone.hasTransitions()) {
        for (const auto &transition : zone.transitions(QDateTime(QDate(1960, 1, 1), QTime(0, 0), QTimeZone::utc()),
                                                       QDateTime(QDate(2060, 1, 1), QTime(0, 0), QTimeZone::utc()))) {
            near.append(transition.atUtc.toSecsSinceEpoch());
        }
    }
    qint64 time = 1700000000;
    for (int i = 0; i < 3000; ++i) {
        switch (random.bounded(4)) {
        case 0:
            time = -2208988800 + qint64(random.bounded(6311433600.0)); // 1900 to 2100
            break;
        case 1:
            if (!near.isEmpty()) {
                time = near.at(random.bounded(near.size())) + random.bounded(7) - 3;
            }
            break;
        default:
            time += random.bounded(90000);
        }
        const qint64 duration = random.bounded(10) == 0 ? random.bounded(400000) - 1000 : random.bounded(100);
        bytes += zulu(time) + '\t' + zulu(time + duration) + '\t' + QByteArray::number(random.bounded(300)) + '\n';
    }
    return bytes;
}

} // namespace

class CliHistoryLogsTest : public QObject
{
    Q_OBJECT

private:
    static void prepare(const Sandbox &sandbox) { sandbox.writeTasksFile(TaskMigration::encode({kBackup, kReport})); }

private Q_SLOTS:
    void history_text_showsLocalStartDurationAndExit()
    {
        Sandbox sandbox;
        prepare(sandbox);
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.runs", kTwoRuns);
        {
            ScopedTimeZone zone("Europe/Berlin");
            const auto result = sandbox.runCli({u"history"_s, u"Backup"_s});
            QCOMPARE(result.err, QByteArray());
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, QByteArray("2025-03-01 07:00:00  5s      exit 0\n"
                                            "2025-03-01 07:00:00  2m 05s  exit -15\n"
                                            "2025-03-03 00:30:00  0s      exit 1\n"));
        }
        ScopedTimeZone zone("America/New_York");
        const auto result = sandbox.runCli({u"history"_s, u"0a1b2c3d"_s});
        QCOMPARE(result.out, QByteArray("2025-03-01 01:00:00  5s      exit 0\n"
                                        "2025-03-01 01:00:00  2m 05s  exit -15\n"
                                        "2025-03-02 18:30:00  0s      exit 1\n"));
    }

    void history_json_isUtcOldestFirst()
    {
        Sandbox sandbox;
        prepare(sandbox);
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.runs", kTwoRuns);
        ScopedTimeZone zone("Asia/Tokyo");
        const auto result = sandbox.runCli({u"history"_s, u"backup"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 1); // names match exactly; "backup" is no task
        QCOMPARE(result.err, QByteArray("moxley: no task matches backup\n"));

        const auto json = sandbox.runCli({u"history"_s, kBackup.fullId().toLower(), u"--json"_s});
        QCOMPARE(json.exitCode, 0);
        QCOMPARE(json.err, QByteArray());
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(json.out, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        const QJsonArray expected{
            QJsonObject{{u"startedAt"_s, u"2025-03-01T06:00:00Z"_s},
                        {u"endedAt"_s, u"2025-03-01T06:00:05Z"_s},
                        {u"exitCode"_s, 0}},
            QJsonObject{{u"startedAt"_s, u"2025-03-01T06:00:00Z"_s},
                        {u"endedAt"_s, u"2025-03-01T06:02:05Z"_s},
                        {u"exitCode"_s, -15}},
            QJsonObject{{u"startedAt"_s, u"2025-03-02T23:30:00Z"_s},
                        {u"endedAt"_s, u"2025-03-02T23:30:00Z"_s},
                        {u"exitCode"_s, 1}},
        };
        QCOMPARE(document.array(), expected);
        QVERIFY(json.out.endsWith("]\n"));
    }

    // Printing as the file is read gives what the table and the JSON document of all records gave.
    void history_randomFile_matchesWholeFileFormatting_data()
    {
        QTest::addColumn<QByteArray>("zone");
        for (const char *zone : {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Asia/Kathmandu",
                                 "Pacific/Kiritimati", "America/Sao_Paulo", "UTC", "Nowhere/Unknown"}) {
            QTest::newRow(zone) << QByteArray(zone);
        }
    }

    void history_randomFile_matchesWholeFileFormatting()
    {
        QFETCH(QByteArray, zone);
        Sandbox sandbox;
        prepare(sandbox);
        const QTimeZone named(zone);
        const QTimeZone expectedZone = named.isValid() ? named : QTimeZone::utc();
        QRandomGenerator random(quint32(qHash(zone)));
        const QString path = sandbox.logDir() + u"/0a1b2c3d.runs";
        Sandbox::writeFile(path, randomRuns(random, expectedZone));
        const QList<TaskRunRecord> runs = RunHistory::readRuns(path);
        QVERIFY(runs.size() > 3000);
        TextTable table;
        QJsonArray array;
        const auto durationText = [](qint64 seconds) -> QString {
            const QString sign = seconds < 0 ? u"-"_s : QString();
            seconds = qAbs(seconds);
            if (seconds < 60) {
                return sign + QString::number(seconds) + u's';
            }
            const QString secs = QString::number(seconds % 60).rightJustified(2, u'0') + u's';
            if (seconds < 3600) {
                return sign + QString::number(seconds / 60) + u"m " + secs;
            }
            return sign + QString::number(seconds / 3600) + u"h " +
                   QString::number(seconds / 60 % 60).rightJustified(2, u'0') + u"m " + secs;
        };
        for (const TaskRunRecord &run : runs) {
            table.addRow({runDateTime(run.startedAt).toTimeZone(expectedZone).toString(u"yyyy-MM-dd HH:mm:ss"),
                          durationText((run.endedAt - run.startedAt).count()),
                          u"exit " + QString::number(run.exitCode)});
            array.append(
                QJsonObject{{u"startedAt"_s, runDateTime(run.startedAt).toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'")},
                            {u"endedAt"_s, runDateTime(run.endedAt).toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'")},
                            {u"exitCode"_s, run.exitCode}});
        }
        ScopedTimeZone scoped(zone);
        const auto text = sandbox.runCli({u"history"_s, u"Backup"_s});
        QCOMPARE(text.exitCode, 0);
        QCOMPARE(text.out, table.render().toUtf8());
        const auto json = sandbox.runCli({u"history"_s, u"Backup"_s, u"--json"_s});
        QCOMPARE(json.exitCode, 0);
        QCOMPARE(json.out, CliJson::document(array));
    }

    void history_noRunsFile_isEmpty()
    {
        Sandbox sandbox;
        prepare(sandbox);
        auto result = sandbox.runCli({u"history"_s, u"Report"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        result = sandbox.runCli({u"history"_s, u"Report"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("[]\n"));
        QVERIFY(!QFile::exists(sandbox.logDir())); // read-only: nothing made
    }

    // The line a wrapper script appends, written by a real shell, read back.
    void history_readsWhatAShellAppends()
    {
        Sandbox sandbox;
        prepare(sandbox);
        const QString runs = sandbox.logDir() + u"/5e6f7a8b.runs";
        QDir().mkpath(sandbox.logDir());
        const QString script = u"_mx_start=$(date -u +%Y-%m-%dT%H:%M:%SZ)\n"
                               "(exit 3)\n"
                               "_mx_exit=$?\n"
                               "echo \"$_mx_start\t$(date -u +%Y-%m-%dT%H:%M:%SZ)\t$_mx_exit\" >> \"$1\"\n"_s;
        for (int i = 0; i < 2; ++i) {
            const auto shell = sandbox.run(u"/bin/bash"_s, {u"-c"_s, script, u"bash"_s, runs});
            QCOMPARE(shell.exitCode, 0);
        }
        const auto result = sandbox.runCli({u"history"_s, u"Report"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray array = QJsonDocument::fromJson(result.out).array();
        QCOMPARE(array.size(), 2);
        for (const QJsonValue &value : array) {
            const QDateTime started = QDateTime::fromString(value[u"startedAt"].toString(), Qt::ISODate);
            QVERIFY(started.isValid());
            QVERIFY(qAbs(started.secsTo(QDateTime::currentDateTimeUtc())) < 600);
            QCOMPARE(value[u"exitCode"].toInt(), 3);
        }
    }

    void history_unreadableTasksFile_fails()
    {
        Sandbox sandbox;
        sandbox.writeTasksFile("{not json");
        const auto result = sandbox.runCli({u"history"_s, u"Backup"_s});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.startsWith("moxley: Failed to load tasks: "));
        QCOMPARE(sandbox.runCli({u"history"_s}).exitCode, 2);
    }

    void logs_default100Lines()
    {
        Sandbox sandbox;
        prepare(sandbox);
        QByteArray log;
        QByteArray expected;
        for (int i = 1; i <= 150; ++i) {
            const QByteArray line = "output line " + QByteArray::number(i);
            log += (i > 1 ? "\n" : "") + line;
            if (i >= 51) {
                expected += line + "\n";
            }
        }
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.stdout.log", log);
        const auto result = sandbox.runCli({u"logs"_s, u"Backup"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, expected);
    }

    // Into a file the tool has the system copy the text (no reading it in); through a pipe it writes
    // it. The bytes are the same, a large log's included, and a file opened to append keeps what it held.
    void logs_intoAFile_sameBytesAsThroughAPipe()
    {
        Sandbox sandbox;
        prepare(sandbox);
        QByteArray log;
        for (int i = 1; i <= 200000; ++i) {
            log += "output line \xC3\xA9 " + QByteArray::number(i) + "\n";
        }
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.stdout.log", log);
        const QStringList arguments{u"logs"_s, u"Backup"_s, u"--lines"_s, u"150000"_s};
        const auto piped = sandbox.runCli(arguments);
        QCOMPARE(piped.exitCode, 0);
        // The final line feed ends an empty last piece, one of the 150,000.
        QVERIFY(piped.out.startsWith("output line \xC3\xA9 50002\n"));
        QVERIFY(piped.out.endsWith("output line \xC3\xA9 200000\n"));
        const QString into = sandbox.root() + u"/out.txt"_s;
        for (const QIODevice::OpenMode mode : {QIODevice::Truncate, QIODevice::Append}) {
            Sandbox::writeFile(into, "kept\n");
            QProcess tool;
            tool.setProcessEnvironment(sandbox.environment());
            tool.setStandardOutputFile(into, mode);
            tool.start(QStringLiteral(MOXLEY_CLI_PATH), arguments);
            QVERIFY(tool.waitForFinished(60000));
            QCOMPARE(tool.exitCode(), 0);
            QCOMPARE(Sandbox::readFile(into), (mode == QIODevice::Append ? "kept\n" : "") + piped.out);
        }
    }

    void logs_linesAndStderr()
    {
        Sandbox sandbox;
        prepare(sandbox);
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.stdout.log", "one\ntwo\nthree\n\n\n");
        Sandbox::writeFile(sandbox.logDir() + u"/0a1b2c3d.stderr.log", "  warning: x\nerror: y  \n");
        // Six pieces: one, two, three and three empty ones.
        auto result = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s, u"5"_s});
        QCOMPARE(result.out, QByteArray("two\nthree\n"));
        result = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s, u"4"_s});
        QCOMPARE(result.out, QByteArray("three\n"));
        result = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s, u"3"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray()); // the last three pieces are blank
        result = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s, u"0"_s});
        QCOMPARE(result.out, QByteArray());
        result = sandbox.runCli({u"logs"_s, u"--stderr"_s, u"Backup"_s});
        QCOMPARE(result.out, QByteArray("warning: x\nerror: y\n"));
        result = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--stderr"_s, u"--lines"_s, u"2"_s});
        QCOMPARE(result.out, QByteArray("error: y\n"));
    }

    void logs_missingOrNotUtf8_printsNothing()
    {
        Sandbox sandbox;
        prepare(sandbox);
        auto result = sandbox.runCli({u"logs"_s, u"Report"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        Sandbox::writeFile(sandbox.logDir() + u"/5e6f7a8b.stdout.log", "caf\xE9\nfine\n");
        result = sandbox.runCli({u"logs"_s, u"Report"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        Sandbox::writeFile(sandbox.logDir() + u"/5e6f7a8b.stdout.log", "caf\xC3\xA9\n");
        result = sandbox.runCli({u"logs"_s, u"Report"_s});
        QCOMPARE(result.out, QByteArray("caf\xC3\xA9\n"));
    }

    void logs_badLineCount_isUsageError_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("negative") << u"-1"_s;
        QTest::newRow("word") << u"ten"_s;
        QTest::newRow("fraction") << u"1.5"_s;
        QTest::newRow("empty") << QString();
        QTest::newRow("plus") << u"+3"_s;
        QTest::newRow("too large") << u"99999999999"_s;
    }

    void logs_badLineCount_isUsageError()
    {
        QFETCH(QString, value);
        Sandbox sandbox;
        prepare(sandbox);
        const auto result = sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s, value});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray("moxley: --lines needs a non-negative integer, not '" + value.toUtf8() + "'\n" +
                                        usageHint("logs")));
    }

    void logs_missingValueOrTask_isUsageError()
    {
        Sandbox sandbox;
        prepare(sandbox);
        QCOMPARE(sandbox.runCli({u"logs"_s, u"Backup"_s, u"--lines"_s}).exitCode, 2);
        QCOMPARE(sandbox.runCli({u"logs"_s}).exitCode, 2);
        const auto unknown = sandbox.runCli({u"logs"_s, u"Nothing"_s});
        QCOMPARE(unknown.exitCode, 1);
        QCOMPARE(unknown.err, QByteArray("moxley: no task matches Nothing\n"));
    }
};

QTEST_GUILESS_MAIN(CliHistoryLogsTest)
#include "test_cli_history_logs.moc"
