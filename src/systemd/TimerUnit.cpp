#include "systemd/TimerUnit.h"

using namespace Qt::StringLiterals;

QString TimerUnit::sourceTitle(Source source)
{
    return source == Source::userTimers ? u"User Timers"_s : u"System Timers"_s;
}

QString TimerUnit::scheduleSummary() const
{
    if (!calendars.isEmpty()) {
        return calendars.join(u"; "_s);
    }
    if (!otherTriggers.isEmpty()) {
        return otherTriggers.join(u"; "_s);
    }
    return u"Manual"_s;
}

QString TimerUnit::commandLine() const
{
    return execStart.isEmpty() ? u"(unknown)"_s : execStart.join(u"; "_s);
}

QString TimerUnit::shortName() const
{
    return name.endsWith(u".timer") ? name.chopped(6) : name;
}
