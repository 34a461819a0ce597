#pragma once

#include <QList>
#include <QString>

// A wall-clock time, 24-hour. Valid values are 0-23 and 0-59; the tasks file reader refuses others.
struct TimeOfDay {
    int hour = 0;
    int minute = 0;

    // hour * 60 + minute, held to the range of int.
    int minuteOfDay() const;
    // "%d:%02d": 9:05, 14:00.
    QString formatted() const;

    friend bool operator==(const TimeOfDay &, const TimeOfDay &) = default;
};

// Ascending by minute of day; equal times keep their order.
QList<TimeOfDay> sortedTimes(QList<TimeOfDay> times);
// The times sorted, formatted and joined with ", ".
QString formatTimes(const QList<TimeOfDay> &times);
