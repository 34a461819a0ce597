#include "RunHistoryReference.h"
#include "store/MappedFile.h"
#include "store/RunsFileReader.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace RunHistoryReference;
using RunHistoryDetail::LogRead;

// A log's tail read through a mapping of the file: the same text as read in blocks, the line feeds
// counted right, a file cut short under the reader, and a sink that copies the text by itself.
class MappedLogTailTest : public QObject, private Files
{
    Q_OBJECT

    static qint64 naiveFeeds(const QByteArray &bytes, qsizetype from, qsizetype to)
    {
        return std::count(bytes.cbegin() + from, bytes.cbegin() + to, '\n');
    }

    // The text streamLogTail hands out, read as `how` says, with an optional copying sink that
    // takes at most `copyAtMost` bytes (-1: none offered).
    static QByteArray streamed(const QString &path, int maxLines, LogRead how, qint64 copyAtMost = -1)
    {
        QByteArray text;
        const RunHistory::LogWrite write = [&text](const char *data, qint64 size) { text.append(data, size); };
        RunHistory::LogCopy copy;
        if (copyAtMost >= 0) {
            copy = [&text, copyAtMost](int fd, qint64 offset, qint64 length) {
                const qint64 take = std::min(length, copyAtMost);
                QByteArray piece(take, Qt::Uninitialized);
                if (::pread(fd, piece.data(), size_t(take), off_t(offset)) != take) {
                    return qint64(0);
                }
                text.append(piece);
                return take;
            };
        }
        const qint64 written = RunHistoryDetail::streamLogTail(path, maxLines, write, copy, how);
        if (written != text.size()) {
            return QByteArrayLiteral("<count differs>");
        }
        return text;
    }

private Q_SLOTS:
    void feedsIn_countsEveryFeed()
    {
        QRandomGenerator random(7);
        // Dense feeds overflow a one-byte counter soonest: whole blocks of nothing else.
        QList<QByteArray> buffers{QByteArray(300000, '\n'), QByteArray(70000, 'x')};
        QByteArray mixed(1 << 20, Qt::Uninitialized);
        for (char &c : mixed) {
            c = random.bounded(4) == 0 ? '\n' : char(random.bounded(256));
        }
        buffers << mixed;
        for (const QByteArray &bytes : std::as_const(buffers)) {
            for (const qsizetype from : {0, 1, 7, 15, 63, 65}) {
                for (qsizetype length : {0, 1, 8, 15, 16, 17, 63, 64, 65, 127, 4095, 4097, 16128, 16200, 70000}) {
                    length = std::min(length, bytes.size() - from);
                    QCOMPARE(RunHistoryDetail::feedsIn(bytes.constData() + from, bytes.constData() + from + length),
                             naiveFeeds(bytes, from, from + length));
                }
            }
            QCOMPARE(RunHistoryDetail::feedsIn(bytes.cbegin(), bytes.cend()), naiveFeeds(bytes, 0, bytes.size()));
        }
    }

    void guarded_readsAMappedFileWhole()
    {
        const QByteArray bytes(1 << 20, 'a');
        const QString path = write(bytes, u"whole.log"_s);
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
        QVERIFY(fd >= 0);
        {
            const MappedFile map(fd, bytes.size());
            QVERIFY(map.isMapped());
            qint64 sum = 0;
            QVERIFY(MappedFile::guarded([&] {
                for (qint64 i = 0; i < map.size(); i += 4096) {
                    sum += map.data()[i];
                }
            }));
            QCOMPARE(sum, qint64('a') * 256);
        }
        ::close(fd);
        QVERIFY(!MappedFile(-1, 10).isMapped());
        QVERIFY(!MappedFile(0, 0).isMapped());
    }

    // Another process empties the file after it was mapped: reading a page past the new end would
    // end the program; the read stops there instead, and the signal's handling is as it was.
    void guarded_fileCutShort_stopsTheRead()
    {
        const QString path = write(QByteArray(1 << 20, 'b'), u"cut.log"_s);
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
        QVERIFY(fd >= 0);
        struct sigaction before {
        };
        ::sigaction(SIGBUS, nullptr, &before);
        {
            const MappedFile map(fd, 1 << 20);
            QVERIFY(map.isMapped());
            QVERIFY(QFile::resize(path, 0));
            qint64 readUpTo = -1;
            const bool whole = MappedFile::guarded([&] {
                for (qint64 i = 0; i < map.size(); i += 4096) {
                    if (map.data()[i] != 'b') {
                        return;
                    }
                    readUpTo = i;
                }
            });
            QVERIFY(!whole);
            QCOMPARE(readUpTo, -1);
        }
        ::close(fd);
        struct sigaction after {
        };
        ::sigaction(SIGBUS, nullptr, &after);
        QVERIFY(after.sa_handler == before.sa_handler);
    }

    // The mapped read, the block read and a copying sink (taking all, some or none of the text) give
    // the reference text, for random logs of awkward characters and line counts.
    void mappedAndBlocks_giveTheSameText()
    {
        QRandomGenerator random(23);
        const QList<QByteArray> &alphabet = RunHistoryReference::awkwardLogPieces();
        int nonEmpty = 0;
        for (int round = 0; round < 600; ++round) {
            // Some logs span many of the mapped read's 256 KiB stretches.
            const QByteArray bytes =
                randomLog(random, alphabet, round % 50 == 0 ? 400000 : int(random.bounded(60)), 20);
            const QString path = write(bytes, u"m"_s + QString::number(round) + u".log"_s);
            const int maxLines = round % 5 == 0 ? 1000000 : 1 + int(random.bounded(round % 50 == 0 ? 300000 : 15));
            const QByteArray expected = RunHistory::readLogTail(path, maxLines).toUtf8();
            QCOMPARE(streamed(path, maxLines, LogRead::mapped), expected);
            QCOMPARE(streamed(path, maxLines, LogRead::blocks), expected);
            QCOMPARE(streamed(path, maxLines, LogRead::mapped, 1 << 30), expected);
            QCOMPARE(streamed(path, maxLines, LogRead::blocks, 3), expected);
            QCOMPARE(streamed(path, maxLines, LogRead::mapped, 0), expected);
            nonEmpty += expected.isEmpty() ? 0 : 1;
            QFile::remove(path);
        }
        QVERIFY(nonEmpty > 300);
    }
};

QTEST_GUILESS_MAIN(MappedLogTailTest)
#include "test_mapped_log_tail.moc"
