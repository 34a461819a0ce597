#include "model/TaskMigration.h"

#include "model/JsonWriter.h"
#include "model/TaskFileFastRead.h"
#include "model/TaskJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

using TaskMigration::Error;

bool isArrayOfObjects(const QJsonValue &value)
{
    if (!value.isArray()) {
        return false;
    }
    const QJsonArray array = value.toArray();
    return std::all_of(array.begin(), array.end(), [](const QJsonValue &v) { return v.isObject(); });
}

std::optional<qint64> integerValue(const QJsonValue &value)
{
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double d = value.toDouble();
    if (d != std::floor(d) || std::fabs(d) > 9.0e15) {
        return std::nullopt;
    }
    return qint64(d);
}

// Version 1 schedules held one time; version 2 holds a list.
QJsonObject rewriteVersion1Task(QJsonObject task)
{
    const QJsonValue scheduleValue = task.value(QStringLiteral("schedule"));
    if (!scheduleValue.isObject()) {
        return task;
    }
    QJsonObject schedule = scheduleValue.toObject();
    for (const QString &key : {QStringLiteral("daily"), QStringLiteral("weekly"), QStringLiteral("monthly")}) {
        const QJsonValue payloadValue = schedule.value(key);
        if (!payloadValue.isObject()) {
            continue;
        }
        const QJsonObject old = payloadValue.toObject();
        if (old.contains(QStringLiteral("times")) || !old.contains(QStringLiteral("hour")) ||
            !old.contains(QStringLiteral("minute"))) {
            continue;
        }
        QJsonObject payload{{QStringLiteral("times"),
                             QJsonArray{QJsonObject{{QStringLiteral("hour"), old.value(QStringLiteral("hour"))},
                                                    {QStringLiteral("minute"), old.value(QStringLiteral("minute"))}}}}};
        if (key == u"weekly") {
            payload.insert(QStringLiteral("weekdays"), old.contains(QStringLiteral("weekdays"))
                                                           ? old.value(QStringLiteral("weekdays"))
                                                           : QJsonValue(QJsonArray()));
        } else if (key == u"monthly") {
            payload.insert(QStringLiteral("day"),
                           old.contains(QStringLiteral("day")) ? old.value(QStringLiteral("day")) : QJsonValue(1));
        }
        schedule.insert(key, payload);
    }
    task.insert(QStringLiteral("schedule"), schedule);
    return task;
}

Error invalidJson(const QByteArray &bytes, const QJsonParseError &parseError)
{
    Error error;
    error.kind = Error::Kind::invalidJson;
    if (bytes.trimmed().isEmpty()) {
        error.description = QStringLiteral("The file is empty; it is not valid JSON.");
        return error;
    }
    const qsizetype offset = std::clamp<qsizetype>(parseError.offset, 0, bytes.size());
    const QByteArray head = bytes.left(offset);
    const qsizetype line = head.count('\n') + 1;
    const qsizetype column = offset - (head.lastIndexOf('\n') + 1) + 1;
    error.description = u"Not valid JSON: " % parseError.errorString() % u" at line " % QString::number(line) %
                        u", column " % QString::number(column) % u'.';
    return error;
}

// Qt's JSON reader drops a U+FEFF that begins a string (other writers put it there raw). In a
// document that parsed, every such character after the first byte sits inside a string, where its
// escape means the same and is kept; one at the very start is the file's byte-order mark.
bool hasMarkAfterFirstByte(const QByteArray &bytes)
{
    // memchr finds the mark's first byte many times faster than a search for all three.
    const char *const end = bytes.constData() + bytes.size();
    for (const char *at = bytes.constData() + 1; at < end; ++at) {
        at = static_cast<const char *>(std::memchr(at, '\xEF', size_t(end - at)));
        if (!at) {
            return false;
        }
        if (end - at >= 3 && at[1] == '\xBB' && at[2] == '\xBF') {
            return true;
        }
    }
    return false;
}

QJsonDocument keepingByteOrderMarks(const QByteArray &bytes, const QJsonDocument &parsed)
{
    const QByteArray mark("\xEF\xBB\xBF");
    if (!hasMarkAfterFirstByte(bytes)) {
        return parsed;
    }
    QByteArray escaped = bytes.left(1);
    escaped += bytes.mid(1).replace(mark, QByteArrayLiteral("\\ufeff"));
    QJsonParseError error;
    const QJsonDocument again = QJsonDocument::fromJson(escaped, &error);
    return error.error == QJsonParseError::NoError ? again : parsed;
}

} // namespace

Error TaskMigration::Error::unknownVersion(qint64 version)
{
    return Error{Kind::unknownVersion, version, u"Unknown tasks.json version: " % QString::number(version)};
}

Error TaskMigration::Error::unrecognizedFormat()
{
    return Error{Kind::unrecognizedFormat, 0, QStringLiteral("Unrecognized tasks.json format")};
}

TaskMigration::ReadResult TaskMigration::read(const QByteArray &bytes)
{
    if (auto tasks = TaskFileFastRead::read(bytes)) {
        ReadResult result;
        result.tasks = std::move(*tasks);
        result.version = kCurrentVersion;
        return result;
    }
    return readDocument(bytes);
}

TaskMigration::ReadResult TaskMigration::readDocument(const QByteArray &bytes)
{
    ReadResult result;
    QJsonParseError parseError;
    QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        // The parser takes only objects and arrays at the top; a lone string or number is
        // still JSON, just not a tasks file.
        QJsonParseError wrappedError;
        const QJsonDocument wrapped = QJsonDocument::fromJson('[' + bytes + ']', &wrappedError);
        if (wrappedError.error == QJsonParseError::NoError && wrapped.array().size() == 1) {
            result.error = Error::unrecognizedFormat();
        } else {
            result.error = invalidJson(bytes, parseError);
        }
        return result;
    }

    document = keepingByteOrderMarks(bytes, document);

    qint64 version = 0;
    QJsonArray tasks;
    if (document.isObject()) {
        const QJsonObject top = document.object();
        const auto v = integerValue(top.value(QStringLiteral("version")));
        if (!v || !isArrayOfObjects(top.value(QStringLiteral("tasks")))) {
            result.error = Error::unrecognizedFormat();
            return result;
        }
        version = *v;
        tasks = top.value(QStringLiteral("tasks")).toArray();
    } else if (document.isArray() && isArrayOfObjects(document.array())) {
        version = 1;
        tasks = document.array();
    } else {
        result.error = Error::unrecognizedFormat();
        return result;
    }

    if (version <= 0) {
        result.error = Error::unknownVersion(version);
        return result;
    }
    if (version == 1) {
        for (qsizetype i = 0; i < tasks.size(); ++i) {
            tasks[i] = rewriteVersion1Task(tasks.at(i).toObject());
        }
    }
    result.version = int(qMin<qint64>(version, std::numeric_limits<int>::max()));

    TaskJson::DecodeError decodeError;
    auto decoded = TaskJson::tasksFromJson(tasks, &decodeError);
    if (!decoded) {
        result.error = Error{Error::Kind::decoding, 0, decodeError.description()};
        return result;
    }
    result.tasks = std::move(*decoded);
    return result;
}

QByteArray TaskMigration::encode(const QList<ScheduledTask> &tasks)
{
    const QJsonObject envelope{{QStringLiteral("version"), kCurrentVersion},
                               {QStringLiteral("tasks"), TaskJson::toJson(tasks)}};
    return JsonWriter::pretty(envelope);
}
