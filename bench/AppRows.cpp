// The rows that run programs: test run, timeline, start-up, the moxley tool.
#include "Bench.h"
#include "DataGen.h"

#include <QDir>
#include <QFile>
#include <QTimeZone>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Bench::Context;
using Bench::Row;
using Measure::Command;

// `lines` lines of exactly 100 bytes, made as they are written.
QString linesCommand(qint64 lines)
{
    return u"awk 'BEGIN { pad = sprintf(\"%84s\", \"\"); gsub(/ /, \"x\", pad); for (i = 0; i < "_s +
           QString::number(lines) + u"; i++) printf \"line %09d %s\\n\", i, pad }'";
}

QList<Row> testRun(const Context &context)
{
    Row row;
    row.name = QStringLiteral("test run: the sheet, 100 MB of lines");
    row.target = QStringLiteral("memory bounded: peak at 100 MB within 10 % of the peak at 25 MB");
    const qint64 lines = 1000000;
    const QString view = context.binDir + u"/moxley-bench-view";
    const QMap<QString, QString> env{{u"QT_QPA_PLATFORM"_s, u"offscreen"_s}};
    const QString command = linesCommand(lines);
    const Measure::Pair pair = Measure::alternate(
        std::min(context.reps, 5),
        [&] {
            return context.run(Command{{view, u"testrun"_s, command, QString::number(lines)}, env, {}, true});
        },
        [&] {
            return context.run(Command{{u"/bin/bash"_s, u"-c"_s, command}, {}, {}, false});
        });
    Measure::Series quarter;
    for (int i = 0; i < std::min(context.reps, 3); ++i) {
        quarter.runs.append(context.run(
            Command{{view, u"testrun"_s, linesCommand(lines / 4), QString::number(lines / 4)}, env, {}, true}));
    }
    const auto fields = Measure::fields(pair.ours.runs.first().out);
    const qint64 kept = fields.value(u"kept"_s).toLongLong();
    if (!pair.ours.runs.first().ok() || !quarter.runs.first().ok() ||
        kept + fields.value(u"omitted"_s).toLongLong() != lines || kept > fields.value(u"limit"_s).toLongLong()) {
        row.verdict = QStringLiteral("FAILED");
        row.notes.append(u"test run: the sheet did not account for every line: " +
                         QString::fromUtf8(pair.ours.runs.first().out + pair.ours.runs.first().err));
        return {row};
    }
    Bench::fillTimes(row, pair, u"> /dev/null"_s);
    const qint64 peak = pair.ours.maxPeakKiB();
    const qint64 quarterPeak = quarter.maxPeakKiB();
    row.memory = Bench::mebibytes(peak) + u"; at 25 MB " + Bench::mebibytes(quarterPeak);
    row.verdict = double(peak) <= 1.1 * double(quarterPeak) ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"test run: the test-run sheet (TestRunView, offscreen) runs an awk program printing "
                     u"1,000,000 lines of 100 bytes (250,000 for the second peak) through /bin/bash -c, and is "
                     u"timed until every line is shown or counted as left out; it keeps " +
                     QString::number(kept) +
                     u" lines. The reference is the same command with its output to "
                     u"/dev/null; the time is for comparison, the target is the memory.");
    return {row};
}

QList<Row> timeline(const Context &context)
{
    Row compute;
    compute.name = QStringLiteral("timeline compute: 1,000 tasks x 1,000 runs (histories in memory)");
    compute.target = QStringLiteral("compute < 50 ms");
    compute.reference = QStringLiteral("none (absolute)");
    compute.ratio = QStringLiteral("-");
    const QString dir = context.tempDir + u"/timeline";
    // A Friday in March, 18:00 in Berlin: 1,080 minutes of today behind us.
    DataGen::writeTimelineData(dir);
    const Measure::Run run =
        context.run(Command{{context.worker(), QStringLiteral("timeline"), dir + u"/tasks.json", dir + u"/Logs",
                             QString::fromLatin1(DataGen::kTimelineNow), QString::fromLatin1(DataGen::kTimelineZone),
                             QString::number(std::max(context.reps, 5))},
                            {},
                            {},
                            true});
    const auto fields = Measure::fields(run.out);
    if (!run.ok()) {
        QDir(dir).removeRecursively();
        compute.verdict = QStringLiteral("FAILED");
        compute.notes.append(u"timeline: " + QString::fromUtf8(run.err));
        return {compute};
    }
    const double withFiles = fields.value(u"files_ms"_s).toDouble();
    const double inMemory = fields.value(u"memory_ms"_s).toDouble();
    compute.ours = Bench::milliseconds(inMemory);
    compute.cpu = Bench::milliseconds(fields.value(u"memory_cpu_ms"_s).toDouble()) + u" / -";
    compute.memory = Bench::mebibytes(run.peakKiB);
    compute.verdict = inMemory < 50 ? QStringLiteral("met") : QStringLiteral("MISSED");
    Row reading = compute;
    reading.name = QStringLiteral("timeline compute + reading the 1,000 runs files");
    reading.ours = Bench::milliseconds(withFiles);
    reading.cpu = Bench::milliseconds(fields.value(u"files_cpu_ms"_s).toDouble()) + u" / -";
    reading.verdict = withFiles < 50 ? QStringLiteral("met") : QStringLiteral("MISSED");
    reading.notes.clear();
    compute.notes.append(u"timeline: every 10th task runs every minute; " + fields.value(u"rows"_s) + u" rows, " +
                         fields.value(u"occurrences"_s) + u" occurrences (" + fields.value(u"ran"_s) + u" ran), " +
                         fields.value(u"runs_today"_s) +
                         u" runs today. \"compute\" hands Timeline::compute the histories already in memory; "
                         u"\"+ reading\" reads every history from its runs file inside the timed call, as the view "
                         u"does on each rendering.");

    // The view itself, over the store: what a person waits for when the timeline is rebuilt, and
    // one paint of it at 1200x800.
    Row view;
    view.name = QStringLiteral("timeline view: reload (histories + compute + lanes)");
    view.target = QStringLiteral("compute < 50 ms");
    view.reference = QStringLiteral("none (absolute)");
    view.ratio = QStringLiteral("-");
    Row paint = view;
    paint.name = QStringLiteral("timeline view: paint at 1200x800 offscreen");
    paint.target = QStringLiteral("paint < 16 ms");
    const Measure::Run drawn =
        context.run(Command{{context.binDir + u"/moxley-bench-view", QStringLiteral("timeline"), dir,
                             QString::fromLatin1(DataGen::kTimelineNow), QString::fromLatin1(DataGen::kTimelineZone),
                             QString::number(std::max(context.reps, 5))},
                            {{u"QT_QPA_PLATFORM"_s, u"offscreen"_s}, {u"MOXLEY_SYSROOT"_s, dir + u"/sysroot"}},
                            {},
                            true});
    const auto viewFields = Measure::fields(drawn.out);
    if (!drawn.ok() || viewFields.value(u"lanes"_s) != fields.value(u"rows"_s)) {
        view.verdict = paint.verdict = QStringLiteral("FAILED");
        view.notes.append(u"timeline view: " + QString::fromUtf8(drawn.err));
    } else {
        const double reloadMs = viewFields.value(u"reload_ms"_s).toDouble();
        const double paintMs = viewFields.value(u"paint_ms"_s).toDouble();
        view.ours = Bench::milliseconds(reloadMs);
        view.cpu = Bench::milliseconds(viewFields.value(u"reload_cpu_ms"_s).toDouble()) + u" / -";
        view.memory = Bench::mebibytes(drawn.peakKiB);
        view.verdict = reloadMs < 50 ? QStringLiteral("met") : QStringLiteral("MISSED");
        paint.ours = Bench::milliseconds(paintMs);
        paint.cpu = Bench::milliseconds(viewFields.value(u"paint_cpu_ms"_s).toDouble()) + u" / -";
        paint.memory = view.memory;
        paint.verdict = paintMs < 16 ? QStringLiteral("met") : QStringLiteral("MISSED");
        view.notes.append(u"timeline view: DayTimelineView over the store with the same data, " +
                          viewFields.value(u"lanes"_s) +
                          u" lanes; reload() and the posted events that show and lay out the new lanes, then "
                          u"render() into a 1200x800 image (the lanes in sight are drawn).");
    }
    QDir(dir).removeRecursively();
    return {compute, reading, view, paint};
}

// From spawn to the moment the first paint of the main window has been delivered, against the
// minimal window, alternating; the app over the data under `dir`.
Measure::Pair firstPaints(const Context &context, const QString &dir)
{
    const QString marker = context.tempDir + u"/first-paint";
    const auto firstPaint = [&](const QString &program, const QMap<QString, QString> &extra) {
        QFile::remove(marker);
        QMap<QString, QString> env = extra;
        env.insert(u"LD_PRELOAD"_s, context.binDir + u"/libmoxley-bench-first-paint.so");
        env.insert(u"MOXLEY_BENCH_FIRST_PAINT_FILE"_s, marker);
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        Measure::Run run = context.run(Command{{program}, env, {}, false});
        QFile file(marker);
        if (file.open(QIODevice::ReadOnly)) {
            run.wallMs = double(file.readAll().trimmed().toLongLong() - run.startNs) / 1e6;
        } else {
            run.exitStatus = run.exitStatus == 0 ? 1 : run.exitStatus; // never painted
        }
        return run;
    };
    const QMap<QString, QString> appEnv{
        {u"HOME"_s, dir + u"/home"}, {u"XDG_DATA_HOME"_s, dir + u"/data"}, {u"MOXLEY_SYSROOT"_s, dir + u"/sysroot"}};
    return Measure::alternate(
        context.reps, [&] { return firstPaint(context.binDir + u"/moxley-app", appEnv); },
        [&] { return firstPaint(context.binDir + u"/moxley-bench-minimal-window", {}); });
}

// The app's start over the data that `write` makes under a temporary folder, against the minimal
// window: the row's times and memory, or FAILED when the app never painted. The ratio is `o / r`.
Row startUpRow(const Context &context, const QString &name, const std::function<void(const QString &dir)> &write,
               double *ratio)
{
    Row row;
    row.name = name;
    const QString dir = context.tempDir + u"/startup";
    write(dir);
    const Measure::Pair pair = firstPaints(context, dir);
    QDir(dir).removeRecursively();
    if (!pair.ours.runs.first().ok()) {
        row.verdict = QStringLiteral("FAILED");
        row.notes.append(u"start-up: moxley-app never painted its main window (" + name + u"): " +
                         QString::fromUtf8(pair.ours.runs.first().err));
        return row;
    }
    const auto [o, r] = Bench::fillTimes(row, pair, u"minimal Qt Widgets window"_s);
    *ratio = o / r;
    row.memory =
        Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; reference " + Bench::mebibytes(pair.reference.maxPeakKiB());
    return row;
}

QList<Row> startUp(const Context &context)
{
    double ratio = 0;
    // moxley-app over 1,000 installed tasks and 1,000 other jobs, all under a temporary home.
    Row full = startUpRow(
        context, u"start-up: exec to first painted main window"_s,
        [](const QString &dir) { DataGen::writeAppData(dir + u"/home", dir + u"/data", dir + u"/sysroot"); }, &ratio);
    full.target = QStringLiteral("ratio <= 1.5");
    if (full.verdict.isEmpty()) {
        full.verdict = ratio <= 1.5 ? QStringLiteral("met") : QStringLiteral("MISSED");
    }
    full.notes.append(QStringLiteral("start-up: moxley-app with 1,000 installed tasks and 1,000 other jobs (user and "
                                     "system folders), from spawn to the moment its first paint of the main window "
                                     "has been delivered (the CPU column counts until that moment too). The row "
                                     "under it starts the same app with no tasks and no other jobs: the window's "
                                     "own cost beside the minimal one."));
    // The same start with an empty list and no other jobs: what the window itself costs, for scale.
    Row empty = startUpRow(
        context, u"start-up: the same, no tasks and no other jobs"_s,
        [](const QString &dir) {
            QDir().mkpath(dir + u"/home");
            QDir().mkpath(dir + u"/sysroot");
            DataGen::writeTasksFile(dir + u"/data/Moxley/tasks.json", {}, 2);
        },
        &ratio);
    empty.target = QStringLiteral("none (the window alone, for scale)");
    if (empty.verdict.isEmpty()) {
        empty.verdict = QStringLiteral("-");
    }
    return {full, empty};
}

QList<Row> cli(const Context &context)
{
    Row row;
    row.name = QStringLiteral("CLI: moxley list, 1,000 tasks");
    row.target = QStringLiteral("< 50 ms");
    const QString dir = context.tempDir + u"/cli";
    const QString tasksFile = dir + u"/data/Moxley/tasks.json";
    DataGen::Random random;
    DataGen::writeTasksFile(tasksFile, DataGen::makeTasks(1000, random), 2);
    const QMap<QString, QString> env{
        {u"HOME"_s, dir + u"/home"}, {u"XDG_DATA_HOME"_s, dir + u"/data"}, {u"MOXLEY_SYSROOT"_s, dir + u"/sysroot"}};
    QDir().mkpath(dir + u"/home");
    const Measure::Pair pair = Measure::alternate(
        context.reps,
        [&] {
            return context.run(Command{{context.binDir + u"/moxley", QStringLiteral("list")}, env, {}, true});
        },
        [&] {
            return context.run(Command{{QStringLiteral("/usr/bin/cat"), tasksFile}, {}, {}, false});
        });
    // The process alone, for scale: loading the libraries and parsing the arguments.
    Measure::Series startOnly;
    for (int i = 0; i < context.reps; ++i) {
        startOnly.runs.append(
            context.run(Command{{context.binDir + u"/moxley", QStringLiteral("--version")}, env, {}, false}));
    }
    QDir(dir).removeRecursively();
    const Measure::Run &first = pair.ours.runs.first();
    if (!first.ok() || first.out.count('\n') < 1000) {
        row.verdict = QStringLiteral("FAILED");
        row.notes.append(u"CLI: moxley list failed: " + QString::fromUtf8(first.err));
        return {row};
    }
    const auto [o, r] = Bench::fillTimes(row, pair, u"cat"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; cat " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o < 50 ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"CLI: moxley list uses " + Bench::milliseconds(pair.ours.medianCpuMs()) +
                     u" of CPU time (user + system); moxley --version (the process alone) takes " +
                     Bench::milliseconds(startOnly.medianMs()) + u", " + Bench::milliseconds(startOnly.medianCpuMs()) +
                     u" of CPU.");
    return {row};
}

} // namespace

namespace Bench {
QList<Row> historyRows(const Context &context);
QList<Row> logTailRows(const Context &context);
QList<Row> tasksFileRows(const Context &context);
QList<Row> scanRows(const Context &context);
QList<Row> cliHistoryRows(const Context &context);
QList<Row> cliLogsRows(const Context &context);
QList<Row> cliTimelineRows(const Context &context);
QList<Row> timerScanRows(const Context &context);
QList<Row> manyTasksRows(const Context &context);

QList<Benchmark> benchmarks()
{
    return {{QStringLiteral("history"), historyRows},
            {QStringLiteral("logtail"), logTailRows},
            {QStringLiteral("tasks"), tasksFileRows},
            {QStringLiteral("scan"), scanRows},
            {QStringLiteral("timerscan"), timerScanRows},
            {QStringLiteral("testrun"), testRun},
            {QStringLiteral("timeline"), timeline},
            {QStringLiteral("startup"), startUp},
            {QStringLiteral("cli"), cli},
            {QStringLiteral("clihistory"), cliHistoryRows},
            {QStringLiteral("clilogs"), cliLogsRows},
            {QStringLiteral("clitimeline"), cliTimelineRows},
            {QStringLiteral("manytasks"), manyTasksRows}};
}
} // namespace Bench
