#include "store/RunHistory.h"
#include "store/RunLineParser.h"
#include "store/RunsFileReader.h"
#include "store/Utf8Validator.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

using RunHistoryDetail::Utf8Validator;
using namespace RunHistoryDetail;

// Large enough that a read costs little per byte, small enough to stay out of the way.
constexpr qint64 kTailBlockSize = 64 << 10;

// Reads exactly `size` bytes at `offset`; false on any shortfall.
bool readAt(QFile &file, qint64 offset, char *into, qint64 size)
{
    if (!file.seek(offset)) {
        return false;
    }
    while (size > 0) {
        const qint64 got = file.read(into, size);
        if (got <= 0) {
            return false;
        }
        into += got;
        size -= got;
    }
    return true;
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

QString RunHistory::readLogTail(const QString &logPath, int maxLines)
{
    Q_ASSERT_X(maxLines >= 0, "RunHistory::readLogTail", "maxLines must not be negative");
    if (maxLines <= 0) {
        return {};
    }
    QFile file(logPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {};
    }
    // Whatever is appended while we read is left for the next read.
    const qint64 size = file.size();

    // The kept pieces begin just after the maxLines-th line feed from the end, or at the start
    // of the file when it has fewer.
    qint64 tailStart = 0;
    {
        std::vector<char> block(std::clamp<qint64>(size, 1, kTailBlockSize));
        int feeds = 0;
        qint64 blockStart = size;
        bool found = false;
        while (blockStart > 0 && !found) {
            const qint64 length = std::min(qint64(block.size()), blockStart);
            blockStart -= length;
            if (!readAt(file, blockStart, block.data(), length)) {
                return {};
            }
            for (qint64 i = length - 1; i >= 0; --i) {
                if (block[i] == '\n' && ++feeds == maxLines) {
                    tailStart = blockStart + i + 1;
                    found = true;
                    break;
                }
            }
        }
    }

    // Reading the file whole would fail on bad UTF-8 anywhere, so the part before the tail is
    // checked too, without being kept. It ends with a line feed, so it and the tail are UTF-8
    // together exactly when each is on its own.
    if (!RunHistoryDetail::isUtf8(file.handle(), 0, tailStart)) {
        return {};
    }
    QByteArray tail(size - tailStart, Qt::Uninitialized);
    Utf8Validator utf8;
    if (!readAt(file, tailStart, tail.data(), tail.size()) || !utf8.feed(tail.constData(), tail.size()) ||
        !utf8.complete()) {
        return {};
    }
    // A byte-order mark is no text only at the very start of the file; after a line feed it is
    // a character like any other (QString::fromUtf8 would drop it wherever the tail begins).
    QStringDecoder decoder(QStringDecoder::Utf8, tailStart == 0
                                                     ? QStringDecoder::Flag::Stateless
                                                     : QStringDecoder::Flag::Stateless |
                                                           QStringDecoder::Flag::ConvertInitialBom);
    return QString(decoder.decode(tail)).trimmed();
}
