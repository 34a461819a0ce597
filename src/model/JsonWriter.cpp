#include "model/JsonWriter.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <charconv>
#include <cstdio>

namespace {

// UTF-8 as a JSON string's inside: quotes, backslashes and control characters escaped.
void appendEscaped(QByteArray &out, const QByteArray &utf8)
{
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        const char c = utf8.at(i);
        const auto u = static_cast<unsigned char>(c);
        // Qt's JSON reader drops a U+FEFF (byte-order mark) that begins a string, so it is written
        // as an escape, which every reader keeps.
        if (u == 0xEF && utf8.mid(i, 3) == "\xEF\xBB\xBF") {
            out.append("\\ufeff");
            i += 2;
            continue;
        }
        switch (c) {
        case '"':
            out.append("\\\"");
            break;
        case '\\':
            out.append("\\\\");
            break;
        case '\n':
            out.append("\\n");
            break;
        case '\r':
            out.append("\\r");
            break;
        case '\t':
            out.append("\\t");
            break;
        case '\b':
            out.append("\\b");
            break;
        case '\f':
            out.append("\\f");
            break;
        default:
            if (u < 0x20) {
                char escape[7];
                std::snprintf(escape, sizeof escape, "\\u%04x", u);
                out.append(escape);
            } else {
                out.append(c);
            }
        }
    }
}

void indent(QByteArray &out, int level)
{
    out.append(QByteArray(level * 2, ' '));
}

void write(QByteArray &out, const QJsonValue &value, int level)
{
    switch (value.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        out.append("null");
        return;
    case QJsonValue::Bool:
        out.append(value.toBool() ? "true" : "false");
        return;
    case QJsonValue::Double:
        out.append(JsonWriter::number(value.toDouble()));
        return;
    case QJsonValue::String:
        out.append(JsonWriter::quoted(value.toString()));
        return;
    case QJsonValue::Array: {
        const QJsonArray array = value.toArray();
        if (array.isEmpty()) {
            out.append("[]");
            return;
        }
        out.append("[\n");
        for (qsizetype i = 0; i < array.size(); ++i) {
            indent(out, level + 1);
            write(out, array.at(i), level + 1);
            out.append(i + 1 < array.size() ? ",\n" : "\n");
        }
        indent(out, level);
        out.append(']');
        return;
    }
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        if (object.isEmpty()) {
            out.append("{}");
            return;
        }
        // QJsonObject keeps its keys sorted; sort anyway so the layout never depends on that.
        QStringList keys = object.keys();
        keys.sort();
        out.append("{\n");
        for (qsizetype i = 0; i < keys.size(); ++i) {
            indent(out, level + 1);
            out.append(JsonWriter::quoted(keys.at(i)));
            out.append(" : ");
            write(out, object.value(keys.at(i)), level + 1);
            out.append(i + 1 < keys.size() ? ",\n" : "\n");
        }
        indent(out, level);
        out.append('}');
        return;
    }
    }
}

} // namespace

QByteArray JsonWriter::number(double value)
{
    char buffer[1100];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    return QByteArray(buffer, result.ptr - buffer);
}

QByteArray JsonWriter::quoted(const QString &text)
{
    QByteArray out;
    out.reserve(text.size() + 2);
    out.append('"');
    // A surrogate without its other half has no UTF-8 (it would come out as '?'): it is written
    // as its escape, which Qt's reader turns back into the same character.
    qsizetype run = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (!c.isSurrogate()) {
            continue;
        }
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            ++i;
            continue;
        }
        appendEscaped(out, QStringView(text).sliced(run, i - run).toUtf8());
        char escape[7];
        std::snprintf(escape, sizeof escape, "\\u%04x", unsigned(c.unicode()));
        out.append(escape);
        run = i + 1;
    }
    appendEscaped(out, QStringView(text).sliced(run).toUtf8());
    out.append('"');
    return out;
}

QByteArray JsonWriter::pretty(const QJsonValue &value)
{
    QByteArray out;
    write(out, value, 0);
    return out;
}
