#include "systemd/CronSchedule.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace {

struct FieldRange {
    int low;
    int high;
    QStringList names; // names[i] stands for low + i
    const char *title;
};

std::optional<int> number(const QString &text, const FieldRange &range)
{
    const qsizetype index = range.names.indexOf(text.toLower());
    if (index >= 0) {
        return range.low + int(index);
    }
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || text.startsWith(u'+') || text.startsWith(u'-')) {
        return std::nullopt;
    }
    return value;
}

// Sets the values one comma-separated item stands for; false when it is malformed.
bool setItem(const QString &item, const FieldRange &range, std::vector<bool> &bits)
{
    QString body = item;
    int step = 1;
    const qsizetype slash = item.indexOf(u'/');
    if (slash >= 0) {
        bool ok = false;
        step = item.mid(slash + 1).toInt(&ok);
        if (!ok || step <= 0) {
            return false;
        }
        body = item.left(slash);
    }
    int low = range.low;
    int high = range.high;
    if (body != u"*") {
        const qsizetype dash = body.indexOf(u'-');
        const std::optional<int> first = number(dash < 0 ? body : body.left(dash), range);
        if (!first) {
            return false;
        }
        low = *first;
        // "5/15" counts from 5 to the end of the field, as Debian's cron reads it.
        high = dash >= 0 ? number(body.mid(dash + 1), range).value_or(-1) : (slash >= 0 ? range.high : low);
        if (dash >= 0 && high < 0) {
            return false;
        }
    }
    if (low < range.low || high > range.high || low > high) {
        return false;
    }
    // Wide enough that a step near the largest int cannot carry the count past it.
    for (qint64 value = low; value <= high; value += step) {
        bits[size_t(value)] = true;
    }
    return true;
}

std::optional<std::vector<bool>> parseField(const QString &field, const FieldRange &range)
{
    std::vector<bool> bits(size_t(range.high) + 1, false);
    for (const QString &item : field.split(u',')) {
        if (item.isEmpty() || !setItem(item, range, bits)) {
            return std::nullopt;
        }
    }
    return bits;
}

template <size_t N> void copyBits(const std::vector<bool> &from, std::bitset<N> &to)
{
    for (size_t i = 0; i < N && i < from.size(); ++i) {
        to[i] = from[i];
    }
}

} // namespace

std::optional<CronSchedule> CronSchedule::parse(const QStringList &fields, QString *error)
{
    static const QStringList months = {u"jan"_s, u"feb"_s, u"mar"_s, u"apr"_s, u"may"_s, u"jun"_s,
                                       u"jul"_s, u"aug"_s, u"sep"_s, u"oct"_s, u"nov"_s, u"dec"_s};
    static const QStringList days = {u"sun"_s, u"mon"_s, u"tue"_s, u"wed"_s, u"thu"_s, u"fri"_s, u"sat"_s};
    const FieldRange ranges[] = {{0, 59, {}, "minute"},
                                 {0, 23, {}, "hour"},
                                 {1, 31, {}, "day of month"},
                                 {1, 12, months, "month"},
                                 {0, 7, days, "day of week"}};
    if (fields.size() != 5) {
        if (error) {
            *error = u"expected five time fields"_s;
        }
        return std::nullopt;
    }
    std::vector<bool> parsed[5];
    for (int i = 0; i < 5; ++i) {
        std::optional<std::vector<bool>> bits = parseField(fields.at(i), ranges[i]);
        if (!bits) {
            if (error) {
                *error = u"bad %1 field: %2"_s.arg(QLatin1StringView(ranges[i].title), fields.at(i));
            }
            return std::nullopt;
        }
        parsed[i] = std::move(*bits);
    }
    CronSchedule schedule;
    copyBits(parsed[0], schedule.m_minutes);
    copyBits(parsed[1], schedule.m_hours);
    copyBits(parsed[2], schedule.m_days);
    copyBits(parsed[3], schedule.m_months);
    copyBits(parsed[4], schedule.m_weekdays);
    if (parsed[4][7]) {
        schedule.m_weekdays[0] = true; // 7 is Sunday as well
    }
    schedule.m_dayStar = fields.at(2).startsWith(u'*');
    schedule.m_weekdayStar = fields.at(4).startsWith(u'*');
    return schedule;
}

std::optional<QStringList> CronSchedule::fieldsOf(const QString &special)
{
    static const QHash<QString, QString> specials = {{u"@yearly"_s, u"0 0 1 1 *"_s},  {u"@annually"_s, u"0 0 1 1 *"_s},
                                                     {u"@monthly"_s, u"0 0 1 * *"_s}, {u"@weekly"_s, u"0 0 * * 0"_s},
                                                     {u"@daily"_s, u"0 0 * * *"_s},   {u"@midnight"_s, u"0 0 * * *"_s},
                                                     {u"@hourly"_s, u"0 * * * *"_s}};
    const auto found = specials.constFind(special.toLower());
    if (found == specials.cend()) {
        return std::nullopt;
    }
    return found->split(u' ');
}

bool CronSchedule::runsOn(const QDate &date) const
{
    if (!date.isValid() || !m_months[size_t(date.month())]) {
        return false;
    }
    const bool day = m_days[size_t(date.day())];
    const bool weekday = m_weekdays[size_t(date.dayOfWeek() % 7)];
    // Either field may match when both are restricted; otherwise both must.
    if (m_dayStar || m_weekdayStar) {
        return day && weekday;
    }
    return day || weekday;
}

QList<int> CronSchedule::minutesOn(const QDate &date) const
{
    QList<int> minutes;
    if (!runsOn(date)) {
        return minutes;
    }
    for (int hour = 0; hour < 24; ++hour) {
        if (!m_hours[size_t(hour)]) {
            continue;
        }
        for (int minute = 0; minute < 60; ++minute) {
            if (m_minutes[size_t(minute)]) {
                minutes.append(hour * 60 + minute);
            }
        }
    }
    return minutes;
}
