#include "model/ScheduledTask.h"

#include <cmath>

QDateTime TaskLog::timestampDate() const
{
    const double ms = std::round((timestamp + double(kReferenceDateOffset)) * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(qint64(ms), QTimeZone::utc());
}

QString ScheduledTask::fullId(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QString ScheduledTask::shortId(const QUuid &id)
{
    return fullId(id).left(8).toLower();
}
