#include "store/RunsFileReader.h"

#include "store/ReadFully.h"
#include "store/RunLineParser.h"
#include "store/Utf8Validator.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include <fcntl.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <sys/stat.h>
#include <unistd.h>

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

constexpr qint64 kPieceBlockSize = 256 << 10;

BlockFile::Identity identityFrom(const struct stat &info)
{
#if defined(__APPLE__)
    const auto &modified = info.st_mtimespec;
#else
    const auto &modified = info.st_mtim;
#endif
    return BlockFile::Identity{quint64(info.st_dev), quint64(info.st_ino), qint64(info.st_size),
                               qint64(modified.tv_sec) * 1'000'000'000 + modified.tv_nsec};
}

} // namespace

BlockFile::Identity BlockFile::identityOf(const QString &path)
{
    struct stat info {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return {};
    }
    return identityFrom(info);
}

const char *lastFeedIn(const char *begin, const char *end)
{
#if defined(__GLIBC__)
    return static_cast<const char *>(::memrchr(begin, '\n', size_t(end - begin)));
#else
    while (end > begin) {
        if (*--end == '\n') {
            return end;
        }
    }
    return nullptr;
#endif
}

qint64 feedsIn(const char *begin, const char *end)
{
    // The feeds add up in one-byte counters, emptied into the count before they can overflow.
    constexpr quint64 kFeeds = 0x0A0A0A0A0A0A0A0AULL;
    constexpr quint64 kLow7 = 0x7F7F7F7F7F7F7F7FULL;
    constexpr quint64 kPairs = 0x00FF00FF00FF00FFULL;
    qint64 count = 0;
    const char *at = begin;
#if defined(__SSE2__)
    // Sixty-four bytes a round where every x86-64 core can: a feed compares to all ones, which
    // subtracted adds one to its counter.
    const __m128i feed = _mm_set1_epi8('\n');
    const auto feedsAt = [&feed](const char *p) {
        return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)), feed);
    };
    while (end - at >= 64) {
        // Each round adds up to 4 to a one-byte counter: 63 rounds at most.
        const char *const stop = at + std::min<qint64>((end - at) / 64, 63) * 64;
        __m128i counters = _mm_setzero_si128();
        for (; at < stop; at += 64) {
            // A page ahead: the core's own prefetching stops at page ends.
            __builtin_prefetch(at + 4096);
            const __m128i ones = _mm_add_epi8(_mm_add_epi8(feedsAt(at), feedsAt(at + 16)),
                                              _mm_add_epi8(feedsAt(at + 32), feedsAt(at + 48)));
            counters = _mm_sub_epi8(counters, ones);
        }
        const __m128i sums = _mm_sad_epu8(counters, _mm_setzero_si128());
        count += _mm_cvtsi128_si64(sums) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(sums, sums));
    }
#endif
    // Eight at a time elsewhere: each byte that is a feed becomes 0x80, every other byte 0.
    while (end - at >= 8) {
        const char *const stop = at + std::min<qint64>((end - at) / 8, 255) * 8;
        quint64 counters = 0;
        for (; at < stop; at += 8) {
            quint64 word;
            std::memcpy(&word, at, 8);
            const quint64 x = word ^ kFeeds;
            counters += ~(((x & kLow7) + kLow7) | x | kLow7) >> 7;
        }
        const quint64 pairs = (counters & kPairs) + (counters >> 8 & kPairs);
        count += qint64(pairs * 0x0001000100010001ULL >> 48);
    }
    for (; at < end; ++at) {
        count += *at == '\n' ? 1 : 0;
    }
    return count;
}

BlockFile::BlockFile(const QString &path)
{
    m_fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0) {
        return;
    }
    struct stat info {
    };
    if (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(m_fd);
        m_fd = -1;
        return;
    }
    m_size = info.st_size;
    m_identity = identityFrom(info);
    char mark[3];
    if (m_size >= 3 && readAt(0, mark, 3) && std::memcmp(mark, "\xEF\xBB\xBF", 3) == 0) {
        m_textStart = 3;
    }
}

BlockFile::~BlockFile()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

bool BlockFile::readAt(qint64 offset, char *into, qint64 size) const
{
    return readFully(m_fd, offset, into, size);
}

const char *BlockFile::gather(qint64 begin, qint64 end)
{
    m_long.resize(size_t(std::max<qint64>(end - begin, 1)));
    return readAt(begin, m_long.data(), end - begin) ? m_long.data() : nullptr;
}

bool BlockFile::forEachPiece(qint64 begin, qint64 end, const PieceVisitor &visit)
{
    m_block.resize(size_t(std::clamp<qint64>(end - begin, 1, kPieceBlockSize)));
    qint64 pieceStart = begin;
    qint64 blockStart = begin;
    qint64 blockLength = 0;
    while (blockStart + blockLength < end) {
        blockStart += blockLength;
        blockLength = std::min<qint64>(qint64(m_block.size()), end - blockStart);
        if (!readAt(blockStart, m_block.data(), blockLength)) {
            return false;
        }
        const char *block = m_block.data();
        const char *p = block;
        const char *blockEnd = block + blockLength;
        while (const auto *feed = static_cast<const char *>(std::memchr(p, '\n', size_t(blockEnd - p)))) {
            const qint64 feedAt = blockStart + (feed - block);
            const char *piece =
                pieceStart >= blockStart ? block + (pieceStart - blockStart) : gather(pieceStart, feedAt);
            if (!piece) {
                return false;
            }
            if (!visit(piece, piece + (feedAt - pieceStart), pieceStart)) {
                return true;
            }
            pieceStart = feedAt + 1;
            p = feed + 1;
        }
    }
    const char *piece = pieceStart >= blockStart ? m_block.data() + (pieceStart - blockStart) : gather(pieceStart, end);
    if (!piece) {
        return false;
    }
    visit(piece, piece + (end - pieceStart), pieceStart);
    return true;
}

bool BlockFile::forEachPieceBackward(qint64 begin, qint64 end, const PieceVisitor &visit)
{
    m_block.resize(size_t(std::clamp<qint64>(end - begin, 1, kPieceBlockSize)));
    qint64 pieceEnd = end;
    qint64 blockStart = end;
    qint64 blockEnd = end;
    while (blockStart > begin) {
        blockEnd = blockStart;
        blockStart = std::max(begin, blockEnd - qint64(m_block.size()));
        if (!readAt(blockStart, m_block.data(), blockEnd - blockStart)) {
            return false;
        }
        const char *block = m_block.data();
        const char *scanEnd = block + (blockEnd - blockStart);
        while (const char *feed = lastFeedIn(block, scanEnd)) {
            const qint64 pieceStart = blockStart + (feed - block) + 1;
            const char *piece = pieceEnd <= blockEnd ? feed + 1 : gather(pieceStart, pieceEnd);
            if (!piece) {
                return false;
            }
            if (!visit(piece, piece + (pieceEnd - pieceStart), pieceStart)) {
                return true;
            }
            pieceEnd = pieceStart - 1;
            scanEnd = feed;
        }
    }
    const char *piece = pieceEnd <= blockEnd ? m_block.data() + (begin - blockStart) : gather(begin, pieceEnd);
    if (!piece) {
        return false;
    }
    visit(piece, piece + (pieceEnd - begin), begin);
    return true;
}

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
