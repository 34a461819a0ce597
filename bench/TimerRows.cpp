// The systemd timer scan: 2,000 unit files, against the same bound as the launchd scan.
#include "Bench.h"
#include "DataGen.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

using Bench::Context;
using Bench::Row;
using Measure::Command;

struct Units {
    QStringList paths;
    int expectedTimers = 0;
};

// `count` unit files over the folders, timer and service in pairs: every 10th timer with a drop-in,
// 1 in 40 garbage (still a timer, shown as far as readable), 1 in 50 our own (left out), every 25th
// also in the other folder of its scope (one of the two hides the other).
Units writeUnits(const QStringList &folders, int count, DataGen::Random &random)
{
    Units units;
    for (int i = 0; units.paths.size() < count; ++i) {
        const QString folder = folders.at(i % folders.size());
        const bool own = i % 50 == 7;
        const QString name = own ? u"com.moxley.task.%1"_s.arg(i) : u"job-%1-%2"_s.arg(i).arg(random.next() % 1000);
        QByteArray timer = "[Unit]\nDescription=Timer " + name.toUtf8() + "\n\n[Timer]\nOnCalendar=*-*-* " +
                           QByteArray::number(i % 24) + ":" + QByteArray::number(i % 60) + "\nPersistent=true\n";
        if (i % 40 == 3) {
            timer = "\x01\x02 not a unit\n[Timer\nOnCalendar\n" + timer.left(int(random.next() % 40));
        }
        const QString timerPath = folder + u'/' + name + u".timer"_s;
        DataGen::writeFile(timerPath, timer);
        DataGen::writeFile(folder + u'/' + name + u".service"_s,
                           "[Unit]\nDescription=Service\n\n[Service]\nType=oneshot\nExecStart=/usr/bin/job " +
                               name.toUtf8() + "\n");
        units.paths << timerPath << folder + u'/' + name + u".service"_s;
        if (i % 10 == 0 && units.paths.size() < count) {
            const QString dropIn = folder + u'/' + name + u".timer.d/override.conf"_s;
            DataGen::writeFile(dropIn, "[Timer]\nOnCalendar=\nOnCalendar=daily\n");
            units.paths << dropIn;
        }
        if (i % 25 == 0 && !own && units.paths.size() < count) {
            const QString hidden = folders.at((i % folders.size()) ^ 1) + u'/' + name + u".timer"_s;
            DataGen::writeFile(hidden, "[Timer]\nOnCalendar=yearly\n");
            units.paths << hidden;
        }
        units.expectedTimers += own ? 0 : 1;
    }
    return units;
}

QList<Row> timerScan(const Context &context)
{
    Row row;
    row.name = QStringLiteral("scan: SystemdTimerScanner, 2,000 unit files");
    row.target = QStringLiteral("ratio <= 4 (as the launchd scan)");
    const QString dir = context.tempDir + u"/timers";
    const QStringList user = {dir + u"/home/.config/systemd/user", dir + u"/etc/systemd/user"};
    const QStringList system = {dir + u"/etc/systemd/system", dir + u"/usr/lib/systemd/system"};
    DataGen::Random random;
    const Units units = writeUnits(user + system, 2000, random);
    QStringList catArgs{QStringLiteral("/usr/bin/cat")};
    catArgs += units.paths;
    const QStringList ours =
        QStringList{context.worker(), QStringLiteral("timerscan")} + user + QStringList{u"--"_s} + system;
    const Measure::Pair pair = Measure::alternate(
        context.reps,
        [&] {
            return context.run(Command{ours, {}, {}, true});
        },
        [&] {
            return context.run(Command{catArgs, {}, {}, false});
        });
    QDir(dir).removeRecursively();
    const auto fields = Measure::fields(pair.ours.runs.first().out);
    if (!pair.ours.runs.first().ok() || fields.value(u"count"_s).toInt() != units.expectedTimers) {
        row.verdict = QStringLiteral("FAILED");
        row.notes.append(u"timer scan found " + fields.value(u"count"_s) + u" timers, expected " +
                         QString::number(units.expectedTimers));
        return {row};
    }
    const auto [o, r] = Bench::fillTimes(row, pair, u"cat"_s);
    row.memory = Bench::mebibytes(pair.ours.maxPeakKiB()) + u"; cat " + Bench::mebibytes(pair.reference.maxPeakKiB());
    row.verdict = o <= 4 * r ? QStringLiteral("met") : QStringLiteral("MISSED");
    row.notes.append(u"timer scan: " + QString::number(units.paths.size()) + u" files in 4 folders, timers with " +
                     u"their services, drop-ins, garbage, our own and hidden duplicates; " + fields.value(u"count"_s) +
                     u" timers listed; in-process " + fields.value(u"op_ms"_s) + u" ms.");
    return {row};
}

} // namespace

namespace Bench {
QList<Row> timerScanRows(const Context &context)
{
    return timerScan(context);
}
} // namespace Bench
