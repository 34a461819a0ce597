#include "store/Utf8Validator.h"

#include "store/ReadFully.h"

#include <QByteArray>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define MOXLEY_X86_UTF8 1
#include <immintrin.h>
#endif

namespace RunHistoryDetail {

#ifdef MOXLEY_X86_UTF8
namespace {

// The "lookup" method of Keiser and Lemire ("Validating UTF-8 In Less Than One Instruction Per
// Byte", 2021): each byte is judged with the three before it by table look-ups, so no branch
// depends on the text. A log with a non-ASCII character every few dozen bytes defeats the scalar
// check's ASCII shortcut; this one does not care.
//
// Each bit names one way a pair of bytes (the one before, this one) can be wrong; a pair is wrong
// when its first byte's high half, its low half and the second byte's high half all allow the
// same way.
constexpr char tooShort = 1 << 0;     // a lead byte, then no continuation
constexpr char tooLong = 1 << 1;      // ASCII, then a continuation
constexpr char overlong3 = 1 << 2;    // E0 80..9F
constexpr char tooLarge = 1 << 3;     // F4 90.., F5..
constexpr char surrogate = 1 << 4;    // ED A0..BF
constexpr char overlong2 = 1 << 5;    // C0, C1
constexpr char tooLarge1000 = 1 << 6; // F5.. 80..8F
constexpr char overlong4 = 1 << 6;    // F0 80..8F
constexpr char twoContinuations = char(1 << 7);
constexpr char carry = tooShort | tooLong | twoContinuations;

alignas(16) constexpr char kByte1High[16] = {tooLong,
                                             tooLong,
                                             tooLong,
                                             tooLong,
                                             tooLong,
                                             tooLong,
                                             tooLong,
                                             tooLong,
                                             twoContinuations,
                                             twoContinuations,
                                             twoContinuations,
                                             twoContinuations,
                                             tooShort | overlong2,
                                             tooShort,
                                             tooShort | overlong3 | surrogate,
                                             tooShort | tooLarge | tooLarge1000 | overlong4};
alignas(16) constexpr char kByte1Low[16] = {carry | overlong3 | overlong2 | overlong4,
                                            carry | overlong2,
                                            carry,
                                            carry,
                                            carry | tooLarge,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000 | surrogate,
                                            carry | tooLarge | tooLarge1000,
                                            carry | tooLarge | tooLarge1000};
alignas(16) constexpr char kByte2High[16] = {tooShort,
                                             tooShort,
                                             tooShort,
                                             tooShort,
                                             tooShort,
                                             tooShort,
                                             tooShort,
                                             tooShort,
                                             tooLong | overlong2 | twoContinuations | overlong3 | tooLarge1000 |
                                                 overlong4,
                                             tooLong | overlong2 | twoContinuations | overlong3 | tooLarge,
                                             tooLong | overlong2 | twoContinuations | surrogate | tooLarge,
                                             tooLong | overlong2 | twoContinuations | surrogate | tooLarge,
                                             tooShort,
                                             tooShort,
                                             tooShort,
                                             tooShort};
// Subtracted with saturation from the last three bytes: non-zero where a lead byte's sequence
// cannot have ended within the vector.
alignas(32) constexpr unsigned char kMaxima[32] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,     0xFF,     0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0 - 1, 0xE0 - 1, 0xC0 - 1};

struct Ssse3Tables {
    __m128i byte1High, byte1Low, byte2High, maxima, lowNibble, third, fourth, high;
};

__attribute__((target("ssse3"))) Q_ALWAYS_INLINE Ssse3Tables ssse3Tables()
{
    return {_mm_load_si128(reinterpret_cast<const __m128i *>(kByte1High)),
            _mm_load_si128(reinterpret_cast<const __m128i *>(kByte1Low)),
            _mm_load_si128(reinterpret_cast<const __m128i *>(kByte2High)),
            _mm_load_si128(reinterpret_cast<const __m128i *>(kMaxima + 16)),
            _mm_set1_epi8(0x0F),
            _mm_set1_epi8(char(0xE0 - 0x80)),
            _mm_set1_epi8(char(0xF0 - 0x80)),
            _mm_set1_epi8(char(0x80))};
}

// The errors of the 16 bytes `input` that follow `previous`.
__attribute__((target("ssse3"))) Q_ALWAYS_INLINE __m128i errors16(const Ssse3Tables &t, __m128i input, __m128i previous)
{
    const __m128i previous1 = _mm_alignr_epi8(input, previous, 15);
    const __m128i byte1High = _mm_shuffle_epi8(t.byte1High, _mm_and_si128(_mm_srli_epi16(previous1, 4), t.lowNibble));
    const __m128i byte1Low = _mm_shuffle_epi8(t.byte1Low, _mm_and_si128(previous1, t.lowNibble));
    const __m128i byte2High = _mm_shuffle_epi8(t.byte2High, _mm_and_si128(_mm_srli_epi16(input, 4), t.lowNibble));
    const __m128i special = _mm_and_si128(_mm_and_si128(byte1High, byte1Low), byte2High);
    // Two continuations in a row are right only as the third or fourth byte of a sequence.
    const __m128i third = _mm_subs_epu8(_mm_alignr_epi8(input, previous, 14), t.third);
    const __m128i fourth = _mm_subs_epu8(_mm_alignr_epi8(input, previous, 13), t.fourth);
    const __m128i mustContinue = _mm_and_si128(_mm_or_si128(third, fourth), t.high);
    return _mm_xor_si128(mustContinue, special);
}

struct Avx2Tables {
    __m256i byte1High, byte1Low, byte2High, maxima, lowNibble, third, fourth, high;
};

// A 16-byte table in both halves, for the look-ups that work within each.
__attribute__((target("avx2"))) Q_ALWAYS_INLINE __m256i twice(const char *table)
{
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(table)));
}

__attribute__((target("avx2"))) Q_ALWAYS_INLINE Avx2Tables avx2Tables()
{
    return {twice(kByte1High),
            twice(kByte1Low),
            twice(kByte2High),
            _mm256_load_si256(reinterpret_cast<const __m256i *>(kMaxima)),
            _mm256_set1_epi8(0x0F),
            _mm256_set1_epi8(char(0xE0 - 0x80)),
            _mm256_set1_epi8(char(0xF0 - 0x80)),
            _mm256_set1_epi8(char(0x80))};
}

// The same for 32 bytes. The byte shifts work within 128-bit halves, so the bytes that come
// before each half are put beside it first.
__attribute__((target("avx2"))) Q_ALWAYS_INLINE __m256i errors32(const Avx2Tables &t, __m256i input, __m256i previous)
{
    const __m256i before = _mm256_permute2x128_si256(previous, input, 0x21);
    const __m256i previous1 = _mm256_alignr_epi8(input, before, 15);
    const __m256i byte1High =
        _mm256_shuffle_epi8(t.byte1High, _mm256_and_si256(_mm256_srli_epi16(previous1, 4), t.lowNibble));
    const __m256i byte1Low = _mm256_shuffle_epi8(t.byte1Low, _mm256_and_si256(previous1, t.lowNibble));
    const __m256i byte2High =
        _mm256_shuffle_epi8(t.byte2High, _mm256_and_si256(_mm256_srli_epi16(input, 4), t.lowNibble));
    const __m256i special = _mm256_and_si256(_mm256_and_si256(byte1High, byte1Low), byte2High);
    const __m256i third = _mm256_subs_epu8(_mm256_alignr_epi8(input, before, 14), t.third);
    const __m256i fourth = _mm256_subs_epu8(_mm256_alignr_epi8(input, before, 13), t.fourth);
    const __m256i mustContinue = _mm256_and_si256(_mm256_or_si256(third, fourth), t.high);
    return _mm256_xor_si256(mustContinue, special);
}

} // namespace

__attribute__((target("ssse3"))) void checkUtf8ChunksSsse3(VectorUtf8State &state, const unsigned char *p,
                                                           qint64 chunks)
{
    const Ssse3Tables t = ssse3Tables();
    __m128i previous = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, char(state.last[0]), char(state.last[1]),
                                     char(state.last[2]));
    __m128i error = _mm_setzero_si128();
    for (; chunks > 0; --chunks, p += 64) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 32));
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 48));
        if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d))) == 0) {
            // All ASCII: fine unless the chunk before ended inside a sequence.
            error = _mm_or_si128(error, _mm_subs_epu8(previous, t.maxima));
        } else {
            error = _mm_or_si128(error, errors16(t, a, previous));
            error = _mm_or_si128(error, errors16(t, b, a));
            error = _mm_or_si128(error, errors16(t, c, b));
            error = _mm_or_si128(error, errors16(t, d, c));
        }
        previous = d;
    }
    alignas(16) unsigned char last[16];
    _mm_store_si128(reinterpret_cast<__m128i *>(last), previous);
    std::memcpy(state.last, last + 13, 3);
    state.error = state.error || _mm_movemask_epi8(_mm_cmpeq_epi8(error, _mm_setzero_si128())) != 0xFFFF;
}

__attribute__((target("avx2"))) void checkUtf8ChunksAvx2(VectorUtf8State &state, const unsigned char *p, qint64 chunks)
{
    const Avx2Tables t = avx2Tables();
    alignas(32) unsigned char last[32] = {};
    std::memcpy(last + 29, state.last, 3);
    __m256i previous = _mm256_load_si256(reinterpret_cast<const __m256i *>(last));
    __m256i error = _mm256_setzero_si256();
    for (; chunks > 0; --chunks, p += 64) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 32));
        if (_mm256_movemask_epi8(_mm256_or_si256(a, b)) == 0) {
            error = _mm256_or_si256(error, _mm256_subs_epu8(previous, t.maxima));
        } else {
            error = _mm256_or_si256(error, errors32(t, a, previous));
            error = _mm256_or_si256(error, errors32(t, b, a));
        }
        previous = b;
    }
    _mm256_store_si256(reinterpret_cast<__m256i *>(last), previous);
    std::memcpy(state.last, last + 29, 3);
    state.error = state.error || !_mm256_testz_si256(error, error);
}

bool utf8CheckAvailable(Utf8Check check)
{
    switch (check) {
    case Utf8Check::scalar:
        return true;
    case Utf8Check::ssse3:
        return __builtin_cpu_supports("ssse3");
    case Utf8Check::avx2:
        return __builtin_cpu_supports("avx2");
    }
    return false;
}

#else

void checkUtf8ChunksSsse3(VectorUtf8State &, const unsigned char *, qint64)
{
    Q_UNREACHABLE();
}

void checkUtf8ChunksAvx2(VectorUtf8State &, const unsigned char *, qint64)
{
    Q_UNREACHABLE();
}

// Other processors (Apple's arm64) keep the scalar check until a NEON version is written.
bool utf8CheckAvailable(Utf8Check check)
{
    return check == Utf8Check::scalar;
}

#endif

Utf8Check preferredUtf8Check()
{
    const QByteArray named = qgetenv("MOXLEY_UTF8_CHECK");
    if (!named.isEmpty()) {
        const Utf8Check check = named == "avx2"    ? Utf8Check::avx2
                                : named == "ssse3" ? Utf8Check::ssse3
                                                   : Utf8Check::scalar;
        return utf8CheckAvailable(check) ? check : Utf8Check::scalar;
    }
    for (const Utf8Check check : {Utf8Check::avx2, Utf8Check::ssse3}) {
        if (utf8CheckAvailable(check)) {
            return check;
        }
    }
    return Utf8Check::scalar;
}

Utf8Validator::Utf8Validator(Utf8Check check) : m_check(utf8CheckAvailable(check) ? check : Utf8Check::scalar)
{
}

void Utf8Validator::check(VectorUtf8State &state, const unsigned char *p, qint64 chunks) const
{
    if (m_check == Utf8Check::avx2) {
        checkUtf8ChunksAvx2(state, p, chunks);
    } else {
        checkUtf8ChunksSsse3(state, p, chunks);
    }
}

bool Utf8Validator::feed(const char *data, qint64 size)
{
    if (m_check == Utf8Check::scalar) {
        return m_scalar.feed(data, size);
    }
    if (m_vector.error || size <= 0) {
        return !m_vector.error;
    }
    const auto *p = reinterpret_cast<const unsigned char *>(data);
    if (m_carrySize > 0) {
        const qint64 take = std::min<qint64>(kChunk - m_carrySize, size);
        std::memcpy(m_carry + m_carrySize, p, size_t(take));
        m_carrySize += int(take);
        p += take;
        size -= take;
        if (m_carrySize < kChunk) {
            return true;
        }
        check(m_vector, m_carry, 1);
        m_carrySize = 0;
    }
    check(m_vector, p, size / kChunk);
    const qint64 rest = size % kChunk;
    std::memcpy(m_carry, p + size - rest, size_t(rest));
    m_carrySize = int(rest);
    return !m_vector.error;
}

bool Utf8Validator::complete() const
{
    if (m_check == Utf8Check::scalar) {
        return m_scalar.complete();
    }
    // The last bytes padded with ASCII zeros: a sequence cut off by the end then fails.
    VectorUtf8State end = m_vector;
    unsigned char last[kChunk] = {};
    std::memcpy(last, m_carry, size_t(m_carrySize));
    check(end, last, 1);
    return !end.error;
}

bool isUtf8(int fd, qint64 begin, qint64 end, const Utf8FileCheck &how)
{
    if (begin >= end) {
        return true;
    }
#if defined(POSIX_FADV_SEQUENTIAL)
    if (end - begin >= how.blockSize) {
        ::posix_fadvise(fd, off_t(begin), off_t(end - begin), POSIX_FADV_SEQUENTIAL);
    }
#endif
    const qint64 blockSize = std::min(std::max<qint64>(how.blockSize, 64), end - begin);
    const std::unique_ptr<char[]> block(new char[size_t(blockSize)]);
    Utf8Validator utf8(how.check);
    for (qint64 offset = begin; offset < end;) {
        const qint64 length = std::min(blockSize, end - offset);
        if (!readFully(fd, offset, block.get(), length) || !utf8.feed(block.get(), length)) {
            return false;
        }
        offset += length;
    }
    return utf8.complete();
}

} // namespace RunHistoryDetail
