// The readers that start from the end of a runs file (lastRun, lastRuns, runsStartingBetween,
// runsSince) and the streaming one give what the whole-file reader gives, on any bytes.
//
// Input: byte 0 picks the count for lastRuns, byte 1 may pad the file with filler after the
// fuzzed text so that the backward reader's 256 KiB block boundary falls inside that text, bytes
// 2-5 pick the window of the range queries; the rest is the file.
#include "FuzzFile.h"
#include "store/RunHistory.h"

#include <QByteArray>
#include <QList>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

constexpr qsizetype kBackwardBlock = 256 << 10;

qint64 startOf(const TaskRunRecord &run)
{
    return run.startedAt.time_since_epoch().count();
}

bool sameRuns(const QList<TaskRunRecord> &a, const QList<TaskRunRecord> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const TaskRunRecord &x, const TaskRunRecord &y) {
        return x.startedAt == y.startedAt && x.endedAt == y.endedAt && x.exitCode == y.exitCode;
    });
}

void check(bool ok)
{
    if (!ok) {
        std::abort();
    }
}

QByteArray filler(int kind, qsizetype length)
{
    // Good lines late or early against the fuzzed ones, bare line feeds, or one long broken line.
    static const QByteArray lines[] = {"2031-05-01T10:00:00Z\t2031-05-01T10:00:04Z\t0\n",
                                       "1999-12-31T23:59:00+01:00\t7\n", "\n", "x"};
    const QByteArray &line = lines[kind & 3];
    QByteArray bytes = line.repeated(length / line.size() + 1);
    bytes.truncate(length);
    return bytes;
}

void compareRanges(const QString &path, const QList<TaskRunRecord> &whole, const uint8_t *pick)
{
    const qint64 base = whole.isEmpty() ? 0 : startOf(whole.at(pick[0] % whole.size()));
    const qint64 from = base + qint64(int8_t(pick[1])) * 60;
    const qint64 to = from + qint64(pick[2] | (pick[3] << 8)) * 60;

    QList<TaskRunRecord> between = whole;
    between.removeIf([&](const TaskRunRecord &run) { return startOf(run) < from || startOf(run) >= to; });
    check(
        sameRuns(RunHistory::runsStartingBetween(path, sys_seconds(seconds(from)), sys_seconds(seconds(to))), between));

    QList<TaskRunRecord> since = whole;
    since.removeIf([&](const TaskRunRecord &run) { return startOf(run) < from; });
    if (since.isEmpty() && !whole.isEmpty()) {
        since.append(whole.last());
    }
    check(sameRuns(RunHistory::runsSince(path, sys_seconds(seconds(from))), since));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 6) {
        return 0;
    }
    const int count = data[0] & 0x3F;
    QByteArray bytes(reinterpret_cast<const char *>(data + 6), qsizetype(size - 6));
    if (data[1] & 0x80) {
        bytes.append(filler((data[1] >> 5) & 3, kBackwardBlock - (data[1] & 0x1F) * 16 - 1));
    }
    const QString path = FuzzFile::write(bytes, QStringLiteral("fuzz.runs"));
    const QList<TaskRunRecord> whole = RunHistory::readRuns(path);

    const auto last = RunHistory::lastRun(path);
    check(last.has_value() == !whole.isEmpty());
    check(!last || sameRuns({*last}, {whole.last()}));

    const RunHistory::RecentRuns recent = RunHistory::lastRuns(path, count);
    check(recent.total == whole.size());
    check(sameRuns(recent.runs, whole.mid(std::max<qsizetype>(0, whole.size() - count))));

    QList<TaskRunRecord> streamed;
    RunHistory::RunsStream(path).forEach([&](qint64 startedAt, qint64 endedAt, qint32 exitCode) {
        streamed.append(
            TaskRunRecord{QUuid(), sys_seconds(seconds(startedAt)), sys_seconds(seconds(endedAt)), exitCode});
    });
    check(sameRuns(streamed, whole));

    compareRanges(path, whole, data + 2);
    return 0;
}
