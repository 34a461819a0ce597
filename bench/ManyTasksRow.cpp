// The first changing command on 10,000 enabled tasks whose scripts are missing (after an upgrade):
// the tool reinstalls every job before its own work, in batches of the scheduler.
#include "Bench.h"
#include "DataGen.h"
#include "launchd/LaunchdScheduler.h"
#include "systemd/SystemdScheduler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

using Bench::Context;
using Bench::Row;
using Measure::Command;

constexpr int kTasks = 10000;
const QString kTarget = u"7A26E7C1-0000-4000-8000-000000000001"_s;

// The scheduler's tool: one line per call, with its number of arguments.
void writeCountingTool(const QString &path, const QString &log)
{
    DataGen::writeFile(path, "#!/bin/sh\necho $# >> '" + log.toUtf8() + "'\nexit 0\n");
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
}

struct Calls {
    int calls = 0;
    qint64 arguments = 0;
};

Calls readCalls(const QString &log)
{
    QFile file(log);
    Calls counted;
    if (!file.open(QIODevice::ReadOnly)) {
        return counted;
    }
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (!line.isEmpty()) {
            ++counted.calls;
            counted.arguments += line.toLongLong();
        }
    }
    return counted;
}

Row row(const Context &context, const QString &scheduler)
{
    Row row;
    row.name = u"many tasks: moxley enable, 10,000 enabled tasks without scripts ("_s + scheduler + u')';
    const QString dir = context.tempDir + u"/manytasks";
    QDir(dir).removeRecursively();
    DataGen::Random random;
    QList<ScheduledTask> tasks = DataGen::makeTasks(kTasks, random, 0, true);
    ScheduledTask target = tasks.first();
    target.id = QUuid::fromString(kTarget);
    target.isEnabled = false;
    tasks.append(target);
    const QString tasksFile = dir + u"/data/Moxley/tasks.json";
    DataGen::writeTasksFile(tasksFile, tasks, 2);
    QFile file(tasksFile);
    const QByteArray tasksBytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.close();
    const QString log = dir + u"/calls.log";
    const QString tool = scheduler == u"launchd" ? u"/bin/launchctl"_s : u"/usr/bin/systemctl"_s;
    writeCountingTool(dir + u"/sysroot" + tool, log);
    const QMap<QString, QString> env{{u"HOME"_s, dir + u"/home"},
                                     {u"XDG_DATA_HOME"_s, dir + u"/data"},
                                     {u"MOXLEY_SYSROOT"_s, dir + u"/sysroot"},
                                     {u"MOXLEY_SCHEDULER"_s, scheduler}};
    const QString files = dir + u"/files";
    // Every round starts from the same world: the tasks file as made, no script, no job.
    const auto reset = [&] {
        DataGen::writeFile(tasksFile, tasksBytes);
        QDir(dir + u"/data/Moxley/Scripts").removeRecursively();
        QDir(dir + u"/home").removeRecursively();
        QDir(files).removeRecursively();
        QDir().mkpath(dir + u"/home");
        QDir().mkpath(files);
        QFile::remove(log);
    };
    QList<Calls> counted;
    int scripts = -1; // written by our first run
    // A shell writing as many files as we do (a script and a job file per task), for scale.
    const QString loop = u"cd '"_s + files + u"' && for i in $(seq " + QString::number(kTasks) +
                         u"); do printf '#!/bin/bash\\necho %s\\n' $i > $i.sh; printf '<plist>%s</plist>\\n' $i > "
                         u"$i.plist; done";
    // Each of our rounds writes 20,000 files and takes seconds: two rounds a side.
    const Measure::Pair pair = Measure::alternate(
        std::min(context.reps, 2),
        [&] {
            reset();
            Measure::Run run =
                context.run(Command{{context.binDir + u"/moxley", u"enable"_s, kTarget}, env, {}, false});
            counted.append(readCalls(log));
            if (scripts < 0) {
                scripts = int(QDir(dir + u"/data/Moxley/Scripts").entryList(QDir::Files).size());
            }
            return run;
        },
        [&] {
            reset();
            return context.run(Command{{u"/bin/bash"_s, u"-c"_s, loop}, {}, {}, false});
        });
    QDir(dir).removeRecursively();
    const Measure::Run &first = pair.ours.runs.first();
    if (!first.ok() || scripts != kTasks + 1) {
        row.verdict = u"FAILED"_s;
        row.notes.append(u"many tasks ("_s + scheduler + u"): " + QString::number(scripts) + u" scripts written; " +
                         QString::fromUtf8(first.err));
        return row;
    }
    int most = 0;
    for (const Calls &calls : std::as_const(counted)) {
        most = std::max(most, calls.calls);
    }
    // launchd: one load per 200 jobs and one for the task enabled; systemd: a reload, then enable,
    // restart and enable --now, each 2,000 units a call, and three calls for the task.
    const int unitChunks = int((kTasks + SystemdScheduler::kUnitsPerCall - 1) / SystemdScheduler::kUnitsPerCall);
    const int bound =
        scheduler == u"launchd" ? int(kTasks / LaunchdScheduler::kPathsPerCall) + 1 : 1 + 3 * unitChunks + 3;
    row.target = u"at most "_s + QString::number(bound) + u" " + QFileInfo(tool).fileName() + u" calls" +
                 (scheduler == u"launchd" ? u" (was 10,001)"_s : QString());
    Bench::fillTimes(row, pair, u"bash loop writing 20,000 files"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; " + QString::number(most) + u" calls, " +
                 QString::number(counted.first().arguments) + u" arguments";
    row.verdict = most <= bound ? u"met"_s : u"MISSED"_s;
    row.notes.append(
        u"many tasks ("_s + scheduler +
        u"): 10,000 enabled tasks of every kind and one disabled, no script and no job file; `moxley "
        u"enable` of the disabled one reinstalls all of them first. " +
        QFileInfo(tool).fileName() + u" is a stand-in that only counts its calls (no job is loaded)." +
        (scheduler == u"launchd" ? u" Before batching it took 65 s and 10,001 launchctl calls."_s : QString()));
    return row;
}

} // namespace

namespace Bench {
QList<Row> manyTasksRows(const Context &context)
{
    return {row(context, u"launchd"_s), row(context, u"systemd"_s)};
}
} // namespace Bench
