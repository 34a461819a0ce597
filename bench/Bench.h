#pragma once

#include "Measure.h"

#include <QString>
#include <QStringList>

#include <functional>

// What every benchmark row gets and gives back.
namespace Bench {

struct Context {
    QString binDir;  // the worker, moxley, moxley-app and the reference window
    QString tempDir; // the data of one row at a time lives under here
    QString scratch; // captured output
    int reps = 7;

    QString worker() const { return binDir + u"/moxley-bench-worker"; }
    Measure::Run run(const Measure::Command &command) const { return Measure::run(command, scratch); }
};

struct Row {
    QString name;
    QString ours;      // "12.3 ms", or "not measured: <reason>"
    QString reference; // "4.1 ms (wc -l)"
    QString ratio;
    QString cpu; // user + system time of each side, medians: less swayed by the load than wall time
    QString memory;
    QString target;
    QString verdict;   // "met", "MISSED" or "not measured"
    QStringList notes; // shown under the table
};

using RowFunction = std::function<QList<Row>(const Context &)>;

struct Benchmark {
    QString key; // for --only
    RowFunction function;
};

QList<Benchmark> benchmarks();

// Formatting shared by the rows.
QString milliseconds(double ms);
QString mebibytes(qint64 kib);
QString ratio(double ours, double reference);
QString cpu(const Measure::Pair &pair);

// Fills the time columns of a side-by-side row (ours, the named reference, ratio, CPU) and gives
// back the two medians (ms) for the row's verdict.
struct Medians {
    double ours = 0;
    double reference = 0;
};
Medians fillTimes(Row &row, const Measure::Pair &pair, const QString &referenceName);

} // namespace Bench
