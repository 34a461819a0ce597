#include "systemd/SystemdUnits.h"

#include "systemd/TimerCalendar.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString kPrefix = u"com.moxley.task."_s;

QString description(const ScheduledTask &task)
{
    return u"Description=Moxley: " % SystemdUnits::literalValue(task.name);
}

} // namespace

QString SystemdUnits::serviceName(const QUuid &id)
{
    return kPrefix % ScheduledTask::fullId(id) % u".service";
}

QString SystemdUnits::timerName(const QUuid &id)
{
    return kPrefix % ScheduledTask::fullId(id) % u".timer";
}

std::optional<QUuid> SystemdUnits::taskIdOfUnit(const QString &fileName)
{
    if (!fileName.startsWith(kPrefix)) {
        return std::nullopt;
    }
    QStringView rest = QStringView(fileName).mid(kPrefix.size());
    if (rest.endsWith(u".service")) {
        rest.chop(8);
    } else if (rest.endsWith(u".timer")) {
        rest.chop(6);
    } else {
        return std::nullopt;
    }
    return ScheduledTask::parseId(rest);
}

QString SystemdUnits::alertTemplateName()
{
    return u"com.moxley.alert@.service"_s;
}

QString SystemdUnits::alertInstanceName(const QUuid &id)
{
    return u"com.moxley.alert@" % ScheduledTask::fullId(id) % u".service";
}

QString SystemdUnits::alertTemplateText(const QString &toolPath)
{
    QStringList lines;
    lines << u"[Unit]"_s << u"Description=Moxley: alert for a failed run of %i"_s << QString();
    // exec: the unit is up once the tool runs, which then waits a while for a click on its notice.
    lines << u"[Service]"_s << u"Type=exec"_s;
    lines << u"ExecStart=" % execStart(toolPath) % u" alert %i";
    // The app that a click starts must outlive the tool that started it.
    lines << u"KillMode=process"_s;
    return lines.join(u'\n') + u'\n';
}

bool SystemdUnits::hasTimer(const ScheduledTask &task)
{
    return task.schedule.kind() != TaskSchedule::Kind::runAtLoad;
}

QString SystemdUnits::quotedExecWord(const QString &text, bool argument)
{
    QString out = u"\""_s;
    for (const QChar c : text) {
        if (c == u'\\' || c == u'"') {
            out += u'\\';
            out += c;
        } else if (c == u'%') {
            out += u"%%";
        } else if (c == u'$' && argument) {
            out += u"$$";
        } else if (c.unicode() < 0x20 || c.unicode() == 0x7f) {
            out += QString::asprintf("\\x%02x", c.unicode());
        } else {
            out += c;
        }
    }
    return out + u'"';
}

QString SystemdUnits::execStart(const QString &scriptPath)
{
    const bool plain = std::none_of(scriptPath.cbegin(), scriptPath.cend(), [](QChar c) {
        return c == u'"' || c == u'\'' || c == u'\\' || c.unicode() < 0x20 || c.unicode() == 0x7f;
    });
    return plain ? quotedExecWord(scriptPath, false) : u"/usr/bin/env " % quotedExecWord(scriptPath, true);
}

QString SystemdUnits::literalValue(const QString &text)
{
    QString out;
    for (const QChar c : text) {
        if (c == u'%') {
            out += u"%%";
        } else if (c.unicode() < 0x20 || c.unicode() == 0x7f) {
            out += u' ';
        } else {
            out += c;
        }
    }
    while (out.endsWith(u'\\')) {
        out.chop(1);
    }
    return out.trimmed();
}

QString SystemdUnits::serviceText(const ScheduledTask &task, const Paths &paths)
{
    QStringList lines;
    lines << u"[Unit]"_s << description(task);
    if (paths.alerts) {
        lines << u"OnFailure=" % alertInstanceName(task.id);
    }
    lines << QString() << u"[Service]"_s << u"Type=oneshot"_s;
    lines << u"ExecStart=" % execStart(paths.script);
    lines << u"StandardOutput=append:" % literalValue(paths.stdoutLog);
    lines << u"StandardError=append:" % literalValue(paths.stderrLog);
    if (!hasTimer(task)) {
        // Run at load: started when the user's manager starts, as launchd's RunAtLoad.
        lines << QString() << u"[Install]"_s << u"WantedBy=default.target"_s;
    }
    return lines.join(u'\n') + u'\n';
}

QString SystemdUnits::timerText(const ScheduledTask &task)
{
    if (!hasTimer(task)) {
        return {};
    }
    QStringList lines;
    lines << u"[Unit]"_s << description(task) << QString() << u"[Timer]"_s;
    if (const auto *interval = task.schedule.as<Schedule::Interval>()) {
        // The first run comes one interval after the timer starts (install or login), then one
        // interval after each run starts.
        const QString span = QString::number(interval->minutes) % u"min";
        lines << u"OnActiveSec=" % span << u"OnUnitActiveSec=" % span;
    } else {
        for (const QString &expression : TimerCalendar::onCalendar(task.schedule)) {
            lines << u"OnCalendar=" % expression;
        }
        // A run missed while the computer was off or asleep happens once when it is back.
        lines << u"Persistent=true"_s;
    }
    // The default of one minute would let a 9:00 task start as late as 9:01; a personal scheduler
    // keeps its times to the second, and a few timers cost no noticeable power.
    lines << u"AccuracySec=1s"_s;
    if (task.wakeBeforeRun) {
        lines << u"WakeSystem=true"_s;
    }
    lines << QString() << u"[Install]"_s << u"WantedBy=timers.target"_s;
    return lines.join(u'\n') + u'\n';
}
