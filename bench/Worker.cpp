// One side of a benchmark, run as a process of its own by moxley-bench: does the operation once
// (or, for in-process timings, a few times) and prints "key=value" pairs on one line.
#include "DataGen.h"

#include "launchd/LaunchdBrowser.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"
#include "runner/TaskRunner.h"
#include "store/RunHistory.h"
#include "store/TaskStore.h"
#include "systemd/SystemdTimerScanner.h"
#include "timeline/DayTimeline.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStringList>
#include <QTimeZone>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

// VmRSS or VmHWM of this process in KiB.
qint64 statusKiB(const char *key)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(prefix)) {
            return line.mid(prefix.size()).trimmed().split(' ').first().toLongLong();
        }
    }
    return 0;
}

void print(const QList<std::pair<const char *, QString>> &fields)
{
    QByteArray line;
    for (const auto &[key, value] : fields) {
        line += QByteArray(key) + '=' + value.toUtf8() + ' ';
    }
    std::printf("%s\n", line.trimmed().constData());
}

QString ms(qint64 ns)
{
    return QString::number(double(ns) / 1e6, 'f', 3);
}

QString sha1(const QString &text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha1).toHex());
}

// A store over the folders under `root` (tasks.json, LaunchAgents, Scripts, Logs), as the app
// makes one at start-up; no change notice, nothing outside `root`.
std::unique_ptr<TaskStore> storeAt(const QString &root)
{
    TaskStore::Options options;
    options.tasksFile = root + u"/tasks.json";
    options.launchdService = LaunchdService(root + u"/LaunchAgents", root + u"/Scripts", root + u"/Logs");
    options.launchdServiceForViews = options.launchdService;
    return std::make_unique<TaskStore>(options);
}

ScheduledTask taskWithId(const QString &id)
{
    ScheduledTask task;
    task.id = QUuid::fromString(id);
    return task;
}

// The runs file of task `id` in root/Logs, through the store.
int history(const QString &root, const QString &id)
{
    const auto store = storeAt(root);
    const ScheduledTask task = taskWithId(id);
    const qint64 base = statusKiB("VmRSS");
    QElapsedTimer timer;
    timer.start();
    const QList<TaskRunRecord> records = store->runRecords(task);
    const qint64 elapsed = timer.nsecsElapsed();
    print({{"count", QString::number(records.size())},
           {"op_ms", ms(elapsed)},
           {"base_kib", QString::number(base)},
           {"peak_kib", QString::number(statusKiB("VmHWM"))},
           {"result_kib", QString::number(records.size() * qsizetype(sizeof(TaskRunRecord)) / 1024)}});
    return 0;
}

// The standard-output log of task `id` in root/Logs, through the store.
int logTail(const QString &root, const QString &id, int lines)
{
    const auto store = storeAt(root);
    const ScheduledTask task = taskWithId(id);
    const qint64 base = statusKiB("VmRSS");
    QElapsedTimer timer;
    timer.start();
    const QString tail = store->readLog(task, TaskStore::LogStream::standardOutput, lines);
    const qint64 elapsed = timer.nsecsElapsed();
    print({{"chars", QString::number(tail.size())},
           {"sha1", sha1(tail)},
           {"op_ms", ms(elapsed)},
           {"base_kib", QString::number(base)},
           {"peak_kib", QString::number(statusKiB("VmHWM"))}});
    return 0;
}

// The reading steps as told: read the whole file as UTF-8 (failing on bad bytes), split at every
// line feed keeping empty pieces, keep the last `lines`, join with line feeds, trim both ends.
int logCheck(const QString &path, int lines)
{
    QString expected;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = file.readAll();
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        QString text = decoder.decode(bytes);
        if (!decoder.hasError()) {
            const QList<QStringView> pieces = QStringView(text).split(u'\n');
            const qsizetype first = std::max<qsizetype>(0, pieces.size() - lines);
            QStringList kept;
            for (qsizetype i = first; i < pieces.size(); ++i) {
                kept.append(pieces[i].toString());
            }
            expected = kept.join(u'\n').trimmed();
        }
    }
    const QString actual = RunHistory::readLogTail(path, lines);
    print({{"match", actual == expected ? QStringLiteral("1") : QStringLiteral("0")},
           {"chars", QString::number(actual.size())},
           {"expected_sha1", sha1(expected)},
           {"sha1", sha1(actual)}});
    return 0;
}

// The store's start-up load (with migration, the stray-job sweep and the script check) and one
// save, over the installed tasks under `root`.
int tasksFile(const QString &root)
{
    QElapsedTimer timer;
    timer.start();
    const auto store = storeAt(root);
    const bool saved = store->save();
    const qint64 elapsed = timer.nsecsElapsed();
    if (store->lastError() || !saved) {
        std::fprintf(stderr, "%s\n", qPrintable(store->lastError().value_or(u"save failed"_s)));
        return 1;
    }
    print({{"count", QString::number(store->tasks().size())}, {"op_ms", ms(elapsed)}});
    return 0;
}

int scan(const QStringList &folders)
{
    const LaunchdJob::Source sources[] = {LaunchdJob::Source::userAgents, LaunchdJob::Source::globalAgents,
                                          LaunchdJob::Source::globalDaemons};
    QList<LaunchdBrowser::Folder> list;
    for (qsizetype i = 0; i < folders.size() && i < 3; ++i) {
        list.append({folders[i], sources[i]});
    }
    QElapsedTimer timer;
    timer.start();
    const QList<LaunchdJob> jobs = LaunchdBrowser(list).scan();
    print({{"count", QString::number(jobs.size())}, {"op_ms", ms(timer.nsecsElapsed())}});
    return 0;
}

// The user's folders, "--", then the system's.
int timerScan(const QStringList &folders)
{
    const qsizetype split = folders.indexOf(u"--"_s);
    const QList<SystemdTimerScanner::Scope> scopes{{TimerUnit::Source::userTimers, folders.mid(0, split)},
                                                   {TimerUnit::Source::systemTimers, folders.mid(split + 1)}};
    QElapsedTimer timer;
    timer.start();
    const QList<TimerUnit> timers = SystemdTimerScanner(scopes).scan();
    print({{"count", QString::number(timers.size())}, {"op_ms", ms(timer.nsecsElapsed())}});
    return 0;
}

int testRun(int argc, char **argv, const QString &command)
{
    QCoreApplication app(argc, argv);
    TaskRunner runner;
    int exitCode = -1;
    QObject::connect(&runner, &TaskRunner::finished, &app, [&](int code) {
        exitCode = code;
        app.quit();
    });
    QElapsedTimer timer;
    timer.start();
    runner.run(command, std::nullopt, std::nullopt, false);
    app.exec();
    rusage self{};
    getrusage(RUSAGE_SELF, &self);
    const auto cpuMs = [](const timeval &t) { return double(t.tv_sec) * 1000 + double(t.tv_usec) / 1000; };
    print({{"chars", QString::number(runner.output().size())},
           {"exit", QString::number(exitCode)},
           {"user_ms", QString::number(cpuMs(self.ru_utime), 'f', 1)},
           {"sys_ms", QString::number(cpuMs(self.ru_stime), 'f', 1)},
           {"op_ms", ms(timer.nsecsElapsed())},
           {"peak_kib", QString::number(statusKiB("VmHWM"))}});
    return exitCode == 0 ? 0 : 1;
}

int timeline(const QString &tasksPath, const QString &logDir, const QString &nowText, const QString &zoneName, int reps)
{
    QFile file(tasksPath);
    if (!file.open(QIODevice::ReadOnly)) {
        return 1;
    }
    const TaskMigration::ReadResult result = TaskMigration::read(file.readAll());
    // Histories through the store, as the view reads them.
    TaskStore::Options options;
    options.tasksFile = QFileInfo(tasksPath).absolutePath() + u"/store/tasks.json";
    options.launchdService = LaunchdService(QFileInfo(tasksPath).absolutePath() + u"/store/LaunchAgents",
                                            QFileInfo(tasksPath).absolutePath() + u"/store/Scripts", logDir);
    const TaskStore store(options);
    const QTimeZone zone(zoneName.toUtf8());
    // The wall-clock time in that zone.
    const QDateTime wall = QDateTime::fromString(nowText, Qt::ISODate);
    const QDateTime now(wall.date(), wall.time(), zone);
    if (!result.ok() || !zone.isValid() || !now.isValid()) {
        return 1;
    }
    // As the view does it: every history read afresh from its file.
    const Timeline::RunHistory fromFiles = [&](const ScheduledTask &task) { return store.runRecords(task); };
    QHash<QUuid, QList<TaskRunRecord>> held;
    for (const ScheduledTask &task : result.tasks) {
        held.insert(task.id, store.runRecords(task));
    }
    const Timeline::RunHistory fromMemory = [&](const ScheduledTask &task) { return held.value(task.id); };

    QList<double> withFiles;
    QList<double> inMemory;
    QList<double> withFilesCpu;
    QList<double> inMemoryCpu;
    Timeline::Day day;
    // Wall time, and the process's CPU time (every thread), which a busy machine sways less.
    const auto cpuNow = [] {
        timespec t{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
    };
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        double cpu = cpuNow();
        day = Timeline::compute(result.tasks, fromFiles, {}, now, zone);
        withFiles.append(double(timer.nsecsElapsed()) / 1e6);
        withFilesCpu.append(cpuNow() - cpu);
        timer.restart();
        cpu = cpuNow();
        day = Timeline::compute(result.tasks, fromMemory, {}, now, zone);
        inMemory.append(double(timer.nsecsElapsed()) / 1e6);
        inMemoryCpu.append(cpuNow() - cpu);
    }
    qsizetype occurrences = 0;
    qsizetype ran = 0;
    qsizetype runs = 0;
    for (const Timeline::TaskRow &row : day.tasks) {
        occurrences += row.occurrences.size();
        runs += row.runs.size();
        ran += std::count_if(row.occurrences.cbegin(), row.occurrences.cend(), [](const auto &o) { return o.ran; });
    }
    const auto median = [](QList<double> v) {
        std::sort(v.begin(), v.end());
        return v.isEmpty() ? 0.0 : v[v.size() / 2];
    };
    print({{"files_ms", QString::number(median(withFiles), 'f', 3)},
           {"memory_ms", QString::number(median(inMemory), 'f', 3)},
           {"files_cpu_ms", QString::number(median(withFilesCpu), 'f', 3)},
           {"memory_cpu_ms", QString::number(median(inMemoryCpu), 'f', 3)},
           {"rows", QString::number(day.tasks.size())},
           {"occurrences", QString::number(occurrences)},
           {"ran", QString::number(ran)},
           {"runs_today", QString::number(runs)}});
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i) {
        args.append(QString::fromLocal8Bit(argv[i]));
    }
    const QString op = args.value(0);
    if (op == u"history" && args.size() == 3) {
        return history(args[1], args[2]);
    }
    if (op == u"logtail" && args.size() == 4) {
        return logTail(args[1], args[2], args[3].toInt());
    }
    if (op == u"logcheck" && args.size() == 3) {
        return logCheck(args[1], args[2].toInt());
    }
    if (op == u"tasks" && args.size() == 2) {
        return tasksFile(args[1]);
    }
    if (op == u"scan" && args.size() >= 2) {
        return scan(args.mid(1));
    }
    if (op == u"timerscan" && args.size() >= 2) {
        return timerScan(args.mid(1));
    }
    if (op == u"testrun" && args.size() == 2) {
        return testRun(argc, argv, args[1]);
    }
    if (op == u"timeline" && args.size() == 6) {
        return timeline(args[1], args[2], args[3], args[4], args[5].toInt());
    }
    // The generators alone, for profiling one side by hand (valgrind --tool=callgrind ...).
    if (op == u"make-runs" && args.size() == 3) {
        DataGen::Random random;
        return DataGen::writeRunsFile(args[2], args[1].toLongLong(), 50000, random).lines > 0 ? 0 : 1;
    }
    if (op == u"make-tasks" && args.size() == 4) {
        DataGen::Random random;
        DataGen::writeTasksFile(args[3], DataGen::makeTasks(args[1].toInt(), random), args[2].toInt());
        return 0;
    }
    if (op == u"make-store" && args.size() == 3) {
        DataGen::Random random;
        const QList<ScheduledTask> tasks = DataGen::makeTasks(args[1].toInt(), random);
        DataGen::writeTasksFile(args[2] + u"/tasks.json", tasks, 1);
        DataGen::writeInstalledJobs(args[2] + u"/LaunchAgents", args[2] + u"/Scripts", tasks);
        return 0;
    }
    if (op == u"make-app" && args.size() == 2) {
        DataGen::writeAppData(args[1] + u"/home", args[1] + u"/data", args[1] + u"/sysroot");
        return 0;
    }
    if (op == u"make-timeline" && args.size() == 2) {
        DataGen::writeTimelineData(args[1]);
        return 0;
    }
    if (op == u"make-log" && args.size() == 3) {
        DataGen::Random random;
        return DataGen::writeLog(args[2], args[1].toLongLong(), random).bytes > 0 ? 0 : 1;
    }
    std::fprintf(stderr, "usage: moxley-bench-worker "
                         "history|logtail|logcheck|tasks|scan|testrun|timeline|make-runs|make-tasks|make-log|make-"
                         "timeline|make-store|make-app ...\n");
    return 2;
}
