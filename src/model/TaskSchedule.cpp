#include "model/TaskSchedule.h"

#include "model/Weekdays.h"

#include <QStringList>

#include <algorithm>

namespace {
template <class... Ts> struct Overloaded : Ts... {
    using Ts::operator()...;
};
// Clang does not deduce aggregate template arguments by itself yet.
template <class... Ts> Overloaded(Ts...) -> Overloaded<Ts...>;
} // namespace

QString TaskSchedule::kindName(Kind kind)
{
    switch (kind) {
    case Kind::interval:
        return QStringLiteral("interval");
    case Kind::daily:
        return QStringLiteral("daily");
    case Kind::weekly:
        return QStringLiteral("weekly");
    case Kind::monthly:
        return QStringLiteral("monthly");
    case Kind::monthlyLastDay:
        return QStringLiteral("monthlyLastDay");
    case Kind::monthlyNthWeekday:
        return QStringLiteral("monthlyNthWeekday");
    case Kind::runAtLoad:
        return QStringLiteral("runAtLoad");
    }
    return {};
}

QString TaskSchedule::kindName() const
{
    return kindName(kind());
}

const QList<TimeOfDay> *TaskSchedule::times() const
{
    return std::visit(Overloaded{
                          [](const Schedule::Interval &) -> const QList<TimeOfDay> * { return nullptr; },
                          [](const Schedule::RunAtLoad &) -> const QList<TimeOfDay> * { return nullptr; },
                          [](const auto &calendar) -> const QList<TimeOfDay> * { return &calendar.times; },
                      },
                      m_value);
}

QString TaskSchedule::description() const
{
    return std::visit(
        Overloaded{
            [](const Schedule::Interval &s) -> QString { return u"Every " % QString::number(s.minutes) % u" min"; },
            [](const Schedule::Daily &s) -> QString { return u"Daily at " % formatTimes(s.times); },
            [](const Schedule::Weekly &s) -> QString {
                QList<int> days = s.weekdays;
                std::sort(days.begin(), days.end());
                QStringList names;
                for (int day : days) {
                    names << Weekdays::abbreviation(day);
                }
                return names.join(u", ") % u" at " % formatTimes(s.times);
            },
            [](const Schedule::Monthly &s) -> QString {
                return u"Monthly on day " % QString::number(s.day) % u" at " % formatTimes(s.times);
            },
            [](const Schedule::MonthlyLastDay &s) -> QString {
                return u"Last day of month at " % formatTimes(s.times);
            },
            [](const Schedule::MonthlyNthWeekday &s) -> QString {
                return Weekdays::ordinal(s.nth) % u' ' % Weekdays::fullName(s.weekday) % u" at " % formatTimes(s.times);
            },
            [](const Schedule::RunAtLoad &) -> QString { return QStringLiteral("Run at load"); },
        },
        m_value);
}
