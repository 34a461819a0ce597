#pragma once

#include "model/TaskJson.h"

#include <QByteArrayView>
#include <QString>

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
        return m_end - m_at >= 4 && QByteArrayView(m_at, 4) == "null";
    }

    // Whole numbers only, as JSON spells them, within the range; fractions and exponents are not
    // taken.
    bool integer(TaskJson::Range range, int *out);
    // Any JSON number but minus zero (Qt's reader keeps whole numbers as integers, losing its sign).
    bool number(double *out);
    // Invalid UTF-8, a lone surrogate, and a U+FEFF that begins the text (which Qt's reader drops)
    // are not taken.
    bool string(QString *out);

private:
    void space();
    bool word(QByteArrayView text);
    const char *digits(const char *at) const;
    // A key without escapes, in ASCII.
    bool plainKey(QByteArrayView *out);

    const char *m_at;
    const char *const m_end;
};
