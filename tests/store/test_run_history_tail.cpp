#include "RunHistoryReference.h"
#include "Sandbox.h"
#include "store/RunHistory.h"
#include "store/RunHistoryCache.h"

#include <QRandomGenerator>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

qint64 startOf(const TaskRunRecord &run)
{
    return run.startedAt.time_since_epoch().count();
}

bool sameRuns(const QList<TaskRunRecord> &a, const QList<TaskRunRecord> &b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (a[i].startedAt != b[i].startedAt || a[i].endedAt != b[i].endedAt || a[i].exitCode != b[i].exitCode) {
            return false;
        }
    }
    return true;
}

QByteArray zulu(qint64 secs)
{
    return QDateTime::fromSecsSinceEpoch(secs, QTimeZone::utc()).toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'").toUtf8();
}

// A runs file of every kind of line: the wrapper's, the older two-piece one, offsets, stray tabs,
// malformed ones, now and then a line longer than a reading block, mostly in time order with
// some lines out of it.
class RunsFileMaker
{
public:
    explicit RunsFileMaker(quint32 start) : m_random(start) {}

    QByteArray make(int lines, int disorderPercent)
    {
        QByteArray bytes = m_random.bounded(10) == 0 ? QByteArray("\xEF\xBB\xBF") : QByteArray();
        qint64 time = 1735689600 + m_random.bounded(86400 * 30);
        for (int i = 0; i < lines; ++i) {
            time += m_random.bounded(7200);
            qint64 start = time;
            if (int(m_random.bounded(100)) < disorderPercent) {
                start += m_random.bounded(2) == 0 ? -m_random.bounded(86400 * 3) : m_random.bounded(86400 * 3);
            }
            bytes += line(start, start + m_random.bounded(400));
            if (i + 1 < lines || m_random.bounded(3) != 0) {
                bytes += '\n';
            }
        }
        return bytes;
    }

    QRandomGenerator &random() { return m_random; }

private:
    QByteArray line(qint64 start, qint64 end)
    {
        const QByteArray status = QByteArray::number(int(m_random.bounded(300)) - 20);
        switch (m_random.bounded(20)) {
        case 0:
            return zulu(start) + '\t' + status;
        case 1: {
            const int offset = (int(m_random.bounded(49)) - 24) * 1800;
            return QDateTime::fromSecsSinceEpoch(start, QTimeZone::utc())
                       .toOffsetFromUtc(offset)
                       .toString(Qt::ISODate)
                       .toUtf8() +
                   '\t' + zulu(end) + '\t' + status;
        }
        case 2:
            return "\t\t" + zulu(start) + "\t\t" + zulu(end) + '\t' + status + '\t';
        case 3:
            return zulu(start) + '\t' + zulu(end) + '\t' + status + '\r';
        case 4:
            return "not a run " + zulu(start);
        case 5:
            return zulu(start).replace(5, 2, "13") + '\t' + zulu(end) + "\t0";
        case 6:
            return zulu(start) + '\t' + zulu(end) + "\t0x1";
        case 7:
            return m_random.bounded(40) == 0 ? QByteArray(300 * 1024, 'y') : QByteArray();
        default:
            return zulu(start) + '\t' + zulu(end) + '\t' + status;
        }
    }

    QRandomGenerator m_random;
};

} // namespace

class RunHistoryTailTest : public QObject
{
    Q_OBJECT

private:
    QString write(const QByteArray &bytes, const QString &name = u"0a1b2c3d.runs"_s)
    {
        const QString path = m_dir.path() + u'/' + name;
        Sandbox::writeFile(path, bytes);
        return path;
    }

    // Every reader from the end against the whole-file reader, on one file.
    void compareAll(const QString &path, QRandomGenerator &random, int &orderMattered)
    {
        const QList<TaskRunRecord> whole = RunHistory::readRuns(path);
        const auto last = RunHistory::lastRun(path);
        QCOMPARE(last.has_value(), !whole.isEmpty());
        if (last) {
            QVERIFY(sameRuns({*last}, {whole.last()}));
        }
        for (const int count : {1, 10, int(random.bounded(40))}) {
            const auto recent = RunHistory::lastRuns(path, count);
            QCOMPARE(recent.total, whole.size());
            QVERIFY(sameRuns(recent.runs, whole.mid(std::max<qsizetype>(0, whole.size() - count))));
        }
        QList<TaskRunRecord> streamed;
        RunHistory::RunsStream(path).forEach([&](qint64 startedAt, qint64 endedAt, qint32 exitCode) {
            streamed.append(
                TaskRunRecord{QUuid(), sys_seconds(seconds(startedAt)), sys_seconds(seconds(endedAt)), exitCode});
        });
        QVERIFY(sameRuns(streamed, whole));
        if (whole.isEmpty()) {
            return;
        }
        for (int query = 0; query < 4; ++query) {
            const qint64 from = startOf(whole.at(random.bounded(whole.size()))) - random.bounded(3600);
            const qint64 to = from + random.bounded(86400 * 2);
            QList<TaskRunRecord> expected = whole;
            expected.removeIf([&](const TaskRunRecord &run) { return startOf(run) < from || startOf(run) >= to; });
            const auto found =
                RunHistory::runsStartingBetween(path, sys_seconds(seconds(from)), sys_seconds(seconds(to)));
            QVERIFY2(sameRuns(found, expected),
                     qPrintable(u"%1 expected, %2 found"_s.arg(expected.size()).arg(found.size())));
            QList<TaskRunRecord> since = whole;
            since.removeIf([&](const TaskRunRecord &run) { return startOf(run) < from; });
            if (since.isEmpty()) {
                since.append(whole.last());
            }
            QVERIFY(sameRuns(RunHistory::runsSince(path, sys_seconds(seconds(from))), since));
            // Whether a run of the answer comes before a later run that started before `from`: then
            // reading back to the first earlier run is not enough.
            qsizetype lastEarly = -1;
            for (qsizetype i = 0; i < whole.size(); ++i) {
                if (startOf(whole[i]) < from) {
                    lastEarly = i;
                }
            }
            for (qsizetype i = 0; i < lastEarly; ++i) {
                if (startOf(whole[i]) >= from && startOf(whole[i]) < to) {
                    ++orderMattered;
                    break;
                }
            }
        }
    }

    QTemporaryDir m_dir;

private Q_SLOTS:
    void randomSmallFiles_matchWholeFileReading()
    {
        RunsFileMaker maker(20260301);
        int orderMattered = 0;
        for (int round = 0; round < 400; ++round) {
            const QString path = write(maker.make(int(maker.random().bounded(60)), round % 3 == 0 ? 10 : 0),
                                       u"r"_s + QString::number(round) + u".runs"_s);
            compareAll(path, maker.random(), orderMattered);
            QFile::remove(path);
        }
        QVERIFY2(orderMattered > 20, qPrintable(QString::number(orderMattered)));
    }

    // Files of several reading blocks, so pieces and the walk cross block ends.
    void randomLongFiles_matchWholeFileReading()
    {
        RunsFileMaker maker(77);
        int orderMattered = 0;
        for (int round = 0; round < 6; ++round) {
            const QString path = write(maker.make(40000, round % 2 == 0 ? 1 : 0));
            compareAll(path, maker.random(), orderMattered);
        }
        QVERIFY(orderMattered > 0);
    }

    // One line out of time order far from the end: today's run it holds is found all the same.
    void earlyLineOfToday_isFoundInAnOrderedFile()
    {
        QByteArray bytes;
        const qint64 today = 1767225600; // 2026-01-01T00:00:00Z
        bytes += zulu(today + 600) + '\t' + zulu(today + 605) + "\t3\n";
        for (qint64 t = today - 86400 * 300; t < today - 60; t += 3600) {
            bytes += zulu(t) + '\t' + zulu(t + 5) + "\t0\n";
        }
        bytes += zulu(today + 7200) + '\t' + zulu(today + 7205) + "\t4\n";
        const QString path = write(bytes);
        const auto runs =
            RunHistory::runsStartingBetween(path, sys_seconds(seconds(today)), sys_seconds(seconds(today + 86400)));
        QCOMPARE(runs.size(), 2);
        QCOMPARE(runs[0].exitCode, 3);
        QCOMPARE(runs[1].exitCode, 4);
    }

    void runsSince_aLongQuietHistory_givesTheLastRunAlone()
    {
        QByteArray bytes;
        const qint64 today = 1767225600; // 2026-01-01T00:00:00Z
        for (qint64 t = today - 86400 * 300; t < today - 86400 * 30; t += 3600) {
            bytes += zulu(t) + '\t' + zulu(t + 5) + "\t0\n";
        }
        bytes += zulu(today - 86400 * 30) + '\t' + zulu(today - 86400 * 30 + 5) + "\t7\n";
        const QString path = write(bytes);
        const auto quiet = RunHistory::runsSince(path, sys_seconds(seconds(today - 86400 * 7)));
        QCOMPARE(quiet.size(), 1);
        QCOMPARE(quiet[0].exitCode, 7);
        QCOMPARE(RunHistory::runsSince(path, sys_seconds(seconds(today - 86400 * 31))).size(), 1 + 24);
        QVERIFY(RunHistory::runsSince(path + u".missing"_s, sys_seconds(seconds(today))).isEmpty());
    }

    // A bad byte at the very start empties every answer, as it empties the whole file's.
    void badUtf8AtTheStart_emptiesEveryAnswer()
    {
        QByteArray bytes = "\xFF\n";
        for (int i = 0; i < 1000; ++i) {
            bytes += zulu(1767225600 + i * 60) + '\t' + zulu(1767225600 + i * 60 + 5) + "\t0\n";
        }
        const QString path = write(bytes);
        QVERIFY(!RunHistory::lastRun(path));
        QCOMPARE(RunHistory::lastRuns(path, 10).total, 0);
        QVERIFY(RunHistory::lastRuns(path, 10).runs.isEmpty());
        QVERIFY(
            RunHistory::runsStartingBetween(path, sys_seconds(seconds(1767225600)), sys_seconds(seconds(1767312000)))
                .isEmpty());
        int visited = 0;
        RunHistory::RunsStream(path).forEach([&visited](qint64, qint64, qint32) { ++visited; });
        QCOMPARE(visited, 0);
        bytes.remove(0, 2);
        QCOMPARE(RunHistory::lastRuns(write(bytes), 10).total, 1000);
    }

    // A file that grows line by line (sometimes half a line), is rewritten, shrinks, gets a bad byte
    // or goes away: the cache answers as a fresh read each time.
    void cache_answersAsAFreshRead_whileTheFileChanges()
    {
        RunsFileMaker maker(4242);
        QRandomGenerator &random = maker.random();
        const QString path = m_dir.path() + u"/cached.runs"_s;
        const QByteArray start = maker.make(3000, 2);
        Sandbox::writeFile(path, start);
        const QList<TaskRunRecord> whole = RunHistory::readRuns(path);
        QVERIFY(!whole.isEmpty());
        const qint64 from = 1735689600 + 86400 * 20;
        const qint64 to = from + 86400 * 3650;
        RunHistoryCache cache;
        int nonEmpty = 0;
        for (int step = 0; step < 300; ++step) {
            QFile file(path);
            switch (random.bounded(40)) {
            case 0:
            case 4:
            case 5: // rewritten whole
                Sandbox::writeFile(path, maker.make(int(random.bounded(2000)), 2));
                break;
            case 1: // cut short
                if (file.exists()) {
                    QVERIFY(file.resize(file.size() / 2));
                }
                break;
            case 2:
                QFile::remove(path);
                break;
            case 3: { // a byte that is not UTF-8 appended
                QVERIFY(file.open(QIODevice::Append));
                file.write("\xFF\n");
                break;
            }
            default: { // lines appended, the last one perhaps unfinished
                QVERIFY(file.open(QIODevice::Append));
                const QByteArray more = maker.make(int(random.bounded(30)), 5);
                file.write(more.left(random.bounded(3) == 0 ? random.bounded(more.size() + 1) : more.size()));
            }
            }
            file.close();
            const auto fresh =
                RunHistory::runsStartingBetween(path, sys_seconds(seconds(from)), sys_seconds(seconds(to)));
            const auto cached = cache.runsStartingBetween(path, sys_seconds(seconds(from)), sys_seconds(seconds(to)));
            QVERIFY2(sameRuns(cached, fresh),
                     qPrintable(u"step %1: %2 cached, %3 fresh"_s.arg(step).arg(cached.size()).arg(fresh.size())));
            nonEmpty += fresh.isEmpty() ? 0 : 1;
        }
        QVERIFY2(nonEmpty > 100, qPrintable(QString::number(nonEmpty)));
    }

    // Asked again about a file of the same identity (inode, size, modification time), the cache
    // reads nothing: bytes changed in place behind its back, with the time put back, go unseen.
    void cache_sameIdentity_isNotReadAgain()
    {
        QByteArray bytes;
        for (int i = 0; i < 100; ++i) {
            bytes += zulu(1767225600 + i * 60) + '\t' + zulu(1767225600 + i * 60 + 5) + "\t0\n";
        }
        const QString path = write(bytes);
        struct stat before {
        };
        QVERIFY(::stat(QFile::encodeName(path).constData(), &before) == 0);
        RunHistoryCache cache;
        const sys_seconds from(seconds(1767225600));
        const sys_seconds to(seconds(1767225600 + 86400));
        QCOMPARE(cache.runsStartingBetween(path, from, to).size(), 100);
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.seek(42));
            file.write("7");
        }
#if defined(__APPLE__)
        const struct timespec times[2] = {before.st_atimespec, before.st_mtimespec};
#else
        const struct timespec times[2] = {before.st_atim, before.st_mtim};
#endif
        QVERIFY(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0);
        QCOMPARE(RunHistory::runsStartingBetween(path, from, to).first().exitCode, 7);
        QCOMPARE(cache.runsStartingBetween(path, from, to).first().exitCode, 0);
        QCOMPARE(cache.size(), 1);
        cache.dropUnused();
        QCOMPARE(cache.size(), 1); // asked about since the last call
        cache.dropUnused();
        QCOMPARE(cache.size(), 0);
    }

    void missingFile_isEmpty()
    {
        const QString path = m_dir.path() + u"/missing.runs"_s;
        QVERIFY(!RunHistory::lastRun(path));
        QCOMPARE(RunHistory::lastRuns(path, 3).total, 0);
        QVERIFY(
            RunHistory::runsStartingBetween(path, sys_seconds(seconds(0)), sys_seconds(seconds(1LL << 40))).isEmpty());
    }

    // The streamed log tail is the text readLogTail gives, for random logs of awkward characters.
    void streamedLogTail_matchesReadLogTail()
    {
        QRandomGenerator random(11);
        const QList<QByteArray> &alphabet = RunHistoryReference::awkwardLogPieces();
        int nonEmpty = 0;
        for (int round = 0; round < 2000; ++round) {
            const QByteArray bytes = RunHistoryReference::randomLog(
                random, alphabet, round % 100 == 0 ? 200000 : int(random.bounded(40)), 25);
            const QString path = write(bytes, u"l"_s + QString::number(round) + u".log"_s);
            const int maxLines = round % 7 == 0 ? 1000000 : int(random.bounded(12));
            const QByteArray expected = RunHistory::readLogTail(path, maxLines).toUtf8();
            QByteArray streamed;
            const qint64 written = RunHistory::streamLogTail(
                path, maxLines, [&](const char *data, qint64 size) { streamed.append(data, size); });
            QCOMPARE(written, streamed.size());
            QCOMPARE(streamed, expected);
            nonEmpty += expected.isEmpty() ? 0 : 1;
            QFile::remove(path);
        }
        QVERIFY(nonEmpty > 700);
    }
};

QTEST_GUILESS_MAIN(RunHistoryTailTest)
#include "test_run_history_tail.moc"
