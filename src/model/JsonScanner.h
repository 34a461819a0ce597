#pragma once

#include "model/TaskJson.h"

#include <QByteArrayView>
#include <QString>

#include <cstring>

// A strict reader of JSON as this program writes it, value by value, straight from the bytes. Each
// call returns false for what it does not take (a caller then gives up: nothing here names an
// error); what it takes it reads as Qt's own JSON reader does.
class JsonScanner
{
public:
    explicit JsonScanner(QByteArrayView bytes) : m_at(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    bool take(char c)
    {
        space();
        if (m_at < m_end && *m_at == c) {
            ++m_at;
            return true;
        }
        return false;
    }

    bool atEnd()
    {
        space();
        return m_at == m_end;
    }

    // Calls member(key) for each member; the key is plain ASCII without escapes, the value the
    // member's to read.
    template <typename Member> bool object(Member &&member)
    {
        if (!take('{')) {
            return false;
        }
        if (take('}')) {
            return true;
        }
        do {
            QByteArrayView key;
            if (!plainKey(&key) || !take(':') || !member(key)) {
                return false;
            }
        } while (take(','));
        return take('}');
    }

    template <typename Item> bool array(Item &&item)
    {
        if (!take('[')) {
            return false;
        }
        if (take(']')) {
            return true;
        }
        do {
            if (!item()) {
                return false;
            }
        } while (take(','));
        return take(']');
    }

    bool boolean(bool *out)
    {
        if (word("true")) {
            *out = true;
            return true;
        }
        if (word("false")) {
            *out = false;
            return true;
        }
        return false;
    }

    bool null() { return word("null"); }

    bool peekNull()
    {
        space();
        return m_end - m_at >= 4 && std::memcmp(m_at, "null", 4) == 0;
    }

    // Whole numbers only, as JSON spells them, within the range; fractions and exponents are not
    // taken.
    bool integer(TaskJson::Range range, int *out);
    // Any JSON number but minus zero (Qt's reader keeps whole numbers as integers, losing its sign).
    bool number(double *out);
    // Invalid UTF-8, a lone surrogate, and a U+FEFF that begins the text (which Qt's reader drops)
    // are not taken.
    bool string(QString *out);
    // A string without escapes, in ASCII, as its bytes; anything else is not taken and leaves the
    // scanner where it was, for string() to read.
    bool plainString(QByteArrayView *out);

private:
    void space()
    {
        // Inline, and out of line only for more than the one space around a colon: most calls
        // find none.
        if (m_at != m_end && *m_at == ' ') {
            ++m_at;
        }
        if (m_at == m_end || static_cast<unsigned char>(*m_at) > ' ') {
            return;
        }
        skipSpace();
    }
    void skipSpace();
    template <qsizetype N> bool word(const char (&text)[N])
    {
        space();
        // The literal's terminating zero is not part of the word.
        if (m_end - m_at < N - 1 || std::memcmp(m_at, text, N - 1) != 0) {
            return false;
        }
        m_at += N - 1;
        return true;
    }
    const char *digits(const char *at) const
    {
        while (at < m_end && *at >= '0' && *at <= '9') {
            ++at;
        }
        return at;
    }
    bool escapedString(const char *start, QString *out);
    // A key without escapes, in ASCII.
    bool plainKey(QByteArrayView *out) { return plainString(out); }

    const char *m_at;
    const char *const m_end;
};
