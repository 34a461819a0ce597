#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <bitset>
#include <optional>

// The five time fields of a cron line (minute, hour, day of month, month, day of week) as Debian's
// cron reads them: lists, ranges, steps, month and day names, 0 and 7 for Sunday, and the rule
// that a day matches either field when neither begins with "*".
class CronSchedule
{
public:
    // Nothing, with `error` set, when a field is malformed or out of range.
    static std::optional<CronSchedule> parse(const QStringList &fields, QString *error = nullptr);
    // "@daily", "@hourly", ... as their five fields; nothing for "@reboot" and unknown words.
    static std::optional<QStringList> fieldsOf(const QString &special);

    bool runsOn(const QDate &date) const;
    // Minutes of the day (0-1439) at which the line fires on `date`, ascending; none on other days.
    QList<int> minutesOn(const QDate &date) const;

private:
    std::bitset<60> m_minutes;
    std::bitset<24> m_hours;
    std::bitset<32> m_days;    // 1-31
    std::bitset<13> m_months;  // 1-12
    std::bitset<7> m_weekdays; // 0 = Sunday
    bool m_dayStar = false;
    bool m_weekdayStar = false;
};
