#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Strict UTF-8 checks fed block by block, so a whole file is judged without being held. Used by
// the runs and log readers: a file that is not UTF-8 reads as empty there.
namespace RunHistoryDetail {

constexpr quint64 kHighBits = 0x8080808080808080ULL;

// The index of the first byte in memory order whose high bit is set, of a non-zero word of high bits.
Q_ALWAYS_INLINE int firstHighByte(quint64 highBits)
{
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    return __builtin_ctzll(highBits) / 8;
#else
    return __builtin_clzll(highBits) / 8;
#endif
}

// Strict UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF), fed in blocks so a
// file is checked without holding it. A sequence may straddle two blocks.
class ScalarUtf8Validator
{
public:
    bool feed(const char *data, qint64 size)
    {
        if (m_state < 0) {
            return false;
        }
        const auto *p = reinterpret_cast<const unsigned char *>(data);
        const auto *end = p + size;
        int state = m_state;
        while (p < end) {
            if (state == 0) {
                // Logs and runs files are mostly ASCII: skip it 16 bytes at a time, and then
                // straight to the first byte that is not ASCII.
                while (end - p >= 16) {
                    quint64 a;
                    quint64 b;
                    std::memcpy(&a, p, 8);
                    std::memcpy(&b, p + 8, 8);
                    const quint64 highA = a & kHighBits;
                    const quint64 highB = b & kHighBits;
                    if ((highA | highB) == 0) {
                        p += 16;
                        continue;
                    }
                    p += highA ? firstHighByte(highA) : 8 + firstHighByte(highB);
                    break;
                }
                if (p == end) {
                    break;
                }
                const unsigned c = *p;
                if (c < 0x80) {
                    ++p;
                    continue;
                }
                // A whole sequence inside the block is checked at once; the states below are
                // for sequences cut by the end of a block, and for errors.
                if (c >= 0xC2 && c <= 0xDF && end - p >= 2) {
                    if ((p[1] & 0xC0) != 0x80) {
                        m_state = -1;
                        return false;
                    }
                    p += 2;
                    continue;
                }
                if (c >= 0xE0 && c <= 0xEF && end - p >= 3) {
                    const unsigned low = c == 0xE0 ? 0xA0 : 0x80;
                    const unsigned high = c == 0xED ? 0x9F : 0xBF;
                    if (p[1] < low || p[1] > high || (p[2] & 0xC0) != 0x80) {
                        m_state = -1;
                        return false;
                    }
                    p += 3;
                    continue;
                }
                if (c >= 0xF0 && c <= 0xF4 && end - p >= 4) {
                    const unsigned low = c == 0xF0 ? 0x90 : 0x80;
                    const unsigned high = c == 0xF4 ? 0x8F : 0xBF;
                    if (p[1] < low || p[1] > high || (p[2] & 0xC0) != 0x80 || (p[3] & 0xC0) != 0x80) {
                        m_state = -1;
                        return false;
                    }
                    p += 4;
                    continue;
                }
                ++p;
                if (c >= 0xC2 && c <= 0xDF) {
                    state = 1;
                } else if (c == 0xE0) {
                    state = 4;
                } else if (c == 0xED) {
                    state = 5;
                } else if (c >= 0xE1 && c <= 0xEF) {
                    state = 2;
                } else if (c == 0xF0) {
                    state = 6;
                } else if (c >= 0xF1 && c <= 0xF3) {
                    state = 3;
                } else if (c == 0xF4) {
                    state = 7;
                } else {
                    m_state = -1;
                    return false;
                }
                continue;
            }
            // Continuation bytes; the second byte after E0, ED, F0 and F4 has a narrower range.
            const unsigned c = *p++;
            unsigned low = 0x80;
            unsigned high = 0xBF;
            int next = 0;
            switch (state) {
            case 1: next = 0; break;
            case 2: next = 1; break;
            case 3: next = 2; break;
            case 4: low = 0xA0; next = 1; break;
            case 5: high = 0x9F; next = 1; break;
            case 6: low = 0x90; next = 2; break;
            case 7: high = 0x8F; next = 2; break;
            }
            if (c < low || c > high) {
                m_state = -1;
                return false;
            }
            state = next;
        }
        m_state = state;
        return true;
    }

    // True when everything fed was valid and no sequence is left unfinished.
    bool complete() const { return m_state == 0; }

private:
    int m_state = 0; // 0 between characters, 1-7 inside one, -1 after an error
};

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define MOXLEY_SIMD_UTF8 1

// The same check 16 bytes at a time with SSSE3 table look-ups (the "lookup" method of Keiser and
// Lemire, "Validating UTF-8 In Less Than One Instruction Per Byte", 2021): each byte is judged
// with the three before it, so no branch depends on the text. A log with a non-ASCII character
// every few dozen bytes defeats the scalar check's ASCII shortcut; this one does not care.
class SimdUtf8Validator
{
public:
    static bool available() { return __builtin_cpu_supports("ssse3"); }

    __attribute__((target("ssse3"))) bool feed(const unsigned char *p, qint64 size)
    {
        if (m_carrySize > 0) {
            const qint64 take = std::min<qint64>(16 - m_carrySize, size);
            std::memcpy(m_carry + m_carrySize, p, size_t(take));
            m_carrySize += int(take);
            p += take;
            size -= take;
            if (m_carrySize < 16) {
                return ok();
            }
            block(_mm_loadu_si128(reinterpret_cast<const __m128i *>(m_carry)));
            m_carrySize = 0;
        }
        while (size >= 16) {
            block(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
            p += 16;
            size -= 16;
        }
        std::memcpy(m_carry, p, size_t(size));
        m_carrySize = int(size);
        return ok();
    }

    // The last bytes, padded with ASCII zeros: a sequence cut off by the end of the file then fails.
    __attribute__((target("ssse3"))) bool complete() const
    {
        SimdUtf8Validator end = *this;
        if (end.m_carrySize > 0) {
            unsigned char last[16] = {};
            std::memcpy(last, end.m_carry, size_t(end.m_carrySize));
            end.block(_mm_loadu_si128(reinterpret_cast<const __m128i *>(last)));
        }
        end.m_error = _mm_or_si128(end.m_error, end.m_previousIncomplete);
        return end.ok();
    }

private:
    __attribute__((target("ssse3"))) bool ok() const
    {
        return _mm_movemask_epi8(_mm_cmpeq_epi8(m_error, _mm_setzero_si128())) == 0xFFFF;
    }

    __attribute__((target("ssse3"))) static __m128i high4(__m128i v)
    {
        return _mm_and_si128(_mm_srli_epi16(v, 4), _mm_set1_epi8(0x0F));
    }

    __attribute__((target("ssse3"))) void block(__m128i input)
    {
        if (_mm_movemask_epi8(input) == 0) {
            // All ASCII: fine unless the block before ended inside a sequence.
            m_error = _mm_or_si128(m_error, m_previousIncomplete);
            m_previous = input;
            return;
        }
        // Each bit names one way a pair of bytes (the one before, this one) can be wrong; a pair is
        // wrong when its first byte's high half, its low half and the second byte's high half all
        // allow the same way.
        constexpr char tooShort = 1 << 0;   // a lead byte, then no continuation
        constexpr char tooLong = 1 << 1;    // ASCII, then a continuation
        constexpr char overlong3 = 1 << 2;  // E0 80..9F
        constexpr char tooLarge = 1 << 3;   // F4 90.., F5..
        constexpr char surrogate = 1 << 4;  // ED A0..BF
        constexpr char overlong2 = 1 << 5;  // C0, C1
        constexpr char tooLarge1000 = 1 << 6; // F5.. 80..8F
        constexpr char overlong4 = 1 << 6;  // F0 80..8F
        constexpr char twoContinuations = char(1 << 7);
        constexpr char carry = tooShort | tooLong | twoContinuations;

        const __m128i previous1 = _mm_alignr_epi8(input, m_previous, 15);
        const __m128i byte1High = _mm_shuffle_epi8(
            _mm_setr_epi8(tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, twoContinuations,
                          twoContinuations, twoContinuations, twoContinuations, tooShort | overlong2, tooShort,
                          tooShort | overlong3 | surrogate, tooShort | tooLarge | tooLarge1000 | overlong4),
            high4(previous1));
        const __m128i byte1Low = _mm_shuffle_epi8(
            _mm_setr_epi8(carry | overlong3 | overlong2 | overlong4, carry | overlong2, carry, carry, carry | tooLarge,
                          carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                          carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                          carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                          carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                          carry | tooLarge | tooLarge1000 | surrogate, carry | tooLarge | tooLarge1000,
                          carry | tooLarge | tooLarge1000),
            _mm_and_si128(previous1, _mm_set1_epi8(0x0F)));
        const __m128i byte2High = _mm_shuffle_epi8(
            _mm_setr_epi8(tooShort, tooShort, tooShort, tooShort, tooShort, tooShort, tooShort, tooShort,
                          tooLong | overlong2 | twoContinuations | overlong3 | tooLarge1000 | overlong4,
                          tooLong | overlong2 | twoContinuations | overlong3 | tooLarge,
                          tooLong | overlong2 | twoContinuations | surrogate | tooLarge,
                          tooLong | overlong2 | twoContinuations | surrogate | tooLarge, tooShort, tooShort, tooShort,
                          tooShort),
            high4(input));
        const __m128i special = _mm_and_si128(_mm_and_si128(byte1High, byte1Low), byte2High);

        // Two continuations in a row are right only as the third or fourth byte of a sequence.
        const __m128i previous2 = _mm_alignr_epi8(input, m_previous, 14);
        const __m128i previous3 = _mm_alignr_epi8(input, m_previous, 13);
        const __m128i third = _mm_subs_epu8(previous2, _mm_set1_epi8(char(0xE0 - 0x80)));
        const __m128i fourth = _mm_subs_epu8(previous3, _mm_set1_epi8(char(0xF0 - 0x80)));
        const __m128i mustContinue = _mm_and_si128(_mm_or_si128(third, fourth), _mm_set1_epi8(char(0x80)));
        m_error = _mm_or_si128(m_error, _mm_xor_si128(mustContinue, special));

        // A lead byte among the last three that its sequence cannot fit after.
        const __m128i maxima = _mm_setr_epi8(char(0xFF), char(0xFF), char(0xFF), char(0xFF), char(0xFF), char(0xFF),
                                             char(0xFF), char(0xFF), char(0xFF), char(0xFF), char(0xFF), char(0xFF),
                                             char(0xFF), char(0xF0 - 1), char(0xE0 - 1), char(0xC0 - 1));
        m_previousIncomplete = _mm_subs_epu8(input, maxima);
        m_previous = input;
    }

    __m128i m_previous = _mm_setzero_si128();
    __m128i m_previousIncomplete = _mm_setzero_si128();
    __m128i m_error = _mm_setzero_si128();
    unsigned char m_carry[16] = {};
    int m_carrySize = 0;
};
#endif

// The vector check where the processor has it, the scalar one elsewhere.
class Utf8Validator
{
public:
    bool feed(const char *data, qint64 size)
    {
#ifdef MOXLEY_SIMD_UTF8
        if (m_simd) {
            return m_vector.feed(reinterpret_cast<const unsigned char *>(data), size);
        }
#endif
        return m_scalar.feed(data, size);
    }

    bool complete() const
    {
#ifdef MOXLEY_SIMD_UTF8
        if (m_simd) {
            return m_vector.complete();
        }
#endif
        return m_scalar.complete();
    }

private:
#ifdef MOXLEY_SIMD_UTF8
    bool m_simd = SimdUtf8Validator::available() && !qEnvironmentVariableIsSet("MOXLEY_SCALAR_UTF8");
    SimdUtf8Validator m_vector;
#endif
    ScalarUtf8Validator m_scalar;
};

} // namespace RunHistoryDetail
