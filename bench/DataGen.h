#pragma once

#include "model/ScheduledTask.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <random>

// The benchmarks' data, made afresh for every run from a fixed start value, so every run
// measures the same bytes.
namespace DataGen {

inline constexpr quint64 kFixedStart = 0x6D6F786C6579ULL;

class Random
{
public:
    explicit Random(quint64 start = kFixedStart) : m_engine(start) {}
    quint64 next() { return m_engine(); }
    int below(int n) { return int(m_engine() % quint64(n)); }
    bool percent(int p) { return below(100) < p; }
    QUuid uuid();

private:
    std::mt19937_64 m_engine;
};

struct RunsFile {
    qint64 lines = 0;
    qint64 records = 0; // the lines that must parse
    qint64 bytes = 0;
};
// `lines` runs-file lines as the wrapper script writes them, every `malformedEvery`-th one broken
// in one of several ways (a few more are the older two-field form, which is valid).
RunsFile writeRunsFile(const QString &path, qint64 lines, int malformedEvery, Random &random);

struct Log {
    qint64 bytes = 0;
};
// A valid UTF-8 log of about `bytes` bytes: one block of mixed lines (ASCII, accents, CJK,
// emoji, blank lines) written again and again, then a distinct end with trailing blank lines.
Log writeLog(const QString &path, qint64 bytes, Random &random);

// `count` tasks cycling through every schedule kind; with `everyMinuteEvery` > 0 every such
// n-th task runs every minute. All enabled when `allEnabled`.
QList<ScheduledTask> makeTasks(int count, Random &random, int everyMinuteEvery = 0, bool allEnabled = false);

// Version 2 (the current envelope) or version 1 (a bare array with single-time payloads where
// a schedule has one time, so that reading it migrates).
void writeTasksFile(const QString &path, const QList<ScheduledTask> &tasks, int version);

// What installing leaves behind for every enabled task: its wrapper script and property list,
// in those folders (written directly; launchctl is not run).
void writeInstalledJobs(const QString &launchAgentsDir, const QString &scriptsDir, const QList<ScheduledTask> &tasks);

// `perTask` runs for each task, at its cadence, ending before `now`, in logDir/<short id>.runs.
qint64 writeRunHistories(const QString &logDir, const QList<ScheduledTask> &tasks, int perTask, const QDateTime &now,
                         Random &random);

// The timeline rows' data: 1,000 enabled tasks (every 10th every minute) in dir/tasks.json,
// installed (dir/LaunchAgents, dir/Scripts), and 1,000 runs each in dir/Logs, ending before
// kTimelineNow in kTimelineZone.
inline constexpr const char *kTimelineNow = "2025-03-14T18:00:00";
inline constexpr const char *kTimelineZone = "Europe/Berlin";
void writeTimelineData(const QString &dir);

// The start-up row's world: 1,000 installed tasks in the app's folders under `home` and
// `dataDir`, and 1,000 other jobs' property lists in the user's and the system's folders.
void writeAppData(const QString &home, const QString &dataDir, const QString &sysroot);

struct Plists {
    int files = 0;
    int expectedJobs = 0; // parse, and are not this application's
    QStringList paths;    // every *.plist written, the scanner's input
};
// `count` property lists spread over `folders`: half binary, some broken, some of our own.
Plists writePlists(const QStringList &folders, int count, Random &random);

bool writeFile(const QString &path, const QByteArray &bytes);

} // namespace DataGen
