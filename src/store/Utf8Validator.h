#pragma once

#include <QtGlobal>

#include <cstring>

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
            case 1:
                next = 0;
                break;
            case 2:
                next = 1;
                break;
            case 3:
                next = 2;
                break;
            case 4:
                low = 0xA0;
                next = 1;
                break;
            case 5:
                high = 0x9F;
                next = 1;
                break;
            case 6:
                low = 0x90;
                next = 2;
                break;
            case 7:
                high = 0x8F;
                next = 2;
                break;
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

enum class Utf8Check { scalar, ssse3, avx2 };

// Whether this processor can run the check.
bool utf8CheckAvailable(Utf8Check check);

// The fastest check this processor has, unless MOXLEY_UTF8_CHECK names one ("scalar", "ssse3",
// "avx2"), which the tests use to run every check on one machine. A named check the processor
// lacks gives the scalar one.
Utf8Check preferredUtf8Check();

// What the vector checks carry from one 64-byte chunk to the next: each byte is judged with the
// three before it.
struct VectorUtf8State {
    unsigned char last[3] = {};
    bool error = false;
};

// Judge `chunks` chunks of 64 bytes that follow the ones `state` ends with. Only on processors
// that have the instructions (utf8CheckAvailable).
void checkUtf8ChunksSsse3(VectorUtf8State &state, const unsigned char *p, qint64 chunks);
void checkUtf8ChunksAvx2(VectorUtf8State &state, const unsigned char *p, qint64 chunks);

// One of the checks above, fed block by block.
class Utf8Validator
{
public:
    explicit Utf8Validator(Utf8Check check = preferredUtf8Check());

    // False once anything fed so far is known not to be UTF-8.
    bool feed(const char *data, qint64 size);

    // True when everything fed was valid and no sequence is left unfinished.
    bool complete() const;

private:
    static constexpr int kChunk = 64;

    void check(VectorUtf8State &state, const unsigned char *p, qint64 chunks) const;

    Utf8Check m_check;
    ScalarUtf8Validator m_scalar;
    VectorUtf8State m_vector;
    unsigned char m_carry[kChunk] = {};
    int m_carrySize = 0;
};

// How a stretch of a file is checked.
struct Utf8FileCheck {
    Utf8Check check = preferredUtf8Check();
    // Read per call; the block stays in the core's cache while it is judged.
    qint64 blockSize = 256 << 10;
};

// Whether bytes [begin, end) of the open file `fd` are UTF-8 taken on their own, read with pread
// in blocks and not kept. A read error or a file shorter than `end` counts as not UTF-8.
bool isUtf8(int fd, qint64 begin, qint64 end, const Utf8FileCheck &how = {});

} // namespace RunHistoryDetail
