// What the timeline and the system-jobs list read from the machine on Linux: cron tables, systemd
// unit files, and the outputs of `systemctl list-timers --output=json` and `systemd-analyze
// calendar`. Any bytes read without a fault, and what is read keeps its shape.
//
// Input: bit 0 of byte 0 says whether the cron table has a user field (the system's tables); the
// rest is the text, given to every reader.
#include "systemd/CalendarMarks.h"
#include "systemd/CronTable.h"
#include "systemd/TimerElapse.h"
#include "systemd/UnitFile.h"

#include <QByteArray>
#include <QDate>
#include <QSet>

#include <cstdint>
#include <cstdlib>
#include <utility>

namespace {

void check(bool ok)
{
    if (!ok) {
        std::abort();
    }
}

// The minutes of a day: ascending, each once, within the day; some exactly when the line runs.
void checkMinutes(const CronEntry &entry, const QDate &date)
{
    const QList<int> minutes = entry.minutesOn(date);
    for (qsizetype i = 0; i < minutes.size(); ++i) {
        check(minutes[i] >= 0 && minutes[i] < 1440);
        check(i == 0 || minutes[i - 1] < minutes[i]);
    }
    check(minutes.isEmpty() || entry.when);
    if (entry.when) {
        check(entry.when->runsOn(date) == !minutes.isEmpty());
    }
}

void cron(const QByteArray &text, bool hasUserField)
{
    // A leap day, a month's last day, a Sunday and a Monday.
    static const QDate dates[] = {QDate(2028, 2, 29), QDate(2026, 4, 30), QDate(2026, 11, 29), QDate(2026, 11, 30)};
    for (const CronEntry &entry : CronTable::parse(text, QStringLiteral("fuzz"), hasUserField)) {
        check(entry.line >= 1);
        // A line is read as a schedule, as @reboot, or not at all with a reason.
        check(int(entry.when.has_value()) + int(entry.atReboot) + int(!entry.problem.isEmpty()) == 1);
        check(!entry.scheduleSummary().isEmpty());
        for (const QDate &date : dates) {
            checkMinutes(entry, date);
        }
    }
}

void unit(const QByteArray &text)
{
    const UnitFile file = UnitFile::parse(text);
    QSet<std::pair<QString, QString>> keys;
    for (const UnitFile::Entry &entry : file.entries) {
        check(!entry.section.isEmpty() && !entry.key.isEmpty() && !entry.key.contains(u'='));
        check(entry.key == entry.key.trimmed() && entry.value == entry.value.trimmed());
        keys.insert({entry.section, entry.key});
    }
    // The last assignment wins; an empty one clears the list before it.
    for (const auto &[section, key] : keys) {
        const QStringList values = file.values(section, key);
        const QString value = file.value(section, key);
        check(values.isEmpty() == value.isEmpty());
        check(values.isEmpty() || values.last() == value);
    }
}

void managers(const QByteArray &text)
{
    const auto elapses = TimerElapse::parse(text);
    for (const TimerElapse::Elapse &elapse : elapses) {
        check(!elapse.next || elapse.next->isValid());
        check(!elapse.last || elapse.last->isValid());
    }
    for (const QDateTime &time : CalendarMarks::parseElapses(text)) {
        check(time.isValid() && time.offsetFromUtc() == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1) {
        return 0;
    }
    const QByteArray text(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    cron(text, data[0] & 1);
    unit(text);
    managers(text);
    return 0;
}
