#include "model/TaskFileFastRead.h"

#include "model/JsonScanner.h"
#include "model/TaskJson.h"
#include "model/TaskMigration.h"

#include <QVarLengthArray>

#include <array>
#include <cstring>
#include <limits>

namespace {

using Key = QByteArrayView;

// Inline: QByteArrayView's operator== measures the literal and compares in a call into Qt, for
// each key tried.
template <qsizetype N> bool is(Key key, const char (&name)[N])
{
    return key.size() == N - 1 && std::memcmp(key.data(), name, N - 1) == 0;
}

// Lists of a schedule gathered on the stack, then made at their size in one allocation.
template <typename T> using Gathered = QVarLengthArray<T, 8>;

template <typename T> QList<T> listOf(const Gathered<T> &gathered)
{
    return QList<T>(gathered.begin(), gathered.end());
}

// Each key once: a repeated key is the full reader's to settle.
class Seen
{
public:
    bool first(int bit)
    {
        const bool seen = m_bits & (1u << bit);
        m_bits |= 1u << bit;
        return !seen;
    }
    bool all(unsigned bits) const { return (m_bits & bits) == bits; }

private:
    unsigned m_bits = 0;
};

bool times(JsonScanner &in, Gathered<TimeOfDay> *out)
{
    return in.array([&] {
        TimeOfDay time;
        Seen seen;
        const bool read = in.object([&](Key key) {
            if (is(key, "hour")) {
                return seen.first(0) && in.integer(TaskJson::kHour, &time.hour);
            }
            if (is(key, "minute")) {
                return seen.first(1) && in.integer(TaskJson::kMinute, &time.minute);
            }
            return false;
        });
        out->append(time);
        return read && seen.all(0b11);
    });
}

// The payload under the kind's name: each kind's own keys, all of them.
bool payload(JsonScanner &in, TaskSchedule::Kind kind, TaskSchedule *out)
{
    using K = TaskSchedule::Kind;
    int number = 0;
    int weekday = 0;
    Gathered<int> weekdays;
    Gathered<TimeOfDay> timesRead;
    Seen seen;
    const bool read = in.object([&](Key key) {
        const bool hasTimes = kind != K::interval && kind != K::runAtLoad;
        if (is(key, "times") && hasTimes) {
            return seen.first(0) && times(in, &timesRead);
        }
        if (is(key, "minutes") && kind == K::interval) {
            return seen.first(1) && in.integer(TaskJson::kIntervalMinutes, &number);
        }
        if (is(key, "day") && kind == K::monthly) {
            return seen.first(1) && in.integer(TaskJson::kDayOfMonth, &number);
        }
        if (is(key, "nth") && kind == K::monthlyNthWeekday) {
            return seen.first(1) && in.integer(TaskJson::kNthWeek, &number);
        }
        if (is(key, "weekday") && kind == K::monthlyNthWeekday) {
            return seen.first(2) && in.integer(TaskJson::kWeekday, &weekday);
        }
        if (is(key, "weekdays") && kind == K::weekly) {
            return seen.first(2) && in.array([&] {
                int day = 0;
                if (!in.integer(TaskJson::kWeekday, &day)) {
                    return false;
                }
                weekdays.append(day);
                return true;
            });
        }
        return false;
    });
    if (!read) {
        return false;
    }
    switch (kind) {
    case K::interval:
        *out = TaskSchedule::interval(number);
        return seen.all(0b010);
    case K::daily:
        *out = TaskSchedule::daily(listOf(timesRead));
        return seen.all(0b001);
    case K::weekly:
        *out = TaskSchedule::weekly(listOf(weekdays), listOf(timesRead));
        return seen.all(0b101);
    case K::monthly:
        *out = TaskSchedule::monthly(number, listOf(timesRead));
        return seen.all(0b011);
    case K::monthlyLastDay:
        *out = TaskSchedule::monthlyLastDay(listOf(timesRead));
        return seen.all(0b001);
    case K::monthlyNthWeekday:
        *out = TaskSchedule::monthlyNthWeekday(number, weekday, listOf(timesRead));
        return seen.all(0b111);
    case K::runAtLoad:
        *out = TaskSchedule::runAtLoad();
        return true;
    }
    return false;
}

std::optional<TaskSchedule::Kind> kindNamed(Key key)
{
    using Names = std::array<QByteArray, std::variant_size_v<TaskSchedule::Value>>;
    static const Names names = [] {
        Names result;
        for (size_t kind = 0; kind < result.size(); ++kind) {
            result[kind] = TaskSchedule::kindName(TaskSchedule::Kind(kind)).toLatin1();
        }
        return result;
    }();
    for (size_t kind = 0; kind < names.size(); ++kind) {
        if (key.size() == names[kind].size() && std::memcmp(key.data(), names[kind].data(), size_t(key.size())) == 0) {
            return TaskSchedule::Kind(kind);
        }
    }
    return std::nullopt;
}

// Exactly one member, named for its kind.
bool schedule(JsonScanner &in, TaskSchedule *out)
{
    int members = 0;
    return in.object([&](Key key) {
        const auto kind = kindNamed(key);
        return ++members == 1 && kind && payload(in, *kind, out);
    }) && members == 1;
}

bool optionalString(JsonScanner &in, std::optional<QString> *out)
{
    if (in.peekNull()) {
        out->reset();
        return in.null();
    }
    QString text;
    if (!in.string(&text)) {
        return false;
    }
    *out = std::move(text);
    return true;
}

bool id(JsonScanner &in, QUuid *out)
{
    // Read from the bytes as they are, with no string made, unless escaped or not ASCII.
    std::optional<QUuid> parsed;
    QByteArrayView plain;
    QString text;
    if (in.plainString(&plain)) {
        parsed = ScheduledTask::parseId(QLatin1StringView(plain.data(), plain.size()));
    } else if (in.string(&text)) {
        parsed = ScheduledTask::parseId(text);
    } else {
        return false;
    }
    *out = parsed.value_or(QUuid());
    return parsed.has_value();
}

bool pastRun(JsonScanner &in, TaskLog *out)
{
    static constexpr TaskJson::Range anyInt{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    Seen seen;
    return in.object([&](Key key) {
        if (is(key, "id")) {
            return seen.first(0) && id(in, &out->id);
        }
        if (is(key, "timestamp")) {
            return seen.first(1) && in.number(&out->timestamp);
        }
        if (is(key, "exitCode")) {
            return seen.first(2) && in.integer(anyInt, &out->exitCode);
        }
        if (is(key, "output")) {
            return seen.first(3) && in.string(&out->output);
        }
        return false;
    }) && seen.all(0b1111);
}

bool task(JsonScanner &in, ScheduledTask *out)
{
    enum Bit { idKey, name, command, loginShell, schedule_, enabled, logs, wake, directory, envFile };
    Seen seen;
    out->wakeBeforeRun = false; // files written before the option existed have none
    const bool read = in.object([&](Key key) {
        if (is(key, "id")) {
            return seen.first(idKey) && id(in, &out->id);
        }
        if (is(key, "name")) {
            return seen.first(name) && in.string(&out->name);
        }
        if (is(key, "command")) {
            return seen.first(command) && in.string(&out->command);
        }
        if (is(key, "useLoginShell")) {
            return seen.first(loginShell) && in.boolean(&out->useLoginShell);
        }
        if (is(key, "isEnabled")) {
            return seen.first(enabled) && in.boolean(&out->isEnabled);
        }
        if (is(key, "wakeBeforeRun")) {
            return seen.first(wake) && (in.null() || in.boolean(&out->wakeBeforeRun));
        }
        if (is(key, "schedule")) {
            return seen.first(schedule_) && schedule(in, &out->schedule);
        }
        if (is(key, "workingDirectory")) {
            return seen.first(directory) && optionalString(in, &out->workingDirectory);
        }
        if (is(key, "envFilePath")) {
            return seen.first(envFile) && optionalString(in, &out->envFilePath);
        }
        if (is(key, "logs")) {
            return seen.first(logs) && in.array([&] { return pastRun(in, &out->logs.emplaceBack()); });
        }
        return false;
    });
    const unsigned required = (1u << idKey) | (1u << name) | (1u << command) | (1u << loginShell) | (1u << schedule_) |
                              (1u << enabled) | (1u << logs);
    return read && seen.all(required);
}

} // namespace

std::optional<QList<ScheduledTask>> TaskFileFastRead::read(QByteArrayView bytes)
{
    JsonScanner in(bytes);
    QList<ScheduledTask> tasks;
    Seen seen;
    const bool read = in.object([&](Key key) {
        if (is(key, "version")) {
            int version = 0;
            return seen.first(0) &&
                   in.integer({TaskMigration::kCurrentVersion, TaskMigration::kCurrentVersion}, &version);
        }
        if (is(key, "tasks")) {
            return seen.first(1) && in.array([&] { return task(in, &tasks.emplaceBack()); });
        }
        return false;
    });
    if (!read || !seen.all(0b11) || !in.atEnd()) {
        return std::nullopt;
    }
    return tasks;
}
