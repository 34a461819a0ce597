// The rows of the tool's reading commands: history and logs printed as they are read, and today's
// timeline from a long history, each beside the plain tool doing the like.
#include "Bench.h"
#include "DataGen.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

using Bench::Context;
using Bench::Row;
using Measure::Command;

const QString kTaskId = QStringLiteral("0A1B2C3D-0000-4000-8000-000000000001");

// A store of one task whose files are under DIR/data/Moxley/Logs; the environment that finds it.
QMap<QString, QString> makeStore(const QString &dir)
{
    DataGen::Random random;
    QList<ScheduledTask> tasks = DataGen::makeTasks(1, random, 0, true);
    tasks.first().id = QUuid::fromString(kTaskId);
    tasks.first().schedule = TaskSchedule::daily({TimeOfDay{6, 0}, TimeOfDay{18, 0}});
    DataGen::writeTasksFile(dir + u"/data/Moxley/tasks.json", tasks, 2);
    QDir().mkpath(dir + u"/home");
    QDir().mkpath(dir + u"/data/Moxley/Logs");
    return {{u"HOME"_s, dir + u"/home"},
            {u"XDG_DATA_HOME"_s, dir + u"/data"},
            {u"MOXLEY_SYSROOT"_s, dir + u"/sysroot"},
            {u"TZ"_s, u"Europe/Berlin"_s}};
}

QString logDir(const QString &dir)
{
    return dir + u"/data/Moxley/Logs/" + ScheduledTask::shortId(QUuid::fromString(kTaskId));
}

Row failed(const QString &name, const QString &why)
{
    Row row;
    row.name = name;
    row.verdict = QStringLiteral("FAILED");
    row.notes.append(name + u": " + why);
    return row;
}

QList<Row> history(const Context &context)
{
    const QString dir = context.tempDir + u"/clihistory";
    const auto env = makeStore(dir);
    DataGen::Random random;
    const QString runs = logDir(dir) + u".runs";
    const DataGen::RunsFile info = DataGen::writeRunsFile(runs, 1000000, 50000, random);
    const QString moxley = context.binDir + u"/moxley";
    // The count first, with the output kept, then timed with it going to /dev/null on both sides.
    const Measure::Run text = context.run(Command{{moxley, u"history"_s, kTaskId}, env, {}, true});
    const Measure::Run json = context.run(Command{{moxley, u"history"_s, kTaskId, u"--json"_s}, env, {}, true});
    if (!text.ok() || text.out.count('\n') != info.records || !json.ok() ||
        json.out.count("\"exitCode\"") != info.records) {
        QDir(dir).removeRecursively();
        return {
            failed(u"history: moxley history"_s, u"wrong record count: "_s + QString::fromUtf8(text.err + json.err))};
    }
    const Command awk{{u"/usr/bin/awk"_s, u"-F\t"_s, u"{print $1, $2, $3}"_s, runs}, {}, {}, false};
    const Measure::Pair textPair = Measure::alternate(
        context.reps,
        [&] {
            return context.run(Command{{moxley, u"history"_s, kTaskId}, env, {}, false});
        },
        [&] { return context.run(awk); });
    const Measure::Pair jsonPair = Measure::alternate(
        context.reps,
        [&] {
            return context.run(Command{{moxley, u"history"_s, kTaskId, u"--json"_s}, env, {}, false});
        },
        [&] {
            return context.run(Command{{moxley, u"history"_s, kTaskId}, env, {}, false});
        });
    // Memory at a quarter of the lines: flat when it is the same.
    DataGen::writeRunsFile(runs, 250000, 50000, random);
    Measure::Series quarter;
    for (int i = 0; i < 3; ++i) {
        quarter.runs.append(context.run(Command{{moxley, u"history"_s, kTaskId, u"--json"_s}, env, {}, false}));
    }
    QDir(dir).removeRecursively();
    const bool flat = jsonPair.ours.maxPeakKiB() - quarter.maxPeakKiB() < 2048;

    Row textRow;
    textRow.name = u"history: moxley history, 1,000,000 lines"_s;
    textRow.target = u"ratio <= 1, memory flat in the file size"_s;
    const auto [o, r] = Bench::fillTimes(textRow, textPair, u"awk -F'\\t' '{print $1, $2, $3}'"_s);
    textRow.memory =
        Bench::mebibytes(textPair.ours.maxPeakKiB()) + u"; awk " + Bench::mebibytes(textPair.reference.maxPeakKiB());
    textRow.verdict = o <= r && flat ? u"met"_s : u"MISSED"_s;

    Row jsonRow;
    jsonRow.name = u"history: moxley history --json, 1,000,000 lines"_s;
    jsonRow.target = u"ratio <= 1.5 of the text form, memory flat in the file size"_s;
    const auto [oj, rj] = Bench::fillTimes(jsonRow, jsonPair, u"moxley history (text)"_s);
    jsonRow.memory =
        Bench::mebibytes(jsonPair.ours.maxPeakKiB()) + u"; at 250,000 lines " + Bench::mebibytes(quarter.maxPeakKiB());
    jsonRow.verdict = oj <= 1.5 * rj && flat ? u"met"_s : u"MISSED"_s;
    textRow.notes.append(u"history: " + QString::number(info.bytes / 1e6, 'f', 1) + u" MB runs file, " +
                         QString::number(info.records) + u" records; output to /dev/null on both sides (" +
                         QString::number(text.out.size() / 1e6, 'f', 1) + u" MB of text, " +
                         QString::number(json.out.size() / 1e6, 'f', 1) + u" MB of JSON).");
    return {textRow, jsonRow};
}

QList<Row> logs(const Context &context)
{
    const QString dir = context.tempDir + u"/clilogs";
    const auto env = makeStore(dir);
    DataGen::Random random;
    const QString log = logDir(dir) + u".stdout.log";
    const DataGen::Log info = DataGen::writeLog(log, qint64(1) << 30, random);
    const QString moxley = context.binDir + u"/moxley";
    const QString lines = u"10000000"_s;
    const Measure::Run check =
        context.run(Command{{moxley, u"logs"_s, kTaskId, u"--lines"_s, u"1000"_s}, env, {}, true});
    const Measure::Run tailCheck = context.run(Command{{u"/usr/bin/tail"_s, u"-n"_s, u"1000"_s, log}, {}, {}, true});
    const int reps = std::min(context.reps, 5);
    const Measure::Pair pair = Measure::alternate(
        reps,
        [&] {
            return context.run(Command{{moxley, u"logs"_s, kTaskId, u"--lines"_s, lines}, env, {}, false});
        },
        [&] {
            return context.run(Command{{u"/usr/bin/tail"_s, u"-n"_s, lines, log}, {}, {}, false});
        });
    QDir(dir).removeRecursively();
    // The generated log ends in blank lines, which the tool trims.
    if (!check.ok() || check.out.isEmpty() || !tailCheck.out.trimmed().endsWith(check.out.trimmed())) {
        return {failed(u"logs: moxley logs"_s, u"the tail differs from tail's: "_s + QString::fromUtf8(check.err))};
    }
    Row row;
    row.name = u"logs: moxley logs --lines 10000000, 1 GiB log"_s;
    row.target = u"ratio <= 1, peak < 64 MiB"_s;
    const auto [o, r] = Bench::fillTimes(row, pair, u"tail -n 10000000"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; tail " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o <= r && pair.ours.maxPeakKiB() < 64 * 1024 ? u"met"_s : u"MISSED"_s;
    row.notes.append(u"logs: " + QString::number(info.bytes / 1e9, 'f', 2) +
                     u" GB log, the whole of it printed (to /dev/null on both sides); the whole file is checked "
                     u"for UTF-8 first, as a file with a bad byte anywhere prints nothing.");
    return {row};
}

QList<Row> timeline(const Context &context)
{
    const QString dir = context.tempDir + u"/clitimeline";
    const auto env = makeStore(dir);
    const QString runs = logDir(dir) + u".runs";
    const QTimeZone zone("Europe/Berlin");
    const QDateTime today(QDate(2025, 3, 14), QTime(0, 0), zone);
    const qint64 start = today.toSecsSinceEpoch();
    QByteArray bytes;
    const auto line = [&bytes](qint64 at) {
        const auto text = [](qint64 t) {
            return QDateTime::fromSecsSinceEpoch(t, QTimeZone::utc()).toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'").toLatin1();
        };
        bytes += text(at) + '\t' + text(at + 5) + "\t0\n";
    };
    for (qint64 i = 500000; i > 0; --i) {
        line(start - i * 63);
    }
    for (int i = 0; i < 10; ++i) {
        line(start + 3600 + i * 3000);
    }
    DataGen::writeFile(runs, bytes);
    const QString moxley = context.binDir + u"/moxley";
    const Command ours{{moxley, u"timeline"_s, u"--at"_s, u"2025-03-14T18:00"_s, u"--json"_s}, env, {}, true};
    const Measure::Run check = context.run(ours);
    const Measure::Pair pair = Measure::alternate(
        context.reps, [&] { return context.run(ours); },
        [&] {
            return context.run(Command{{u"/usr/bin/tail"_s, u"-n"_s, u"1000"_s, runs}, {}, {}, false});
        });
    QDir(dir).removeRecursively();
    if (!check.ok() || check.out.count("\"startMinute\"") != 10) {
        return {failed(u"timeline: moxley timeline"_s,
                       u"not the 10 runs of today: "_s + QString::fromUtf8(check.out.left(400) + check.err))};
    }
    Row row;
    row.name = u"timeline: moxley timeline today, history of 500,000 lines + 10 today"_s;
    row.target = u"none (reference for scale)"_s;
    Bench::fillTimes(row, pair, u"tail -n 1000"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; tail " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = u"-"_s;
    row.notes.append(u"timeline: " + QString::number(bytes.size() / 1e6, 'f', 1) +
                     u" MB runs file; the runs of the day are parsed from the end, the rest is only checked "
                     u"(UTF-8, and no earlier line of the day) so the answer is the whole file's.");
    return {row};
}

} // namespace

namespace Bench {
QList<Row> cliHistoryRows(const Context &context)
{
    return history(context);
}
QList<Row> cliLogsRows(const Context &context)
{
    return logs(context);
}
QList<Row> cliTimelineRows(const Context &context)
{
    return timeline(context);
}
} // namespace Bench
