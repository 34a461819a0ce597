// The log tail reader, which reads backwards in blocks, gives what the plain algorithm gives:
// decode the whole file as UTF-8 (not UTF-8: empty), split at every line feed keeping empty
// pieces, keep the last maxLines, join with line feeds, trim white space at both ends.
//
// Input: byte 0 picks maxLines, byte 1 may pad the log with filler after the fuzzed text so
// that the reader's 64 KiB block boundary falls inside that text; the rest is the log.
#include "FuzzFile.h"
#include "store/RunHistory.h"

#include <QStringDecoder>
#include <QStringList>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr qsizetype kBlock = 64 << 10;

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const int pick = data[0];
    const int maxLines = (pick & 0x40) ? (pick & 0x3F) * 200 : (pick & 0x3F);
    QByteArray log(reinterpret_cast<const char *>(data + 2), qsizetype(size - 2));
    const int pad = data[1];
    if (pad & 0x80) {
        // Blank, plain or line-feed filler, long enough to put the boundary (pad & 0x1F) * 16
        // bytes into the fuzzed text.
        static const char filler[] = {' ', 'x', '\n', '\t'};
        const qsizetype length = kBlock - (pad & 0x1F) * 16 - 1;
        log.append(QByteArray(length, filler[(pad >> 5) & 3]));
    }
    const QString got = RunHistory::readLogTail(FuzzFile::write(log, QStringLiteral("fuzz.log")), maxLines);
    if (got != plainTail(log, maxLines)) {
        std::abort();
    }
    return 0;
}
