// moxley-bench: makes each benchmark's data, runs our code and its reference in alternation,
// prints one table and, with --readme, writes it into bench/README.md.
#include "Bench.h"
#include "BenchBuild.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSysInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString firstLine(const QString &path, const QByteArray &prefix)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(prefix)) {
            return QString::fromUtf8(line.mid(line.indexOf(prefix) + prefix.size())).trimmed();
        }
    }
    return {};
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).section(u' ', 0, 2) : QString();
}

QString machine()
{
    const qint64 memKiB = firstLine(u"/proc/meminfo"_s, "MemTotal:").section(u' ', 0, 0).toLongLong();
    return firstLine(u"/proc/cpuinfo"_s, "model name\t: ") + u", " + QString::number(sysconf(_SC_NPROCESSORS_ONLN)) +
           u" cores, " + QString::number(double(memKiB) / 1048576, 'f', 1) + u" GiB; " + QSysInfo::prettyProductName() +
           u", kernel " + QSysInfo::kernelVersion() + u"; Qt " + QString::fromLatin1(qVersion()) + u", " +
           QString::fromLatin1(MOXLEY_BENCH_COMPILER) + u", " + QString::fromLatin1(MOXLEY_BENCH_BUILD_TYPE);
}

QString escapeCell(QString text)
{
    return text.replace(u'|', u"\\|"_s);
}

QString table(const QList<Bench::Row> &rows)
{
    QString out = QStringLiteral(
        "| benchmark | ours | reference | ratio | CPU ours / reference | peak memory | target | result |\n"
        "|---|---|---|---|---|---|---|---|\n");
    for (const Bench::Row &row : rows) {
        out += u"| " + escapeCell(row.name) + u" | " + escapeCell(row.ours) + u" | " + escapeCell(row.reference) +
               u" | " + escapeCell(row.ratio) + u" | " + escapeCell(row.cpu) + u" | " + escapeCell(row.memory) +
               u" | " + escapeCell(row.target) + u" | " + escapeCell(row.verdict) + u" |\n";
    }
    return out;
}

bool writeReadme(const QString &path, const QString &section)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    QString text = QString::fromUtf8(file.readAll());
    file.close();
    const QString begin = QStringLiteral("<!-- latest-table:begin -->");
    const QString end = QStringLiteral("<!-- latest-table:end -->");
    const qsizetype from = text.indexOf(begin);
    const qsizetype to = text.indexOf(end);
    if (from < 0 || to < from) {
        return false;
    }
    text = text.left(from + begin.size()) + u'\n' + section + text.mid(to);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text.toUtf8()) >= 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    Bench::Context context;
    context.binDir = QCoreApplication::applicationDirPath();
    Measure::setRunProbe(context.binDir + u"/moxley-bench-run");
    QString readme;
    QStringList only;
    const QStringList args = QCoreApplication::arguments().mid(1);
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == u"--reps" && i + 1 < args.size()) {
            context.reps = std::max(1, args[++i].toInt());
        } else if (args[i] == u"--only" && i + 1 < args.size()) {
            only = args[++i].split(u',');
        } else if (args[i] == u"--readme" && i + 1 < args.size()) {
            readme = args[++i];
        } else {
            std::fprintf(stderr,
                         "usage: moxley-bench [--reps N] [--only history,logtail,...] [--readme bench/README.md]\n");
            return 2;
        }
    }
    QTemporaryDir temp;
    if (!temp.isValid()) {
        std::fprintf(stderr, "moxley-bench: no temporary folder\n");
        return 1;
    }
    context.tempDir = temp.path() + u"/data";
    context.scratch = temp.path();
    QDir().mkpath(context.tempDir);

    const QString loadBefore = loadAverage();
    QElapsedTimer total;
    total.start();
    QList<Bench::Row> rows;
    for (const Bench::Benchmark &benchmark : Bench::benchmarks()) {
        if (!only.isEmpty() && !only.contains(benchmark.key)) {
            continue;
        }
        std::fprintf(stderr, "moxley-bench: %s ...\n", qPrintable(benchmark.key));
        QElapsedTimer timer;
        timer.start();
        const QList<Bench::Row> produced = benchmark.function(context);
        std::fprintf(stderr, "moxley-bench: %s took %.1f s\n", qPrintable(benchmark.key),
                     double(timer.elapsed()) / 1000);
        rows += produced;
    }

    QString section = u"Run on " + QDateTime::currentDateTimeUtc().toString(u"yyyy-MM-dd HH:mm"_s) + u" UTC, " +
                      machine() + u". Load average " + loadBefore + u" before, " + loadAverage() + u" after; " +
                      QString::number(context.reps) + u" alternating rounds per side (log tail at most 5), medians; " +
                      QString::number(double(total.elapsed()) / 1000, 'f', 0) + u" s in all.\n\n" + table(rows);
    QStringList notes;
    for (const Bench::Row &row : rows) {
        notes += row.notes;
    }
    if (!notes.isEmpty()) {
        section += u'\n';
        for (const QString &note : notes) {
            section += u"- " + note + u'\n';
        }
    }
    std::printf("%s", section.toUtf8().constData());
    if (!readme.isEmpty() && !writeReadme(readme, section)) {
        std::fprintf(stderr, "moxley-bench: could not write the table into %s\n", qPrintable(readme));
        return 1;
    }
    bool failed = false;
    for (const Bench::Row &row : rows) {
        failed = failed || row.verdict == u"FAILED";
    }
    return failed ? 1 : 0;
}
