#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>

// Running one side of a benchmark as a process of its own: its wall time from spawn to exit and
// its peak resident memory (wait4's ru_maxrss), with its standard output kept for checks.
namespace Measure {

struct Run {
    qint64 startNs = 0; // CLOCK_MONOTONIC just before the fork
    double wallMs = 0;
    qint64 peakKiB = 0;
    double cpuMs = 0;    // user + system, the program and its children
    int exitStatus = -1; // the exit code, or 128 + signal
    QByteArray out;      // standard output, when asked for
    QByteArray err;
    bool ok() const { return exitStatus == 0; }
};

struct Command {
    QStringList argv;           // argv[0] is a path; no shell unless argv says so
    QMap<QString, QString> env; // added to (or replacing in) this process's environment
    QString stdinPath;          // empty: /dev/null
    bool keepOutput = false;    // false: standard output goes to /dev/null
};

// Every command is started through moxley-bench-run (see RunProbe.cpp), whose path is set once.
void setRunProbe(const QString &path);

// `scratch` is a folder for the captured output files. argv[0] must be an absolute path.
Run run(const Command &command, const QString &scratch);

// CLOCK_MONOTONIC in nanoseconds; the same clock in every process of the machine.
qint64 monotonicNs();

struct Series {
    QList<Run> runs;
    double medianMs() const;
    double medianCpuMs() const;
    qint64 maxPeakKiB() const;
    qint64 medianPeakKiB() const;
};

struct Pair {
    Series ours;
    Series reference;
};

// One untimed warm-up of each side, then `reps` rounds in alternation (ours first in even
// rounds, the reference first in odd ones), so drift on a shared machine hits both alike.
Pair alternate(int reps, const std::function<Run()> &ours, const std::function<Run()> &reference);

double median(QList<double> values);

// "key=value key=value" from a worker's last output line.
QMap<QString, QString> fields(const QByteArray &out);

} // namespace Measure
