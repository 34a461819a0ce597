#pragma once

#include <QtEndian>
#include <QtGlobal>

#include <bit>

// JSON text looked at eight bytes at a time, as one number with the first byte in its lowest bits
// whatever the machine's order. Each test below is exact for every byte: no sum carries from one
// byte into the next.
namespace JsonBytes {

inline constexpr quint64 kOnes = 0x0101010101010101;
inline constexpr quint64 kHighs = 0x8080808080808080;
inline constexpr quint64 kLows = 0x7F7F7F7F7F7F7F7F;

inline quint64 load8(const char *at)
{
    return qFromLittleEndian<quint64>(at);
}

// The index of the first byte that is not zero, in a word that is not.
inline int firstNonZero(quint64 word)
{
    return std::countr_zero(word) / 8;
}

// The top bit of each byte whose low seven bits are a quote, a backslash or a control character.
constexpr quint64 runEnders(quint64 word)
{
    const quint64 low = word & kLows;
    // Each sum's top bit is set for the bytes that are not the one looked for.
    const quint64 notQuote = (low ^ (kOnes * '"')) + kLows;
    const quint64 notBackslash = (low ^ (kOnes * '\\')) + kLows;
    const quint64 notControl = low + kOnes * (0x80 - 0x20);
    return ~(notQuote & notBackslash & notControl) & kHighs;
}

// The first quote, backslash or control character from `at` on (or `end`): where a string's run of
// bytes taken as they are ends. The bytes before it are or-ed into `high`, whose top bits then tell
// whether any was outside ASCII.
inline const char *plainEnd(const char *at, const char *end, quint64 *high)
{
    // Gathered here, not through `high`: a store to it might change the bytes, for all the compiler
    // knows, and it would store on every word.
    quint64 seen = 0;
    for (; end - at >= 8; at += 8) {
        const quint64 word = load8(at);
        if (const quint64 stops = runEnders(word) & ~word) {
            const int before = firstNonZero(stops);
            *high |= seen | (word & ((quint64(1) << (8 * before)) - 1));
            return at + before;
        }
        seen |= word;
    }
    for (; at < end; ++at) {
        const auto c = static_cast<unsigned char>(*at);
        if (c == '"' || c == '\\' || c < 0x20) {
            break;
        }
        seen |= c;
    }
    *high |= seen;
    return at;
}

// The first byte from `at` on (or `end`) that is not printable ASCII, or is a quote or backslash.
inline const char *asciiEnd(const char *at, const char *end)
{
    for (; end - at >= 8; at += 8) {
        const quint64 word = load8(at);
        if (const quint64 stops = runEnders(word) | (word & kHighs)) {
            return at + firstNonZero(stops);
        }
    }
    for (; at < end; ++at) {
        const auto c = static_cast<unsigned char>(*at);
        if (c == '"' || c == '\\' || c < 0x20 || c >= 0x80) {
            break;
        }
    }
    return at;
}

// The first byte from `at` on (or `end`) that is not a space.
inline const char *spacesEnd(const char *at, const char *end)
{
    for (; end - at >= 8; at += 8) {
        if (const quint64 other = load8(at) ^ (kOnes * ' ')) {
            return at + firstNonZero(other);
        }
    }
    while (at < end && *at == ' ') {
        ++at;
    }
    return at;
}

} // namespace JsonBytes
