#include "model/TaskJson.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace {

using TaskJson::DecodeError;

QString typeName(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return QStringLiteral("null");
    case QJsonValue::Bool:
        return QStringLiteral("a boolean");
    case QJsonValue::Double:
        return QStringLiteral("a number");
    case QJsonValue::String:
        return QStringLiteral("a string");
    case QJsonValue::Array:
        return QStringLiteral("an array");
    case QJsonValue::Object:
        return QStringLiteral("an object");
    case QJsonValue::Undefined:
        break;
    }
    return QStringLiteral("nothing");
}

QString join(const QString &path, const QString &key)
{
    return path.isEmpty() ? key : path % u'.' % key;
}

QString indexed(const QString &path, qsizetype index)
{
    return path % u'[' % QString::number(index) % u']';
}

// Reads typed values out of objects and records the first failure with its path.
class Reader
{
public:
    explicit Reader(DecodeError *error) : m_error(error) {}

    bool fail(const QString &message, const QString &path)
    {
        if (m_error) {
            *m_error = DecodeError{message, path};
        }
        return false;
    }

    bool typeMismatch(const char16_t *expected, const QJsonValue &found, const QString &path)
    {
        return fail(u"Expected " % QString::fromUtf16(expected) % u", found " % typeName(found) % u'.', path);
    }

    bool object(const QJsonValue &value, const QString &path, QJsonObject *out)
    {
        if (!value.isObject()) {
            return typeMismatch(u"an object", value, path);
        }
        *out = value.toObject();
        return true;
    }

    bool required(const QJsonObject &object, const QString &key, const QString &path, QJsonValue *out)
    {
        const auto it = object.constFind(key);
        if (it == object.constEnd()) {
            return fail(u"Missing key \"" % key % u"\".", path);
        }
        *out = it.value();
        return true;
    }

    bool integer(const QJsonValue &value, const QString &path, int *out)
    {
        if (!value.isDouble()) {
            return typeMismatch(u"an integer", value, path);
        }
        const double d = value.toDouble();
        if (d != std::floor(d) || d < double(std::numeric_limits<int>::min()) ||
            d > double(std::numeric_limits<int>::max())) {
            return fail(u"Expected a 32-bit integer, found " % QString::number(d, 'g', QLocale::FloatingPointShortest) %
                            u'.',
                        path);
        }
        *out = int(d);
        return true;
    }

    // Values the form cannot make would reach an assertion or an overflow later (the timeline,
    // the minute of the day, the job's seconds): they are refused where the file is read.
    bool within(int value, TaskJson::Range range, const QString &key, const QString &path)
    {
        if (range.contains(value)) {
            return true;
        }
        return fail(u'"' % key % u"\" must be " % QString::number(range.low) % u" to " % QString::number(range.high) %
                        u", found " % QString::number(value) % u'.',
                    path);
    }

    bool integerKey(const QJsonObject &object, const QString &key, const QString &path, int *out, TaskJson::Range range)
    {
        return integerKey(object, key, path, out) && within(*out, range, key, join(path, key));
    }

    bool integerKey(const QJsonObject &object, const QString &key, const QString &path, int *out)
    {
        QJsonValue value;
        if (!required(object, key, path, &value)) {
            return false;
        }
        // The path is only built for a message: a file of thousands of tasks is mostly good values.
        return isInteger(value, out) || integer(value, join(path, key), out);
    }

    static bool isInteger(const QJsonValue &value, int *out)
    {
        if (!value.isDouble()) {
            return false;
        }
        const double d = value.toDouble();
        if (d != std::floor(d) || d < double(std::numeric_limits<int>::min()) ||
            d > double(std::numeric_limits<int>::max())) {
            return false;
        }
        *out = int(d);
        return true;
    }

    bool boolean(const QJsonValue &value, const QString &path, bool *out)
    {
        if (!value.isBool()) {
            return typeMismatch(u"a boolean", value, path);
        }
        *out = value.toBool();
        return true;
    }

    bool string(const QJsonValue &value, const QString &path, QString *out)
    {
        if (!value.isString()) {
            return typeMismatch(u"a string", value, path);
        }
        *out = value.toString();
        return true;
    }

    bool stringKey(const QJsonObject &object, const QString &key, const QString &path, QString *out)
    {
        QJsonValue value;
        if (!required(object, key, path, &value)) {
            return false;
        }
        if (value.isString()) {
            *out = value.toString();
            return true;
        }
        return string(value, join(path, key), out);
    }

    bool optionalString(const QJsonObject &object, const QString &key, const QString &path, std::optional<QString> *out)
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined() || value.isNull()) {
            out->reset();
            return true;
        }
        if (value.isString()) {
            *out = value.toString();
            return true;
        }
        QString text;
        return string(value, join(path, key), &text);
    }

    // The value at `key` of the object at `path`.
    bool uuid(const QJsonValue &value, const QString &path, const QString &key, QUuid *out)
    {
        if (!value.isString()) {
            return typeMismatch(u"a string", value, join(path, key));
        }
        const QString text = value.toString();
        const std::optional<QUuid> id = ScheduledTask::parseId(text);
        if (!id) {
            return fail(u"Invalid UUID \"" % text % u"\".", join(path, key));
        }
        *out = *id;
        return true;
    }

    bool times(const QJsonObject &payload, const QString &path, QList<TimeOfDay> *out)
    {
        QJsonValue value;
        if (!required(payload, QStringLiteral("times"), path, &value)) {
            return false;
        }
        if (!value.isArray()) {
            return typeMismatch(u"an array", value, join(path, QStringLiteral("times")));
        }
        const QJsonArray array = value.toArray();
        out->clear();
        out->reserve(array.size());
        for (qsizetype i = 0; i < array.size(); ++i) {
            const QJsonValue item = array.at(i);
            TimeOfDay t;
            if (item.isObject()) {
                const QJsonObject time = item.toObject();
                const auto hour = time.constFind(QStringLiteral("hour"));
                const auto minute = time.constFind(QStringLiteral("minute"));
                if (hour != time.constEnd() && minute != time.constEnd() && isInteger(hour.value(), &t.hour) &&
                    isInteger(minute.value(), &t.minute) && TaskJson::kHour.contains(t.hour) &&
                    TaskJson::kMinute.contains(t.minute)) {
                    out->append(t);
                    continue;
                }
            }
            // Something is wrong with this one: the checks again, with paths for the message.
            const QString itemPath = indexed(join(path, QStringLiteral("times")), i);
            QJsonObject time;
            if (!object(item, itemPath, &time) ||
                !integerKey(time, QStringLiteral("hour"), itemPath, &t.hour, TaskJson::kHour) ||
                !integerKey(time, QStringLiteral("minute"), itemPath, &t.minute, TaskJson::kMinute)) {
                return false;
            }
            out->append(t);
        }
        return true;
    }

    bool integers(const QJsonObject &payload, const QString &key, const QString &path, QList<int> *out,
                  TaskJson::Range range)
    {
        QJsonValue value;
        if (!required(payload, key, path, &value)) {
            return false;
        }
        const QString listPath = join(path, key);
        if (!value.isArray()) {
            return typeMismatch(u"an array", value, listPath);
        }
        const QJsonArray array = value.toArray();
        out->clear();
        for (qsizetype i = 0; i < array.size(); ++i) {
            int n = 0;
            if (!integer(array.at(i), indexed(listPath, i), &n) || !within(n, range, key, indexed(listPath, i))) {
                return false;
            }
            out->append(n);
        }
        return true;
    }

    bool log(const QJsonValue &value, const QString &path, TaskLog *out)
    {
        QJsonObject object;
        QJsonValue field;
        if (!this->object(value, path, &object)) {
            return false;
        }
        if (!required(object, QStringLiteral("id"), path, &field) ||
            !uuid(field, path, QStringLiteral("id"), &out->id)) {
            return false;
        }
        if (!required(object, QStringLiteral("timestamp"), path, &field)) {
            return false;
        }
        if (!field.isDouble()) {
            return typeMismatch(u"a number", field, join(path, QStringLiteral("timestamp")));
        }
        out->timestamp = field.toDouble();
        return integerKey(object, QStringLiteral("exitCode"), path, &out->exitCode) &&
               stringKey(object, QStringLiteral("output"), path, &out->output);
    }

private:
    DecodeError *m_error;
};

const QList<TaskSchedule::Kind> &allKinds()
{
    using K = TaskSchedule::Kind;
    static const QList<K> kinds{K::interval,          K::daily,    K::weekly, K::monthly, K::monthlyLastDay,
                                K::monthlyNthWeekday, K::runAtLoad};
    return kinds;
}

QJsonArray timesToJson(const QList<TimeOfDay> &times)
{
    QJsonArray array;
    for (const TimeOfDay &t : times) {
        array.append(TaskJson::toJson(t));
    }
    return array;
}

// The schedule of one kind from its payload, the object under the kind's name.
std::optional<TaskSchedule> scheduleOfKind(Reader &r, TaskSchedule::Kind kind, const QJsonObject &payload,
                                           const QString &payloadPath)
{
    using K = TaskSchedule::Kind;
    switch (kind) {
    case K::interval: {
        Schedule::Interval s;
        if (r.integerKey(payload, QStringLiteral("minutes"), payloadPath, &s.minutes, TaskJson::kIntervalMinutes)) {
            return TaskSchedule(s);
        }
        break;
    }
    case K::daily: {
        Schedule::Daily s;
        if (r.times(payload, payloadPath, &s.times)) {
            return TaskSchedule(s);
        }
        break;
    }
    case K::weekly: {
        Schedule::Weekly s;
        if (r.integers(payload, QStringLiteral("weekdays"), payloadPath, &s.weekdays, TaskJson::kWeekday) &&
            r.times(payload, payloadPath, &s.times)) {
            return TaskSchedule(s);
        }
        break;
    }
    case K::monthly: {
        Schedule::Monthly s;
        if (r.integerKey(payload, QStringLiteral("day"), payloadPath, &s.day, TaskJson::kDayOfMonth) &&
            r.times(payload, payloadPath, &s.times)) {
            return TaskSchedule(s);
        }
        break;
    }
    case K::monthlyLastDay: {
        Schedule::MonthlyLastDay s;
        if (r.times(payload, payloadPath, &s.times)) {
            return TaskSchedule(s);
        }
        break;
    }
    case K::monthlyNthWeekday: {
        Schedule::MonthlyNthWeekday s;
        if (!r.integerKey(payload, QStringLiteral("nth"), payloadPath, &s.nth) ||
            !r.integerKey(payload, QStringLiteral("weekday"), payloadPath, &s.weekday, TaskJson::kWeekday) ||
            !r.times(payload, payloadPath, &s.times)) {
            break;
        }
        // There is no word for a 5th or 0th week; refuse such a file here rather than fail later.
        if (!r.within(s.nth, TaskJson::kNthWeek, QStringLiteral("nth"), join(payloadPath, QStringLiteral("nth")))) {
            break;
        }
        return TaskSchedule(s);
    }
    case K::runAtLoad:
        return TaskSchedule::runAtLoad();
    }
    return std::nullopt;
}

} // namespace

QString TaskJson::DecodeError::description() const
{
    if (path.isEmpty()) {
        return message;
    }
    // "tasks[2].schedule" reads better for people as "task 3, at schedule".
    static const QRegularExpression taskPrefix(QStringLiteral("^tasks\\[(\\d+)\\]\\.?(.*)$"));
    const auto match = taskPrefix.match(path);
    if (match.hasMatch()) {
        const QString task = u"task " % QString::number(match.captured(1).toLongLong() + 1);
        const QString rest = match.captured(2);
        return message % u" (" % task % (rest.isEmpty() ? QString() : u", at " % rest) % u')';
    }
    return message % u" (at " % path % u')';
}

QJsonObject TaskJson::toJson(const TimeOfDay &time)
{
    return QJsonObject{{QStringLiteral("hour"), time.hour}, {QStringLiteral("minute"), time.minute}};
}

QJsonObject TaskJson::toJson(const TaskSchedule &schedule)
{
    QJsonObject payload;
    if (const auto *s = schedule.as<Schedule::Interval>()) {
        payload.insert(QStringLiteral("minutes"), s->minutes);
    } else if (const auto *s = schedule.as<Schedule::Weekly>()) {
        QJsonArray days;
        for (int d : s->weekdays) {
            days.append(d);
        }
        payload.insert(QStringLiteral("weekdays"), days);
    } else if (const auto *s = schedule.as<Schedule::Monthly>()) {
        payload.insert(QStringLiteral("day"), s->day);
    } else if (const auto *s = schedule.as<Schedule::MonthlyNthWeekday>()) {
        payload.insert(QStringLiteral("nth"), s->nth);
        payload.insert(QStringLiteral("weekday"), s->weekday);
    }
    if (const QList<TimeOfDay> *times = schedule.times()) {
        payload.insert(QStringLiteral("times"), timesToJson(*times));
    }
    return QJsonObject{{schedule.kindName(), payload}};
}

QJsonObject TaskJson::toJson(const TaskLog &log)
{
    return QJsonObject{{QStringLiteral("id"), ScheduledTask::fullId(log.id)},
                       {QStringLiteral("timestamp"), log.timestamp},
                       {QStringLiteral("exitCode"), log.exitCode},
                       {QStringLiteral("output"), log.output}};
}

QJsonObject TaskJson::toJson(const ScheduledTask &task)
{
    QJsonArray logs;
    for (const TaskLog &log : task.logs) {
        logs.append(toJson(log));
    }
    QJsonObject object{{QStringLiteral("id"), task.fullId()},
                       {QStringLiteral("name"), task.name},
                       {QStringLiteral("command"), task.command},
                       {QStringLiteral("useLoginShell"), task.useLoginShell},
                       {QStringLiteral("wakeBeforeRun"), task.wakeBeforeRun},
                       {QStringLiteral("schedule"), toJson(task.schedule)},
                       {QStringLiteral("isEnabled"), task.isEnabled},
                       {QStringLiteral("logs"), logs}};
    if (task.workingDirectory) {
        object.insert(QStringLiteral("workingDirectory"), *task.workingDirectory);
    }
    if (task.envFilePath) {
        object.insert(QStringLiteral("envFilePath"), *task.envFilePath);
    }
    return object;
}

QJsonArray TaskJson::toJson(const QList<ScheduledTask> &tasks)
{
    QJsonArray array;
    for (const ScheduledTask &task : tasks) {
        array.append(toJson(task));
    }
    return array;
}

std::optional<TaskSchedule> TaskJson::scheduleFromJson(const QJsonValue &value, DecodeError *error, const QString &path)
{
    Reader r(error);
    QJsonObject object;
    if (!r.object(value, path, &object)) {
        return std::nullopt;
    }
    QList<TaskSchedule::Kind> found;
    for (TaskSchedule::Kind kind : allKinds()) {
        if (object.contains(TaskSchedule::kindName(kind))) {
            found.append(kind);
        }
    }
    if (found.size() != 1) {
        r.fail(QStringLiteral("Invalid number of keys found, expected one."), path);
        return std::nullopt;
    }
    const TaskSchedule::Kind kind = found.first();
    const QString name = TaskSchedule::kindName(kind);
    const QString payloadPath = join(path, name);
    QJsonObject payload;
    if (!r.object(object.value(name), payloadPath, &payload)) {
        return std::nullopt;
    }
    return scheduleOfKind(r, kind, payload, payloadPath);
}

std::optional<ScheduledTask> TaskJson::taskFromJson(const QJsonValue &value, DecodeError *error, const QString &path)
{
    Reader r(error);
    QJsonObject object;
    if (!r.object(value, path, &object)) {
        return std::nullopt;
    }
    ScheduledTask task;
    QJsonValue field;
    if (!r.required(object, QStringLiteral("id"), path, &field) ||
        !r.uuid(field, path, QStringLiteral("id"), &task.id) ||
        !r.stringKey(object, QStringLiteral("name"), path, &task.name) ||
        !r.stringKey(object, QStringLiteral("command"), path, &task.command) ||
        !r.optionalString(object, QStringLiteral("workingDirectory"), path, &task.workingDirectory) ||
        !r.optionalString(object, QStringLiteral("envFilePath"), path, &task.envFilePath) ||
        !r.required(object, QStringLiteral("useLoginShell"), path, &field) ||
        !r.boolean(field, join(path, QStringLiteral("useLoginShell")), &task.useLoginShell)) {
        return std::nullopt;
    }
    // Files written before the option existed have no "wakeBeforeRun".
    field = object.value(QStringLiteral("wakeBeforeRun"));
    task.wakeBeforeRun = false;
    if (!field.isUndefined() && !field.isNull() &&
        !r.boolean(field, join(path, QStringLiteral("wakeBeforeRun")), &task.wakeBeforeRun)) {
        return std::nullopt;
    }
    if (!r.required(object, QStringLiteral("schedule"), path, &field)) {
        return std::nullopt;
    }
    auto schedule = scheduleFromJson(field, error, join(path, QStringLiteral("schedule")));
    if (!schedule) {
        return std::nullopt;
    }
    task.schedule = *schedule;
    if (!r.required(object, QStringLiteral("isEnabled"), path, &field) ||
        !r.boolean(field, join(path, QStringLiteral("isEnabled")), &task.isEnabled) ||
        !r.required(object, QStringLiteral("logs"), path, &field)) {
        return std::nullopt;
    }
    const QString logsPath = join(path, QStringLiteral("logs"));
    if (!field.isArray()) {
        r.typeMismatch(u"an array", field, logsPath);
        return std::nullopt;
    }
    const QJsonArray logs = field.toArray();
    for (qsizetype i = 0; i < logs.size(); ++i) {
        TaskLog log;
        if (!r.log(logs.at(i), indexed(logsPath, i), &log)) {
            return std::nullopt;
        }
        task.logs.append(log);
    }
    return task;
}

std::optional<QList<ScheduledTask>> TaskJson::tasksFromJson(const QJsonArray &array, DecodeError *error)
{
    QList<ScheduledTask> tasks;
    tasks.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        auto task = taskFromJson(array.at(i), error, indexed(QStringLiteral("tasks"), i));
        if (!task) {
            return std::nullopt;
        }
        tasks.append(std::move(*task));
    }
    return tasks;
}
