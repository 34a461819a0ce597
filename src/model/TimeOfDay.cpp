#include "model/TimeOfDay.h"

#include <QStringList>

#include <algorithm>
#include <limits>

int TimeOfDay::minuteOfDay() const
{
    // The file reader refuses such times; anything else that builds one gets the nearest int.
    const qint64 minutes = qint64(hour) * 60 + minute;
    return int(std::clamp<qint64>(minutes, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

QString TimeOfDay::formatted() const
{
    // Cheaper than asprintf, which a list of a thousand tasks calls thousands of times.
    QString text = QString::number(hour) + u':';
    if (minute >= 0 && minute < 10) {
        text += u'0';
    }
    return text + QString::number(minute);
}

QList<TimeOfDay> sortedTimes(QList<TimeOfDay> times)
{
    std::stable_sort(times.begin(), times.end(),
                     [](const TimeOfDay &a, const TimeOfDay &b) { return a.minuteOfDay() < b.minuteOfDay(); });
    return times;
}

QString formatTimes(const QList<TimeOfDay> &times)
{
    QStringList parts;
    for (const TimeOfDay &t : sortedTimes(times)) {
        parts << t.formatted();
    }
    return parts.join(u", ");
}
