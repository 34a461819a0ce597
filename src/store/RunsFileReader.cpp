#include "store/RunsFileReader.h"
#include "store/RunLineParser.h"
#include "store/Utf8Validator.h"

#include <QFile>

#include <algorithm>
#include <memory>
#include <vector>

namespace RunHistoryDetail {
namespace {

constexpr qint64 kBlockSize = 1 << 20;
constexpr qint64 kSmallBlockSize = 64 << 10;
// A line as the wrapper script writes it, two dates and a short exit status: 44 bytes.
constexpr qint64 kTypicalLineSize = 44;

// Room for about as many more records as `bytes` hold lines, so the list rarely grows; capped,
// so a huge file of garbage asks for no more than a long history needs.
void reserveFor(QList<TaskRunRecord> &records, qint64 bytes)
{
    constexpr qint64 kMaxReserved = 4'000'000;
    records.reserve(records.size() + qsizetype(std::min(bytes / kTypicalLineSize + 1, kMaxReserved)));
}

} // namespace

// Lines hold only ASCII when they parse, so they are cut and parsed as bytes; the whole file must
// still be UTF-8 for any of them to count. It is read in blocks, and records go straight into the
// list, which grows in place (they are relocatable): memory grows with the records alone.
QList<TaskRunRecord> readRunsFile(const QString &runsPath)
{
    QFile file(runsPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {};
    }
    QList<TaskRunRecord> records;
    IdSource ids;
    Utf8Validator utf8;
    DateCache<char> cache;
    const auto parse = [&](const char *begin, const char *end) {
        if (const auto fields = parseFields(begin, end, cache)) {
            records.append(makeRecord(*fields, ids.next()));
        }
    };
    // Not much larger than the file (a timeline reads a thousand small ones), and not zero-filled.
    const qint64 size = file.size();
    const qint64 blockSize = std::clamp<qint64>(size + 1, kSmallBlockSize, kBlockSize);
    const std::unique_ptr<char[]> block(new char[size_t(blockSize)]);
    reserveFor(records, size);
    QByteArray partial; // the unfinished line at the end of the previous block
    qint64 position = 0;
    for (;;) {
        const qint64 got = file.read(block.get(), blockSize);
        if (got < 0) {
            return {};
        }
        if (got == 0) {
            break;
        }
        if (!utf8.feed(block.get(), got)) {
            return {};
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
        return {};
    }
    // The piece after the last line feed (empty when the file ends with one, and then dropped).
    parse(partial.constData(), partial.constData() + partial.size());
    return records;
}

} // namespace RunHistoryDetail
