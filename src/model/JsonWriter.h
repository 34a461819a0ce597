#pragma once

#include <QByteArray>
#include <QJsonValue>

// The tasks-file layout: two spaces per level, " : " after keys, keys sorted at every level,
// "[]" and "{}" when empty, no final line feed. Numbers are written in the shortest
// decimal form that reads back to the same double.
namespace JsonWriter {
QByteArray pretty(const QJsonValue &value);
// A JSON string literal, quotes included.
QByteArray quoted(const QString &text);
QByteArray number(double value);
} // namespace JsonWriter
