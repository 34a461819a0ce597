#include "model/JsonScanner.h"

#include "model/JsonBytes.h"

#include <QByteArray>
#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {

// Room on the stack for a string's unescaped bytes; the tasks file's commands and names fit.
using Utf8 = QVarLengthArray<char, 256>;

using namespace JsonBytes;

// Invalid UTF-8 comes out as U+FFFD, which this does not take; and a U+FEFF that begins the
// text Qt's own reader drops.
bool fromUtf8(QByteArrayView utf8, QString *out)
{
    if (utf8.startsWith("\xEF\xBB\xBF")) {
        return false;
    }
    *out = QString::fromUtf8(utf8);
    return !out->contains(QChar::ReplacementCharacter);
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool hex4(QByteArrayView raw, qsizetype at, char32_t *out)
{
    if (raw.size() - at < 4) {
        return false;
    }
    char32_t value = 0;
    for (qsizetype i = at; i < at + 4; ++i) {
        const int digit = hexDigit(raw.at(i));
        if (digit < 0) {
            return false;
        }
        value = value * 16 + char32_t(digit);
    }
    *out = value;
    return true;
}

// By hand: Qt's conversions from UTF-32 take a U+FEFF for a byte-order mark and drop it.
void appendUtf8(char32_t code, Utf8 *out)
{
    if (code < 0x80) {
        out->append(char(code));
        return;
    }
    const int tail = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    static constexpr std::array<unsigned char, 4> lead{0x00, 0xC0, 0xE0, 0xF0};
    out->append(char(lead[size_t(tail)] | (code >> (6 * tail))));
    for (int i = tail - 1; i >= 0; --i) {
        out->append(char(0x80 | ((code >> (6 * i)) & 0x3F)));
    }
}

bool unescape(QByteArrayView raw, Utf8 *out)
{
    out->reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        // What runs up to the next escape goes across whole.
        const auto *const slash = static_cast<const char *>(std::memchr(raw.data() + i, '\\', size_t(raw.size() - i)));
        const qsizetype escape = slash ? slash - raw.data() : raw.size();
        out->append(raw.data() + i, escape - i);
        if (!slash) {
            break;
        }
        i = escape;
        if (++i == raw.size()) {
            return false;
        }
        static constexpr std::array<std::pair<char, char>, 8> simple{
            {{'"', '"'}, {'\\', '\\'}, {'/', '/'}, {'b', '\b'}, {'f', '\f'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}}};
        const char c = raw.at(i);
        const auto found = std::find_if(simple.cbegin(), simple.cend(), [c](const auto &e) { return e.first == c; });
        if (found != simple.cend()) {
            out->append(found->second);
            continue;
        }
        char32_t code = 0;
        if (c != 'u' || !hex4(raw, i + 1, &code)) {
            return false;
        }
        i += 4;
        if (code >= 0xDC00 && code <= 0xDFFF) {
            return false;
        }
        if (code >= 0xD800 && code <= 0xDBFF) {
            char32_t low = 0;
            if (raw.size() - i < 7 || raw.at(i + 1) != '\\' || raw.at(i + 2) != 'u' || !hex4(raw, i + 3, &low) ||
                low < 0xDC00 || low > 0xDFFF) {
                return false;
            }
            i += 6;
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        }
        appendUtf8(code, out);
    }
    return true;
}

} // namespace

bool JsonScanner::integer(TaskJson::Range range, int *out)
{
    space();
    const char *at = m_at;
    const bool negative = at < m_end && *at == '-';
    at += negative ? 1 : 0;
    const char *const first = at;
    at = digits(at);
    const qsizetype count = at - first;
    // No int has more than ten digits; eleven still fit the sum here, and the range declines them.
    if (count == 0 || count > 11 || (count > 1 && *first == '0') ||
        (at < m_end && (*at == '.' || *at == 'e' || *at == 'E'))) {
        return false;
    }
    qint64 value = 0;
    for (const char *digit = first; digit < at; ++digit) {
        value = value * 10 + (*digit - '0');
    }
    value = negative ? -value : value;
    if (!range.contains(value)) {
        return false;
    }
    m_at = at;
    *out = int(value);
    return true;
}

bool JsonScanner::number(double *out)
{
    space();
    const char *at = m_at;
    at += at < m_end && *at == '-' ? 1 : 0;
    const char *const whole = at;
    at = digits(at);
    if (at == whole || (at - whole > 1 && *whole == '0')) {
        return false;
    }
    if (at < m_end && *at == '.') {
        const char *const fraction = ++at;
        if ((at = digits(at)) == fraction) {
            return false;
        }
    }
    if (at < m_end && (*at == 'e' || *at == 'E')) {
        ++at;
        at += at < m_end && (*at == '+' || *at == '-') ? 1 : 0;
        const char *const exponent = at;
        if ((at = digits(at)) == exponent) {
            return false;
        }
    }
    bool ok = false;
    const double value = QByteArray::fromRawData(m_at, at - m_at).toDouble(&ok);
    if (!ok || !std::isfinite(value) || (value == 0 && *m_at == '-')) {
        return false;
    }
    m_at = at;
    *out = value;
    return true;
}

bool JsonScanner::string(QString *out)
{
    space();
    if (m_at == m_end || *m_at != '"') {
        return false;
    }
    const char *const start = ++m_at;
    quint64 high = 0;
    m_at = plainEnd(m_at, m_end, &high);
    if (m_at == m_end || *m_at != '"') {
        return escapedString(start, out);
    }
    const QByteArrayView raw(start, m_at - start);
    ++m_at;
    if ((high & kHighs) == 0) {
        *out = QString::fromLatin1(raw);
        return true;
    }
    return fromUtf8(raw, out);
}

// The rest of a string that string() found not plain: an escape, a control character or the end.
bool JsonScanner::escapedString(const char *start, QString *out)
{
    quint64 high = 0;
    while (m_at < m_end && *m_at == '\\') {
        // The escaped byte is skipped unseen: unescape() judges it.
        m_at += m_end - m_at >= 2 ? 2 : 1;
        m_at = plainEnd(m_at, m_end, &high);
    }
    if (m_at == m_end || *m_at != '"') {
        return false;
    }
    const QByteArrayView raw(start, m_at - start);
    ++m_at;
    Utf8 utf8;
    return unescape(raw, &utf8) && fromUtf8(QByteArrayView(utf8.data(), utf8.size()), out);
}

void JsonScanner::skipSpace()
{
    // Indentation: a line break, then spaces.
    const char *at = m_at;
    for (;;) {
        while (at < m_end && (*at == '\n' || *at == '\r' || *at == '\t')) {
            ++at;
        }
        if (at == m_end || *at != ' ') {
            break;
        }
        at = spacesEnd(at, m_end);
    }
    m_at = at;
}

bool JsonScanner::plainString(QByteArrayView *out)
{
    space();
    if (m_at == m_end || *m_at != '"') {
        return false;
    }
    const char *const start = m_at + 1;
    const char *const end = asciiEnd(start, m_end);
    if (end == m_end || *end != '"') {
        return false;
    }
    *out = QByteArrayView(start, end - start);
    m_at = end + 1;
    return true;
}
