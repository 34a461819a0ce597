#pragma once

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QTimeZone>

// Today's minutes of a systemd calendar expression, as systemd itself computes them
// (`systemd-analyze calendar --iterations=N --base-time=@SECONDS EXPRESSION`), one child process per
// expression and day. systemd-analyze evaluates in the process's time zone (TZ), which `zone` must be.
namespace CalendarMarks {

// Minutes (0-1439) of `date` at which `expression` elapses, ascending, each once; none when systemd
// cannot read the expression or cannot be run. Remembered per expression, date and zone.
QList<int> minutesOn(const QString &expression, const QDate &date, const QTimeZone &zone);

// The elapse times in systemd-analyze's output, in UTC, in the order printed.
QList<QDateTime> parseElapses(const QByteArray &output);

} // namespace CalendarMarks
