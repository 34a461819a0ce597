#include "Measure.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

QString runProbe;

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

qint64 Measure::monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

void Measure::setRunProbe(const QString &path)
{
    runProbe = path;
}

Measure::Run Measure::run(const Command &command, const QString &scratch)
{
    Run result;
    const QByteArray outPath = QString(scratch + u"/stdout.txt").toLocal8Bit();
    const QByteArray errPath = QString(scratch + u"/stderr.txt").toLocal8Bit();
    const QString resultPath = scratch + u"/result.txt";
    QFile::remove(resultPath);
    const QByteArray inPath = command.stdinPath.isEmpty() ? QByteArray("/dev/null") : command.stdinPath.toLocal8Bit();

    // The environment: ours, with the command's values put in.
    std::vector<QByteArray> envStorage;
    for (char **e = environ; *e; ++e) {
        const QByteArray entry(*e);
        const QString name = QString::fromLocal8Bit(entry.left(entry.indexOf('=')));
        if (!command.env.contains(name)) {
            envStorage.push_back(entry);
        }
    }
    for (auto it = command.env.cbegin(); it != command.env.cend(); ++it) {
        envStorage.push_back(QString(it.key() + u'=' + it.value()).toLocal8Bit());
    }
    std::vector<char *> envp;
    for (QByteArray &entry : envStorage) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);

    std::vector<QByteArray> argStorage{runProbe.toLocal8Bit(), resultPath.toLocal8Bit()};
    for (const QString &arg : command.argv) {
        argStorage.push_back(arg.toLocal8Bit());
    }
    std::vector<char *> argv;
    for (QByteArray &arg : argStorage) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, inPath.constData(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, command.keepOutput ? outPath.constData() : "/dev/null",
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        result.err = QByteArray("cannot start ") + argStorage[0] + ": " + strerror(spawned);
        return result;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const QList<QByteArray> measured = readAll(resultPath).trimmed().split(' ');
    if (measured.size() == 5) {
        result.startNs = measured[0].toLongLong();
        result.wallMs = double(measured[1].toLongLong() - result.startNs) / 1e6;
        result.peakKiB = measured[2].toLongLong(); // kibibytes on Linux
        result.exitStatus = measured[3].toInt();
        result.cpuMs = double(measured[4].toLongLong()) / 1000;
    }
    if (command.keepOutput) {
        result.out = readAll(QString::fromLocal8Bit(outPath));
    }
    result.err = readAll(QString::fromLocal8Bit(errPath));
    return result;
}

double Measure::median(QList<double> values)
{
    if (values.isEmpty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const qsizetype n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

double Measure::Series::medianMs() const
{
    QList<double> values;
    for (const Run &r : runs) {
        values.append(r.wallMs);
    }
    return median(values);
}

double Measure::Series::medianCpuMs() const
{
    QList<double> values;
    for (const Run &r : runs) {
        values.append(r.cpuMs);
    }
    return median(values);
}

qint64 Measure::Series::maxPeakKiB() const
{
    qint64 peak = 0;
    for (const Run &r : runs) {
        peak = std::max(peak, r.peakKiB);
    }
    return peak;
}

qint64 Measure::Series::medianPeakKiB() const
{
    QList<double> values;
    for (const Run &r : runs) {
        values.append(double(r.peakKiB));
    }
    return qint64(median(values));
}

Measure::Pair Measure::alternate(int reps, const std::function<Run()> &ours, const std::function<Run()> &reference)
{
    Pair pair;
    ours();
    reference();
    for (int i = 0; i < reps; ++i) {
        if (i % 2 == 0) {
            pair.ours.runs.append(ours());
            pair.reference.runs.append(reference());
        } else {
            pair.reference.runs.append(reference());
            pair.ours.runs.append(ours());
        }
    }
    return pair;
}

QMap<QString, QString> Measure::fields(const QByteArray &out)
{
    QMap<QString, QString> result;
    const QList<QByteArray> lines = out.trimmed().split('\n');
    for (const QByteArray &token : lines.last().split(' ')) {
        const qsizetype eq = token.indexOf('=');
        if (eq > 0) {
            result.insert(QString::fromUtf8(token.left(eq)), QString::fromUtf8(token.mid(eq + 1)));
        }
    }
    return result;
}
