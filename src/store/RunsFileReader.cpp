#include "store/RunsFileReader.h"
#include "store/RunLineParser.h"
#include "store/Utf8Validator.h"

#include <QFile>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace RunHistoryDetail {
namespace {

constexpr qint64 kBlockSize = 1 << 20;
constexpr qint64 kSmallBlockSize = 64 << 10;
// A line as the wrapper script writes it, two dates and a short exit status: 44 bytes.
constexpr qint64 kTypicalLineSize = 44;
// Pieces of a long file read on two threads; below two pieces a file is read in one go.
constexpr qint64 kPieceSize = 2 << 20;
// How far the helper thread may run ahead of the pieces already gathered: this bounds the memory
// held beyond the result, whatever the file's size.
constexpr int kMaxPiecesAhead = 2;

// Room for about as many more records as `bytes` hold lines, so the list rarely grows; capped,
// so a huge file of garbage asks for no more than a long history needs.
void reserveFor(QList<TaskRunRecord> &records, qint64 bytes)
{
    constexpr qint64 kMaxReserved = 4'000'000;
    records.reserve(records.size() + qsizetype(std::min(bytes / kTypicalLineSize + 1, kMaxReserved)));
}

// The runs of the lines from `from` (0, or the start of a line) to `to` (-1: the end of the file
// as it is then), appended to `records`. False when the file cannot be read or the range is not
// UTF-8. Lines hold only ASCII when they parse, so they are cut and parsed as bytes; the whole
// range must still be UTF-8 for any of them to count. Records go straight into the list, which
// grows in place (they are relocatable): memory grows with the records alone.
bool readRunsRange(const QString &path, qint64 from, qint64 to, QList<TaskRunRecord> &records)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || (from > 0 && !file.seek(from))) {
        return false;
    }
    IdSource ids;
    Utf8Validator utf8;
    DateCache<char> cache;
    const auto parse = [&](const char *begin, const char *end) {
        if (const auto fields = parseFields(begin, end, cache)) {
            records.append(makeRecord(*fields, ids.next()));
        }
    };
    // Not much larger than the range (a timeline reads a thousand small files), and not zero-filled.
    const qint64 span = (to < 0 ? file.size() : to) - from;
    const qint64 blockSize = std::clamp<qint64>(span + 1, kSmallBlockSize, kBlockSize);
    const std::unique_ptr<char[]> block(new char[size_t(blockSize)]);
    reserveFor(records, span);
    QByteArray partial; // the unfinished line at the end of the previous block
    qint64 position = from;
    for (;;) {
        const qint64 want = to < 0 ? blockSize : std::min(blockSize, to - position);
        const qint64 got = want > 0 ? file.read(block.get(), want) : 0;
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            break;
        }
        if (!utf8.feed(block.get(), got)) {
            return false;
        }
        const char *p = block.get();
        const char *end = p + got;
        // Reading the file as UTF-8 text takes a byte-order mark at its very start as no text.
        if (position == 0 && got >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) {
            p += 3;
        }
        position += got;
        if (!partial.isEmpty()) {
            const auto *feed = static_cast<const char *>(std::memchr(p, '\n', end - p));
            if (!feed) {
                partial.append(p, end - p);
                continue;
            }
            partial.append(p, feed - p);
            parse(partial.constData(), partial.constData() + partial.size());
            partial.clear();
            p = feed + 1;
        }
        while (const auto *feed = static_cast<const char *>(std::memchr(p, '\n', end - p))) {
            parse(p, feed);
            p = feed + 1;
        }
        partial.append(p, end - p);
    }
    if (!utf8.complete()) {
        return false;
    }
    // The piece after the last line feed: in the first of two halves it is empty (the range
    // ends just after one); at the end of the file it is empty when the file ends with a line
    // feed, and then dropped like any piece that does not parse.
    parse(partial.constData(), partial.constData() + partial.size());
    return true;
}

// Where the pieces start: at 0, then just after the first line feed at or past every multiple of
// the piece size (a piece only ever starts at a line, so neither a line nor a UTF-8 sequence is
// cut), and -1 for the end of the file. A multiple with no line feed near it starts no piece.
std::vector<qint64> pieceBounds(QFile &file)
{
    std::vector<qint64> bounds{0};
    const qint64 size = file.size();
    std::vector<char> block(kSmallBlockSize);
    for (qint64 at = kPieceSize; at < size; at += kPieceSize) {
        if (at <= bounds.back() || !file.seek(at)) {
            continue;
        }
        const qint64 got = file.read(block.data(), qint64(block.size()));
        const auto *feed = got > 0 ? static_cast<const char *>(std::memchr(block.data(), '\n', size_t(got))) : nullptr;
        if (feed && at + (feed - block.data()) + 1 < size) {
            bounds.push_back(at + (feed - block.data()) + 1);
        }
    }
    bounds.push_back(-1);
    return bounds;
}

} // namespace

QList<TaskRunRecord> readRunsFile(const QString &runsPath)
{
    QFile file(runsPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {};
    }
    const std::vector<qint64> bounds = file.size() >= 2 * kPieceSize && QThread::idealThreadCount() > 1
                                           ? pieceBounds(file)
                                           : std::vector<qint64>{0, -1};
    const qint64 size = file.size();
    file.close();
    QList<TaskRunRecord> records;
    const int pieceCount = int(bounds.size()) - 1;
    if (pieceCount == 1) {
        return readRunsRange(runsPath, 0, -1, records) ? records : QList<TaskRunRecord>();
    }
    reserveFor(records, size);

    // Both threads take the next piece in turn; this one also gathers finished pieces in order,
    // so only a few are ever held besides the result.
    enum class State { pending, read, failed };
    std::vector<QList<TaskRunRecord>> pieces(static_cast<size_t>(pieceCount));
    std::vector<State> states(size_t(pieceCount), State::pending);
    std::mutex mutex;
    std::condition_variable changed;
    int nextPiece = 0;
    int gathered = 0;
    bool failed = false;

    // Takes the next piece, or -1 when none is left; the helper waits while too far ahead.
    const auto takePiece = [&](bool helper) {
        std::unique_lock lock(mutex);
        if (helper) {
            changed.wait(lock, [&] { return nextPiece - gathered <= kMaxPiecesAhead; });
        }
        return nextPiece < pieceCount ? nextPiece++ : -1;
    };
    const auto readPiece = [&](int piece) {
        QList<TaskRunRecord> part;
        bool skip = false;
        {
            const std::lock_guard lock(mutex);
            skip = failed;
        }
        const bool ok = !skip && readRunsRange(runsPath, bounds[size_t(piece)], bounds[size_t(piece) + 1], part);
        {
            const std::lock_guard lock(mutex);
            pieces[size_t(piece)] = std::move(part);
            states[size_t(piece)] = ok ? State::read : State::failed;
            failed = failed || !ok;
        }
        changed.notify_all();
    };
    const auto gather = [&](bool wait) {
        std::unique_lock lock(mutex);
        while (gathered < pieceCount) {
            if (states[size_t(gathered)] == State::pending) {
                if (!wait) {
                    return;
                }
                changed.wait(lock);
                continue;
            }
            QList<TaskRunRecord> part = std::move(pieces[size_t(gathered)]);
            ++gathered;
            const bool keep = !failed;
            lock.unlock();
            changed.notify_all();
            if (keep) {
                records.append(std::move(part));
            }
            part = {};
            lock.lock();
        }
    };

    std::thread helper([&] {
        for (int piece = takePiece(true); piece >= 0; piece = takePiece(true)) {
            readPiece(piece);
        }
    });
    for (int piece = takePiece(false); piece >= 0; piece = takePiece(false)) {
        readPiece(piece);
        gather(false);
    }
    gather(true);
    helper.join();
    return failed ? QList<TaskRunRecord>() : records;
}

} // namespace RunHistoryDetail
