#include "model/TimeOfDay.h"

#include <QStringList>

#include <algorithm>
#include <cstdlib>

int TimeOfDay::minuteOfDay() const
{
    int product = 0;
    int sum = 0;
    if (__builtin_mul_overflow(hour, 60, &product) || __builtin_add_overflow(product, minute, &sum)) {
        std::abort();
    }
    return sum;
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
