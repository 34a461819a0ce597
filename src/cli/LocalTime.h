#pragma once

#include <QCommandLineParser>
#include <QDateTime>
#include <QString>
#include <QTimeZone>

#include <variant>

// Local time as the commands read and show it (`--at`, run times), so every command agrees.
namespace LocalTime {

// TZ's zone; an unknown TZ reads as UTC, as the C library takes it.
QTimeZone zone();

// "2025-03-01T06:30" in `zone`, or the reason it cannot be taken (malformed, or a time the clocks skip).
std::variant<QDateTime, QString> parseMinute(const QString &text, const QTimeZone &zone);

// Now, or the time `--at` names when the parser has it set; a text is a usage error to report.
std::variant<QDateTime, QString> now(const QCommandLineParser &parser, const QTimeZone &zone);

} // namespace LocalTime
