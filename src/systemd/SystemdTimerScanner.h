#pragma once

#include "systemd/TimerUnit.h"

#include <QList>
#include <QStringList>

// Lists the systemd timers already on the machine, the user's and the system's, each unit once,
// apart from this application's own. Only reads files; the manager is not asked.
class SystemdTimerScanner
{
public:
    struct Scope {
        TimerUnit::Source source;
        QStringList folders; // highest priority first
    };

    // The user's folders ($XDG_CONFIG_HOME/systemd/user, $XDG_DATA_HOME/systemd/user, /etc/systemd/user,
    // /usr/lib/systemd/user) and the system's (/etc/systemd/system, /run/systemd/system,
    // /usr/lib/systemd/system, /lib/systemd/system), the fixed ones under MOXLEY_SYSROOT when set.
    SystemdTimerScanner();
    explicit SystemdTimerScanner(QList<Scope> scopes) : m_scopes(std::move(scopes)) {}

    const QList<Scope> &scopes() const { return m_scopes; }

    // Every "*.timer" of every scope, the first folder holding a name winning, plus the enabled
    // instances of templates; without names beginning "com.moxley.task."; sorted by name
    // (case-insensitive, user timers first among equal names).
    QList<TimerUnit> scan() const;

private:
    QList<Scope> m_scopes;
};
