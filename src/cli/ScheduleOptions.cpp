#include "cli/ScheduleOptions.h"

#include "cli/OptionValues.h"
#include "model/TaskJson.h"

#include <QRegularExpression>

#include <algorithm>
#include <variant>

using namespace Qt::StringLiterals;

namespace {

const QString kAtLoad = QStringLiteral("at-load");
const QString kEvery = QStringLiteral("every");
const QString kDaily = QStringLiteral("daily");
const QString kWeekly = QStringLiteral("weekly");
const QString kMonthly = QStringLiteral("monthly");
const QString kLastDay = QStringLiteral("last-day");
const QString kNth = QStringLiteral("nth");
const QString kWeekday = QStringLiteral("weekday");
const QString kAt = QStringLiteral("at");

std::optional<int> number(const QString &text, int low, int high)
{
    return OptionValues::wholeNumber(text, low, high);
}

std::optional<int> weekday(const QString &text)
{
    static const QStringList shortNames{u"sun"_s, u"mon"_s, u"tue"_s, u"wed"_s, u"thu"_s, u"fri"_s, u"sat"_s};
    static const QStringList longNames{u"sunday"_s,   u"monday"_s, u"tuesday"_s, u"wednesday"_s,
                                       u"thursday"_s, u"friday"_s, u"saturday"_s};
    const QString lower = text.trimmed().toLower();
    for (qsizetype i = 0; i < shortNames.size(); ++i) {
        if (lower == shortNames.at(i) || lower == longNames.at(i)) {
            return int(i + 1);
        }
    }
    return number(lower, 1, 7);
}

std::optional<TimeOfDay> timeOfDay(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^([0-9]{1,2}):([0-9]{2})$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const int hour = match.captured(1).toInt();
    const int minute = match.captured(2).toInt();
    if (hour > 23 || minute > 59) {
        return std::nullopt;
    }
    return TimeOfDay{hour, minute};
}

QList<TimeOfDay> timesOf(const TaskSchedule &schedule)
{
    const QList<TimeOfDay> *times = schedule.times();
    return times ? *times : QList<TimeOfDay>{};
}

TaskSchedule withTimes(const TaskSchedule &schedule, QList<TimeOfDay> times)
{
    return std::visit(
        [&](auto value) -> TaskSchedule {
            if constexpr (requires { value.times; }) {
                value.times = std::move(times);
            }
            return value;
        },
        schedule.value());
}

} // namespace

QList<QCommandLineOption> ScheduleOptions::options()
{
    return {
        QCommandLineOption(kAtLoad, u"Run at load (login or reboot)."_s),
        QCommandLineOption(kEvery, u"Run every MINUTES minutes (1 to 35791394)."_s, u"MINUTES"_s),
        QCommandLineOption(kDaily, u"Run daily."_s),
        QCommandLineOption(kWeekly, u"Run weekly on DAYS: sun,mon,...,sat or 1-7 (1 = Sunday)."_s, u"DAYS"_s),
        QCommandLineOption(kMonthly, u"Run monthly on day DAY (1-31)."_s, u"DAY"_s),
        QCommandLineOption(kLastDay, u"Run on the last day of the month."_s),
        QCommandLineOption(kNth, u"Run on the N-th (1-4) weekday of the month; needs --weekday."_s, u"N"_s),
        QCommandLineOption(kWeekday, u"The weekday of --nth: sun ... sat or 1-7."_s, u"DAY"_s),
        QCommandLineOption(kAt, u"Run times of a calendar schedule, 24-hour H:MM, comma-separated (default 7:00)."_s,
                           u"TIMES"_s),
    };
}

QString ScheduleOptions::help()
{
    return u"Schedule: exactly one of --at-load, --every, --daily, --weekly, --monthly, --last-day,\n"
           u"--nth with --weekday. The calendar kinds take --at (default 7:00); times are stored sorted."_s;
}

namespace {

// --at: the times, sorted; or the usage error.
std::variant<QList<TimeOfDay>, QString> parseTimes(const QCommandLineParser &parser)
{
    QList<TimeOfDay> times;
    for (const QString &value : parser.values(kAt)) {
        for (const QString &item : value.split(u',')) {
            const std::optional<TimeOfDay> time = timeOfDay(item);
            if (!time) {
                return u"invalid time '" % item.trimmed() % u"' (expected H:MM from 0:00 to 23:59)";
            }
            times.append(*time);
        }
    }
    return sortedTimes(times);
}

std::variant<TaskSchedule, QString> parseWeekly(const QString &value)
{
    QList<int> weekdays;
    for (const QString &item : value.split(u',')) {
        const std::optional<int> day = weekday(item);
        if (!day) {
            return u"invalid weekday '" % item.trimmed() % u"' (expected sun ... sat or 1-7)";
        }
        if (!weekdays.contains(*day)) {
            weekdays.append(*day);
        }
    }
    std::sort(weekdays.begin(), weekdays.end());
    return TaskSchedule::weekly(weekdays, {});
}

std::variant<TaskSchedule, QString> parseNth(const QCommandLineParser &parser)
{
    const std::optional<int> nth = number(parser.value(kNth), 1, 4);
    if (!nth) {
        return u"invalid --nth '" % parser.value(kNth).trimmed() % u"' (expected 1-4)";
    }
    if (!parser.isSet(kWeekday)) {
        return u"--nth needs --weekday"_s;
    }
    const std::optional<int> day = weekday(parser.value(kWeekday));
    if (!day) {
        return u"invalid weekday '" % parser.value(kWeekday).trimmed() % u"' (expected sun ... sat or 1-7)";
    }
    return TaskSchedule::monthlyNthWeekday(*nth, *day, {});
}

// The one kind that is set (the caller has checked there is at most one), without times; nothing
// when none is set; or the usage error.
std::variant<std::optional<TaskSchedule>, QString> parseKind(const QCommandLineParser &parser)
{
    if (parser.isSet(kAtLoad)) {
        return TaskSchedule::runAtLoad();
    }
    if (parser.isSet(kEvery)) {
        // No longer than the tasks file takes, or the saved file could not be read again.
        constexpr TaskJson::Range range = TaskJson::kIntervalMinutes;
        const std::optional<int> minutes = number(parser.value(kEvery), range.low, range.high);
        if (!minutes) {
            return u"invalid interval '" % parser.value(kEvery).trimmed() % u"' (expected whole minutes, " %
                   QString::number(range.low) % u" to " % QString::number(range.high) % u')';
        }
        return TaskSchedule::interval(*minutes);
    }
    if (parser.isSet(kDaily)) {
        return TaskSchedule::daily({});
    }
    if (parser.isSet(kMonthly)) {
        const std::optional<int> day = number(parser.value(kMonthly), 1, 31);
        if (!day) {
            return u"invalid day of month '" % parser.value(kMonthly).trimmed() % u"' (expected 1-31)";
        }
        return TaskSchedule::monthly(*day, {});
    }
    if (parser.isSet(kLastDay)) {
        return TaskSchedule::monthlyLastDay({});
    }
    std::variant<TaskSchedule, QString> kind;
    if (parser.isSet(kWeekly)) {
        kind = parseWeekly(parser.value(kWeekly));
    } else if (parser.isSet(kNth)) {
        kind = parseNth(parser);
    } else {
        return std::optional<TaskSchedule>();
    }
    if (const QString *error = std::get_if<QString>(&kind)) {
        return *error;
    }
    return std::get<TaskSchedule>(kind);
}

} // namespace

ScheduleOptions::Parsed ScheduleOptions::parse(const QCommandLineParser &parser)
{
    Parsed parsed;
    const auto fail = [&](const QString &message) {
        parsed.kind.reset();
        parsed.times.reset();
        parsed.error = message;
        return parsed;
    };

    int kinds = 0;
    for (const QString &name : {kAtLoad, kEvery, kDaily, kWeekly, kMonthly, kLastDay, kNth}) {
        kinds += parser.isSet(name) ? 1 : 0;
    }
    if (kinds > 1) {
        return fail(u"choose one schedule: --at-load, --every, --daily, --weekly, --monthly, --last-day or --nth"_s);
    }
    if (parser.isSet(kWeekday) && !parser.isSet(kNth)) {
        return fail(u"--weekday goes with --nth"_s);
    }
    if (parser.isSet(kAt)) {
        auto times = parseTimes(parser);
        if (const QString *error = std::get_if<QString>(&times)) {
            return fail(*error);
        }
        parsed.times = std::get<QList<TimeOfDay>>(std::move(times));
    }
    auto kind = parseKind(parser);
    if (const QString *error = std::get_if<QString>(&kind)) {
        return fail(*error);
    }
    parsed.kind = std::get<std::optional<TaskSchedule>>(std::move(kind));
    if (parsed.kind && parsed.times && !parsed.kind->times()) {
        return fail(u"--at applies only to --daily, --weekly, --monthly, --last-day and --nth"_s);
    }
    return parsed;
}

std::optional<TaskSchedule> ScheduleOptions::build(const Parsed &parsed, const std::optional<TaskSchedule> &current,
                                                   QString *error)
{
    const QList<TimeOfDay> defaultTimes{TimeOfDay{7, 0}};
    if (parsed.kind) {
        if (!parsed.kind->times()) {
            return parsed.kind;
        }
        QList<TimeOfDay> times = parsed.times.value_or(current ? timesOf(*current) : QList<TimeOfDay>{});
        if (times.isEmpty()) {
            times = defaultTimes;
        }
        return withTimes(*parsed.kind, sortedTimes(times));
    }
    if (!current) {
        // A new task: the form's daily schedule.
        return TaskSchedule::daily(parsed.times.value_or(defaultTimes));
    }
    if (!parsed.times) {
        return current;
    }
    if (!current->times()) {
        *error = u"--at needs a calendar schedule (this task's schedule: " % current->description() % u')';
        return std::nullopt;
    }
    return withTimes(*current, *parsed.times);
}
