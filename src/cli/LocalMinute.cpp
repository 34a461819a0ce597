#include "cli/LocalMinute.h"

#include <QDate>
#include <QTime>

std::variant<QDateTime, QString> LocalMinute::parse(const QString &text, const QTimeZone &zone)
{
    const QString malformed = u"--at needs a local time as YYYY-MM-DDTHH:MM, not '" + text + u'\'';
    static const QString layout = QStringLiteral("dddd-dd-ddTdd:dd");
    if (text.size() != layout.size()) {
        return malformed;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool digit = text.at(i) >= u'0' && text.at(i) <= u'9';
        if (layout.at(i) == u'd' ? !digit : text.at(i) != layout.at(i)) {
            return malformed;
        }
    }
    const QDate date(text.mid(0, 4).toInt(), text.mid(5, 2).toInt(), text.mid(8, 2).toInt());
    const QTime time(text.mid(11, 2).toInt(), text.mid(14, 2).toInt());
    if (!date.isValid() || !time.isValid()) {
        return malformed;
    }
    const QDateTime at(date, time, zone);
    if (!at.isValid()) {
        return u"--at " + text + u" does not exist in the local time zone (the clocks skip it)";
    }
    return at;
}

QTimeZone LocalMinute::zone()
{
    const QTimeZone system = QTimeZone::systemTimeZone();
    return system.isValid() ? system : QTimeZone::utc();
}
