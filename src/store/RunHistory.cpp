#include "store/RunHistory.h"
#include "store/MappedFile.h"
#include "store/RunLineParser.h"
#include "store/RunsFileReader.h"
#include "store/Utf8Validator.h"

#include <QChar>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using namespace RunHistoryDetail;

constexpr qint64 kTailBlockSize = 64 << 10;
constexpr qint64 kStreamBlockSize = 256 << 10;

// Where the kept pieces of a log begin: just after the maxLines-th line feed from the end, or at the
// start of the file when it has fewer. -1 on a read error.
qint64 tailStart(const BlockFile &file, int maxLines)
{
    std::vector<char> block(size_t(std::clamp<qint64>(file.size(), 1, kTailBlockSize)));
    int feeds = 0;
    qint64 blockStart = file.size();
    while (blockStart > 0) {
        const qint64 length = std::min(qint64(block.size()), blockStart);
        blockStart -= length;
        if (!file.readAt(blockStart, block.data(), length)) {
            return -1;
        }
        const char *end = block.data() + length;
        while (const auto *feed = lastFeedIn(block.data(), end)) {
            if (++feeds == maxLines) {
                return blockStart + (feed - block.data()) + 1;
            }
            end = feed;
        }
    }
    return 0;
}

// "YYYY-MM-DDTHH:MM:SSZ" of an instant, when its year has four digits: for a runs-file line that
// starts with a date in that form, comparing the text is comparing the times.
std::optional<std::array<char, 20>> zuluText(qint64 seconds)
{
    const qint64 days = seconds >= 0 ? seconds / 86400 : (seconds - 86399) / 86400;
    const CivilDate date = civilFromDays(days);
    if (date.year < 0 || date.year > 9999) {
        return std::nullopt;
    }
    const qint64 second = seconds - days * 86400;
    std::array<char, 20> text{};
    const auto digits = [&text](int at, qint64 value, int width) {
        for (int i = width - 1; i >= 0; --i, value /= 10) {
            text[at + i] = char('0' + value % 10);
        }
    };
    digits(0, date.year, 4);
    digits(5, date.month, 2);
    digits(8, date.day, 2);
    digits(11, second / 3600, 2);
    digits(14, second / 60 % 60, 2);
    digits(17, second % 60, 2);
    text[4] = text[7] = '-';
    text[10] = 'T';
    text[13] = text[16] = ':';
    text[19] = 'Z';
    return text;
}

bool wholeFileIsUtf8(const BlockFile &file)
{
    return isUtf8(file.handle(), 0, file.size());
}

struct Tail {
    QList<TaskRunRecord> runs; // last first
    qint64 stoppedAt = -1;     // where the piece that ended the walk starts; -1 when none did
};

// Walks back from the end, keeping the records `keep` accepts, until `stop` says a record ends it.
template <typename Keep, typename Stop> std::optional<Tail> readTail(BlockFile &file, qint64 end, Keep keep, Stop stop)
{
    Tail tail;
    IdSource ids;
    DateCache<char> cache;
    const bool read = file.forEachPieceBackward(file.textStart(), end, [&](const char *b, const char *e, qint64 at) {
        const auto fields = parseFields(b, e, cache);
        if (!fields) {
            return true;
        }
        if (keep(*fields)) {
            tail.runs.append(makeRecord(*fields, ids.next()));
        }
        if (stop(*fields, tail.runs.size())) {
            tail.stoppedAt = at;
            return false;
        }
        return true;
    });
    if (!read) {
        return std::nullopt;
    }
    return tail;
}

RunHistory::RecentRuns recentRuns(const QString &runsPath, int count, bool countAll)
{
    BlockFile file(runsPath);
    if (!file.isOpen() || count < 0) {
        return {};
    }
    if (count == 0) {
        return RunHistory::RecentRuns{{}, countAll ? RunHistory::readRuns(runsPath).size() : 0};
    }
    const auto tail = readTail(
        file, file.size(), [](const Fields &) { return true; },
        [count](const Fields &, qsizetype kept) { return kept >= count; });
    if (!tail || !wholeFileIsUtf8(file)) {
        return {};
    }
    RunHistory::RecentRuns result;
    result.runs = tail->runs;
    std::reverse(result.runs.begin(), result.runs.end());
    result.total = result.runs.size();
    if (countAll && tail->stoppedAt >= 0) {
        DateCache<char> cache;
        const bool read =
            file.forEachPiece(file.textStart(), tail->stoppedAt, [&](const char *b, const char *e, qint64) {
                result.total += parseFields(b, e, cache) ? 1 : 0;
                return true;
            });
        if (!read) {
            return {};
        }
    }
    return result;
}

// Whether a good line before `end` starts at `from` or later. Most lines are told apart by their
// first 20 bytes: a piece that begins with a date in the wrapper's form compares as its text.
std::optional<bool> anyStartsFrom(BlockFile &file, qint64 end, qint64 from)
{
    const auto fromText = zuluText(from);
    DateCache<char> cache;
    bool found = false;
    const bool read = file.forEachPiece(file.textStart(), end, [&](const char *b, const char *e, qint64) {
        if (fromText && e - b > 20 && b[0] != '\t' && b[20] == '\t' && std::memcmp(b, fromText->data(), 20) < 0) {
            return true; // either not a date (a dropped line) or a date before `from`
        }
        const auto fields = parseFields(b, e, cache);
        found = fields && fields->startedAt >= from;
        return !found;
    });
    if (!read) {
        return std::nullopt;
    }
    return found;
}

bool isBlank(char32_t c)
{
    return QChar::isSpace(c);
}

// The code point that starts at `p` (valid UTF-8) and its length.
std::pair<char32_t, int> decodeAt(const unsigned char *p)
{
    if (p[0] < 0x80) {
        return {p[0], 1};
    }
    if (p[0] < 0xE0) {
        return {char32_t(p[0] & 0x1F) << 6 | (p[1] & 0x3F), 2};
    }
    if (p[0] < 0xF0) {
        return {char32_t(p[0] & 0x0F) << 12 | char32_t(p[1] & 0x3F) << 6 | (p[2] & 0x3F), 3};
    }
    return {char32_t(p[0] & 0x07) << 18 | char32_t(p[1] & 0x3F) << 12 | char32_t(p[2] & 0x3F) << 6 | (p[3] & 0x3F), 4};
}

// Moves [begin, end) of valid UTF-8 in the file past the white space at both ends, as
// QString::trimmed would (every character it trims is one UTF-16 unit).
template <typename ReadAt> bool trimRangeWith(const ReadAt &readAt, qint64 &begin, qint64 &end)
{
    unsigned char buffer[4];
    while (begin < end) {
        const qint64 length = std::min<qint64>(4, end - begin);
        if (!readAt(begin, reinterpret_cast<char *>(buffer), length)) {
            return false;
        }
        const auto [c, size] = decodeAt(buffer);
        if (!isBlank(c)) {
            break;
        }
        begin += size;
    }
    while (end > begin) {
        // A character is at most four bytes: read them and find where the last one starts.
        const qint64 length = std::min<qint64>(4, end - begin);
        if (!readAt(end - length, reinterpret_cast<char *>(buffer), length)) {
            return false;
        }
        int start = int(length) - 1;
        while (start > 0 && (buffer[start] & 0xC0) == 0x80) {
            --start;
        }
        if (!isBlank(decodeAt(buffer + start).first)) {
            break;
        }
        end -= length - start;
    }
    return true;
}

bool trimRange(const BlockFile &file, qint64 &begin, qint64 &end)
{
    return trimRangeWith([&file](qint64 at, char *into, qint64 size) { return file.readAt(at, into, size); }, begin,
                         end);
}

// Which bytes of a log its tail is: [begin, end), when the log is text at all.
struct TailRange {
    qint64 begin = 0;
    qint64 end = 0;
    bool text = false; // UTF-8 and readable
};

TailRange readTailRange(const BlockFile &file, int maxLines)
{
    TailRange range;
    range.begin = tailStart(file, maxLines);
    if (range.begin < 0 || !wholeFileIsUtf8(file)) {
        return range;
    }
    range.end = file.size();
    if (range.begin == 0) {
        range.begin = file.textStart();
    }
    range.text = trimRange(file, range.begin, range.end);
    return range;
}

// The same range, found in a mapping of the log in one pass: each stretch is checked and its line
// feeds counted while it is in the core's cache, and the tail's start is found afterwards from the
// counts. Reading the bytes where they lie, once, instead of copying them in twice was most of the
// time of a large log. Nothing when the log cannot be mapped or was cut short while it was read.
std::optional<TailRange> mappedTailRange(const BlockFile &file, int maxLines)
{
    const MappedFile map(file.handle(), file.size());
    if (!map.isMapped()) {
        return std::nullopt;
    }
    struct Stretch {
        qint64 offset;
        qint64 feedsBefore;
    };
    constexpr qint64 kStretch = 256 << 10;
    constexpr qint64 kRelease = 4 << 20;
    std::vector<Stretch> stretches; // 16 bytes for each 256 KiB
    stretches.reserve(size_t(map.size() / kStretch + 1));
    TailRange range;
    Utf8Validator utf8;
    bool changed = false;
    const bool whole = MappedFile::guarded([&] {
        const char *const data = map.data();
        qint64 feeds = 0;
        for (qint64 at = 0; at < map.size(); at += kStretch) {
            const qint64 length = std::min(kStretch, map.size() - at);
            stretches.push_back({at, feeds});
            // Counting first brings the stretch in from memory at the memory's pace (it does little
            // else); the check, which does more, then finds it in the cache.
            feeds += feedsIn(data + at, data + at + length);
            if (!utf8.feed(data + at, length)) {
                return;
            }
            if ((at + length) % kRelease == 0) {
                map.release(at + length - kRelease, kRelease); // memory stays flat in the log's size
            }
        }
        if (!utf8.complete()) {
            return;
        }
        range.begin = file.textStart();
        if (feeds >= maxLines) {
            // Just after the maxLines-th feed from the end, which has `before` feeds before it.
            const qint64 before = feeds - maxLines;
            const auto holder =
                std::upper_bound(stretches.cbegin(), stretches.cend(), before,
                                 [](qint64 wanted, const Stretch &s) { return wanted < s.feedsBefore; }) -
                1;
            qint64 next = holder->offset; // where the search for the next feed starts
            for (qint64 skip = before - holder->feedsBefore; skip >= 0; --skip) {
                const void *feed = std::memchr(data + next, '\n', size_t(map.size() - next));
                if (!feed) {
                    changed = true; // rewritten where it lies since it was counted
                    return;
                }
                next = static_cast<const char *>(feed) - data + 1;
            }
            range.begin = std::max(range.begin, next);
        }
        range.end = map.size();
        range.text = trimRangeWith(
            [data](qint64 at, char *into, qint64 size) {
                std::memcpy(into, data + at, size_t(size));
                return true;
            },
            range.begin, range.end);
    });
    if (!whole || changed) {
        return std::nullopt;
    }
    return range;
}

qint64 printRange(const BlockFile &file, qint64 begin, qint64 end, const RunHistory::LogWrite &write,
                  const RunHistory::LogCopy &copy)
{
    qint64 at = begin;
    if (copy && end > begin) {
        at += std::clamp<qint64>(copy(file.handle(), begin, end - begin), 0, end - begin);
    }
    std::vector<char> block(size_t(std::clamp<qint64>(end - at, 1, kStreamBlockSize)));
    while (at < end) {
        const qint64 length = std::min(qint64(block.size()), end - at);
        if (!file.readAt(at, block.data(), length)) {
            return at - begin;
        }
        write(block.data(), length);
        at += length;
    }
    return end - begin;
}

} // namespace

std::optional<TaskRunRecord> RunHistory::parseLine(QStringView line)
{
    const char16_t *begin = line.utf16();
    DateCache<char16_t> cache;
    const auto fields = parseFields(begin, begin + line.size(), cache);
    if (!fields) {
        return std::nullopt;
    }
    return makeRecord(*fields, QUuid::createUuid());
}

QList<TaskRunRecord> RunHistory::readRuns(const QString &runsPath)
{
    return RunHistoryDetail::readRunsFile(runsPath);
}

std::optional<TaskRunRecord> RunHistory::lastRun(const QString &runsPath)
{
    const RecentRuns recent = recentRuns(runsPath, 1, false);
    if (recent.runs.isEmpty()) {
        return std::nullopt;
    }
    return recent.runs.constLast();
}

RunHistory::RecentRuns RunHistory::lastRuns(const QString &runsPath, int count)
{
    return recentRuns(runsPath, count, true);
}

QList<TaskRunRecord> RunHistory::runsStartingBetween(const QString &runsPath, std::chrono::sys_seconds from,
                                                     std::chrono::sys_seconds to)
{
    BlockFile file(runsPath);
    if (!file.isOpen()) {
        return {};
    }
    return runsStartingIn(file, file.size(), from.time_since_epoch().count(), to.time_since_epoch().count())
        .value_or(QList<TaskRunRecord>());
}

QList<TaskRunRecord> RunHistory::runsSince(const QString &runsPath, std::chrono::sys_seconds since)
{
    QList<TaskRunRecord> runs = runsStartingBetween(runsPath, since, std::chrono::sys_seconds::max());
    if (runs.isEmpty()) {
        if (std::optional<TaskRunRecord> last = lastRun(runsPath)) {
            runs.append(*last);
        }
    }
    return runs;
}

std::optional<QList<TaskRunRecord>> RunHistoryDetail::runsStartingIn(BlockFile &file, qint64 end, qint64 from,
                                                                     qint64 to)
{
    const auto inRange = [from, to](qint64 start) { return start >= from && start < to; };
    const auto tail = readTail(
        file, end, [&](const Fields &fields) { return inRange(fields.startedAt); },
        [from](const Fields &fields, qsizetype) { return fields.startedAt < from; });
    if (!tail || !isUtf8(file.handle(), 0, end)) {
        return std::nullopt;
    }
    QList<TaskRunRecord> runs;
    if (tail->stoppedAt >= 0) {
        const auto disordered = anyStartsFrom(file, tail->stoppedAt, from);
        if (!disordered) {
            return std::nullopt;
        }
        if (*disordered) {
            // Lines out of time order: every line is looked at, as when reading the whole file.
            IdSource ids;
            DateCache<char> cache;
            const bool read = file.forEachPiece(file.textStart(), end, [&](const char *b, const char *e, qint64) {
                const auto fields = parseFields(b, e, cache);
                if (fields && inRange(fields->startedAt)) {
                    runs.append(makeRecord(*fields, ids.next()));
                }
                return true;
            });
            return read ? std::optional(runs) : std::nullopt;
        }
    }
    runs = tail->runs;
    std::reverse(runs.begin(), runs.end());
    return runs;
}

struct RunHistory::RunsStream::Private {
    explicit Private(const QString &path) : file(path) {}
    BlockFile file;
    bool readable = false;
};

RunHistory::RunsStream::RunsStream(const QString &runsPath) : d(std::make_unique<Private>(runsPath))
{
    d->readable = d->file.isOpen() && wholeFileIsUtf8(d->file);
}

RunHistory::RunsStream::~RunsStream() = default;

void RunHistory::RunsStream::forEach(const std::function<void(qint64, qint64, qint32)> &visit)
{
    if (!d->readable) {
        return;
    }
    DateCache<char> cache;
    d->file.forEachPiece(d->file.textStart(), d->file.size(), [&](const char *b, const char *e, qint64) {
        if (const auto fields = parseFields(b, e, cache)) {
            visit(fields->startedAt, fields->endedAt, fields->exitCode);
        }
        return true;
    });
}

QString RunHistory::readLogTail(const QString &logPath, int maxLines)
{
    Q_ASSERT_X(maxLines >= 0, "RunHistory::readLogTail", "maxLines must not be negative");
    if (maxLines <= 0) {
        return {};
    }
    BlockFile file(logPath);
    if (!file.isOpen()) {
        return {};
    }
    const qint64 start = tailStart(file, maxLines);
    // Reading the file whole would fail on bad UTF-8 anywhere, so the part before the tail is
    // checked too, without being kept. It ends with a line feed, so it and the tail are UTF-8
    // together exactly when each is on its own.
    if (start < 0 || !isUtf8(file.handle(), 0, start)) {
        return {};
    }
    QByteArray tail(file.size() - start, Qt::Uninitialized);
    Utf8Validator utf8;
    if (!file.readAt(start, tail.data(), tail.size()) || !utf8.feed(tail.constData(), tail.size()) ||
        !utf8.complete()) {
        return {};
    }
    // A byte-order mark is no text only at the very start of the file; after a line feed it is
    // a character like any other (QString::fromUtf8 would drop it wherever the tail begins).
    QStringDecoder decoder(QStringDecoder::Utf8,
                           start == 0 ? QStringDecoder::Flag::Stateless
                                      : QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    return QString(decoder.decode(tail)).trimmed();
}

qint64 RunHistory::streamLogTail(const QString &logPath, int maxLines, const LogWrite &write, const LogCopy &copy)
{
    return RunHistoryDetail::streamLogTail(logPath, maxLines, write, copy, RunHistoryDetail::LogRead::mapped);
}

qint64 RunHistoryDetail::streamLogTail(const QString &logPath, int maxLines, const RunHistory::LogWrite &write,
                                       const RunHistory::LogCopy &copy, LogRead how)
{
    Q_ASSERT_X(maxLines >= 0, "RunHistory::streamLogTail", "maxLines must not be negative");
    if (maxLines <= 0) {
        return 0;
    }
    BlockFile file(logPath);
    if (!file.isOpen()) {
        return 0;
    }
    std::optional<TailRange> range;
    if (how == LogRead::mapped) {
        range = mappedTailRange(file, maxLines);
    }
    if (!range) {
        range = readTailRange(file, maxLines);
    }
    if (!range->text) {
        return 0;
    }
    return printRange(file, range->begin, range->end, write, copy);
}
