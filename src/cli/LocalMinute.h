#pragma once

#include <QDateTime>
#include <QString>
#include <QTimeZone>

#include <variant>

// The `--at YYYY-MM-DDTHH:MM` option of the commands that take a "now".
namespace LocalMinute {

// The local time the text names in `zone`, or the reason it cannot be taken.
std::variant<QDateTime, QString> parse(const QString &text, const QTimeZone &zone);
// The system's zone (TZ honoured), UTC when it has none.
QTimeZone zone();

} // namespace LocalMinute
