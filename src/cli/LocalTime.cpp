#include "cli/LocalTime.h"

using namespace Qt::StringLiterals;

QTimeZone LocalTime::zone()
{
    const QTimeZone system = QTimeZone::systemTimeZone();
    return system.isValid() ? system : QTimeZone::utc();
}

std::variant<QDateTime, QString> LocalTime::parseMinute(const QString &text, const QTimeZone &zone)
{
    const QString malformed = u"--at needs a local time as YYYY-MM-DDTHH:MM, not '" + text + u'\'';
    static const QString layout = u"dddd-dd-ddTdd:dd"_s;
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
    // Qt before 6.7 makes a skipped time invalid; later ones move it past the gap.
    if (!at.isValid() || at.date() != date || at.time() != time) {
        return u"--at " + text + u" does not exist in the local time zone (the clocks skip it)";
    }
    return at;
}

std::variant<QDateTime, QString> LocalTime::now(const QCommandLineParser &parser, const QTimeZone &zone)
{
    if (!parser.isSet(u"at"_s)) {
        return QDateTime::currentDateTimeUtc();
    }
    // Blanks around it are ignored, as around every option value.
    return parseMinute(parser.value(u"at"_s).trimmed(), zone);
}
