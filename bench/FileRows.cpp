// The rows that read files: run history, log tail, tasks file, job scan.
#include "Bench.h"
#include "DataGen.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Bench::Context;
using Bench::Row;
using Measure::Command;

QString fail(Row &row, const QString &why)
{
    row.verdict = QStringLiteral("FAILED");
    row.notes.append(row.name + u": " + why);
    return why;
}

double medianField(const Measure::Series &series, const QString &key)
{
    QList<double> values;
    for (const Measure::Run &run : series.runs) {
        values.append(Measure::fields(run.out).value(key).toDouble());
    }
    return Measure::median(values);
}

// The task whose files the history and log rows read, through the store.
const QString kTaskId = QStringLiteral("0A1B2C3D-0000-4000-8000-000000000001");

QString logPath(const QString &root, const QString &suffix)
{
    return root + u"/Logs/" + ScheduledTask::shortId(QUuid::fromString(kTaskId)) + suffix;
}

QList<Row> history(const Context &context)
{
    Row row;
    row.name = QStringLiteral("history: runRecords, 1,000,000 lines");
    row.target = QStringLiteral("ratio <= 3, memory flat in the file size");
    const QString dir = context.tempDir + u"/history";
    QDir().mkpath(dir);
    DataGen::Random random;
    const QString big = dir + u"/big";
    const QString small = dir + u"/small";
    QDir().mkpath(big + u"/Logs");
    QDir().mkpath(small + u"/Logs");
    const DataGen::RunsFile bigInfo = DataGen::writeRunsFile(logPath(big, u".runs"_s), 1000000, 50000, random);
    const DataGen::RunsFile smallInfo = DataGen::writeRunsFile(logPath(small, u".runs"_s), 250000, 50000, random);

    const auto ours = [&](const QString &root) {
        return context.run(Command{{context.worker(), QStringLiteral("history"), root, kTaskId}, {}, {}, true});
    };
    const Measure::Pair pair = Measure::alternate(
        context.reps, [&] { return ours(big); },
        [&] {
            return context.run(
                Command{{QStringLiteral("/usr/bin/wc"), QStringLiteral("-l"), logPath(big, u".runs"_s)}, {}, {}, true});
        });
    Measure::Series smallSeries;
    for (int i = 0; i < 3; ++i) {
        smallSeries.runs.append(ours(small));
    }
    for (const Measure::Run &run : pair.ours.runs + smallSeries.runs) {
        if (!run.ok()) {
            fail(row, QString::fromUtf8(run.err));
            return {row};
        }
    }
    const auto count = [](const Measure::Series &s) {
        return Measure::fields(s.runs.first().out).value(u"count"_s).toLongLong();
    };
    if (count(pair.ours) != bigInfo.records || count(smallSeries) != smallInfo.records ||
        pair.reference.runs.first().out.trimmed().split(' ').first().toLongLong() != bigInfo.lines) {
        fail(row, QStringLiteral("record or line count differs from the generated file"));
        return {row};
    }
    // Beyond the process's own baseline and the records it returns, what reading costs.
    const auto overhead = [&](const Measure::Series &s) {
        return medianField(s, u"peak_kib"_s) - medianField(s, u"base_kib"_s) - medianField(s, u"result_kib"_s);
    };
    const double overheadBig = overhead(pair.ours);
    const double overheadSmall = overhead(smallSeries);
    const bool flat = overheadBig - overheadSmall < 4096;
    const auto [o, r] = Bench::fillTimes(row, pair, u"wc -l"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u" (records " +
                 Bench::mebibytes(qint64(medianField(pair.ours, u"result_kib"_s))) + u", reading " +
                 Bench::mebibytes(qint64(overheadBig)) + u"; at 250,000 lines reading " +
                 Bench::mebibytes(qint64(overheadSmall)) + u"); wc " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o <= 3 * r && flat ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"history: " + QString::number(bigInfo.bytes / 1e6, 'f', 1) + u" MB file, " +
                     QString::number(bigInfo.records) + u" records; in-process read " +
                     Bench::milliseconds(medianField(pair.ours, u"op_ms"_s)) + u".");
    QDir(dir).removeRecursively();
    return {row};
}

QList<Row> logTail(const Context &context)
{
    Row row;
    row.name = QStringLiteral("log tail: readLog 100 lines, 1 GiB log");
    row.target = QStringLiteral("ratio <= 2, peak < 64 MiB above baseline");
    const QString dir = context.tempDir + u"/log";
    QDir().mkpath(dir + u"/Logs");
    const QString log = logPath(dir, u".stdout.log"_s);
    DataGen::Random random;
    const DataGen::Log info = DataGen::writeLog(log, qint64(1) << 30, random);
    if (info.bytes != qint64(1) << 30) {
        fail(row, QStringLiteral("could not write the 1 GiB log"));
        QDir(dir).removeRecursively();
        return {row};
    }
    const Measure::Run check =
        context.run(Command{{context.worker(), QStringLiteral("logcheck"), log, QStringLiteral("100")}, {}, {}, true});
    const auto checked = Measure::fields(check.out);
    const int reps = std::min(context.reps, 5);
    const Measure::Pair pair = Measure::alternate(
        reps,
        [&] {
            return context.run(Command{
                {context.worker(), QStringLiteral("logtail"), dir, kTaskId, QStringLiteral("100")}, {}, {}, true});
        },
        [&] {
            return context.run(Command{{QStringLiteral("/usr/bin/wc"), QStringLiteral("-l"), log}, {}, {}, false});
        });
    QDir(dir).removeRecursively();
    if (!check.ok() || checked.value(u"match"_s) != u"1" ||
        Measure::fields(pair.ours.runs.first().out).value(u"sha1"_s) != checked.value(u"expected_sha1"_s)) {
        fail(row, u"the tail differs from the whole-file reading: " + QString::fromUtf8(check.out + check.err));
        return {row};
    }
    const double above = medianField(pair.ours, u"peak_kib"_s) - medianField(pair.ours, u"base_kib"_s);
    const auto [o, r] = Bench::fillTimes(row, pair, u"wc -l"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u" (" + Bench::mebibytes(qint64(above)) +
                 u" above baseline); wc " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o <= 2 * r && above < 64 * 1024 ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"log tail: result identical to reading the whole file, splitting, keeping 100 and trimming (" +
                     checked.value(u"chars"_s) + u" characters); in-process read " +
                     Bench::milliseconds(medianField(pair.ours, u"op_ms"_s)) +
                     u"; the file is in the page cache for both sides.");
    return {row};
}

QList<Row> tasksFile(const Context &context)
{
    Row row;
    row.name = QStringLiteral("tasks file: load + migrate + save, 10,000 tasks");
    row.target = QStringLiteral("ratio <= 1");
    const QString dir = context.tempDir + u"/tasks";
    QDir().mkpath(dir + u"/store");
    DataGen::Random random;
    const QList<ScheduledTask> tasks = DataGen::makeTasks(10000, random);
    const QString original = dir + u"/tasks-v1.json";
    DataGen::writeTasksFile(original, tasks, 1);
    // Installed as the app leaves them, so the start-up check finds every script current.
    DataGen::writeInstalledJobs(dir + u"/store/LaunchAgents", dir + u"/store/Scripts", tasks);
    const QString storeFile = dir + u"/store/tasks.json";
    const QString python =
        QFile::exists(u"/usr/bin/python3"_s) ? u"/usr/bin/python3"_s : QStandardPaths::findExecutable(u"python3"_s);
    if (python.isEmpty()) {
        QDir(dir).removeRecursively();
        row.ours = QStringLiteral("not measured: no python3 for the reference");
        row.verdict = QStringLiteral("not measured");
        return {row};
    }
    const Measure::Pair pair = Measure::alternate(
        context.reps,
        [&] {
            // Each load migrates: the version 1 file comes back before every round (not timed).
            QFile::remove(storeFile);
            QFile::copy(original, storeFile);
            return context.run(Command{{context.worker(), QStringLiteral("tasks"), dir + u"/store"},
                                       {{u"MOXLEY_SYSROOT"_s, dir + u"/sysroot"}},
                                       {},
                                       true});
        },
        [&] {
            return context.run(
                Command{{python, QStringLiteral("-m"), QStringLiteral("json.tool"), original}, {}, {}, false});
        });
    const qint64 bytes = QFileInfo(original).size();
    const bool migrated = QFile(storeFile).open(QIODevice::ReadOnly) && [&] {
        QFile saved(storeFile);
        saved.open(QIODevice::ReadOnly);
        return saved.readAll().contains("\"version\" : 2");
    }();
    QDir(dir).removeRecursively();
    const auto fields = Measure::fields(pair.ours.runs.first().out);
    if (!pair.ours.runs.first().ok() || fields.value(u"count"_s) != u"10000" || !migrated ||
        !pair.reference.runs.first().ok()) {
        fail(row, QString::fromUtf8(pair.ours.runs.first().err + pair.reference.runs.first().err));
        return {row};
    }
    const auto [o, r] = Bench::fillTimes(row, pair, u"python3 -m json.tool"_s);
    row.memory =
        Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; python " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o <= r ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"tasks file: a version 1 file of " + QString::number(bytes / 1e6, 'f', 1) +
                     u" MB, every schedule kind, 90 % enabled and installed; the store's start-up (read, migrate, "
                     u"stray-job sweep, script check) and one save; in-process " +
                     Bench::milliseconds(medianField(pair.ours, u"op_ms"_s)) + u".");
    return {row};
}

QList<Row> scan(const Context &context)
{
    Row row;
    row.name = QStringLiteral("scan: LaunchdBrowser, 2,000 property lists");
    row.target = QStringLiteral("ratio <= 4");
    const QString dir = context.tempDir + u"/scan";
    const QStringList folders = {dir + u"/home/Library/LaunchAgents", dir + u"/Library/LaunchAgents",
                                 dir + u"/Library/LaunchDaemons"};
    DataGen::Random random;
    const DataGen::Plists info = DataGen::writePlists(folders, 2000, random);
    QStringList catArgs{QStringLiteral("/usr/bin/cat")};
    catArgs += info.paths;
    const Measure::Pair pair = Measure::alternate(
        context.reps,
        [&] {
            return context.run(Command{QStringList{context.worker(), QStringLiteral("scan")} + folders, {}, {}, true});
        },
        [&] {
            return context.run(Command{catArgs, {}, {}, false});
        });
    QDir(dir).removeRecursively();
    const auto fields = Measure::fields(pair.ours.runs.first().out);
    if (!pair.ours.runs.first().ok() || fields.value(u"count"_s).toInt() != info.expectedJobs) {
        fail(row, u"scan found " + fields.value(u"count"_s) + u" jobs, expected " + QString::number(info.expectedJobs));
        return {row};
    }
    const auto [o, r] = Bench::fillTimes(row, pair, u"cat"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; cat " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o <= 4 * r ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"scan: half binary, 1 in 40 broken, 1 in 50 our own; " + fields.value(u"count"_s) +
                     u" jobs listed; in-process " + Bench::milliseconds(medianField(pair.ours, u"op_ms"_s)) + u".");
    return {row};
}

} // namespace

namespace Bench {
QList<Row> historyRows(const Context &context)
{
    return history(context);
}
QList<Row> logTailRows(const Context &context)
{
    return logTail(context);
}
QList<Row> tasksFileRows(const Context &context)
{
    return tasksFile(context);
}
QList<Row> scanRows(const Context &context)
{
    return scan(context);
}
} // namespace Bench
