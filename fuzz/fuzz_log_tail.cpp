// The log tail reader, which reads backwards in blocks, gives what the plain algorithm gives:
// decode the whole file as UTF-8 (not UTF-8: empty), split at every line feed keeping empty
// pieces, keep the last maxLines, join with line feeds, trim white space at both ends. The
// streamed tail, mapped or read in blocks, with or without a copying sink, is that text in UTF-8.
//
// Input: byte 0 picks maxLines, byte 1 may pad the log with filler after the fuzzed text so
// that the reader's 64 KiB block boundary (or, by byte 2, the mapped reader's 256 KiB stretch)
// falls inside that text, byte 2 picks the copying sink; the rest is the log.
#include "FuzzFile.h"
#include "store/RunHistory.h"

#include <QStringDecoder>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include <unistd.h>

namespace {

constexpr qsizetype kBlock = 64 << 10;
constexpr qsizetype kStretch = 256 << 10;

QString plainTail(const QByteArray &bytes, int maxLines)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return {};
    }
    const QStringList pieces = text.split(u'\n');
    return pieces.mid(std::max<qsizetype>(0, pieces.size() - maxLines)).join(u'\n').trimmed();
}

// What streamLogTail hands out; a copying sink, when `copyAtMost` is not negative, takes at most
// that many bytes of the range it is offered and leaves the rest to the plain writer.
QByteArray streamed(const QString &path, int maxLines, RunHistoryDetail::LogRead how, qint64 copyAtMost)
{
    QByteArray text;
    const RunHistory::LogWrite write = [&text](const char *data, qint64 size) { text.append(data, size); };
    RunHistory::LogCopy copy;
    if (copyAtMost >= 0) {
        copy = [&text, copyAtMost](int fd, qint64 offset, qint64 length) {
            const qint64 take = std::min(length, copyAtMost);
            QByteArray piece(take, Qt::Uninitialized);
            if (::pread(fd, piece.data(), size_t(take), off_t(offset)) != take) {
                std::abort();
            }
            text.append(piece);
            return take;
        };
    }
    if (RunHistoryDetail::streamLogTail(path, maxLines, write, copy, how) != text.size()) {
        std::abort();
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 3) {
        return 0;
    }
    const int pick = data[0];
    const int maxLines = (pick & 0x40) ? (pick & 0x3F) * 200 : (pick & 0x3F);
    QByteArray log(reinterpret_cast<const char *>(data + 3), qsizetype(size - 3));
    const int pad = data[1];
    const int sink = data[2];
    if (pad & 0x80) {
        // Blank, plain or line-feed filler, long enough to put the boundary (pad & 0x1F) * 16
        // bytes into the fuzzed text.
        static const char filler[] = {' ', 'x', '\n', '\t'};
        const qsizetype length = ((sink & 4) ? kStretch : kBlock) - (pad & 0x1F) * 16 - 1;
        log.append(QByteArray(length, filler[(pad >> 5) & 3]));
    }
    const QString path = FuzzFile::write(log, QStringLiteral("fuzz.log"));
    const QString got = RunHistory::readLogTail(path, maxLines);
    if (got != plainTail(log, maxLines)) {
        std::abort();
    }
    const QByteArray utf8 = got.toUtf8();
    // A sink that takes everything, a few bytes (the rest written plainly) or nothing at all.
    const qint64 copyAtMost = std::array<qint64, 4>{-1, 0, 7, 1 << 30}[sink & 3];
    for (const auto how : {RunHistoryDetail::LogRead::mapped, RunHistoryDetail::LogRead::blocks}) {
        if (streamed(path, maxLines, how, copyAtMost) != utf8) {
            std::abort();
        }
    }
    return 0;
}
