// The job's property list, written from fixed templates so that its layout is always the same
// text, not whatever a property-list writer would choose.
#include "launchd/LaunchdService.h"

namespace {

QString escapedXml(const QString &text)
{
    QString out = text;
    out.replace(u'&', QStringLiteral("&amp;"));
    out.replace(u'<', QStringLiteral("&lt;"));
    out.replace(u'>', QStringLiteral("&gt;"));
    out.replace(u'"', QStringLiteral("&quot;"));
    out.replace(u'\'', QStringLiteral("&apos;"));
    return out;
}

QString integerPair(const char16_t *key, qint64 value)
{
    return u"        <key>" % QString::fromUtf16(key) % u"</key>\n        <integer>" % QString::number(value) %
           u"</integer>\n";
}

// One launchd calendar dictionary, without a line feed after it.
QString calendarEntry(std::optional<int> weekday, std::optional<int> day, const TimeOfDay &time)
{
    QString entry = QStringLiteral("    <dict>\n");
    if (weekday) {
        // The task counts Sunday as 1, launchd as 0.
        entry += integerPair(u"Weekday", qint64(*weekday) - 1);
    }
    if (day) {
        entry += integerPair(u"Day", *day);
    }
    entry += integerPair(u"Hour", time.hour);
    entry += integerPair(u"Minute", time.minute);
    entry += QStringLiteral("    </dict>");
    return entry;
}

QStringList calendarEntries(const TaskSchedule &schedule)
{
    QStringList entries;
    if (const auto *daily = schedule.as<Schedule::Daily>()) {
        for (const TimeOfDay &time : daily->times) {
            entries << calendarEntry(std::nullopt, std::nullopt, time);
        }
    } else if (const auto *weekly = schedule.as<Schedule::Weekly>()) {
        for (int weekday : weekly->weekdays) {
            for (const TimeOfDay &time : weekly->times) {
                entries << calendarEntry(weekday, std::nullopt, time);
            }
        }
    } else if (const auto *monthly = schedule.as<Schedule::Monthly>()) {
        for (const TimeOfDay &time : monthly->times) {
            entries << calendarEntry(std::nullopt, monthly->day, time);
        }
    } else if (const auto *lastDay = schedule.as<Schedule::MonthlyLastDay>()) {
        // Every day that can end a month; the wrapper script's guard keeps only the real last day.
        for (int day = 28; day <= 31; ++day) {
            for (const TimeOfDay &time : lastDay->times) {
                entries << calendarEntry(std::nullopt, day, time);
            }
        }
    } else if (const auto *nthWeekday = schedule.as<Schedule::MonthlyNthWeekday>()) {
        // Every such weekday; the wrapper script's guard picks the week.
        for (const TimeOfDay &time : nthWeekday->times) {
            entries << calendarEntry(nthWeekday->weekday, std::nullopt, time);
        }
    }
    return entries;
}

QString scheduleSection(const TaskSchedule &schedule)
{
    if (const auto *interval = schedule.as<Schedule::Interval>()) {
        return u"    <key>StartInterval</key>\n    <integer>" % QString::number(qint64(interval->minutes) * 60) %
               u"</integer>";
    }
    if (schedule.as<Schedule::RunAtLoad>()) {
        return {};
    }
    const QStringList entries = calendarEntries(schedule);
    const QString key = QStringLiteral("    <key>StartCalendarInterval</key>\n");
    if (entries.size() == 1) {
        return key + entries.constFirst();
    }
    if (entries.isEmpty()) {
        return key + u"    <array>\n    </array>";
    }
    return key % u"    <array>\n" % entries.join(u'\n') % u"\n    </array>";
}

} // namespace

QString LaunchdService::plistText(const ScheduledTask &task) const
{
    const bool atLoad = task.schedule.as<Schedule::RunAtLoad>() != nullptr;
    QString text;
    text += QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                           "<plist version=\"1.0\">\n"
                           "<dict>\n"
                           "    <key>Label</key>\n");
    text += u"    <string>" % jobLabel(task) % u"</string>\n";
    text += QStringLiteral("    <key>ProgramArguments</key>\n"
                           "    <array>\n");
    text += u"        <string>" % escapedXml(scriptPath(task)) % u"</string>\n";
    text += QStringLiteral("    </array>\n");
    // For a run-at-load job the section is empty and leaves an empty line; launchd does not mind.
    text += scheduleSection(task.schedule) + u'\n';
    text += u"    <key>StandardOutPath</key>\n    <string>" % stdoutLogPath(task) % u"</string>\n";
    text += u"    <key>StandardErrorPath</key>\n    <string>" % stderrLogPath(task) % u"</string>\n";
    text += QStringLiteral("    <key>RunAtLoad</key>\n");
    text += atLoad ? QStringLiteral("    <true/>\n") : QStringLiteral("    <false/>\n");
    text += QStringLiteral("</dict>\n</plist>");
    return text;
}
